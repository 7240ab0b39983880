// libbase-demo: the road of one typical exchange of the device's
// applications, end to end, on 127.0.0.1.
//
// A client sends SIP-style requests with XML bodies over a framed TCP
// connection; the server cuts them out of the byte stream, decodes the XML
// and hands each request to a worker thread through a mailbox; the worker
// answers with an XML response (failures carry a release-cause text), which
// the server queues on the connection. A second connection carries
// TPKT-framed element streams. Relative timers drive the client's retries,
// the event timer service a time-out, and every step leaves trace lines in
// a log file and at a UDP log listener that the demo runs itself. With
// --soak, libbase_demo_soak.cpp runs the exchange over many connections at
// once, with faults.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "libbase_demo.h"

namespace demo {

// ---------------------------------------------------------------- settings

int ini_int(LPINIVALUE ini, const char *key, int fallback)
{
    char value[256] = {};
    std::string def = std::to_string(fallback);
    GetValueByKeyLen(value, sizeof value, key, def.c_str(), ini);
    return atoi(value);
}

// Reads the settings file through the INI store; a missing file keeps the
// built-in values.
bool load_settings(const char *path, Settings &s)
{
    LPINIVALUE ini = LoadIni(path);
    if (ini == nullptr)
        return false;
    s.port = ini_int(ini, "port", s.port);
    s.requests = ini_int(ini, "requests", s.requests);
    s.tpkt_messages = ini_int(ini, "tpkt_messages", s.tpkt_messages);
    s.lose_request = ini_int(ini, "lose_request", s.lose_request);
    s.fail_every = ini_int(ini, "fail_every", s.fail_every);
    s.split_every = ini_int(ini, "split_every", s.split_every);
    s.retry_ms = ini_int(ini, "retry_ms", s.retry_ms);
    s.time_limit = ini_int(ini, "time_limit", s.time_limit);
    char dir[256] = {};
    GetValueByKeyLen(dir, sizeof dir, "log_dir", s.log_dir.c_str(), ini);
    s.log_dir = dir;
    ReleaseIni(ini);
    return true;
}

void usage(const char *argv0)
{
    printf("usage: %s [--config FILE] [--port N] [--count N] [--log-dir DIR] [--log-to PORT]\n"
           "       %s --soak SECONDS [--connections N] [--config FILE] [--log-dir DIR] [--log-to PORT]\n\n"
           "Runs one typical exchange of libbase end to end on 127.0.0.1 and prints a summary.\n"
           "  --config FILE  settings file (default: the libbase-demo.ini shipped with the demo)\n"
           "  --port N       port of the request server; the TPKT server and the log listener\n"
           "                 use N+1 and N+2 (default 0: any free ports)\n"
           "  --count N      number of requests and of TPKT messages (default 200)\n"
           "  --log-dir DIR  directory of the trace logs (default /tmp/libbase-demo)\n"
           "  --log-to PORT  send the network log to a listener on 127.0.0.1:PORT, such as\n"
           "                 libbase-logcat, instead of the demo's own\n"
           "Exits 0 only if every reply matched its request.\n\n"
           "  --soak SECONDS   instead, drive the exchange over many connections for that long,\n"
           "                   injecting faults, and print throughput, round trips, descriptors\n"
           "                   and resident memory; exits 0 only if no request was lost, answered\n"
           "                   twice or wrongly and nothing grew beyond its margin\n"
           "  --connections N  client connections of the soak (default 50)\n",
           argv0, argv0);
}

// ------------------------------------------------------------------ tracing

enum Module { kModClient = 0, kModServer = 1, kModWorker = 2 };

// The logging state is shared by the main loop and the worker thread;
// callers of the trace log serialise themselves.
std::mutex g_log_mutex;

void trace(int level, int chn, const char *file, int line, const char *fmt, ...)
{
    char text[1024];
    va_list ap;
    va_start(ap, fmt);
    vsnprintf(text, sizeof text, fmt, ap);
    va_end(ap);
    std::lock_guard<std::mutex> lock(g_log_mutex);
    Log_Trace_Proc(level, chn, const_cast<char *>(file), line, "%s", text);
}

// A line of the module trace, which also always goes to the terminal.
void module_trace(int mod, const char *text)
{
    std::lock_guard<std::mutex> lock(g_log_mutex);
    MT_Log_Process(mod, 4, -1, "%s", text);
}

int free_udp_port()
{
    int fd = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof a;
    int port = -1;
    if (fd >= 0 && bind(fd, reinterpret_cast<sockaddr *>(&a), sizeof a) == 0 &&
        getsockname(fd, reinterpret_cast<sockaddr *>(&a), &len) == 0)
        port = ntohs(a.sin_port);
    if (fd >= 0)
        close(fd);
    return port;
}

int local_port(int fd)
{
    sockaddr_in a{};
    socklen_t len = sizeof a;
    return getsockname(fd, reinterpret_cast<sockaddr *>(&a), &len) == 0 ? ntohs(a.sin_port) : -1;
}

bool setup_logging(const Settings &s, int wanted_port, int external_listener, LogSetup &log)
{
    std::string dir = s.log_dir + "/";
    VelquistLog_MakeDirectory(const_cast<char *>(dir.c_str()));
    std::string backups = dir + "backup/";
    VelquistLog_SetBakDesDir(const_cast<char *>(backups.c_str()));
    std::string errors = dir + "error.log";
    VelquistLog_SetErrLogFile(const_cast<char *>(errors.c_str()), 1);

    CONFIG_INFO_ST config{};
    log.trace_file = dir + "demo.log";
    snprintf(config.m_chFilePath, sizeof config.m_chFilePath, "%s", log.trace_file.c_str());
    config.m_iLogFileMaxSize = 1;
    config.m_iLogMaxNum = 3;
    config.m_iLogMaxDays = 5;
    if (VelquistLog_ConfigParameter(&config) != 0)
        return false;

    // MT_Log_Init copies one 20-byte name slot more than the module count.
    static char names[4][20] = {"client", "server", "worker", ""};
    log.module_file = dir + "modules.log";
    MT_Log_Init(3, 8, log.module_file.c_str(), names);
    MT_Log_SetLevel(7);
    LogSetPrintfLvl(0);  // the terminal shows the summary, not the trace

    if (external_listener > 0) {
        log.listener_port = external_listener;
    } else {
        log.listener = Udp_Socket_Create_bind_ip_port(const_cast<char *>("127.0.0.1"), wanted_port);
        if (log.listener < 0)
            return false;
        log.listener_port = local_port(log.listener);
    }
    if (MT_NetLog_Init(free_udp_port()) != 0)
        return false;
    MT_NetLog_SetAddr(const_cast<char *>("127.0.0.1"), log.listener_port);
    return true;
}

// ------------------------------------------------------------------ messages

enum TimerEvent { kEventRetry = 1, kEventProbe = 2 };

constexpr unsigned kTagSeq = 1, kTagPayload = 2, kTagSum = 3;
constexpr unsigned char kClassData = 1, kClassProbe = 9;

std::string encode(PXD doc)
{
    char text[4096] = {};
    int space = sizeof text;
    Xml_Encode(doc, text, &space);
    return text;
}

// The XML body of request id of the given type.
std::string request_body(int id, const char *type)
{
    PXD doc = Xml_Allocate(const_cast<char *>("request"), id, const_cast<char *>(type));
    std::string caller = std::to_string(1000 + id), callee = std::to_string(5000 + id * 7);
    Xml_Add_Str(doc, const_cast<char *>("caller"), nullptr, caller.data());
    Xml_Add_Str(doc, const_cast<char *>("callee"), nullptr, callee.data());
    PXD route = Xml_Add_child(doc, const_cast<char *>("route"), const_cast<char *>("trunk"));
    Xml_Add_Str(route, const_cast<char *>("hop"), nullptr, const_cast<char *>("gw-a"));
    Xml_Add_Str(route, const_cast<char *>("hop"), nullptr, const_cast<char *>("gw-b"));
    std::string body = encode(doc);
    Xml_Free(doc);
    return body;
}

std::string sip_message(const char *method_line, int id, const std::string &body)
{
    char head[256];
    snprintf(head, sizeof head,
             "%s\r\nCall-ID: demo-%d@127.0.0.1\r\nCSeq: %d\r\nContent-Type: application/xml\r\n"
             "Content-Length: %zu\r\n\r\n",
             method_line, id, id, body.size());
    return head + body;
}

// The whole SIP request id, of the given type.
std::string request_message(int id, const char *type)
{
    return sip_message("INVITE Command sip:call_setup@127.0.0.1 SIP/2.0", id, request_body(id, type));
}

// Expected cause of a request the worker fails (0: answered "ok").
int expected_cause(const Settings &s, int id)
{
    static const int causes[] = {486, 404, 480, 4007};
    return s.fail_every > 0 && id % s.fail_every == 0 ? causes[(id / s.fail_every) % 4] : 0;
}

// ------------------------------------------------------------------ worker

// The worker answers decoded requests from its mailbox, posting the XML
// response text back to the server's mailbox.
void worker(const Settings &s, WorkerStats &stats)
{
    std::vector<char> buf(15000);
    std::map<int, bool> lost_once;
    for (;;) {
        int src = 0, code = 0, len = 0;
        if (Message_Get(kBoxWorker, &src, &code, buf.data(), &len) != 1) {
            std::this_thread::sleep_for(std::chrono::microseconds(200));
            continue;
        }
        if (code == kMailStop)
            return;
        Request req;
        memcpy(&req, buf.data(), std::min<size_t>(sizeof req, static_cast<size_t>(len)));
        stats.requests++;
        if (req.id == s.lose_request && !lost_once[req.id]) {
            lost_once[req.id] = true;
            stats.lost++;
            module_trace(kModWorker, ("request " + std::to_string(req.id) + " dropped on purpose").c_str());
            continue;
        }
        PXD doc = Xml_Allocate(const_cast<char *>("response"), req.id, const_cast<char *>("call_setup"));
        char cause_text[64] = {};
        int cause = expected_cause(s, req.id);
        if (cause != 0 && EncodeErrorNo(cause, cause_text) == 1) {
            stats.failures++;
            Xml_Add_Str(doc, const_cast<char *>("result"), nullptr, const_cast<char *>("fail"));
            Xml_Add_Str(doc, const_cast<char *>("cause"), nullptr, cause_text);
        } else {
            Xml_Add_Str(doc, const_cast<char *>("result"), nullptr, const_cast<char *>("ok"));
        }
        Xml_Add_Str(doc, const_cast<char *>("callee"), nullptr, req.callee);
        std::string text = encode(doc);
        Xml_Free(doc);
        TRACE(5, kWorker, "request %d answered (%s)", req.id, cause ? cause_text : "ok");
        if (Message_Post(kBoxServer, kBoxWorker, req.id, text.data(), static_cast<int>(text.size())) != -1)
            stats.replies++;
    }
}

// ------------------------------------------------------------------ the exchange

struct Demo {
    Settings s;
    LogSetup log;
    PTCP_TH sip_client = nullptr, sip_server = nullptr;
    PTCP_TH tpkt_client = nullptr, tpkt_server = nullptr;
    int sip_listener = -1, tpkt_listener = -1;
    PRTH retry_timers = nullptr;

