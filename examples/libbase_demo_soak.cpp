// libbase_demo_soak.cpp - libbase-demo --soak SECONDS: the request exchange
// of libbase_demo.cpp over many client connections at once, all driven by
// the one loop, the worker thread answering through its mailbox. The
// server's connections keep a small send bound (max_send_len).
//
// Every request a client expects an answer to carries an event timer: the
// answer stops it, its expiry counts the request as lost. Probes, which the
// server never answers, must expire instead. While the load runs, one
// client after another turns into a faulty peer for one connection:
//   reset       writes two requests and half of a third, then resets;
//   stuck       stops reading and keeps writing requests, until the server
//               finds its send list at the bound and drops the connection;
//   half close  writes a few requests, shuts its sending side and must still
//               get every answer before the server closes;
//   trickle     writes its requests one byte per turn, so that the server's
//               receives end at every byte boundary of them;
//   probe       writes a probe and then a request: the request is answered,
//               the probe times out.
// Descriptors and resident memory are taken with no connection open: once
// after a short warm-up with the whole load and its faults, once at the end.

#include <dirent.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "libbase_demo.h"

namespace demo {
namespace {

constexpr int kWindow = 4;            // answerable requests in flight per ordinary client
constexpr int kAnswerSeconds = 3;     // event timer of each of them
constexpr int kSendBound = 64 * 1024; // max_send_len of the server's connections
constexpr int kSocketSendBuffer = 16 * 1024;
constexpr int kStuckBurst = 32;       // requests per turn of a client that stopped reading
constexpr int kStuckRequests = 5000;  // at most, per connection
constexpr int kStuckSeconds = 10;     // the server must have dropped it by then
constexpr int kHalfCloseRequests = 5;
constexpr int kTrickleRequests = 2;
constexpr auto kFaultEvery = std::chrono::milliseconds(200);
constexpr auto kResetDelay = std::chrono::milliseconds(20);
constexpr int kFdMargin = 0;
#ifdef __SANITIZE_ADDRESS__
// The sanitizer's own records of allocations and its quarantine grow for a
// while, more on a loaded machine; leaks are its leak checker's to find.
constexpr long kRssMarginKiB = 16384;
#else
constexpr long kRssMarginKiB = 2048;
#endif

enum class Role { Ordinary, Reset, Stuck, HalfClose, Trickle, Probe };

const char *role_name(Role r)
{
    static const char *names[] = {"ordinary", "reset", "stuck", "half close", "trickle", "probe"};  // as Role
    return names[static_cast<int>(r)];
}

struct SoakRequest {
    Clock::time_point sent;
    bool probe = false;
};

// One client connection; its slot number is its id at the event timers.
struct SoakClient {
    int slot = 0;
    PTCP_TH conn = nullptr;
    bool connected = false;
    short revents = 0;
    Role role = Role::Ordinary, next_role = Role::Ordinary;
    Clock::time_point life_start;
    int written = 0;                         // requests written on this connection
    std::map<int, SoakRequest> outstanding;  // answerable requests by id
    std::string trickle;                     // a request being written byte by byte
    size_t trickle_at = 0;                   // its next byte
    int trickle_id = 0;
    bool shut = false;                       // sending side shut
};

// One connection as the server sees it.
struct SoakPeer {
    PTCP_TH conn = nullptr;
    short revents = 0;
    bool peer_closed = false;  // end of stream seen; answers still go out
    int owed = 0;              // requests with the worker
};

struct SoakCounts {
    long sent = 0, answered = 0, with_cause = 0, wrong = 0, duplicates = 0, lost = 0;
    long probes = 0, probes_timed_out = 0;
    long resets = 0, stuck_dropped = 0, stuck_unnoticed = 0, half_closes = 0, trickled = 0;
    long connects = 0, connect_failures = 0, orphan_answers = 0, cut = 0;
    int send_peak = 0, send_at_refusal = 0;
};

// Round trips in buckets 1 % wide from 1 us up: a fixed size however long
// the run.
class Latencies {
public:
    void add(Clock::duration d)
    {
        double us = std::max(1.0, std::chrono::duration<double, std::micro>(d).count());
        size_t i = std::min(buckets_.size() - 1, static_cast<size_t>(std::log(us) / std::log(kStep)));
        buckets_[i]++;
        count_++;
    }
    // The upper end of the bucket holding percentile p (0..1), in ms.
    double percentile_ms(double p) const
    {
        long rank = static_cast<long>(p * static_cast<double>(count_ - 1)), seen = 0;
        for (size_t i = 0; i < buckets_.size() && count_ > 0; i++) {
            seen += buckets_[i];
            if (seen > rank)
                return std::pow(kStep, static_cast<double>(i + 1)) / 1000.0;
        }
        return 0.0;
    }

private:
    static constexpr double kStep = 1.01;
    std::array<long, 2100> buckets_{};  // up to 1.01^2100 us, over 20 minutes
    long count_ = 0;
};

struct Usage {
    int fds = 0;
    long rss_kib = 0;
};

struct Soak {
    Settings s;
    int seconds = 0;
    LogSetup log;
    int listener = -1;
    std::vector<SoakClient> clients;
    std::map<long, SoakPeer> peers;  // by serial number
    long next_serial = 1;
    std::map<int, long> owner;       // request id -> serial of the connection it came on
    std::vector<bool> answered;      // by request id
    int next_id = 1;
    bool loading = true;             // clients write new requests
    size_t fault_slot = 0;
    int fault_kind = 0;
    Clock::time_point next_fault;
    SoakCounts n;
    Latencies rtt;
    Traffic up, down, log_datagrams;
    double load_seconds = 0;
    long load_messages = 0;  // both ways, while loading
};

Soak *g_soak = nullptr;  // for the event timer callback

Usage measure_usage()
{
    Usage u;
    if (DIR *dir = opendir("/proc/self/fd")) {
        while (readdir(dir) != nullptr)
            u.fds++;
        closedir(dir);
        u.fds -= 3;  // ".", ".." and the directory's own descriptor
    }
    long pages = 0, resident = 0;
    if (FILE *f = fopen("/proc/self/statm", "r")) {
        if (fscanf(f, "%ld %ld", &pages, &resident) != 2)
            resident = 0;
        fclose(f);
    }
    u.rss_kib = resident * (sysconf(_SC_PAGESIZE) / 1024);
    return u;
}

int sockfd_of(PTCP_TH conn)
{
    return static_cast<PTCP_SOCKFD_ST>(conn)->sockfd;
}

// An answerable request's event timer expired: a probe as planned, any other
// request lost.
void on_answer_timeout(int slot, int id)
{
    Soak &k = *g_soak;
    SoakClient &c = k.clients[static_cast<size_t>(slot)];
    auto it = c.outstanding.find(id);
    if (it == c.outstanding.end())
        return;
    if (it->second.probe) {
        k.n.probes_timed_out++;
    } else {
        k.n.lost++;
        TRACE(0, kSip, "soak: request %d on slot %d got no answer in %d s", id, slot, kAnswerSeconds);
    }
    c.outstanding.erase(it);
}

// Records a request the client waits for, a probe among them, and starts
// its event timer.
void expect_answer(Soak &k, SoakClient &c, int id, bool probe)
{
    k.n.sent++;
    k.n.probes += probe;
    c.outstanding[id] = SoakRequest{Clock::now(), probe};
    Zor_New_Timer_Start(g_event_timers, on_answer_timeout, c.slot, id, kAnswerSeconds, 0);
}

// What a client waits for after writing a request: nothing (the faulty
// roles), its answer, or the expiry of a probe.
enum class Wait { Nothing, Answer, Expiry };

// Writes one whole request, a probe for Wait::Expiry.
bool write_request(Soak &k, SoakClient &c, Wait wait)
{
    int id = k.next_id++;
    if (!queue_text(c.conn, request_message(id, wait == Wait::Expiry ? "probe" : "call_setup"), k.up))
        return false;
    c.written++;
    if (wait != Wait::Nothing)
        expect_answer(k, c, id, wait == Wait::Expiry);
    return true;
}

// Closes a client's connection. A request still outstanding is lost (the
// faulty roles write none that expect an answer).
void close_client(Soak &k, SoakClient &c)
{
    if (!c.outstanding.empty())
        TRACE(0, kSip, "soak: slot %d closed with %zu requests unanswered", c.slot, c.outstanding.size());
    k.n.lost += static_cast<long>(c.outstanding.size());
    c.outstanding.clear();
    Zor_New_Timer_Stop_All(g_event_timers, c.slot, 0);
    Tcp_Fc_Socket_Close(c.conn);
    c.conn = nullptr;
    c.connected = false;
    c.trickle.clear();
}

// Opens a slot's next connection, in the role chosen for it.
void open_client(Soak &k, SoakClient &c)
{
    int port = local_port(k.listener);
    if (Tcp_Fc_Connect_Non_Lock(const_cast<char *>("127.0.0.1"), port, &c.conn) != 0) {
        k.n.connect_failures++;
        c.conn = nullptr;
        return;
    }
    k.n.connects++;
    c.role = k.loading ? c.next_role : Role::Ordinary;
    c.next_role = Role::Ordinary;
    c.written = 0;
    c.shut = false;
    c.life_start = Clock::now();
    if (c.role != Role::Ordinary)
        TRACE(4, kSip, "soak: slot %d connects as a %s peer", c.slot, role_name(c.role));
}

// Polls a connect in progress; a refused one is closed and tried again.
void finish_connect(Soak &k, SoakClient &c)
{
    int status = Tcp_Fc_Select_Non_Lock_By_TH(c.conn);
    if (status == 1) {
        c.connected = true;
        int on = 1;
        if (c.role == Role::Trickle)  // one segment per byte
            setsockopt(sockfd_of(c.conn), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    } else if (status != 2) {
        k.n.connect_failures++;
        close_client(k, c);
    }
}

// Makes the close of the client's connection a reset.
void reset_on_close(SoakClient &c)
{
    linger hard = {1, 0};
    setsockopt(sockfd_of(c.conn), SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
}

// Reset: two requests and half of a third, then a reset once the server has
// had time to read them.
void drive_reset(Soak &k, SoakClient &c)
{
    if (c.written == 0) {
        write_request(k, c, Wait::Nothing);
        write_request(k, c, Wait::Nothing);
        std::string msg = request_message(k.next_id++);
        msg.resize(msg.size() / 2);
        queue_text(c.conn, msg, k.up, false);
        c.written++;
        c.life_start = Clock::now();
    } else if (Clock::now() - c.life_start >= kResetDelay) {
        reset_on_close(c);
        k.n.resets++;
        close_client(k, c);
    }
}

// Stuck: floods requests without reading, until the server drops it.
void drive_stuck(Soak &k, SoakClient &c)
{
    if (c.revents & (POLLHUP | POLLERR | POLLRDHUP)) {
        close_client(k, c);
        return;
    }
    if (Clock::now() - c.life_start > std::chrono::seconds(kStuckSeconds) || !k.loading) {
        if (k.loading) {
            k.n.stuck_unnoticed++;
            TRACE(0, kSip, "soak: slot %d stopped reading and was never dropped", c.slot);
        }
        reset_on_close(c);
        close_client(k, c);
        return;
    }
    for (int i = 0; i < kStuckBurst && c.written < kStuckRequests; i++) {
        if (!write_request(k, c, Wait::Nothing))
            break;
    }
}

// Half close: a few requests, then the sending side shut once they are out.
void drive_half_close(Soak &k, SoakClient &c)
{
    if (c.written == 0) {
        for (int i = 0; i < kHalfCloseRequests; i++)
            write_request(k, c, Wait::Answer);
    } else if (!c.shut && static_cast<PTCP_SOCKFD_ST>(c.conn)->send_len == 0) {
        shutdown(sockfd_of(c.conn), SHUT_WR);
        c.shut = true;
    }
}

// Trickle: requests one at a time, one byte per turn.
void drive_trickle(Soak &k, SoakClient &c)
{
    if (c.trickle.empty()) {
        if (!c.outstanding.empty() || !k.loading || c.written >= kTrickleRequests)
            return;
        c.trickle_id = k.next_id++;
        c.trickle = request_message(c.trickle_id);
        c.trickle_at = 0;
    }
    bool last = c.trickle_at + 1 == c.trickle.size();
    if (!queue_text(c.conn, c.trickle.substr(c.trickle_at, 1), k.up, last))
        return;
    if (!last) {
        c.trickle_at++;
        return;
    }
    c.trickle.clear();
    c.written++;
    k.n.trickled++;
    expect_answer(k, c, c.trickle_id, false);
}

// Whether the client has finished with its connection: nothing owed to it,
// nothing half written, and its role played out or a new one waiting.
bool client_done(const Soak &k, const SoakClient &c)
{
    if (!c.outstanding.empty() || !c.trickle.empty())
        return false;
    switch (c.role) {
    case Role::Ordinary:
        return c.next_role != Role::Ordinary || !k.loading;
    case Role::Trickle:
        return c.written >= kTrickleRequests || !k.loading;
    case Role::Probe:
        return c.written > 0;
    default:
        return false;  // these end when their connection does
    }
}

void drive_ordinary(Soak &k, SoakClient &c)
{
    while (k.loading && c.next_role == Role::Ordinary && c.outstanding.size() < kWindow) {
        if (!write_request(k, c, Wait::Answer))
            break;
    }
}

// Probe: a probe, then a request that is answered while the probe waits.
void drive_probe(Soak &k, SoakClient &c)
{
    if (c.written == 0 && write_request(k, c, Wait::Expiry))
        write_request(k, c, Wait::Answer);
}

// Takes one answer (NULL: undecodable): a second answer to a request, or
// one that is not the right answer to a request this client waits for, is
// counted as such.
void take_answer(Soak &k, SoakClient &c, PXD doc)
{
    int id = doc ? doc->requst_id : -1;
    auto index = static_cast<size_t>(id);
    auto it = c.outstanding.find(id);
    if (id > 0 && index < k.answered.size() && k.answered[index]) {
        k.n.duplicates++;
        TRACE(0, kSip, "soak: request %d answered twice", id);
        return;
    }
    if (it == c.outstanding.end() || it->second.probe || !response_matches(k.s, doc)) {
        k.n.wrong++;
        TRACE(0, kSip, "soak: slot %d got a wrong answer (id %d)", c.slot, id);
        return;
    }
    k.n.answered++;
    k.n.with_cause += expected_cause(k.s, id) != 0;
    k.rtt.add(Clock::now() - it->second.sent);
    if (k.answered.size() <= index)
        k.answered.resize(index * 2, false);
    k.answered[index] = true;
    Zor_New_Timer_Stop(g_event_timers, c.slot, id, 0);
    c.outstanding.erase(it);
}

// Takes the answers a client has received; the server's close ends the
// connection.
void client_read(Soak &k, SoakClient &c)
{
    int received = for_each_sip_body(c.conn, k.n.cut, [&k, &c](PXD doc) { take_answer(k, c, doc); });
    if (received != 0)
        return;
    if (c.role == Role::HalfClose && c.outstanding.empty())
        k.n.half_closes++;
    close_client(k, c);
}

// One turn of a client: connect, write as its role says, read, retire.
void client_turn(Soak &k, SoakClient &c)
{
    if (c.conn == nullptr) {
        if (k.loading)
            open_client(k, c);
        return;
    }
    if (!c.connected) {
        finish_connect(k, c);
        if (!c.connected)
            return;
    }
    static void (*const drive[])(Soak &, SoakClient &) = {drive_ordinary,   drive_reset,   drive_stuck,
                                                          drive_half_close, drive_trickle, drive_probe};
    drive[static_cast<int>(c.role)](k, c);  // in the order of Role
    if (c.conn == nullptr)
        return;
    if (static_cast<PTCP_SOCKFD_ST>(c.conn)->send_len > 0)
        Tcp_Fc_Loop_Send(c.conn, 1 << 20);
    bool reads = c.role != Role::Reset && c.role != Role::Stuck;
    if (reads && (c.revents & (POLLIN | POLLHUP | POLLERR)))
        client_read(k, c);
    if (c.conn != nullptr && client_done(k, c))
        close_client(k, c);
}

// Every fault period the next client in turn plays the next faulty role on
// its next connection.
void schedule_fault(Soak &k)
{
    static const Role faults[] = {Role::Reset, Role::HalfClose, Role::Trickle, Role::Stuck, Role::Probe};
    if (!k.loading || Clock::now() < k.next_fault)
        return;
    k.next_fault += kFaultEvery;
    SoakClient &c = k.clients[k.fault_slot++ % k.clients.size()];
    if (c.role == Role::Ordinary && c.next_role == Role::Ordinary)
        c.next_role = faults[k.fault_kind++ % std::size(faults)];
}

// Server side -------------------------------------------------------------

void accept_peers(Soak &k)
{
    PTCP_TH conn;
    while (Tcp_Fc_Server_Accept(k.listener, &conn) == 0) {
        Tcp_Fc_Set_Send_Recv_Buf_Size(conn, kSendBound, 1 << 20);
        Tcp_Fc_Set_Sock_Opt(conn, 0, kSocketSendBuffer);
        k.peers[k.next_serial++].conn = conn;
    }
}

// Cuts the requests a connection has sent and hands them to the worker;
// probes stay unanswered.
void peer_read(Soak &k, long serial, SoakPeer &p)
{
    int received = for_each_sip_body(p.conn, k.n.cut, [&k, &p, serial](PXD doc) {
        if (doc == nullptr) {
            TRACE(0, kSip, "soak: undecodable request on connection %ld", serial);
            return;
        }
        if (std::string(doc->type) == "probe")
            return;
        Request req;
        req.id = doc->requst_id;
        snprintf(req.callee, sizeof req.callee, "%s", Xml_Get_Str(doc, const_cast<char *>("callee"), nullptr));
        if (Message_Post(kBoxWorker, kBoxServer, kMailRequest, &req, sizeof req) == -1)
            return;
        k.owner[req.id] = serial;
        p.owed++;
    });
    p.peer_closed = p.peer_closed || received == 0;
}

// Queues the worker's answers on the connections their requests came on. A
// connection whose send list refuses an answer has stopped reading: it is
// dropped.
void send_answers(Soak &k)
{
    static char text[15000];
    int src, id, len;
    while (Message_Get(kBoxServer, &src, &id, text, &len) == 1) {
        auto owner = k.owner.find(id);
        auto peer = owner == k.owner.end() ? k.peers.end() : k.peers.find(owner->second);
        if (owner != k.owner.end())
            k.owner.erase(owner);
        if (peer == k.peers.end()) {
            k.n.orphan_answers++;
            continue;
        }
        SoakPeer &p = peer->second;
        p.owed--;
        bool queued = queue_text(p.conn, answer_message(id, text, len), k.down);
        int held = static_cast<PTCP_SOCKFD_ST>(p.conn)->send_len;
        k.n.send_peak = std::max(k.n.send_peak, held);
        if (queued)
            continue;
        k.n.stuck_dropped++;
        k.n.send_at_refusal = std::max(k.n.send_at_refusal, held);
        TRACE(2, kSip, "soak: connection %ld stopped reading, %d bytes wait to be sent: dropped", peer->first, held);
        Tcp_Fc_Socket_Close(p.conn);
        k.peers.erase(peer);
    }
}

// One turn of the server: accept, read, answer, send, and close what is
// finished: a peer that is gone, or one that has closed its side and has
// had every answer.
void server_turn(Soak &k)
{
    accept_peers(k);
    for (auto &[serial, p] : k.peers) {
        if (!p.peer_closed && (p.revents & (POLLIN | POLLHUP | POLLERR)))
            peer_read(k, serial, p);
    }
    send_answers(k);
    for (auto it = k.peers.begin(); it != k.peers.end();) {
        SoakPeer &p = it->second;
        auto *rec = static_cast<PTCP_SOCKFD_ST>(p.conn);
        if (rec->send_len > 0)
            Tcp_Fc_Loop_Send(p.conn, 1 << 20);
        bool gone = (p.revents & (POLLHUP | POLLERR)) != 0;
        if (gone || (p.peer_closed && p.owed == 0 && rec->send_len == 0)) {
            Tcp_Fc_Socket_Close(p.conn);
            it = k.peers.erase(it);
        } else {
            ++it;
        }
    }
}

// The loop ---------------------------------------------------------------

void poll_all(Soak &k)
{
    std::vector<pollfd> fds;
    auto watch = [&fds](int fd, bool writing) {
        fds.push_back(pollfd{fd, static_cast<short>(POLLIN | POLLRDHUP | (writing ? POLLOUT : 0)), 0});
    };
    for (const SoakClient &c : k.clients) {
        if (c.conn != nullptr)
            watch(sockfd_of(c.conn), !c.connected || static_cast<PTCP_SOCKFD_ST>(c.conn)->send_len > 0);
    }
    for (const auto &[serial, p] : k.peers)
        watch(sockfd_of(p.conn), static_cast<PTCP_SOCKFD_ST>(p.conn)->send_len > 0);
    watch(k.listener, false);
    watch(k.log.listener, false);  // -1 when the log goes elsewhere: poll skips it
    poll(fds.data(), fds.size(), 1);
    size_t i = 0;
    for (SoakClient &c : k.clients)
        c.revents = c.conn != nullptr ? fds[i++].revents : 0;
    for (auto &[serial, p] : k.peers)
        p.revents = fds[i++].revents;
}

void soak_turn(Soak &k)
{
    poll_all(k);
    Zor_New_Timer_Run(g_event_timers);
    schedule_fault(k);
    for (SoakClient &c : k.clients)
        client_turn(k, c);
    server_turn(k);
    drain_log_listener(k.log, k.log_datagrams);
}

bool soak_idle(const Soak &k)
{
    for (const SoakClient &c : k.clients) {
        if (c.conn != nullptr)
            return false;
    }
    return k.peers.empty() && k.owner.empty();
}

// Runs the load for the given time, then lets every client finish and
// every connection close. False when that did not happen in time.
bool soak_phase(Soak &k, std::chrono::milliseconds length)
{
    k.loading = true;
    auto start = Clock::now();
    long messages = k.up.messages + k.down.messages;
    k.next_fault = start + kFaultEvery;
    while (Clock::now() < start + length)
        soak_turn(k);
    k.loading = false;
    k.load_seconds += std::chrono::duration<double>(Clock::now() - start).count();
    k.load_messages += k.up.messages + k.down.messages - messages;
    auto give_up = Clock::now() + std::chrono::seconds(kAnswerSeconds + 3);
    while (!soak_idle(k) && Clock::now() < give_up)
        soak_turn(k);
    bool idle = soak_idle(k);
    for (SoakClient &c : k.clients) {
        if (c.conn != nullptr)
            close_client(k, c);
    }
    for (auto &[serial, p] : k.peers)
        Tcp_Fc_Socket_Close(p.conn);
    k.peers.clear();
    return idle;
}

struct SoakResult {
    bool idle = false;
    Usage start, end;
};

// What must hold for the soak to pass; each failure is printed.
bool soak_verdict(const Soak &k, const SoakResult &r)
{
    const SoakCounts &n = k.n;
    struct Check {
        bool ok;
        const char *what;
    } checks[] = {
        {r.idle, "every connection closed and every answer returned in time"},
        {n.lost == 0, "no accepted request lost"},
        {n.duplicates == 0, "no request answered twice"},
        {n.wrong == 0, "no request answered wrongly"},
        {n.sent == n.answered + n.probes_timed_out + n.lost, "every request accounted for"},
        {n.send_peak <= kSendBound, "send lists within max_send_len"},
        {n.stuck_unnoticed == 0, "every peer that stopped reading was dropped"},
        {n.resets > 0 && n.stuck_dropped > 0 && n.half_closes > 0 && n.trickled > 0 && n.probes_timed_out > 0,
         "every fault injected"},
        {r.end.fds <= r.start.fds + kFdMargin, "descriptors within the margin"},
        {r.end.rss_kib <= r.start.rss_kib + kRssMarginKiB, "resident memory within the margin"},
    };
    bool ok = true;
    for (const Check &c : checks) {
        if (!c.ok)
            printf("  FAILED: %s\n", c.what);
        ok = ok && c.ok;
    }
    return ok;
}

void soak_summary(const Soak &k, const SoakResult &r, bool ok)
{
    const SoakCounts &n = k.n;
    printf("\nlibbase soak: %s, %zu connections, %.1f s of load on 127.0.0.1\n\n", LibBase_GetLibVersion(),
           k.clients.size(), k.load_seconds);
    printf("  messages     %ld requests and %ld answers, %.0f msgs/s under load\n", k.up.messages, k.down.messages,
           static_cast<double>(k.load_messages) / k.load_seconds);
    printf("  round trip   p50 %.2f ms, p90 %.2f ms, p99 %.2f ms, max %.2f ms\n", k.rtt.percentile_ms(0.5),
           k.rtt.percentile_ms(0.9), k.rtt.percentile_ms(0.99), k.rtt.percentile_ms(1));
    printf("  requests     %ld expecting an answer: %ld answered (%ld with a release cause), %ld of %ld\n"
           "               probes timed out as they should; lost %ld, answered twice %ld, wrongly %ld\n",
           n.sent, n.answered, n.with_cause, n.probes_timed_out, n.probes, n.lost, n.duplicates, n.wrong);
    printf("  faults       %ld resets mid-message, %ld half closes answered in full, %ld requests written\n"
           "               byte by byte, %ld peers that stopped reading dropped (send list %d bytes at the\n"
           "               refusal, at most %d of max_send_len %d)\n",
           n.resets, n.half_closes, n.trickled, n.stuck_dropped, n.send_at_refusal, n.send_peak, kSendBound);
    printf("  connections  %ld opened, %ld failed to connect; %ld answers came after their connection closed\n",
           n.connects, n.connect_failures, n.orphan_answers);
    printf("  descriptors  start %d, end %d (margin %d)\n", r.start.fds, r.end.fds, kFdMargin);
    printf("  resident     start %ld KiB, end %ld KiB (margin %ld KiB)\n", r.start.rss_kib, r.end.rss_kib,
           kRssMarginKiB);
    printf("  (start: after a warm-up of the whole load; both with no connection open)\n");
    printf("\n%s\n", ok ? "OK: soak passed" : "FAILED: soak");
}

} // namespace

// The soak: a warm-up with the whole load, the start figures, the load for
// the given time, the end figures.
int run_soak(const Settings &s, const LogSetup &log, int seconds, int connections)
{
    Soak k;
    k.s = s;
    k.s.lose_request = 0;  // every request is answered; probes are the ones that are not
    k.log = log;
    k.seconds = seconds;
    MT_Log_SetLevel(4);  // faults and findings; not a line per request
    g_soak = &k;
    g_event_timers = Zor_New_Timer_Malloc(connections, 1023);
    if (Tcp_Fc_Server_Create(0, &k.listener) != 0 || g_event_timers == nullptr) {
        printf("cannot start the soak's server\n");
        return 1;
    }
    k.clients.resize(static_cast<size_t>(connections));
    for (int i = 0; i < connections; i++)
        k.clients[static_cast<size_t>(i)].slot = i;
    WorkerStats stats;
    std::thread worker_thread(worker, std::cref(k.s), std::ref(stats));
    TRACE(4, kSip, "soak started: %d s, %d connections", k.seconds, connections);

    SoakResult r;
    auto warm_up = std::chrono::milliseconds(std::min(2000, k.seconds * 100));
    bool warm = soak_phase(k, warm_up);
    r.start = measure_usage();
    r.idle = soak_phase(k, std::chrono::milliseconds(k.seconds * 1000) - warm_up) && warm;
    r.end = measure_usage();

    Message_Post(kBoxWorker, kBoxServer, kMailStop, const_cast<char *>(""), 0);
    worker_thread.join();
    Tcp_Socket_Close(k.listener);
    bool ok = soak_verdict(k, r);
    TRACE(ok ? 4 : 0, kSip, "soak finished: %s", ok ? "passed" : "FAILED");
    drain_log_listener(k.log, k.log_datagrams);
    Net_Udp_Close();
    soak_summary(k, r, ok);
    return ok ? 0 : 1;
}

} // namespace demo

#ifdef __SANITIZE_ADDRESS__
// Freed blocks wait in the sanitizer's quarantine before reuse, 256 MiB of
// them by default; a small quarantine keeps resident memory about the
// program. ASAN_OPTIONS given to the process still win.
extern "C" const char *__asan_default_options()
{
    return "quarantine_size_mb=8";
}
#endif
