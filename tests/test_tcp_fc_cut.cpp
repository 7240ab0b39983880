#include "tcp_fc_cut.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "mem.h"
#include "test_support.h"

using testing_support::Printed;

namespace {

char kLoopback[] = "127.0.0.1";

int local_port(int fd)
{
    sockaddr_in sa{};
    socklen_t len = sizeof sa;
    getsockname(fd, reinterpret_cast<sockaddr *>(&sa), &len);
    return ntohs(sa.sin_port);
}

bool wait_for(int fd, short events, int ms = 2000)
{
    pollfd p = {fd, events, 0};
    return poll(&p, 1, ms) == 1;
}

// Writes everything, giving up when the reader stops reading for 3 s.
bool write_all(int fd, const char *data, size_t size)
{
    for (size_t done = 0; done < size;) {
        ssize_t n = send(fd, data + done, size - done, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n > 0)
            done += static_cast<size_t>(n);
        else if (n == 0 || errno != EAGAIN || !wait_for(fd, POLLOUT, 3000))
            return false;
    }
    return true;
}

bool write_all(int fd, const std::string &bytes)
{
    return write_all(fd, bytes.data(), bytes.size());
}

std::string tpkt(unsigned char reserved, const std::string &body)
{
    size_t len = body.size() + 4;
    return std::string{3, static_cast<char>(reserved), static_cast<char>(len >> 8), static_cast<char>(len & 0xFF)} +
           body;
}

std::string sip(const std::string &tag, const std::string &body)
{
    return "Command sip:" + tag + " SIP/2.0\r\nCSeq: 1\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\n\r\n" + body;
}

using Message = std::pair<int, std::string>;  // TPKT reserved byte and body

// A framed connection accepted from a blocking raw client socket on the
// loopback interface.
class FcPair : public ::testing::Test {
protected:
    void SetUp() override
    {
        signal(SIGPIPE, SIG_DFL);  // a SIGPIPE would end the test
        std::string out = Printed([&] { EXPECT_EQ(Tcp_Fc_Server_Create(0, &server), 0); });
        EXPECT_EQ(out, "Creat server sockfd is success.sockfd[" + std::to_string(server) + "]\n");
        raw = socket(AF_INET, SOCK_STREAM, 0);
        if (raw_rcvbuf > 0)
            setsockopt(raw, SOL_SOCKET, SO_RCVBUF, &raw_rcvbuf, sizeof raw_rcvbuf);
        sockaddr_in sa{};
        sa.sin_family = AF_INET;
        sa.sin_port = htons(static_cast<uint16_t>(local_port(server)));
        sa.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ASSERT_EQ(connect(raw, reinterpret_cast<sockaddr *>(&sa), sizeof sa), 0);
        ASSERT_TRUE(wait_for(server, POLLIN));
        ASSERT_EQ(Tcp_Fc_Server_Accept(server, &fc), 0);
        EXPECT_EQ(rec()->socket_status, CONNECTED);
    }
    void TearDown() override
    {
        if (fc != nullptr) {
            int fd = rec()->sockfd;
            EXPECT_EQ(Tcp_Fc_Socket_Close(fc), 0);
            EXPECT_EQ(fcntl(fd, F_GETFD), -1);
        }
        close(raw);
        close(server);
    }
    PTCP_SOCKFD_ST rec() { return static_cast<PTCP_SOCKFD_ST>(fc); }