    // Client side of the SIP exchange.
    int next_request = 1;
    std::map<int, Clock::time_point> outstanding;
    std::string pending_tail;  // second half of a split write, sent on the next turn
    std::vector<int> to_resend;
    std::vector<double> rtt_ms;
    std::set<int> answered;
    int retries = 0, matched = 0, mismatched = 0, duplicates = 0, failures_seen = 0, polls_to_connect = 0;

    // TPKT side.
    int next_tpkt = 1, tpkt_served = 0, tpkt_matched = 0, tpkt_mismatched = 0;
    bool probe_timed_out = false;

    Traffic sip_up, sip_down, tpkt_up, tpkt_down, log_datagrams;
    long sip_cut = 0;
    int ticks = 0, heartbeat_runs = 0;
    Clock::time_point started = Clock::now();
};

Demo *g_demo = nullptr;  // the timer callbacks take no context argument

NEW_PRTH g_event_timers = nullptr;

void on_retry(int id, int event)
{
    if (event != kEventRetry || g_demo->outstanding.count(id) == 0)
        return;
    TRACE(1, kTimer, "request %d unanswered after %d ms, sending again", id, g_demo->s.retry_ms);
    g_demo->to_resend.push_back(id);
}

void on_probe_timeout(int id, int event)
{
    TRACE(2, kTimer, "probe %d/%d timed out, as the server never answers probes", id, event);
    g_demo->probe_timed_out = true;
}

// Queues text on a connection; the framed connection sends what the socket
// takes now and keeps the rest for Tcp_Fc_Loop_Send. A message written in
// pieces counts once, with its last piece.
bool queue_text(PTCP_TH conn, const std::string &text, Traffic &t, bool last_piece)
{
    if (Tcp_Fc_Socket_Send(conn, const_cast<char *>(text.data()), static_cast<int>(text.size())) < 0)
        return false;
    t.messages += last_piece;
    t.bytes += static_cast<long>(text.size());
    return true;
}

void send_request(Demo &d, int id, bool may_split)
{
    std::string msg = request_message(id);
    bool split = may_split && d.s.split_every > 0 && id % d.s.split_every == 0;
    if (split) {
        d.pending_tail = msg.substr(msg.size() / 2);
        msg.resize(msg.size() / 2);
    }
    queue_text(d.sip_client, msg, d.sip_up, !split);
    d.outstanding[id] = Clock::now();
    Relative_Timer_Start(d.retry_timers, id, kEventRetry, d.s.retry_ms);
    TRACE(5, kSip, "request %d sent%s", id, split ? " (first half)" : "");
}

// Client: keep up to 32 requests in flight, finish split writes, resend.
void client_send(Demo &d)
{
    if (!d.pending_tail.empty()) {
        queue_text(d.sip_client, d.pending_tail, d.sip_up);
        d.pending_tail.clear();
    }
    for (int id : d.to_resend) {
        d.retries++;
        send_request(d, id, false);
    }
    d.to_resend.clear();
    // Nothing may follow the first half of a split message until its
    // second half has gone out on the next turn.
    while (d.next_request <= d.s.requests && d.outstanding.size() < 32 && d.pending_tail.empty())
        send_request(d, d.next_request++, true);
}

// Server: decode each request and hand it to the worker.
void server_receive(Demo &d)
{
    for_each_sip_body(d.sip_server, d.sip_cut, [](PXD doc) {
        if (doc == nullptr) {
            TRACE(0, kSip, "undecodable request body");
            return;
        }
        Request req;
        req.id = doc->requst_id;
        snprintf(req.caller, sizeof req.caller, "%s", Xml_Get_Str(doc, const_cast<char *>("caller"), nullptr));
        snprintf(req.callee, sizeof req.callee, "%s", Xml_Get_Str(doc, const_cast<char *>("callee"), nullptr));
        Message_Post(kBoxWorker, kBoxServer, kMailRequest, &req, sizeof req);
        TRACE(5, kSip, "request %d from %s posted to the worker", req.id, req.caller);
    });
}

// The SIP answer carrying the worker's response text to request id.
std::string answer_message(int id, const char *text, int len)
{
    return sip_message("SIP/2.0 200 OK Command sip:call_setup@127.0.0.1", id,
                       std::string(text, static_cast<size_t>(len)));
}

// Server: queue the worker's answers on the connection; the message code
// of each answer is its request id.
void server_reply(Demo &d)
{
    static char text[15000];
    int src, id, len;
    while (Message_Get(kBoxServer, &src, &id, text, &len) == 1)
        queue_text(d.sip_server, answer_message(id, text, len), d.sip_down);
}

// Whether doc is the right response to the request its id names: its
// callee, and "ok" or "fail" with the release cause the worker gives it.
bool response_matches(const Settings &s, PXD doc)
{
    int id = doc->requst_id;
    const char *result = Xml_Get_Str(doc, const_cast<char *>("result"), nullptr);
    const char *callee = Xml_Get_Str(doc, const_cast<char *>("callee"), nullptr);
    const char *cause = Xml_Get_Str(doc, const_cast<char *>("cause"), nullptr);
    if (std::string(doc->name) != "response" || callee == nullptr || std::to_string(5000 + id * 7) != callee ||
        result == nullptr)
        return false;
    int cause_no = expected_cause(s, id);
    if (cause_no == 0)
        return std::string(result) == "ok";
    char expected_text[64] = {};
    return std::string(result) == "fail" && cause && EncodeErrorNo(cause_no, expected_text) == 1 &&
           std::string(cause) == expected_text;
}

// Client: match every response to its request.
void client_receive(Demo &d)
{
    for_each_sip_body(d.sip_client, d.sip_cut, [&d](PXD doc) {
        if (doc == nullptr) {
            d.mismatched++;
            return;
        }
        int id = doc->requst_id;
        if (d.answered.count(id) != 0) {  // a late answer to a request sent twice
            d.duplicates++;
            return;
        }
        auto sent = d.outstanding.find(id);
        if (sent == d.outstanding.end() || !response_matches(d.s, doc)) {
            d.mismatched++;
            TRACE(0, kSip, "response %d does not match its request", id);
            return;
        }
        d.matched++;
        d.answered.insert(id);
        int cause_no = expected_cause(d.s, id);
        d.failures_seen += cause_no != 0;
        d.rtt_ms.push_back(std::chrono::duration<double, std::milli>(Clock::now() - sent->second).count());
        Relative_Timer_Stop(d.retry_timers, id, kEventRetry);
        d.outstanding.erase(sent);
        const char *cause = Xml_Get_Str(doc, const_cast<char *>("cause"), nullptr);
        TRACE(5, kSip, "response %d matched%s%s", id, cause_no ? ": " : "", cause_no && cause ? cause : "");
    });
}

// TPKT: element-stream messages; the server answers each with the sum of
// its payload bytes, except probes, which it never answers.

// The element stream of data message seq: its number and a payload whose
// length varies with seq.
void data_message(int seq, M_Body &msg)
{
    static const std::string filler(200, 'x');
    std::string payload = "element payload " + std::to_string(seq) + ": " + filler.substr(0, seq % 200);
    msg = M_Body{};
    element_add_integer(&msg, kTagSeq, seq);
    element_add_data(&msg, kTagPayload, payload.data(), static_cast<unsigned>(payload.size()));
}

int payload_sum(M_Body &msg)
{
    unsigned char payload[5000];
    unsigned len = 0;
    if (element_get_data(&msg, kTagPayload, payload, sizeof payload, &len) != 0)
        return -1;
    int sum = 0;
    for (unsigned i = 0; i < len; i++)
        sum += payload[i];
    return sum;
}

bool send_elements(PTCP_TH conn, unsigned char klass, M_Body &msg, Traffic &t)
{
    if (Tcp_Cut_Tpkt_Send_One_Msg_Bin_Head(conn, klass, reinterpret_cast<char *>(msg.buf), static_cast<int>(msg.len)) < 0)
        return false;
    t.messages++;
    t.bytes += msg.len + 4;
    return true;
}

// Receives what conn holds and hands every whole frame to fn(klass, body).
template <typename Fn>
void for_each_frame(PTCP_TH conn, Fn fn)
{
    if (Tcp_Cut_Tpkt_Recv_Cut(conn) <= 0)
        return;
    static M_Body msg;
    unsigned char klass = 0;
    int len;
    while ((len = Tcp_Cut_Tpkt_Get_One_Msg_Bin_Head(conn, reinterpret_cast<char *>(msg.buf), sizeof msg.buf,
                                                   &klass)) >= 0) {
        msg.len = static_cast<unsigned>(len);
        fn(klass, msg);
    }
}

void tpkt_send(Demo &d)
{
    M_Body msg;
    if (d.next_tpkt == 1) {
        msg = M_Body{};
        element_add_integer(&msg, kTagSeq, 0);
        Traffic probes;
        send_elements(d.tpkt_client, kClassProbe, msg, probes);
        Zor_New_Timer_Start(g_event_timers, on_probe_timeout, 0, kEventProbe, 1, 0);
    }
    for (int burst = 0; d.next_tpkt <= d.s.tpkt_messages && burst < 16; burst++, d.next_tpkt++) {
        data_message(d.next_tpkt, msg);
        send_elements(d.tpkt_client, kClassData, msg, d.tpkt_up);
    }
}

void tpkt_serve(Demo &d)
{
    for_each_frame(d.tpkt_server, [&d](unsigned char klass, M_Body &msg) {
        d.tpkt_served++;
        int seq = -1;
        element_get_integer(&msg, kTagSeq, &seq);
        if (klass == kClassProbe) {
            TRACE(4, kTpkt, "probe %d left unanswered", seq);
            return;
        }
        M_Body answer{};
        element_add_integer(&answer, kTagSeq, seq);
        element_add_integer(&answer, kTagSum, payload_sum(msg));
        send_elements(d.tpkt_server, kClassData, answer, d.tpkt_down);
    });
}

// Client: the server's sum must be that of the message the client sent.
void tpkt_check(Demo &d)
{
    for_each_frame(d.tpkt_client, [&d](unsigned char, M_Body &msg) {
        int seq = -1, sum = -1;
        element_get_integer(&msg, kTagSeq, &seq);
        element_get_integer(&msg, kTagSum, &sum);
        M_Body sent;
        data_message(seq, sent);
        if (seq >= 1 && sum == payload_sum(sent))
            d.tpkt_matched++;
        else
            d.tpkt_mismatched++;
    });
}

// Counts what the demo's own log listener has received.
void drain_log_listener(const LogSetup &log, Traffic &datagrams)
{
    char line[8192];
    int n;
    if (log.listener < 0)
        return;
    while ((n = Udp_Socket_Recv(log.listener, line, sizeof line)) > 0) {
        datagrams.messages++;
        datagrams.bytes += n;
    }
}

bool exchange_done(const Demo &d)
{
    return d.matched + d.mismatched >= d.s.requests && d.outstanding.empty() &&
           d.tpkt_matched + d.tpkt_mismatched >= d.s.tpkt_messages && d.probe_timed_out;
}

// One turn of the application loop: wait for sockets, tick the timers,
// send, receive, answer.
void turn(Demo &d)
{
    pollfd fds[5] = {};
    PTCP_TH conns[4] = {d.sip_client, d.sip_server, d.tpkt_client, d.tpkt_server};
    for (int i = 0; i < 4; i++) {
        auto *rec = static_cast<PTCP_SOCKFD_ST>(conns[i]);
        fds[i].fd = rec->sockfd;
        fds[i].events = static_cast<short>(POLLIN | (rec->send_len > 0 ? POLLOUT : 0));
    }
    fds[4].fd = d.log.listener;  // -1 when the log goes elsewhere: poll skips it
    fds[4].events = POLLIN;
    poll(fds, 5, 5);

    for (PTCP_TH conn : conns) {
        if (static_cast<PTCP_SOCKFD_ST>(conn)->send_len > 0)
            Tcp_Fc_Loop_Send(conn, 1 << 20);
    }
    int due = static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - d.started).count() / 10);
    for (; d.ticks < due; d.ticks++)
        Relative_Timer_Process(d.retry_timers);
    Zor_New_Timer_Run(g_event_timers);

    client_send(d);
    server_receive(d);
    server_reply(d);
    client_receive(d);
    tpkt_send(d);
    tpkt_serve(d);
    tpkt_check(d);
    drain_log_listener(d.log, d.log_datagrams);
}

