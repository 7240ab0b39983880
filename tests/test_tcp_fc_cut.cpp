#include "tcp_fc_cut.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "test_support.h"

using testing_support::Printed;
using Msgs = std::vector<std::string>;

namespace {

char kLoopback[] = "127.0.0.1";

bool wait_for(int fd, short events, int ms = 2000)
{
    pollfd p = {fd, events, 0};
    return poll(&p, 1, ms) == 1;
}

bool write_all(int fd, const std::string &s)
{
    return send(fd, s.data(), s.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(s.size());
}

std::string tpkt_frame(int reserved, const std::string &body)
{
    return std::string{3, char(reserved), char((body.size() + 4) >> 8), char(body.size() + 4)} + body;
}

std::string sip_msg(const std::string &tag, const std::string &body)
{
    return "Command sip:" + tag + "\r\nCSeq: 1\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

// A framed connection accepted from a raw client socket; the parameter picks the cutter: SIP (true) or TPKT.
class FcPair : public ::testing::TestWithParam<bool> {
protected:
    void SetUp() override
    {
        signal(SIGPIPE, SIG_DFL);  // a SIGPIPE would end the test
        std::string out = Printed([&] { EXPECT_EQ(Tcp_Fc_Server_Create(0, &server), 0); });
        EXPECT_EQ(out, "Creat server sockfd is success.sockfd[" + std::to_string(server) + "]\n");
        sockaddr_in sa{};
        socklen_t len = sizeof sa;
        getsockname(server, reinterpret_cast<sockaddr *>(&sa), &len);
        raw = Tcp_Connect(kLoopback, port = ntohs(sa.sin_port));
        timeval limit = {3, 0};
        fcntl(raw, F_SETFL, 0);  // blocking, for 3 s at most
        setsockopt(raw, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
        ASSERT_TRUE(wait_for(server, POLLIN));
        ASSERT_EQ(Tcp_Fc_Server_Accept(server, &fc), 0);
    }
    void TearDown() override
    {
        int fd = fc ? rec()->sockfd : -1;
        EXPECT_EQ(fc ? Tcp_Fc_Socket_Close(fc) : 0, 0);
        EXPECT_EQ(fcntl(fd, F_GETFD), -1);  // closed with the record
        close(raw);
        close(server);
    }
    PTCP_SOCKFD_ST rec() { return static_cast<PTCP_SOCKFD_ST>(fc); }

    // One receive-and-cut once data (or the peer's close) is there.
    int cut(bool sip)
    {
        wait_for(rec()->sockfd, POLLIN);
        return sip ? Tcp_Cut_Sip_Recv_Cut(fc) : Tcp_Cut_Tpkt_Recv_Cut(fc);
    }
    // Takes every whole message; TPKT bodies are framed again.
    void take(bool sip, Msgs &got)
    {
        static char buf[70000];
        unsigned char reserved = 0;
        for (int n; (n = sip ? Tcp_Cut_Sip_Get_One_Msg_Sip_Head(fc, buf, sizeof buf)
                             : Tcp_Cut_Tpkt_Get_One_Msg_Bin_Head(fc, buf, sizeof buf, &reserved)) >= 0;)
            got.push_back(sip ? std::string(buf, n) : tpkt_frame(reserved, std::string(buf, n)));
    }
    // Takes, then cuts and takes until count messages are there or nothing more comes.
    Msgs collect(bool sip, size_t count, Msgs got = {})
    {
        for (take(sip, got); got.size() < count && wait_for(rec()->sockfd, POLLIN, 3000) && cut(sip) != 0;)
            take(sip, got);
        return got;
    }

    int server = -1, port = 0, raw = -1;
    PTCP_TH fc = nullptr;
};

INSTANTIATE_TEST_SUITE_P(TpktAndSip, FcPair, ::testing::Values(false, true));

} // namespace

TEST_F(FcPair, ConnectsRefusalAndBadArguments)
{
    PTCP_TH h = nullptr;
    timeval tv{};
    socklen_t len = sizeof tv;
    ASSERT_EQ(Tcp_Fc_Connect_Wait_By_Time(kLoopback, port, &h, 7), 0);
    getsockopt(static_cast<PTCP_SOCKFD_ST>(h)->sockfd, SOL_SOCKET, SO_SNDTIMEO, &tv, &len);
    EXPECT_EQ(tv.tv_sec, 7);
    EXPECT_EQ(Tcp_Fc_Socket_Close(h), 0);
    for (int expect : {1, 3}) {  // connected; refused once nobody listens, on every later poll
        SCOPED_TRACE(expect == 1 ? "to a listener" : "to nobody");
        Printed([&] { EXPECT_EQ(Tcp_Fc_Connect_Non_Lock(kLoopback, port, &h), 0); });
        auto r = static_cast<PTCP_SOCKFD_ST>(h);
        int result = 2;
        for (int i = 0; i < 200 && result == 2; i++, wait_for(r->sockfd, POLLOUT))
            result = Tcp_Fc_Select_Non_Lock_By_TH(h);
        for (int i = 0; i < 3; i++, result = Tcp_Fc_Select_Non_Lock_By_TH(h)) {
            EXPECT_EQ(result, expect);
            EXPECT_EQ(r->socket_status, expect == 1 ? CONNECTED : CONNECT_REFUSE);
        }
        char data[] = "data";  // sent, nothing to receive; not connected, all three fail
        EXPECT_EQ(Tcp_Fc_Socket_Send(h, data, 4), expect == 1 ? 4 : -1);
        EXPECT_EQ(Tcp_Cut_Tpkt_Recv_Cut(h), -1);
        EXPECT_EQ(Tcp_Fc_Socket_Recv(h, data, 4), -1);
        EXPECT_EQ(Tcp_Fc_Socket_Close(h), 0);
        close(std::exchange(server, -1));
    }

    std::string body(65532, 'm'), want;
    unsigned char reserved = 0;
    std::string out = Printed([&] {  // the last two quietly
        EXPECT_EQ(Tcp_Fc_Socket_Close(nullptr), -1);
        EXPECT_EQ(Tcp_Fc_Connect_Wait_By_Time(kLoopback, 1, &h, -1), -1);
        EXPECT_EQ(Tcp_Fc_Connect_Non_Lock(nullptr, 1, &h), -1);
        EXPECT_EQ(Tcp_Fc_Socket_Recv(nullptr, body.data(), 8), -1);
        EXPECT_EQ(Tcp_Fc_Socket_Send(nullptr, body.data(), 8), -1);
        EXPECT_EQ(Tcp_Fc_Loop_Send(nullptr, 8), -1);
        EXPECT_EQ(Tcp_Fc_Set_Send_Recv_Buf_Size(nullptr, 1, 1), -1);
        EXPECT_EQ(Tcp_Fc_Server_Accept(3, nullptr), -1);
        EXPECT_EQ(Tcp_Cut_Tpkt_Recv_Cut(nullptr), -1);
        EXPECT_EQ(Tcp_Cut_Sip_Recv_Cut(nullptr), -1);
        EXPECT_EQ(Tcp_Cut_Tpkt_Get_One_Msg_Bin_Head(fc, nullptr, 5, &reserved), -1);
        EXPECT_EQ(Tcp_Cut_Tpkt_Send_One_Msg_Bin_Head(fc, 0, body.data(), 65532), -1);
        EXPECT_EQ(Tcp_Cut_Tpkt_Send_One_Msg_Bin_Head(fc, 0, body.data(), 0), -1);
        EXPECT_EQ(Tcp_Fc_Select_Non_Lock_By_TH(nullptr), -1);
        EXPECT_EQ(Tcp_Fc_Select_Non_Lock(-1, &port), -1);
    });
    for (const char *func :
         {"Tcp_Socket_Close", "Tcp_Fc_Connect", "Tcp_Fc_Connect", "Tcp_Fc_Socket_Send", "Tcp_Fc_Socket_Send",
          "Tcp_Fc_Loop_Send", "Tcp_Fc_Set_Send_Buf_Size", "Tcp_Fc_Server_Accept", "Tcp_Fc_Recv_Cut_Msg_Bin",
          "Tcp_Fc_Recv_Cut_Msg_Bin", "Tcp_Fc_Socket_Recv_OneMsg_By_Bin_Head", "Tcp_Cut_Tpkt_Send_One_Msg_Bin_Head",
          "Tcp_Cut_Tpkt_Send_One_Msg_Bin_Head"})
        want += std::string("The input is error ! In funtion ") + func + "\n";
    EXPECT_EQ(out, want);
}

TEST_F(FcPair, PartialSendsQueueInOrderWithinTheLimitAndDrain)
{
    Tcp_Fc_Set_Sock_Opt(fc, 0, 4096);
    EXPECT_EQ(Tcp_Fc_Loop_Send(fc, 1), -2);  // empty list
    std::string sent;
    for (int i = 0; i < 40; i++) {
        sent += static_cast<char>(i) + std::string(9999, static_cast<char>('A' + i % 26));
        EXPECT_EQ(Tcp_Fc_Socket_Send(fc, &sent[i * 10000], 10000), 10000);
    }
    int r = 0;  // the peer does not read: the rest waits in the list
    for (int i = 0; i < 100 && r != -1; i++)
        r = Tcp_Fc_Loop_Send(fc, 1 << 30);
    EXPECT_EQ(r, -1);  // the kernel takes nothing more
    int held = rec()->send_len;
    Tcp_Fc_Set_Send_Recv_Buf_Size(fc, held + 20, 1 << 20);
    EXPECT_EQ(Tcp_Fc_Socket_Send(fc, sent.data(), 30), -1);  // over the byte limit: lost
    EXPECT_EQ(Tcp_Fc_Socket_Send(fc, sent.data(), 20), 20);
    EXPECT_EQ(rec()->send_len, held + 20);
    sent += sent.substr(0, 20);

    std::string received;
    char buf[65536];
    while (received.size() < sent.size() && wait_for(raw, POLLIN)) {
        received.append(buf, std::max<ssize_t>(recv(raw, buf, sizeof buf, MSG_DONTWAIT), 0));
        Tcp_Fc_Loop_Send(fc, 1 << 30);
    }
    EXPECT_TRUE(received == sent);
    EXPECT_EQ(rec()->send_len, 0);
}

TEST_P(FcPair, EverySplitThenDumpAndPeerClose)
{
    // TPKT: junk, a length-2 header (the scan resumes inside it), a dropped 6-byte frame, the shortest and longest
    // delivered ones. SIP: junk, a negative length (dropped up to its line end), an empty body.
    bool sip = GetParam();
    Msgs want = sip ? Msgs{sip_msg("a@1", "<?xml version=\"1.0\"?>\r\n<r/>\r\n"), sip_msg("b@2", ""),
                           sip_msg("c@3", std::string(3000, 'c'))}
                    : Msgs{tpkt_frame(0, "ABC"), tpkt_frame(2, "xyz"), tpkt_frame(0xFF, std::string(19996, 'b'))};
    std::string stream = sip ? "jk\r\nCommand sip:x\r\nContent-Length: -5\r\n\r\n" + want[0] + want[1] + "in" + want[2]
                       : std::string("\0\0\3\0\0\2", 6) + want[0] + tpkt_frame(1, "xy") + want[1] + "\7" + want[2];
    for (size_t chunk : {1, 2, 3, 5, 64, 100000}) {  // written in chunks, cut and taken after each
        Msgs got;
        for (size_t at = 0; at < stream.size(); at += chunk, cut(sip), take(sip, got))
            write_all(raw, stream.substr(at, chunk));
        EXPECT_TRUE(collect(sip, want.size(), got) == want) << "chunk " << chunk;
    }
    EXPECT_EQ(rec()->recv_len, 0);
    EXPECT_EQ(rec()->recv_old_len, 0);

    // One more, dumped as it is cut, then held when the peer closes.
    std::string msg = sip ? sip_msg("p", "x") : tpkt_frame(7, "ABCDE");
    write_all(raw, msg);
    (sip ? Tcp_Cut_Sip_Set_Printf_Flg : Tcp_Cut_Tpkt_Set_Printf_Flg)(1);
    std::string out = Printed([&] { EXPECT_EQ(cut(sip), static_cast<int>(msg.size())); });
    (sip ? Tcp_Cut_Sip_Set_Printf_Flg : Tcp_Cut_Tpkt_Set_Printf_Flg)(0);
    EXPECT_EQ(out, sip ? "@@@@@@@@@@@@@@@@recv sip msg, len is 46, content is \n" + msg + "\n"
                       : "recv tpkt msg, len is 9, head is 3, reservd is 7, len is 9, content is \nABCDE\n");
    shutdown(raw, SHUT_WR);
    EXPECT_EQ(cut(sip), sip ? -1 : 0);  // a message is held: SIP says -1, TPKT 0 all the same
    EXPECT_TRUE(collect(sip, 1) == Msgs{msg});
    EXPECT_EQ(cut(sip), 0);
}

TEST_P(FcPair, OversizedMessageStallsTheReceive)
{
    bool sip = GetParam();  // more than the receive buffer holds never comes out
    write_all(raw, sip ? "Command sip:big\r\nContent-Length: 20000\r\n\r\n" + std::string(20000, 'x')
                       : tpkt_frame(4, std::string(20001, 'h')) + tpkt_frame(5, "after"));
    EXPECT_GT(cut(sip), 0);
    EXPECT_EQ(cut(sip), 0);  // the buffer is full
    EXPECT_EQ(Fifo_GetCount(rec()->recv_msg_list), 0);
    EXPECT_EQ(rec()->recv_old_len, sip ? 12288 : 20000);
}

TEST_F(FcPair, LimitsFlowControlAndSmallBuffers)
{
    std::string xml = "<?xml version=\"1.0\"?><r/>" + std::string(15, 'x');  // head 60 bytes, body 40
    std::string msg = "Command sip:split SIP/2.0\r\nContent-Length: 51\r\n\r\n" + std::string(11, 'h') + xml;
    char hbuf[128], bbuf[128];
    int hl = 0, bl = 0;
    auto get = [&](int hsize, int bsize) {  // a SIP head and XML body, each into a buffer of the size given
        hl = hsize, bl = bsize;
        return Tcp_Cut_Sip_Get_One_Msg_Xmlbody_Siphead(fc, bbuf, &bl, hbuf, &hl);
    };
    std::string stream = msg + msg + msg + sip_msg("noxml", "plain");
    write_all(raw, stream);
    EXPECT_EQ(cut(true), static_cast<int>(stream.size()));
    EXPECT_EQ(get(128, 128), 100);
    EXPECT_EQ(std::string(hbuf, hl) + "|" + std::string(bbuf, bl), msg.substr(0, 60) + "|" + xml);
    EXPECT_EQ(Printed([&] { EXPECT_EQ(get(59, 99), -1); }), "head buf len is less than sip head len ,can not copy!\n");
    EXPECT_EQ(Printed([&] { EXPECT_EQ(get(60, 39), -1); }), "body buf len is less than sip head len ,can not copy!\n");
    EXPECT_EQ(hl, 60);  // the head was copied before the body was refused
    EXPECT_EQ(Printed([&] { EXPECT_EQ(get(128, 128), -1); }), "error msg, no xml buf!\n");
    EXPECT_EQ(get(128, 128), -1);  // all gone
    EXPECT_EQ(rec()->recv_len, 0);

    std::string body(65531, 'm'), frame(65535, '\0');
    EXPECT_EQ(Tcp_Cut_Tpkt_Send_One_Msg_Bin_Head(fc, 0x42, body.data(), 65531), 65535);
    ASSERT_EQ(recv(raw, frame.data(), frame.size(), MSG_WAITALL), 65535);
    EXPECT_EQ(frame, "\x03\x42\xFF\xFF" + body);

    write_all(raw, std::string("\x03\0\0\0", 4) + tpkt_frame(1, "lost"));  // a zero length drops the rest
    EXPECT_EQ(cut(false), 12);
    Tcp_Fc_Set_Send_Recv_Buf_Size(fc, 1 << 20, 20);
    write_all(raw, tpkt_frame(1, "12345") + tpkt_frame(2, "67890") + tpkt_frame(3, "abcde"));
    EXPECT_EQ(cut(false), 27);
    write_all(raw, tpkt_frame(4, "fghij"));
    EXPECT_EQ(cut(false), -1);  // 3 frames held, 27 bytes over max_recv_len: the socket is not read
    char buf[8];
    unsigned char reserved = 0;
    EXPECT_EQ(recv(rec()->sockfd, buf, sizeof buf, MSG_PEEK | MSG_DONTWAIT), 8);
    EXPECT_EQ(Tcp_Cut_Tpkt_Get_One_Msg_Bin_Head(fc, buf, 4, &reserved), -1);  // too small: discarded
    EXPECT_EQ(rec()->recv_len, 18);
    EXPECT_EQ(Tcp_Cut_Tpkt_Get_One_Msg_Bin_Head(fc, buf, 5, &reserved), 5);
    EXPECT_EQ(std::string(buf, 5), "67890");
    EXPECT_EQ(reserved, 2);
    EXPECT_EQ(Tcp_Cut_Tpkt_Recv_Cut(fc), 9);  // 9 bytes are no longer above 20
}

// 100 000 TPKT frames (binary bodies) or 10 000 SIP messages (XML bodies) in random chunks come out whole, in order.
TEST_P(FcPair, ManyMessagesInRandomChunks)
{
    bool sip = GetParam();
    std::mt19937 rng(sip ? 3 : 1);
    Msgs msgs;
    std::string stream;
    for (int seq = 0; seq < (sip ? 10000 : 100000); stream += msgs.back(), seq++) {
        unsigned p = rng() % 1000, size = p < 2 ? 4000 + rng() % 15990 : p < 100 ? 200 + rng() % 1800 : rng() % 200;
        size = sip ? rng() % 3000 : size;  // a SIP message must fit the receive buffer
        std::string id = std::to_string(seq), body = id + "/" + std::string(size, char(sip ? 'a' + seq % 26 : seq * 7));
        msgs.push_back(sip ? sip_msg("m" + id, "<?xml version=\"1.0\"?>\r\n<r id=\"" + id + "\">" + body + "</r>\r\n")
                           : tpkt_frame(seq & 0xFF, body));
    }
    std::thread writer([&] {  // rng is the writer's from here on
        for (size_t at = 0, n = 0; at < stream.size(); at += n)
            if (!write_all(raw, stream.substr(at, n = 1 + rng() % 9000)))
                return;
    });
    Msgs got = collect(sip, msgs.size());
    shutdown(rec()->sockfd, SHUT_RDWR);  // lets the writer give up should the reader have stopped
    writer.join();
    EXPECT_TRUE(got == msgs) << got.size() << " of " << msgs.size();
    EXPECT_EQ(rec()->recv_len, 0);
    EXPECT_EQ(rec()->recv_old_len, 0);
}

TEST_F(FcPair, PeerResetMidStream)
{
    char buf[8] = "zzzzzzz";
    ASSERT_TRUE(write_all(raw, "abc"));
    ASSERT_TRUE(wait_for(rec()->sockfd, POLLIN));
    EXPECT_EQ(Tcp_Fc_Socket_Recv(fc, buf, sizeof buf), 3);  // raw, zero-filled
    EXPECT_EQ(std::string(buf, 8), std::string("abc\0\0\0\0\0", 8));

    write_all(raw, tpkt_frame(1, "whole") + tpkt_frame(2, "cut short").substr(0, 6));
    EXPECT_EQ(cut(false), 15);
    linger reset = {1, 0};
    setsockopt(raw, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
    close(std::exchange(raw, -1));
    EXPECT_EQ(cut(false), -1);
    EXPECT_EQ(errno, ECONNRESET);
    EXPECT_EQ(cut(false), 0);  // then the orderly end
    EXPECT_TRUE(collect(false, 1) == Msgs{tpkt_frame(1, "whole")});
    EXPECT_EQ(Tcp_Fc_Socket_Send(fc, buf, 4), 4);  // refused by the kernel, so queued
    EXPECT_EQ(rec()->send_len, 4);
    EXPECT_EQ(Tcp_Fc_Loop_Send(fc, 4), -1);
}