    // One receive-and-cut once data (or the peer's close) is there.
    int tpkt_cut()
    {
        wait_for(rec()->sockfd, POLLIN);
        return Tcp_Cut_Tpkt_Recv_Cut(fc);
    }
    int sip_cut()
    {
        wait_for(rec()->sockfd, POLLIN);
        return Tcp_Cut_Sip_Recv_Cut(fc);
    }
    void take_tpkt(std::vector<Message> &out)
    {
        static char body[70000];
        unsigned char reserved = 0;
        for (int n; (n = Tcp_Cut_Tpkt_Get_One_Msg_Bin_Head(fc, body, sizeof body, &reserved)) >= 0;)
            out.emplace_back(reserved, std::string(body, static_cast<size_t>(n)));
    }
    void take_sip(std::vector<std::string> &out)
    {
        static char msg[20000];
        for (int n; (n = Tcp_Cut_Sip_Get_One_Msg_Sip_Head(fc, msg, sizeof msg)) >= 0;)
            out.emplace_back(msg, static_cast<size_t>(n));
    }
    // Writes the stream in chunks of the given size, cutting and taking
    // after each, then until the expected number of messages is there.
    template <typename T>
    std::vector<T> feed(const std::string &stream, size_t chunk, size_t expected, int (*recv_cut)(PTCP_TH),
                        void (FcPair::*take)(std::vector<T> &))
    {
        std::vector<T> got;
        for (size_t at = 0; at < stream.size() || got.size() < expected; at += chunk) {
            if (at < stream.size())
                write_all(raw, stream.substr(at, chunk));
            else if (!wait_for(rec()->sockfd, POLLIN))
                break;
            wait_for(rec()->sockfd, POLLIN);
            recv_cut(fc);
            (this->*take)(got);
        }
        return got;
    }
    std::vector<Message> feed_tpkt(const std::string &stream, size_t chunk, size_t expected)
    {
        return feed(stream, chunk, expected, Tcp_Cut_Tpkt_Recv_Cut, &FcPair::take_tpkt);
    }
    std::vector<std::string> feed_sip(const std::string &stream, size_t chunk, size_t expected)
    {
        return feed(stream, chunk, expected, Tcp_Cut_Sip_Recv_Cut, &FcPair::take_sip);
    }

    int server = -1, raw = -1, raw_rcvbuf = 0;
    PTCP_TH fc = nullptr;
};

// The same with small kernel buffers on both sides, so that sends stay
// queued while the peer does not read.
class SmallBuffers : public FcPair {
protected:
    SmallBuffers() { raw_rcvbuf = 16384; }
    void SetUp() override
    {
        FcPair::SetUp();
        Tcp_Fc_Set_Sock_Opt(fc, 0, 4096);
    }
};

const size_t kChunks[] = {1, 2, 3, 5, 64, 100000};

} // namespace

// Framed connections ----------------------------------------------------------

TEST(TcpFc, NonBlockingConnectAndRefusal)
{
    SOCKFD_T server = -1;
    Printed([&] { Tcp_Fc_Server_Create(0, &server); });
    int port = local_port(server);
    PTCP_TH h = nullptr;
    Printed([&] { ASSERT_EQ(Tcp_Fc_Connect_Non_Lock(kLoopback, port, &h), 0); });
    int result = 2;
    for (int i = 0; i < 200 && result == 2; i++) {
        result = Tcp_Fc_Select_Non_Lock_By_TH(h);
        wait_for(static_cast<PTCP_SOCKFD_ST>(h)->sockfd, POLLOUT);
    }
    EXPECT_EQ(result, 1);
    EXPECT_EQ(Tcp_Fc_Socket_Close(h), 0);

    close(server);  // nobody listens there now
    ASSERT_EQ(Tcp_Fc_Connect_Non_Lock(kLoopback, port, &h), 0);
    auto r = static_cast<PTCP_SOCKFD_ST>(h);
    EXPECT_EQ(r->socket_status, CONNECTING);
    wait_for(r->sockfd, POLLOUT);
    for (int i = 0; i < 3; i++) {  // stays refused on every later poll
        EXPECT_EQ(Tcp_Fc_Select_Non_Lock_By_TH(h), 3);
        EXPECT_EQ(r->socket_status, CONNECT_REFUSE);
    }
    char data[] = "data";
    EXPECT_EQ(Tcp_Fc_Socket_Send(h, data, 4), -1);
    EXPECT_EQ(Tcp_Cut_Tpkt_Recv_Cut(h), -1);
    EXPECT_EQ(Tcp_Fc_Socket_Recv(h, data, 4), -1);
    EXPECT_EQ(Tcp_Fc_Socket_Close(h), 0);
}

