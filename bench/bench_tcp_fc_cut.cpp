// Cutting throughput over a loopback connection: a peer thread writes a
// stream of TPKT frames or SIP messages; the reader cuts and takes every
// message. Next to each, a plain recv() loop over the same kind of socket
// pair with the same buffer size reads the same stream.
#include <benchmark/benchmark.h>

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <random>
#include <string>
#include <thread>

#include "tcp_fc_cut.h"

namespace {

constexpr size_t kStreamBytes = 4 << 20;

// A framed connection accepted from a blocking raw peer socket.
struct Loopback {
    Loopback()
    {
        server = Tcp_Server_Create_Bind_Ip(const_cast<char *>("127.0.0.1"), 0);
        sockaddr_in sa{};
        socklen_t len = sizeof sa;
        getsockname(server, reinterpret_cast<sockaddr *>(&sa), &len);
        peer = socket(AF_INET, SOCK_STREAM, 0);
        connect(peer, reinterpret_cast<sockaddr *>(&sa), sizeof sa);
        pollfd p = {server, POLLIN, 0};
        poll(&p, 1, 2000);
        Tcp_Fc_Server_Accept(server, &fc);
        fd = static_cast<PTCP_SOCKFD_ST>(fc)->sockfd;
    }
    ~Loopback()
    {
        Tcp_Fc_Socket_Close(fc);
        close(peer);
        close(server);
    }
    void wait_readable() const
    {
        pollfd p = {fd, POLLIN, 0};
        poll(&p, 1, 2000);
    }
    int server = -1, peer = -1, fd = -1;
    PTCP_TH fc = nullptr;
};

void write_all(int fd, const std::string &s)
{
    for (size_t done = 0; done < s.size();) {
        ssize_t n = send(fd, s.data() + done, s.size() - done, MSG_NOSIGNAL);
        if (n <= 0)
            return;
        done += static_cast<size_t>(n);
    }
}

// Frames with bodies of 50 to 1500 bytes; count receives the number.
std::string tpkt_stream(size_t *count)
{
    std::mt19937 rng(1);
    std::string s;
    for (*count = 0; s.size() < kStreamBytes; ++*count) {
        size_t len = 4 + 50 + rng() % 1451;
        s += std::string{3, 0, static_cast<char>(len >> 8), static_cast<char>(len & 0xFF)};
        s += std::string(len - 4, 'p');
    }
    return s;
}

// Messages of 500 to 3000 bytes with XML bodies.
std::string sip_stream(size_t *count)
{
    const std::string head = "Command sip:dev@host SIP/2.0\r\nCSeq: 1\r\nContent-Length: ";
    const std::string open = "<?xml version=\"1.0\" encoding=\"gb2312\"?>\r\n<request id=\"1\" type=\"t\">\r\n";
    const std::string item = "\t<item source=\"x\">0123456789</item>\r\n";
    const std::string close = "</request>\r\n";
    std::mt19937 rng(2);
    std::string s;
    for (*count = 0; s.size() < kStreamBytes; ++*count) {
        size_t size = 500 + rng() % 2501;
        std::string body = open;
        while (head.size() + 8 + body.size() + item.size() + close.size() <= size)
            body += item;
        body += close;
        body += std::string(size - std::min(size, head.size() + 8 + body.size()), ' ');
        s += head + std::to_string(body.size()) + "\r\n\r\n" + body;
    }
    return s;
}

template <typename Read>
void run(benchmark::State &state, const std::string &stream, Read read)
{
    Loopback link;
    for (auto _ : state) {
        std::thread writer([&] { write_all(link.peer, stream); });
        read(link);
        writer.join();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * stream.size()));
}

void plain_recv(benchmark::State &state, const std::string &stream, size_t buffer_size)
{
    std::string buf(buffer_size, '\0');
    run(state, stream, [&](Loopback &link) {
        for (size_t got = 0; got < stream.size();) {
            link.wait_readable();
            ssize_t n = recv(link.fd, buf.data(), buf.size(), MSG_DONTWAIT);
            if (n > 0)
                got += static_cast<size_t>(n);
        }
    });
}

void BM_TpktCut(benchmark::State &state)
{
    size_t count;
    std::string stream = tpkt_stream(&count);
    static char body[20000];
    run(state, stream, [&](Loopback &link) {
        unsigned char reserved;
        for (size_t taken = 0; taken < count;) {
            link.wait_readable();
            Tcp_Cut_Tpkt_Recv_Cut(link.fc);
            while (Tcp_Cut_Tpkt_Get_One_Msg_Bin_Head(link.fc, body, sizeof body, &reserved) >= 0)
                taken++;
        }
    });
    state.counters["msgs"] = benchmark::Counter(static_cast<double>(count * state.iterations()),
                                                benchmark::Counter::kIsRate);
}

void BM_TpktPlainRecv(benchmark::State &state)
{
    size_t count;
    plain_recv(state, tpkt_stream(&count), 20000);
}

void BM_SipCut(benchmark::State &state)
{
    size_t count;
    std::string stream = sip_stream(&count);
    static char msg[12288];
    run(state, stream, [&](Loopback &link) {
        for (size_t taken = 0; taken < count;) {
            link.wait_readable();
            Tcp_Cut_Sip_Recv_Cut(link.fc);
            while (Tcp_Cut_Sip_Get_One_Msg_Sip_Head(link.fc, msg, sizeof msg) >= 0)
                taken++;
        }
    });
    state.counters["msgs"] = benchmark::Counter(static_cast<double>(count * state.iterations()),
                                                benchmark::Counter::kIsRate);
}

void BM_SipPlainRecv(benchmark::State &state)
{
    size_t count;
    plain_recv(state, sip_stream(&count), 12288);
}

} // namespace

BENCHMARK(BM_TpktCut)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TpktPlainRecv)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SipCut)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SipPlainRecv)->UseRealTime()->Unit(benchmark::kMillisecond);
