// libbase_demo.h - what the demo's single exchange (libbase_demo.cpp) and
// its soak (libbase_demo_soak.cpp) share: the settings, the trace log, the
// request and answer texts, and the worker thread behind its mailbox.
#pragma once

#include <atomic>
#include <chrono>
#include <string>

#include "libbase.h"

namespace demo {

using Clock = std::chrono::steady_clock;

struct Settings {
    int port = 0;
    int requests = 200;
    int tpkt_messages = 200;
    std::string log_dir = "/tmp/libbase-demo";
    int lose_request = 7;
    int fail_every = 10;
    int split_every = 4;
    int retry_ms = 300;
    int time_limit = 20;
};

// The trace log: a file with dated backups, a module trace file, and a copy
// of every line to a UDP listener: the demo's own, or one named by --log-to.
struct LogSetup {
    std::string trace_file, module_file;
    int listener = -1;
    int listener_port = 0;
};

struct Traffic {
    long messages = 0, bytes = 0;
};

enum Channel { kSip = 1, kTpkt = 2, kWorker = 3, kTimer = 4 };

// Codes of the worker's mail; its answers carry the request id as code.
enum MailCode { kMailRequest = 1, kMailStop = 2 };
enum Mailbox { kBoxServer = 0, kBoxWorker = 1, kMailboxes = 2 };

// What the server hands the worker.
struct Request {
    int id = 0;
    char caller[32] = {};
    char callee[32] = {};
};

struct WorkerStats {
    std::atomic<int> requests{0}, replies{0}, lost{0}, failures{0};
};

// A line of the trace log, from the main loop or the worker thread.
__attribute__((format(printf, 5, 6))) void trace(int level, int chn, const char *file, int line, const char *fmt,
                                                 ...);
#define TRACE(level, chn, ...) demo::trace(level, chn, __FILE__, __LINE__, __VA_ARGS__)

// The port a socket is bound to, or -1.
int local_port(int fd);

// The whole SIP request id with its XML body, of the given type.
std::string request_message(int id, const char *type = "call_setup");

// The SIP answer carrying the worker's response text to request id.
std::string answer_message(int id, const char *text, int len);

// Expected cause of a request the worker fails (0: answered "ok").
int expected_cause(const Settings &s, int id);

// Whether doc is the right response to the request its id names.
bool response_matches(const Settings &s, PXD doc);

// Queues text on a connection, counted in t with its last piece; false
// when the connection refuses it.
bool queue_text(PTCP_TH conn, const std::string &text, Traffic &t, bool last_piece = true);

// The worker thread: answers the requests in its mailbox until told to stop.
void worker(const Settings &s, WorkerStats &stats);

// Counts what the demo's own log listener has received.
void drain_log_listener(const LogSetup &log, Traffic &datagrams);

// The event timer service lives as long as the process: it has no teardown.
extern NEW_PRTH g_event_timers;

// Receives what conn holds, cuts out every whole message, splits header and
// body and hands the decoded body to fn (NULL when it does not decode),
// counting the messages in cut. The receive's result: 0 when the peer has
// closed.
template <typename Fn>
int for_each_sip_body(PTCP_TH conn, long &cut, Fn fn)
{
    int received = Tcp_Cut_Sip_Recv_Cut(conn);
    if (received <= 0)
        return received;
    char body[5000], head[5000];
    for (;;) {
        int body_len = sizeof body - 1, head_len = sizeof head;
        if (Tcp_Cut_Sip_Get_One_Msg_Xmlbody_Siphead(conn, body, &body_len, head, &head_len) < 0)
            return received;
        body[body_len] = '\0';
        cut++;
        PXD doc = Xml_Decode(body);
        fn(doc);
        if (doc != nullptr)
            Xml_Free(doc);
    }
}

// The soak (--soak): the exchange over many connections for the given
// seconds, with faults injected; prints its figures. 0 when it passed.
int run_soak(const Settings &s, const LogSetup &log, int seconds, int connections);

} // namespace demo