TEST(TcpFc, BadArgumentsAndTheirMessages)
{
    char ip[] = "127.0.0.1", buf[8];
    PTCP_TH h = nullptr;
    auto input = [](const char *func) { return std::string("The input is error ! In funtion ") + func + "\n"; };
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Tcp_Fc_Socket_Close(nullptr), -1); }), input("Tcp_Socket_Close"));
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Tcp_Fc_Connect_Wait_By_Time(ip, 1, &h, -1), -1); }), input("Tcp_Fc_Connect"));
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Tcp_Fc_Connect_Non_Lock(nullptr, 1, &h), -1); }), input("Tcp_Fc_Connect"));
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Tcp_Fc_Socket_Recv(nullptr, buf, 8), -1); }), input("Tcp_Fc_Socket_Send"));
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Tcp_Fc_Socket_Send(nullptr, buf, 8), -1); }), input("Tcp_Fc_Socket_Send"));
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Tcp_Fc_Loop_Send(nullptr, 8), -1); }), input("Tcp_Fc_Loop_Send"));
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Tcp_Fc_Set_Send_Recv_Buf_Size(nullptr, 1, 1), -1); }),
              input("Tcp_Fc_Set_Send_Buf_Size"));
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Tcp_Fc_Server_Accept(3, nullptr), -1); }), input("Tcp_Fc_Server_Accept"));
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Tcp_Cut_Tpkt_Recv_Cut(nullptr), -1); }), input("Tcp_Fc_Recv_Cut_Msg_Bin"));
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Tcp_Cut_Sip_Recv_Cut(nullptr), -1); }), input("Tcp_Fc_Recv_Cut_Msg_Bin"));
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Tcp_Fc_Select_Non_Lock_By_TH(nullptr), -1); }), "");
    int status = 0;
    EXPECT_EQ(Tcp_Fc_Select_Non_Lock(-1, &status), -1);
}

TEST_F(SmallBuffers, PartialSendsQueueInOrderAndDrain)
{
    EXPECT_EQ(Tcp_Fc_Loop_Send(fc, 1), -2);  // empty list

    std::string sent;
    for (int i = 0; i < 40; i++) {
        std::string chunk(10000, static_cast<char>('A' + i % 26));
        chunk[0] = static_cast<char>(i);
        EXPECT_EQ(Tcp_Fc_Socket_Send(fc, chunk.data(), 10000), 10000);
        sent += chunk;
    }
    // The peer does not read: the rest waits in the list, counted exactly.
    ASSERT_GT(Fifo_GetCount(rec()->send_buf_list), 0);
    long queued = 0;
    for (void *el = Fifo_Step_Get_First(rec()->send_buf_list); el != nullptr;
         el = Fifo_Step_Next(rec()->send_buf_list))
        queued += *static_cast<int *>(el);
    EXPECT_EQ(queued, rec()->send_len);
    EXPECT_GT(queued, 0);
    int r = 0;
    for (int i = 0; i < 100 && r != -1; i++)
        r = Tcp_Fc_Loop_Send(fc, 1 << 30);
    EXPECT_EQ(r, -1);  // the kernel takes nothing more

    std::string received;
    char buf[65536];
    while (received.size() < sent.size() && wait_for(raw, POLLIN)) {
        ssize_t n = recv(raw, buf, sizeof buf, MSG_DONTWAIT);
        if (n > 0)
            received.append(buf, static_cast<size_t>(n));
        r = Tcp_Fc_Loop_Send(fc, 1 << 30);
        EXPECT_TRUE(r > 0 || r == -1 || r == -2) << r;
    }
    EXPECT_TRUE(received == sent);
    EXPECT_EQ(rec()->send_len, 0);
    EXPECT_EQ(Fifo_GetCount(rec()->send_buf_list), 0);
}

TEST_F(SmallBuffers, SendListByteLimit)
{
    std::string chunk(10000, 'x');
    while (Fifo_GetCount(rec()->send_buf_list) == 0)
        Tcp_Fc_Socket_Send(fc, chunk.data(), 10000);
    int held = rec()->send_len;
    EXPECT_EQ(Tcp_Fc_Set_Send_Recv_Buf_Size(fc, held + 20, 1), 0);
    EXPECT_EQ(Tcp_Fc_Socket_Send(fc, chunk.data(), 30), -1);
    EXPECT_EQ(rec()->send_len, held);
    EXPECT_EQ(Tcp_Fc_Socket_Send(fc, chunk.data(), 20), 20);
    EXPECT_EQ(rec()->send_len, held + 20);
    Tcp_Fc_Set_Send_Recv_Buf_Size(fc, 0, 0);
    EXPECT_EQ(Tcp_Fc_Socket_Send(fc, chunk.data(), 1), -1);
}

