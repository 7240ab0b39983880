// loopback.h - drives a cutter through a real loopback connection: a plain
// client socket writes the input in chunks whose sizes come from the input,
// the library's record of the accepted side receives and cuts after each
// chunk, every message is pulled and echoed back, then the client half
// closes and both sides drain.
//
// A model of the cutter, fed with exactly the bytes each receive took, says
// which messages must come out and what tail must be kept. The record's
// fields are part of the library's interface, so the model reads them.
#pragma once

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <deque>

#include "support.h"
#include "tcp.h"
#include "tcp_fc_cut.h"

// What a harness supplies for its cutter.
struct Cutter {
    int buffer_size;  // bytes one receive may hold, old tail included
    int (*recv_cut)(PTCP_TH);
    // Cuts data (old tail plus new bytes) the way the library must:
    // appends whole messages to out and returns the tail to keep.
    std::string (*cut)(const std::string &data, std::deque<std::string> *out);
    // Pulls the oldest message, which must be msg, in the way chosen by
    // how; returns the bytes to echo, empty when the message was dropped.
    std::string (*pull)(PTCP_TH th, const std::string &msg, uint32_t how);
    // Sends the echo of one message from the record; the result of the
    // sending call: the message's size when sent or queued, the bytes sent
    // when the send list refused the rest, -1 when it refused it all.
    int (*echo)(PTCP_TH th, const std::string &msg);
    void (*set_print)(int flg);  // the cutter's print switch
};

namespace loopback {

// Waits for events on fd; the fuzzer's timer signal may cut a wait short.
inline bool wait_for(int fd, short events, int ms = 5000)
{
    pollfd p = {fd, events, 0};
    int r;
    while ((r = poll(&p, 1, ms)) < 0 && errno == EINTR) {
    }
    return r == 1;
}

// The library's listening socket on an ephemeral port, opened once.
inline int listener(int *port)
{
    static int fd = -1, bound = 0;
    if (fd < 0) {
        FUZZ_CHECK(Tcp_Fc_Server_Create(0, &fd) == 0);
        sockaddr_in sa{};
        socklen_t len = sizeof sa;
        getsockname(fd, reinterpret_cast<sockaddr *>(&sa), &len);
        bound = ntohs(sa.sin_port);
    }
    *port = bound;
    return fd;
}

// A plain non-blocking client connected to the listener. A connect cut
// short by a signal goes on in the background: wait for it.
inline int connect_client(int port)
{
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    FUZZ_CHECK(fd >= 0);
    sockaddr_in sa{};
    sa.sin_family = AF_INET;
    sa.sin_port = htons(static_cast<uint16_t>(port));
    sa.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(fd, reinterpret_cast<sockaddr *>(&sa), sizeof sa) != 0) {
        FUZZ_CHECK(errno == EINTR || errno == EINPROGRESS);
        FUZZ_CHECK(wait_for(fd, POLLOUT));
        int err = 0;
        socklen_t len = sizeof err;
        getsockopt(fd, SOL_SOCKET, SO_ERROR, &err, &len);
        FUZZ_CHECK(err == 0);
    }
    fcntl(fd, F_SETFL, O_NONBLOCK);
    return fd;
}

// Closes with a reset, so that no port is left in TIME_WAIT.
inline void reset_close(int fd)
{
    linger lg = {1, 0};
    setsockopt(fd, SOL_SOCKET, SO_LINGER, &lg, sizeof lg);
    close(fd);
}