bool connect_all(Demo &d, int base_port)
{
    int sip_port = base_port, tpkt_port = base_port ? base_port + 1 : 0;
    if (Tcp_Fc_Server_Create(sip_port, &d.sip_listener) != 0 || Tcp_Fc_Server_Create(tpkt_port, &d.tpkt_listener) != 0)
        return false;
    sip_port = local_port(d.sip_listener);
    tpkt_port = local_port(d.tpkt_listener);

    // The request client connects without blocking and polls its status.
    if (Tcp_Fc_Connect_Non_Lock(const_cast<char *>("127.0.0.1"), sip_port, &d.sip_client) != 0)
        return false;
    int status;
    while ((status = Tcp_Fc_Select_Non_Lock_By_TH(d.sip_client)) == 2) {
        d.polls_to_connect++;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    d.polls_to_connect++;
    if (status != 1 || Tcp_Fc_Server_Accept(d.sip_listener, &d.sip_server) != 0)
        return false;
    TRACE(5, kSip, "request connection up on port %d after %d polls", sip_port, d.polls_to_connect);

    if (Tcp_Fc_Connect(const_cast<char *>("127.0.0.1"), tpkt_port, &d.tpkt_client) != 0 ||
        Tcp_Fc_Server_Accept(d.tpkt_listener, &d.tpkt_server) != 0)
        return false;
    TRACE(5, kTpkt, "TPKT connection up on port %d", tpkt_port);
    return true;
}

void close_all(Demo &d)
{
    for (PTCP_TH conn : {d.sip_client, d.sip_server, d.tpkt_client, d.tpkt_server}) {
        if (conn != nullptr)
            Tcp_Fc_Socket_Close(conn);
    }
    if (d.sip_listener > 0)
        Tcp_Socket_Close(d.sip_listener);
    if (d.tpkt_listener > 0)
        Tcp_Socket_Close(d.tpkt_listener);
}

// Percentile p (0..1) of sorted values.
double percentile(const std::vector<double> &sorted, double p)
{
    return sorted.empty() ? 0.0 : sorted[static_cast<size_t>(p * static_cast<double>(sorted.size() - 1))];
}

void summary(const Demo &d, const WorkerStats &w, double seconds, bool ok)
{
    std::vector<double> rtt = d.rtt_ms;
    std::sort(rtt.begin(), rtt.end());
    double mean = 0;
    for (double v : rtt)
        mean += v / static_cast<double>(rtt.size());

    printf("\nlibbase demo: %s, %.2f s on 127.0.0.1\n\n", LibBase_GetLibVersion(), seconds);
    printf("  %-22s %6s %9s\n", "traffic", "msgs", "bytes");
    printf("  %-22s %6ld %9ld\n", "SIP client -> server", d.sip_up.messages, d.sip_up.bytes);
    printf("  %-22s %6ld %9ld\n", "SIP server -> client", d.sip_down.messages, d.sip_down.bytes);
    printf("  %-22s %6ld %9ld\n", "TPKT client -> server", d.tpkt_up.messages, d.tpkt_up.bytes);
    printf("  %-22s %6ld %9ld\n", "TPKT server -> client", d.tpkt_down.messages, d.tpkt_down.bytes);
    printf("  %-22s %6ld %9ld\n\n", "UDP log datagrams", d.log_datagrams.messages, d.log_datagrams.bytes);
    printf("  SIP round trip: min %.2f ms, median %.2f ms, p99 %.2f ms, max %.2f ms, mean %.2f ms\n",
           percentile(rtt, 0), percentile(rtt, 0.5), percentile(rtt, 0.99), percentile(rtt, 1), mean);
    printf("  SIP replies: %d matched (%d with a release cause), %d mismatched, %d late duplicates\n", d.matched,
           d.failures_seen, d.mismatched, d.duplicates);
    printf("  TPKT answers: %d matched, %d mismatched\n\n", d.tpkt_matched, d.tpkt_mismatched);

    printf("  what each module did\n");
    printf("    Ini         read the settings file\n");
    printf("    tcp, inet   non-blocking connect (connected after %d status polls), accepts\n", d.polls_to_connect);
    printf("    tcp_fc_cut  queued sends; cut %ld SIP messages and %d TPKT frames out of the streams\n", d.sip_cut,
           d.tpkt_served + d.tpkt_matched + d.tpkt_mismatched);
    printf("    xml         built, encoded and decoded every request and response body\n");
    printf("    message     the worker got %d requests from its mailbox, answered %d, dropped %d on purpose\n",
           w.requests.load(), w.replies.load(), w.lost.load());
    printf("    errorno     %d answers carry release-cause texts\n", w.failures.load());
    printf("    element     %d element streams written and read\n", d.tpkt_served + d.tpkt_matched);
    printf("    timer       %d ticks of 10 ms; the retry timer fired %d time(s)\n", d.ticks, d.retries);
    printf("    zor_timer   the unanswered probe's 1 s time-out %s\n", d.probe_timed_out ? "fired" : "did NOT fire");
    printf("    log, udp    trace lines to the log files and to the UDP listener on 127.0.0.1:%d\n",
           d.log.listener_port);
    printf("\n  logs: %s, %s (backups in %sbackup/)\n", d.log.trace_file.c_str(), d.log.module_file.c_str(),
           (d.s.log_dir + "/").c_str());
    printf("\n%s\n", ok ? "OK: every reply matched its request" : "FAILED: not every reply matched its request");
}

} // namespace demo