TEST_F(FcPair, RawReceiveAndWaitByTime)
{
    write_all(raw, "abc");
    char buf[8];
    memset(buf, 'z', sizeof buf);
    ASSERT_TRUE(wait_for(rec()->sockfd, POLLIN));
    EXPECT_EQ(Tcp_Fc_Socket_Recv(fc, buf, sizeof buf), 3);
    EXPECT_EQ(std::string(buf, 8), std::string("abc\0\0\0\0\0", 8));

    PTCP_TH h = nullptr;
    ASSERT_EQ(Tcp_Fc_Connect_Wait_By_Time(kLoopback, local_port(server), &h, 7), 0);
    timeval tv{};
    socklen_t len = sizeof tv;
    getsockopt(static_cast<PTCP_SOCKFD_ST>(h)->sockfd, SOL_SOCKET, SO_SNDTIMEO, &tv, &len);
    EXPECT_EQ(tv.tv_sec, 7);
    EXPECT_EQ(Tcp_Fc_Socket_Close(h), 0);
}

// TPKT ---------------------------------------------------------------------------------

TEST_F(FcPair, TpktEverySplit)
{
    // Leading junk, a dropped 6-byte frame, the shortest delivered one, a long one.
    std::string big(15000, 'b');
    std::string stream = std::string("\0\0", 2) + tpkt(0, "ABCDE") + tpkt(1, "xy") + tpkt(2, "xyz") + "\x07\x07" +
                         tpkt(0xFF, big) + tpkt(9, "tail");
    std::vector<Message> want = {{0, "ABCDE"}, {2, "xyz"}, {0xFF, big}, {9, "tail"}};
    for (size_t chunk : kChunks)
        EXPECT_TRUE(feed_tpkt(stream, chunk, want.size()) == want) << "chunk " << chunk;
    EXPECT_EQ(rec()->recv_len, 0);
    EXPECT_EQ(rec()->recv_old_len, 0);
}

TEST_F(FcPair, TpktBadLengths)
{
    // A zero length drops the rest of that receive; a later frame arrives.
    write_all(raw, std::string("\x03\x00\x00\x00", 4) + tpkt(1, "lost"));
    EXPECT_EQ(tpkt_cut(), 12);
    std::vector<Message> got;
    take_tpkt(got);
    EXPECT_TRUE(got.empty());
    EXPECT_TRUE((feed_tpkt(tpkt(2, "kept"), 100, 1) == std::vector<Message>{{2, "kept"}}));

    // Lengths 1 to 3 resume the scan inside their own header.
    std::string inside = std::string("\x03\x00\x00\x02", 4) + tpkt(3, "abc");
    EXPECT_TRUE((feed_tpkt(inside, 100, 1) == std::vector<Message>{{3, "abc"}}));

    // A frame longer than the receive buffer never comes out: the receive stalls.
    std::string huge = tpkt(4, std::string(20001, 'h'));
    std::thread writer([&] { write_all(raw, huge + tpkt(5, "after")); });
    int r = 1;
    for (int i = 0; i < 100 && r != 0; i++)
        r = tpkt_cut();
    EXPECT_EQ(r, 0);
    take_tpkt(got);
    EXPECT_TRUE(got.empty());
    EXPECT_EQ(rec()->recv_old_len, 20000);
    shutdown(rec()->sockfd, SHUT_RD);
    writer.join();
}

TEST_F(FcPair, TpktSendLimits)
{
    std::string body(65532, 'm');
    EXPECT_EQ(Tcp_Cut_Tpkt_Send_One_Msg_Bin_Head(fc, 0x42, body.data(), 65531), 65535);
    std::string frame(65535, '\0');
    ASSERT_EQ(recv(raw, frame.data(), frame.size(), MSG_WAITALL), 65535);
    EXPECT_EQ(frame.substr(0, 4), "\x03\x42\xFF\xFF");
    EXPECT_EQ(frame.substr(4), body.substr(1));
    const std::string refused = "The input is error ! In funtion Tcp_Cut_Tpkt_Send_One_Msg_Bin_Head\n";
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Tcp_Cut_Tpkt_Send_One_Msg_Bin_Head(fc, 0, body.data(), 65532), -1); }), refused);
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Tcp_Cut_Tpkt_Send_One_Msg_Bin_Head(fc, 0, body.data(), 0), -1); }), refused);
}