// One connection's run. The options word picks the kernel buffer sizes (bit
// 0), the largest chunk (bits 1 to 3), the print switch (bit 4), a send list
// bound (bit 5, the bound in bits 20 to 31) and the seed of the choices made
// along the way (all of it).
class Run {
public:
    Run(const Cutter &cutter, uint32_t options) : c_(cutter), rng_(options | 1)
    {
        int port;
        int server = listener(&port);
        client_ = connect_client(port);
        FUZZ_CHECK(wait_for(server, POLLIN));
        FUZZ_CHECK(Tcp_Fc_Server_Accept(server, &th_) == 0);
        rec_ = static_cast<PTCP_SOCKFD_ST>(th_);
        // Small writes go out at once both ways: no waiting on delayed ACKs.
        int on = 1;
        setsockopt(client_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        setsockopt(rec_->sockfd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        // Small kernel buffers on the way back make the echo queue up; a
        // small send list bound makes the queue refuse some of it.
        if (options & 1) {
            int small = 4096;
            Tcp_Fc_Set_Sock_Opt(th_, 0, small);
            setsockopt(client_, SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
        }
        if (options & 0x20)
            Tcp_Fc_Set_Send_Recv_Buf_Size(th_, static_cast<int>(options >> 20), rec_->max_recv_len);
        // Chunks of at most 1, 16, 512, 4096 or 30000 bytes.
        static const size_t kCaps[] = {1, 16, 512, 4096, 30000};
        cap_ = kCaps[((options >> 1) & 7) % 5];
        c_.set_print((options >> 4) & 1);  // the received data dumped, to nowhere
    }
    ~Run()
    {
        int fd = rec_->sockfd;
        reset_close(client_);
        FUZZ_CHECK(Tcp_Fc_Socket_Close(th_) == 0);
        FUZZ_CHECK(fcntl(fd, F_GETFD) == -1);  // the socket went with the record
    }
    Run(const Run &) = delete;
    Run &operator=(const Run &) = delete;

    // Feeds stream in chunks, then half closes and drains both ways.
    void feed(const std::string &stream)
    {
        stream_ = stream;
        size_t cap = std::max(cap_, stream.size() / 100 + 1);  // a hundred chunks or so at most
        size_t sent = 0;
        while (sent < stream.size() && !stalled_) {
            size_t chunk = std::min(1 + next() % cap, stream.size() - sent);
            sent += write_some(stream.data() + sent, chunk);
            while (taken_ < sent && !stalled_)
                receive();
            read_echo();
        }
        FUZZ_CHECK(shutdown(client_, SHUT_WR) == 0);
        shut_ = true;
        while (!closed_)
            receive();
        FUZZ_CHECK(taken_ == sent || stalled_);
        drain_echo();
    }

private:
    uint32_t next()
    {
        rng_ = rng_ * 1103515245u + 12345u;
        return rng_ >> 8;
    }

    size_t write_some(const char *p, size_t n)
    {
        ssize_t r = send(client_, p, n, MSG_NOSIGNAL | MSG_DONTWAIT);
        FUZZ_CHECK(r > 0 || errno == EAGAIN || errno == EINTR);
        return r > 0 ? static_cast<size_t>(r) : 0;
    }

    // One receive and cut, checked against the model, then every message
    // pulled and echoed.
    void receive()
    {
        FUZZ_CHECK(wait_for(rec_->sockfd, POLLIN));
        int n = static_cast<int>(tail_.size());
        int r = c_.recv_cut(th_);
        if (r == -1)
            return;  // nothing there yet
        if (r == 0) {
            // The peer closed, or the tail fills the whole buffer.
            stalled_ = n == c_.buffer_size;
            FUZZ_CHECK(stalled_ || shut_);
            closed_ = true;
            return;
        }
        FUZZ_CHECK(r > n && r <= c_.buffer_size);
        size_t got = static_cast<size_t>(r - n);
        FUZZ_CHECK(taken_ + got <= stream_.size());
        std::deque<std::string> msgs;
        tail_ = c_.cut(tail_ + stream_.substr(taken_, got), &msgs);
        taken_ += got;
        FUZZ_CHECK(rec_->recv_old_len == static_cast<int>(tail_.size()));
        FUZZ_CHECK(tail_.empty() || memcmp(rec_->recv_old_buf, tail_.data(), tail_.size()) == 0);
        for (const std::string &msg : msgs) {
            std::string back = c_.pull(th_, msg, next());
            if (!back.empty())
                echo(back);
        }
        FUZZ_CHECK(Fifo_GetCount(rec_->recv_msg_list) == 0 && rec_->recv_len == 0);
    }

    // What was sent or queued of msg joins the expected echo. The send list
    // may refuse only what would take it over its bound.
    void echo(const std::string &msg)
    {
        int len = static_cast<int>(msg.size());
        int queued = rec_->send_len;
        int n = c_.echo(th_, msg);
        FUZZ_CHECK(n >= -1 && n <= len);
        FUZZ_CHECK(n == len || queued + len - std::max(n, 0) > rec_->max_send_len);
        echo_ += msg.substr(0, static_cast<size_t>(std::max(n, 0)));
    }

    void read_echo()
    {
        char buf[8192];
        ssize_t r;
        while ((r = recv(client_, buf, sizeof buf, MSG_DONTWAIT)) > 0)
            echoed_.append(buf, static_cast<size_t>(r));
        Tcp_Fc_Loop_Send(th_, static_cast<int>(next() % 70000));
    }

    // Everything echoed arrives, in order, once the send list is flushed.
    // Between rounds, wait for the client to have data or, while the list
    // holds some, for the record's socket to take more.
    void drain_echo()
    {
        while (echoed_.size() < echo_.size()) {
            Tcp_Fc_Loop_Send(th_, 1 << 30);
            pollfd p[2] = {{client_, POLLIN, 0}, {rec_->sockfd, POLLOUT, 0}};
            nfds_t n = Fifo_GetCount(rec_->send_buf_list) > 0 ? 2 : 1;
            int r;
            while ((r = poll(p, n, 5000)) < 0 && errno == EINTR) {
            }
            FUZZ_CHECK(r > 0);
            read_echo();
        }
        FUZZ_CHECK(echoed_ == echo_);
        FUZZ_CHECK(Fifo_GetCount(rec_->send_buf_list) == 0 && rec_->send_len == 0);
    }

    const Cutter &c_;
    uint32_t rng_;
    size_t cap_;
    int client_ = -1;
    PTCP_TH th_ = nullptr;
    PTCP_SOCKFD_ST rec_ = nullptr;
    std::string stream_, tail_, echo_, echoed_;
    size_t taken_ = 0;
    bool stalled_ = false, closed_ = false, shut_ = false;
};

// The harness body: four bytes of options, then the stream.
inline int run(const Cutter &cutter, const uint8_t *data, size_t size)
{
    Input in(data, size);
    uint32_t options = in.u32();
    Run(cutter, options).feed(in.rest());
    return 0;
}

} // namespace loopback