int main(int argc, char **argv)
{
    using namespace demo;
    Demo d;
    g_demo = &d;
    std::string config = DEMO_DEFAULT_CONFIG;
    int port = -1, count = -1, log_to = 0, soak_seconds = 0, connections = 50;
    std::string log_dir;
    for (int i = 1; i < argc; i++) {
        std::string arg = argv[i];
        bool has_value = i + 1 < argc;
        if (arg == "--help" || arg == "-h") {
            usage(argv[0]);
            return 0;
        } else if (arg == "--config" && has_value) {
            config = argv[++i];
        } else if (arg == "--port" && has_value) {
            port = atoi(argv[++i]);
        } else if (arg == "--count" && has_value) {
            count = atoi(argv[++i]);
        } else if (arg == "--log-to" && has_value) {
            log_to = atoi(argv[++i]);
        } else if (arg == "--log-dir" && has_value) {
            log_dir = argv[++i];
        } else if (arg == "--soak" && has_value) {
            soak_seconds = atoi(argv[++i]);
        } else if (arg == "--connections" && has_value) {
            connections = atoi(argv[++i]);
        } else {
            usage(argv[0]);
            return 2;
        }
    }
    if (soak_seconds < 0 || connections < 1) {
        usage(argv[0]);
        return 2;
    }
    bool loaded = load_settings(config.c_str(), d.s);
    if (port >= 0)
        d.s.port = port;
    if (count > 0)
        d.s.requests = d.s.tpkt_messages = count;
    if (!log_dir.empty())
        d.s.log_dir = log_dir;
    if (soak_seconds > 0)
        printf("libbase soak: %d s, %d connections, settings %s\n", soak_seconds, connections,
               loaded ? config.c_str() : "built in");
    else
        printf("libbase demo: %d requests, %d TPKT messages, settings %s\n", d.s.requests, d.s.tpkt_messages,
               loaded ? config.c_str() : "built in");

    if (!setup_logging(d.s, d.s.port ? d.s.port + 2 : 0, log_to, d.log)) {
        printf("cannot set up logging in %s\n", d.s.log_dir.c_str());
        return 1;
    }
    EncodeInit();
    Message_Init(kMailboxes);
    if (soak_seconds > 0)
        return run_soak(d.s, d.log, soak_seconds, connections);
    d.retry_timers = Relative_Timer_Allocate(on_retry, 64);
    g_event_timers = Zor_New_Timer_Malloc(4, 255);
    TRACE(5, kSip, "demo started: %d requests, %d TPKT messages", d.s.requests, d.s.tpkt_messages);

    WorkerStats stats;
    std::thread worker_thread(worker, std::cref(d.s), std::ref(stats));
    bool ok = connect_all(d, d.s.port);
    auto deadline = Clock::now() + std::chrono::seconds(d.s.time_limit);
    while (ok && !exchange_done(d) && Clock::now() < deadline)
        turn(d);
    drain_log_listener(d.log, d.log_datagrams);
    double seconds = std::chrono::duration<double>(Clock::now() - d.started).count();

    Message_Post(kBoxWorker, kBoxServer, kMailStop, const_cast<char *>(""), 0);
    worker_thread.join();
    ok = ok && exchange_done(d) && d.matched == d.s.requests && d.mismatched == 0 &&
         d.tpkt_matched == d.s.tpkt_messages && d.tpkt_mismatched == 0;
    TRACE(ok ? 5 : 0, kSip, "demo finished: %s", ok ? "every reply matched" : "replies missing or wrong");
    drain_log_listener(d.log, d.log_datagrams);
    close_all(d);
    Relative_Timer_Free(d.retry_timers);
    Net_Udp_Close();
    summary(d, stats, seconds, ok);

    if (d.log.listener > 0)
        Udp_Socket_Close(d.log.listener);
    return ok ? 0 : 1;
}