TEST_F(FcPair, TpktSmallBuffersAndFlowControl)
{
    Tcp_Fc_Set_Send_Recv_Buf_Size(fc, 1 << 20, 20);
    write_all(raw, tpkt(1, "12345") + tpkt(2, "67890") + tpkt(3, "abcde"));
    EXPECT_EQ(tpkt_cut(), 27);
    EXPECT_EQ(rec()->recv_len, 27);
    write_all(raw, tpkt(4, "fghij"));
    wait_for(rec()->sockfd, POLLIN);
    EXPECT_EQ(Tcp_Cut_Tpkt_Recv_Cut(fc), -1);  // over max_recv_len: the socket is not read
    char buf[8];
    unsigned char reserved = 0;
    EXPECT_EQ(recv(rec()->sockfd, buf, sizeof buf, MSG_PEEK | MSG_DONTWAIT), 8);
    EXPECT_EQ(Tcp_Cut_Tpkt_Get_One_Msg_Bin_Head(fc, buf, 4, &reserved), -1);  // too small: discarded
    EXPECT_EQ(rec()->recv_len, 18);
    EXPECT_EQ(Tcp_Cut_Tpkt_Get_One_Msg_Bin_Head(fc, buf, 5, &reserved), 5);
    EXPECT_EQ(std::string(buf, 5), "67890");
    EXPECT_EQ(reserved, 2);
    EXPECT_EQ(Tcp_Cut_Tpkt_Recv_Cut(fc), 9);  // 9 bytes are no longer above 20
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Tcp_Cut_Tpkt_Get_One_Msg_Bin_Head(fc, nullptr, 5, &reserved), -1); }),
              "The input is error ! In funtion Tcp_Fc_Socket_Recv_OneMsg_By_Bin_Head\n");
}

TEST_F(FcPair, TpktDumpAndPeerClose)
{
    write_all(raw, tpkt(7, "ABCDE"));
    Tcp_Cut_Tpkt_Set_Printf_Flg(1);
    std::string out = Printed([&] { EXPECT_EQ(tpkt_cut(), 9); });
    Tcp_Cut_Tpkt_Set_Printf_Flg(0);
    EXPECT_EQ(out, "recv tpkt msg, len is 9, head is 3, reservd is 7, len is 9, content is \nABCDE\n");
    shutdown(raw, SHUT_WR);
    EXPECT_EQ(tpkt_cut(), 0);  // a message is still held: 0 all the same
}

// SIP ---------------------------------------------------------------------------------

TEST_F(FcPair, SipEverySplit)
{
    std::string a = sip("a@1", "<?xml version=\"1.0\"?>\r\n<request id=\"1\" type=\"t\"/>\r\n");
    std::string b = sip("b@2", "");
    std::string c = sip("c@3", std::string(3000, 'c'));
    std::string stream = "junk before\r\n" + a + b + "between" + c;
    std::vector<std::string> want = {a, b, c};
    for (size_t chunk : kChunks)
        EXPECT_TRUE(feed_sip(stream, chunk, want.size()) == want) << "chunk " << chunk;
    EXPECT_EQ(rec()->recv_old_len, 0);
}

TEST_F(FcPair, SipNegativeLengthResumesAtItsLineEnd)
{
    std::string stream = "Command sip:x\r\nContent-Length: -5\r\n\r\nCommand sip:y\r\nContent-Length: 2\r\n\r\nok";
    EXPECT_TRUE((feed_sip(stream, 1000, 1) ==
                 std::vector<std::string>{"Command sip:y\r\nContent-Length: 2\r\n\r\nok"}));
}

TEST_F(FcPair, SipFullBufferIsNeverSearchedPastItsEnd)
{
    std::string endless = "Command sip:big\r\nContent-Length: 20000\r\n\r\n" + std::string(20000, 'x');
    std::thread writer([&] { write_all(raw, endless); });
    int r = 1;
    for (int i = 0; i < 100 && r != 0; i++)
        r = sip_cut();
    EXPECT_EQ(r, 0);  // stalled, nothing held
    EXPECT_EQ(rec()->recv_old_len, 12288);
    shutdown(rec()->sockfd, SHUT_RD);
    writer.join();
}

TEST_F(FcPair, SipPeerCloseWithMessageHeld)
{
    write_all(raw, sip("m", "body"));
    EXPECT_GT(sip_cut(), 0);
    shutdown(raw, SHUT_WR);
    EXPECT_EQ(sip_cut(), -1);  // a message is held
    std::vector<std::string> got;
    take_sip(got);
    EXPECT_EQ(sip_cut(), 0);
}

TEST_F(FcPair, SipHeadBodySplit)
{
    std::string xml = "<?xml version=\"1.0\"?><r/>" + std::string(15, 'x');
    std::string msg = "Command sip:split SIP/2.0\r\nContent-Length: 51\r\n\r\n" + std::string(11, 'h') + xml;
    ASSERT_EQ(msg.size(), 100u);
    ASSERT_EQ(msg.find("<?xml version"), 60u);
    char hbuf[128], bbuf[128];
    auto split = [&](int hsize, int bsize, int *hl, int *bl) {
        *hl = hsize;
        *bl = bsize;
        return Tcp_Cut_Sip_Get_One_Msg_Xmlbody_Siphead(fc, bbuf, bl, hbuf, hl);
    };
    write_all(raw, msg + msg + msg + sip("noxml", "plain"));
    while (Fifo_GetCount(rec()->recv_msg_list) < 4 && sip_cut() != 0) {
    }
    int hl, bl;
    EXPECT_EQ(split(128, 128, &hl, &bl), 100);
    EXPECT_EQ(hl, 60);
    EXPECT_EQ(bl, 40);
    EXPECT_EQ(std::string(hbuf, 60), msg.substr(0, 60));
    EXPECT_EQ(std::string(bbuf, 40), xml);
    EXPECT_EQ(Printed([&] { EXPECT_EQ(split(59, 128, &hl, &bl), -1); }),
              "head buf len is less than sip head len ,can not copy!\n");
    EXPECT_EQ(Printed([&] { EXPECT_EQ(split(60, 39, &hl, &bl), -1); }),
              "body buf len is less than sip head len ,can not copy!\n");
    EXPECT_EQ(hl, 60);  // the head was copied before the body was refused
    EXPECT_EQ(Printed([&] { EXPECT_EQ(split(128, 128, &hl, &bl), -1); }), "error msg, no xml buf!\n");
    EXPECT_EQ(split(128, 128, &hl, &bl), -1);  // all gone
    EXPECT_EQ(rec()->recv_len, 0);
}

TEST_F(FcPair, SipDump)
{
    std::string msg = sip("p", "x");
    write_all(raw, msg);
    Tcp_Cut_Sip_Set_Printf_Flg(1);
    std::string out = Printed([&] { sip_cut(); });
    Tcp_Cut_Sip_Set_Printf_Flg(0);
    EXPECT_EQ(out, "@@@@@@@@@@@@@@@@recv sip msg, len is " + std::to_string(msg.size()) + ", content is \n" + msg + "\n");
}

// Reliability ---------------------------------------------------------------------------

namespace {

// Writes the concatenated messages in random chunk sizes from a thread of its own.
class ChunkWriter {
public:
    ChunkWriter(int fd, const std::vector<std::string> &messages, unsigned seed)
    {
        for (const std::string &m : messages)
            stream_ += m;
        thread_ = std::thread([this, fd, seed] {
            std::mt19937 rng(seed);
            std::uniform_int_distribution<size_t> chunk(1, 9000);
            for (size_t at = 0; at < stream_.size();) {
                size_t n = std::min(chunk(rng), stream_.size() - at);
                if (!write_all(fd, stream_.data() + at, n))
                    return;
                at += n;
            }
        });
    }
    ~ChunkWriter() { thread_.join(); }

private:
    std::string stream_;
    std::thread thread_;
};

std::string pattern(std::mt19937 &rng, size_t size)
{
    std::string s(size, '\0');
    for (char &c : s)
        c = static_cast<char>('a' + rng() % 26);
    return s;
}

} // namespace

TEST_F(FcPair, TpktStreamOfRandomFrames)
{
    std::mt19937 rng(1);
    std::vector<std::string> frames;
    for (int seq = 0; seq < 100000; seq++) {
        unsigned pick = rng() % 1000;
        size_t size = pick < 2 ? 4000 + rng() % 15997 : pick < 100 ? 200 + rng() % 1800 : 3 + rng() % 197;
        std::string body = std::to_string(seq) + "/";
        body += std::string(size > body.size() ? size - body.size() : 0, static_cast<char>(seq * 7));
        frames.push_back(tpkt(static_cast<unsigned char>(seq), body));
    }
    size_t taken = 0, bad = 0;
    {
        ChunkWriter writer(raw, frames, 2);
        static char body[20000];
        unsigned char reserved = 0;
        while (taken < frames.size() && wait_for(rec()->sockfd, POLLIN, 3000) && Tcp_Cut_Tpkt_Recv_Cut(fc) != 0) {
            for (int n; (n = Tcp_Cut_Tpkt_Get_One_Msg_Bin_Head(fc, body, sizeof body, &reserved)) >= 0; taken++) {
                const std::string &want = taken < frames.size() ? frames[taken] : frames[0];
                bad += want.compare(4, std::string::npos, body, static_cast<size_t>(n)) != 0 ||
                       reserved != static_cast<unsigned char>(want[1]);
            }
        }
        if (taken < frames.size())
            shutdown(rec()->sockfd, SHUT_RDWR);  // lets the writer give up
    }
    EXPECT_EQ(taken, frames.size());
    EXPECT_EQ(bad, 0u);
    EXPECT_EQ(rec()->recv_len, 0);
    EXPECT_EQ(rec()->recv_old_len, 0);
}

TEST_F(FcPair, SipStreamOfXmlMessages)
{
    std::mt19937 rng(3);
    std::vector<std::string> messages;
    for (int seq = 0; seq < 10000; seq++) {
        std::string id = std::to_string(seq);
        std::string body = "<?xml version=\"1.0\" encoding=\"gb2312\"?>\r\n<request id=\"" + id +
                           "\" type=\"t\">\r\n\t<data>" + pattern(rng, rng() % 3000) + "</data>\r\n</request>\r\n";
        messages.push_back(sip("msg-" + id + "@dev", body));
    }
    size_t taken = 0, bad = 0;
    {
        ChunkWriter writer(raw, messages, 4);
        static char head[5000], body[5000];
        while (taken < messages.size() && wait_for(rec()->sockfd, POLLIN, 3000) && Tcp_Cut_Sip_Recv_Cut(fc) > 0) {
            int hl = sizeof head, bl = sizeof body;
            for (; Tcp_Cut_Sip_Get_One_Msg_Xmlbody_Siphead(fc, body, &bl, head, &hl) > 0; taken++) {
                const std::string &want = taken < messages.size() ? messages[taken] : messages[0];
                bad += want != std::string(head, static_cast<size_t>(hl)) + std::string(body, static_cast<size_t>(bl));
                hl = sizeof head, bl = sizeof body;
            }
        }
        if (taken < messages.size())
            shutdown(rec()->sockfd, SHUT_RDWR);
    }
    EXPECT_EQ(taken, messages.size());
    EXPECT_EQ(bad, 0u);
    EXPECT_EQ(rec()->recv_len, 0);
}

TEST_F(FcPair, PeerResetMidStream)
{
    write_all(raw, tpkt(1, "whole") + tpkt(2, "cut short").substr(0, 6));
    EXPECT_EQ(tpkt_cut(), 15);
    linger reset = {1, 0};
    setsockopt(raw, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
    close(raw);
    raw = -1;
    EXPECT_EQ(tpkt_cut(), -1);  // ECONNRESET
    EXPECT_EQ(errno, ECONNRESET);
    EXPECT_EQ(tpkt_cut(), 0);   // then the orderly end
    std::vector<Message> got;
    take_tpkt(got);
    EXPECT_TRUE((got == std::vector<Message>{{1, "whole"}}));
    char data[] = "data";
    EXPECT_EQ(Tcp_Fc_Socket_Send(fc, data, 4), 4);  // refused by the kernel, so queued
    EXPECT_EQ(rec()->send_len, 4);
    EXPECT_EQ(Tcp_Fc_Loop_Send(fc, 4), -1);
    EXPECT_EQ(Tcp_Cut_Sip_Recv_Cut(fc), 0);
}
