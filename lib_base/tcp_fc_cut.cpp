// tcp_fc_cut.cpp - framed TCP connections and the TPKT and SIP cutters.
#include "tcp_fc_cut.h"

#include <sys/socket.h>
#include <sys/time.h>

#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "internal/fifo_cells.h"
#include "internal/kept_blocks.h"
#include "mem.h"
#include "str.h"

static_assert(offsetof(TCP_SOCKFD_ST, recv_old_len) == 20, "connection record layout");
static_assert(offsetof(TCP_SOCKFD_ST, send_buf_list) == 24, "connection record layout");
static_assert(offsetof(TCP_SOCKFD_ST, recv_msg_list) == 24 + sizeof(void *), "connection record layout");
static_assert(offsetof(TCP_SOCKFD_ST, recv_old_buf) == 24 + 2 * sizeof(void *), "connection record layout");
static_assert(offsetof(TCP_SOCKFD_ST, socket_status) == 24 + 3 * sizeof(void *), "connection record layout");
static_assert(sizeof(TCP_SOCKFD_ST) == (sizeof(void *) == 4 ? 40 : 56), "connection record layout");

namespace {

constexpr int kDefaultListBytes = 0x100000;  // max_send_len and max_recv_len
constexpr int kListCount = 2000;             // nominal count of both lists
constexpr int kOldBufferLimit = 65535;
constexpr int kTpktVersion = 3;
constexpr int kTpktHeader = 4;
constexpr int kTpktShortest = 7;             // shorter frames are dropped
constexpr int kTpktMaxSize = 65535;
constexpr int kTpktBufferSize = 20000;
constexpr int kSipBufferSize = 12288;
constexpr int kSipSplitBufferSize = 5000;
constexpr std::string_view kSipStart = "Command sip:";
constexpr std::string_view kSipLength = "Content-Length: ";
constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kXmlStart = "<?xml version";

int g_tpkt_print_flg = 0;
int g_sip_print_flg = 0;

PTCP_SOCKFD_ST record(PTCP_TH ptcp_th)
{
    return static_cast<PTCP_SOCKFD_ST>(ptcp_th);
}

// Printed texts are fixed: applications and their log readers match them,
// slips ("funtion", "memery", "creat", "reservd") included. Steps that were
// functions of their own once (Tcp_Fc_Get_Tcpth, Tcp_Fc_Add_To_Send_List_Tail
// and _Head, Tcp_Cut_Copy_To_Recv_Old_Buf) still complain under those names,
// and several public functions complain under another one's name: these are
// the names they print.
constexpr char kAcceptName[] = "Tcp_Fc_Server_Accept";      // Tcp_Fc_Server_Accept_Addr
constexpr char kConnectName[] = "Tcp_Fc_Connect";           // the non-blocking and timed connects
constexpr char kCloseName[] = "Tcp_Socket_Close";           // Tcp_Fc_Socket_Close
constexpr char kSendName[] = "Tcp_Fc_Socket_Send";          // Tcp_Fc_Socket_Recv
constexpr char kBufSizeName[] = "Tcp_Fc_Set_Send_Buf_Size";  // Tcp_Fc_Set_Send_Recv_Buf_Size
constexpr char kCutName[] = "Tcp_Fc_Recv_Cut_Msg_Bin";      // both cutters
constexpr char kGetMsgName[] = "Tcp_Fc_Socket_Recv_OneMsg_By_Bin_Head";  // the TPKT and SIP message getters
constexpr char kSplitName[] = "Tcp_Cut_Sip_Get_One_Msg_Cut_Body_Head";   // Tcp_Cut_Sip_Get_One_Msg_Xmlbody_Siphead

void print_input_error(const char *func)
{
    printf("The input is error ! In funtion %s\n", func);
}

// What each thread keeps between calls. Blocks of received and queued data
// come and go at the rate of messages, in sizes the allocator's fast path
// does not keep, and so do the list cells that queue them, dozens at a
// time: released ones wait here for the next. The receive buffer has room
// for either cutter and a zero byte: a receive runs to its end on one
// thread, so the next one may reuse it. All of it is freed when the thread
// ends. Each public call looks its thread's up once and hands it down.
class Kept {
public:
    Kept() = default;
    Kept(const Kept &) = delete;
    Kept &operator=(const Kept &) = delete;
    ~Kept()
    {
        free(receive_buffer_);
        receive_buffer_ = nullptr;
    }

    // A block of at least size bytes, contents undefined; NULL when there
    // is no memory.
    char *take_block(size_t size)
    {
        void *block = blocks_.take(size);
        return static_cast<char *>(block != nullptr ? block : malloc(size));
    }

    void release(char *block) { blocks_.keep(block); }

    // Fifo_Push of el onto list, in a kept cell.
    int push(FIFOH list, char *el)
    {
        if (list == nullptr)
            return Fifo_Push(list, el);  // complains as it always has
        void *cell = cells_.take();
        if (cell == nullptr)
            return -1;
        return libbase::fifo_cells::append_cell(list, static_cast<pFIFO_M>(cell), el);
    }

    // Fifo_Pull of list, its cell kept for the next push.
    char *pull(FIFOH list)
    {
        if (list == nullptr)
            return static_cast<char *>(Fifo_Pull(list));  // complains as it always has
        pFIFO_M cell = libbase::fifo_cells::unlink_head(list);
        if (cell == nullptr)
            return nullptr;
        void *el = cell->pdata;
        cells_.keep(cell);
        return static_cast<char *>(el);
    }

    // NULL when there is no memory.
    char *receive_buffer()
    {
        if (receive_buffer_ == nullptr)
            receive_buffer_ = static_cast<char *>(malloc(kTpktBufferSize + 1));
        return receive_buffer_;
    }

private:
    libbase::KeptBlocks blocks_;
    libbase::KeptSameSize<sizeof(FIFO_M)> cells_;
    char *receive_buffer_ = nullptr;
};

thread_local Kept this_thread_kept;

// This thread's keep. Its address is worked out once per call: left to
// itself, the compiler would look it up again at every use.
Kept &thread_kept()
{
    Kept *kept = &this_thread_kept;
    asm("" : "+r"(kept));
    return *kept;
}

// Queue elements: one block, a native int length, then the bytes.
char *new_element(Kept &kept, const char *data, int len)
{
    if (len < 0 || len > INT_MAX - 4)
        return nullptr;
    char *el = kept.take_block(static_cast<size_t>(len) + 4);
    if (el != nullptr) {
        memcpy(el, &len, 4);
        memcpy(el + 4, data, static_cast<size_t>(len));
    }
    return el;
}

int element_length(const char *el)
{
    int len;
    memcpy(&len, el, 4);
    return len;
}

// Record lifecycle --------------------------------------------------------

PTCP_SOCKFD_ST get_tcpth(int client_sockfd)
{
    if (client_sockfd <= 0) {
        print_input_error("Tcp_Fc_Get_Tcpth");
        return nullptr;
    }
    auto r = static_cast<PTCP_SOCKFD_ST>(Mem_Malloc(sizeof(TCP_SOCKFD_ST)));
    if (r == nullptr) {
        printf("Malloc memery is fail!in funtion Tcp_Fc_Server_Accept\n");
        return nullptr;
    }
    r->sockfd = client_sockfd;
    r->max_send_len = r->max_recv_len = kDefaultListBytes;
    r->socket_status = -1;
    r->send_buf_list = Fifo_Allocate(kListCount);
    if (r->send_buf_list == nullptr) {
        printf("Fifo_Allocate send_buf_list  is fail!in funtion Tcp_Fc_Server_Accept\n");
        Mem_Free(r);
        return nullptr;
    }
    r->recv_msg_list = Fifo_Allocate(kListCount);
    if (r->recv_msg_list == nullptr) {
        printf("Fifo_Allocate recv_msg_list is fail!in funtion Tcp_Fc_Server_Accept\n");
        Fifo_Free(r->send_buf_list);
        Mem_Free(r);
        return nullptr;
    }
    return r;
}

// A record for a connected (or connecting) socket, stored in *pptcp_th; -1
// silently for a failed socket (below 1). The socket stays open when the
// record cannot be made.
int attach_record(int fd, int status, PTCP_TH *pptcp_th, const char *func)
{
    if (fd < 1)
        return -1;
    PTCP_SOCKFD_ST r = get_tcpth(fd);
    if (r == nullptr) {
        printf("Tcp_Fc_Get_Tcpth is fail!in funtion %s\n", func);
        return -1;
    }
    r->socket_status = status;
    *pptcp_th = r;
    return 0;
}

void clear_old_buf(Kept &kept, PTCP_SOCKFD_ST r)
{
    if (r->recv_old_buf != nullptr)
        kept.release(r->recv_old_buf);
    r->recv_old_buf = nullptr;
    r->recv_old_len = 0;
}

int free_tcpth(Kept &kept, PTCP_SOCKFD_ST r)
{
    Tcp_Socket_Close(r->sockfd);
    Fifo_Free(r->send_buf_list);
    Fifo_Free(r->recv_msg_list);
    clear_old_buf(kept, r);
    Mem_Free(r);
    return 0;
}

// Polls a connect still in progress; true once the record is connected.
bool is_connected(PTCP_SOCKFD_ST r)
{
    if (r->socket_status != CONNECTED)
        Tcp_Fc_Select_Non_Lock(r->sockfd, &r->socket_status);
    return r->socket_status == CONNECTED;
}

// Send list ----------------------------------------------------------------

enum class End { Tail, Head };

// Queues a copy of len bytes; len, or -1 when the byte limit or memory
// refuses them.
int add_to_send_list(Kept &kept, PTCP_SOCKFD_ST r, const char *pbuf, int len, End end)
{
    if (pbuf == nullptr) {
        print_input_error(end == End::Tail ? "Tcp_Fc_Add_To_Send_List_Tail" : "Tcp_Fc_Add_To_Send_List_Head");
        return -1;
    }
    if (static_cast<long long>(r->send_len) + len > r->max_send_len)
        return -1;
    char *el = new_element(kept, pbuf, len);
    if (el == nullptr) {
        printf("Malloc memery is fail!in funtion %s\n",
               end == End::Tail ? "Tcp_Fc_Add_To_Send_List_Tail" : "Tcp_Fc_Add_To_Send_List_Head");
        return -1;
    }
    if ((end == End::Tail ? kept.push(r->send_buf_list, el) : Fifo_Add(r->send_buf_list, el)) < 0) {
        kept.release(el);
        return -1;
    }
    r->send_len += len;
    return len;
}

// Puts the first len bytes of a pulled element's data back at the head of
// the list, reusing the element. Its bytes were already counted out of
// send_len, so the byte limit does not apply.
void put_back_at_head(Kept &kept, PTCP_SOCKFD_ST r, char *el, int len)
{
    memcpy(el, &len, 4);
    if (Fifo_Add(r->send_buf_list, el) < 0) {
        kept.release(el);
        return;
    }
    r->send_len += len;
}

// Sends what the socket takes of the head element. The count sent; -1 when
// the socket took nothing; -2 for an empty list. An unsent rest stays at
// the head.
int send_from_send_list_head(Kept &kept, PTCP_SOCKFD_ST r)
{
    if (Fifo_GetCount(r->send_buf_list) <= 0)
        return -2;
    char *el = kept.pull(r->send_buf_list);
    if (el == nullptr)
        return -2;
    int len = element_length(el);
    r->send_len -= len;
    int sent = Tcp_Socket_Send(r->sockfd, el + 4, len);
    if (sent < 1) {
        put_back_at_head(kept, r, el, len);
        return -1;
    }
    if (sent < len) {
        memmove(el + 4, el + 4 + sent, static_cast<size_t>(len - sent));
        put_back_at_head(kept, r, el, len - sent);
        return sent;
    }
    kept.release(el);
    return sent;
}

// Received-message list and old buffer --------------------------------------

int push_to_recv_list_tail(Kept &kept, PTCP_SOCKFD_ST r, const char *msg, int len)
{
    char *el = new_element(kept, msg, len);
    if (el == nullptr)
        return -1;
    if (kept.push(r->recv_msg_list, el) < 0) {
        kept.release(el);
        return -1;
    }
    r->recv_len += len;
    return 0;
}

// Pulls the oldest received message, counted out of recv_len; NULL when
// there is none.
char *pull_oldest(Kept &kept, PTCP_SOCKFD_ST r)
{
    char *el = kept.pull(r->recv_msg_list);
    if (el != nullptr)
        r->recv_len -= element_length(el);
    return el;
}

// Pulls the oldest message and copies its bytes from offset skip on into
// dest when they fit in dest_len (with the TPKT reserved byte into *reserved
// when asked); else they are discarded. The bytes copied, or -1.
int take_oldest(Kept &kept, PTCP_SOCKFD_ST r, int skip, char *dest, int dest_len, unsigned char *reserved)
{
    char *el = pull_oldest(kept, r);
    if (el == nullptr)
        return -1;
    int len = element_length(el);
    int copied = len - skip;
    if (copied <= dest_len) {
        memcpy(dest, el + 4 + skip, static_cast<size_t>(copied));
        if (reserved != nullptr)
            *reserved = static_cast<unsigned char>(el[4 + 1]);
    } else {
        copied = -1;
    }
    kept.release(el);
    return copied;
}

// Copies the old tail to buf when it fits; its length, else 0. The old
// buffer is kept.
int get_recv_old_buf(PTCP_SOCKFD_ST r, char *buf, int buf_len)
{
    if (r->recv_old_buf == nullptr || r->recv_old_len < 1 || r->recv_old_len > buf_len)
        return 0;
    memcpy(buf, r->recv_old_buf, static_cast<size_t>(r->recv_old_len));
    return r->recv_old_len;
}

// Replaces the old buffer with a copy of len bytes (1 to 65535).
int copy_to_recv_old_buf(Kept &kept, PTCP_SOCKFD_ST r, const char *src, int len)
{
    if (src == nullptr || len < 1 || len > kOldBufferLimit)
        return -1;
    clear_old_buf(kept, r);
    char *copy = kept.take_block(static_cast<size_t>(len));
    if (copy == nullptr) {
        printf("Mem_Malloc is fail !  in funtion Tcp_Cut_Copy_To_Recv_Old_Buf!\n");
        return -1;
    }
    memcpy(copy, src, static_cast<size_t>(len));
    r->recv_old_buf = copy;
    r->recv_old_len = len;
    return 0;
}

// TPKT cutting ----------------------------------------------------------------

int tpkt_length(const unsigned char *frame)
{
    return frame[2] * 256 + frame[3];
}

void tpkt_printf(const char *data_buf_in, int data_len)
{
    auto data = reinterpret_cast<const unsigned char *>(data_buf_in);
    for (int p = 0; p + 5 < data_len;) {
        int len = tpkt_length(data + p);
        printf("recv tpkt msg, len is %d, head is %d, reservd is %d, len is %d, content is \n%s\n", data_len,
               data[p], data[p + 1], len, data_buf_in + p + 4);
        if (len < 1) {
            printf("Msg len is error ! msg len is %d.\n", len);
            break;
        }
        p += len;
    }
}

// Queues every whole frame of data; the unfinished tail goes to the old
// buffer. -1 when a zero length field threw the rest away, else 0.
int tpkt_cut_msg_bin(Kept &kept, PTCP_SOCKFD_ST r, const char *data_buf, int data_len)
{
    auto data = reinterpret_cast<const unsigned char *>(data_buf);
    int i = 0;
    while (i < data_len) {
        if (data[i] != kTpktVersion) {
            auto next = static_cast<const unsigned char *>(memchr(data + i, kTpktVersion, data_len - i));
            if (next == nullptr)
                break;
            i = static_cast<int>(next - data);
        }
        if (i + kTpktHeader > data_len) {
            copy_to_recv_old_buf(kept, r, data_buf + i, data_len - i);
            return 0;
        }
        int len = tpkt_length(data + i);
        if (len < 1)
            return -1;
        if (i + len > data_len) {
            copy_to_recv_old_buf(kept, r, data_buf + i, data_len - i);
            return 0;
        }
        // Lengths 1 to 3 resume the scan inside the header itself.
        if (len >= kTpktShortest)
            push_to_recv_list_tail(kept, r, data_buf + i, len);
        i += len;
    }
    return 0;
}

// SIP cutting ---------------------------------------------------------------

// The first marker in [from, to), or NULL.
const char *find_marker(const char *from, const char *to, std::string_view marker)
{
    if (from >= to)
        return nullptr;
    size_t at = std::string_view(from, static_cast<size_t>(to - from)).find(marker);
    return at == std::string_view::npos ? nullptr : from + at;
}

void sip_printf(const char *data_buf, int data_len)
{
    printf("@@@@@@@@@@@@@@@@recv sip msg, len is %d, content is \n%s\n", data_len, data_buf);
}

// Queues every whole message of data (zero-terminated behind data_len); the
// rest from the scan position goes to the old buffer. The data is text: a
// zero byte ends every search.
int sip_cut_msg_bin(Kept &kept, PTCP_SOCKFD_ST r, const char *data_buf, int data_len)
{
    const char *end = data_buf + data_len;
    const char *scan = data_buf;
    const char *text_end = scan + strnlen(scan, static_cast<size_t>(data_len));
    for (;;) {
        if (scan > text_end)  // a counted body ran over a zero byte
            text_end = scan + strnlen(scan, static_cast<size_t>(end - scan));
        const char *start = find_marker(scan, text_end, kSipStart);
        const char *cl = start ? find_marker(start, text_end, kSipLength) : nullptr;
        const char *crlf = cl ? find_marker(cl, text_end, kLineEnd) : nullptr;
        if (crlf == nullptr)
            break;
        int length = Str_Atoi(const_cast<char *>(cl + kSipLength.size()));
        if (length < 0) {
            scan = crlf;  // the message is dropped
        } else {
            // The body follows the line end and the empty line's CR LF.
            ptrdiff_t room = (end - crlf) - static_cast<ptrdiff_t>(2 * kLineEnd.size());
            if (length > room)
                break;
            const char *msg_end = crlf + 2 * kLineEnd.size() + length;
            push_to_recv_list_tail(kept, r, start, static_cast<int>(msg_end - start));
            scan = msg_end;
        }
        if (scan >= end)
            return 0;
    }
    copy_to_recv_old_buf(kept, r, scan, static_cast<int>(end - scan));
    return 0;
}

// Receive and cut ---------------------------------------------------------------

// What tells the two cutters apart.
struct Cutter {
    int buffer_size;                               // bytes one receive may fill, old tail included
    const int *print_flg;                          // dump while it is 1
    void (*dump)(const char *data, int len);
    int (*cut)(Kept &kept, PTCP_SOCKFD_ST r, const char *data, int len);
};

// One receive behind the old tail, a zero byte behind the data, then the
// cut. The bytes cut (old tail plus new data), or the receive's 0 or -1; -1
// without reading while recv_len is over the limit or the connect is not
// done. The old buffer is kept unless data came.
int receive_and_cut(PTCP_TH ptcp_th, const Cutter &cutter)
{
    if (ptcp_th == nullptr) {
        print_input_error(kCutName);
        return -1;
    }
    PTCP_SOCKFD_ST r = record(ptcp_th);
    if (r->recv_len > r->max_recv_len)
        return -1;
    Kept &kept = thread_kept();
    char *buf = kept.receive_buffer();
    if (buf == nullptr || !is_connected(r))
        return -1;
    int n = get_recv_old_buf(r, buf, cutter.buffer_size);
    // Straight into the buffer: only what was received is ever read.
    auto got = static_cast<int>(recv(r->sockfd, buf + n, static_cast<size_t>(cutter.buffer_size - n), MSG_DONTWAIT));
    if (got <= 0)
        return got < 0 ? -1 : 0;
    int total = n + got;
    buf[total] = '\0';
    clear_old_buf(kept, r);
    if (*cutter.print_flg == 1)
        cutter.dump(buf, total);
    cutter.cut(kept, r, buf, total);
    return total;
}

const Cutter kTpktCutter = {kTpktBufferSize, &g_tpkt_print_flg, tpkt_printf, tpkt_cut_msg_bin};
const Cutter kSipCutter = {kSipBufferSize, &g_sip_print_flg, sip_printf, sip_cut_msg_bin};

} // namespace

extern "C" {

// Connections ------------------------------------------------------------------

int Tcp_Fc_Set_Sock_Opt(PTCP_TH ptcp_th, int set_buf_type, int set_len)
{
    if (ptcp_th == nullptr) {
        print_input_error(__func__);
        return -1;
    }
    return Tcp_Set_Sock_Opt(record(ptcp_th)->sockfd, set_buf_type, set_len);
}

int Tcp_Fc_Set_Send_Recv_Buf_Size(PTCP_TH ptcp_th, int send_size, int recv_size)
{
    if (ptcp_th == nullptr) {
        print_input_error(kBufSizeName);
        return -1;
    }
    record(ptcp_th)->max_send_len = send_size;
    record(ptcp_th)->max_recv_len = recv_size;
    return 0;
}

int Tcp_Fc_Server_Create(int port, SOCKFD_T *sockfd)
{
    if (sockfd == nullptr) {
        print_input_error(__func__);
        return -1;
    }
    int fd = Tcp_Server_Create(port);
    if (fd <= 0) {
        printf("creat server sockfd is fail! In funtion Tcp_Fc_Server_Create\n");
        return -1;
    }
    printf("Creat server sockfd is success.sockfd[%d]\n", fd);
    *sockfd = fd;
    return 0;
}

int Tcp_Fc_Server_Accept(SOCKFD_T server_sockid, PTCP_TH *pptcp_th)
{
    if (pptcp_th == nullptr) {
        print_input_error(__func__);
        return -1;
    }
    return attach_record(Tcp_Server_Accept(server_sockid), CONNECTED, pptcp_th, __func__);
}

int Tcp_Fc_Server_Accept_Addr(SOCKFD_T server_sockid, PTCP_TH *pptcp_th, char *ip, int len, int *pport)
{
    if (pptcp_th == nullptr || ip == nullptr || pport == nullptr) {
        print_input_error(kAcceptName);
        return -1;
    }
    int fd = Tcp_Server_Accept_Addr(server_sockid, ip, len, pport);
    return attach_record(fd, CONNECTED, pptcp_th, kAcceptName);
}

int Tcp_Fc_Connect(char *ip, int port, PTCP_TH *pptcp_th)
{
    if (ip == nullptr || pptcp_th == nullptr) {
        print_input_error(__func__);
        return -1;
    }
    return attach_record(Tcp_Connect(ip, port), CONNECTED, pptcp_th, __func__);
}

int Tcp_Fc_Connect_Non_Lock(char *ip, int port, PTCP_TH *pptcp_th)
{
    if (ip == nullptr || pptcp_th == nullptr) {
        print_input_error(kConnectName);
        return -1;
    }
    T_SOCKET_TH th = {0, CONNECTING};
    Tcp_Connect_Non_Lock(ip, port, &th);  // its result is not needed: socketId tells
    return attach_record(th.socketId, th.connect_status, pptcp_th, kConnectName);
}

int Tcp_Fc_Connect_Wait_By_Time(char *ip, int port, PTCP_TH *pptcp_th, int iSecond)
{
    if (ip == nullptr || pptcp_th == nullptr || iSecond < 0) {
        print_input_error(kConnectName);
        return -1;
    }
    int fd = Tcp_Connect(ip, port);
    if (fd < 1)
        return -1;
    // Bounds the sends, not the connect that already happened.
    struct timeval timeout = {3, 0};
    timeout.tv_sec = iSecond;
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);
    return attach_record(fd, CONNECTED, pptcp_th, kConnectName);
}

int Tcp_Fc_Select_Non_Lock(int socketid, int *socket_status)
{
    if (socketid < 0 || socket_status == nullptr)
        return -1;
    int status = *socket_status;
    Tcp_Select_Status(socketid, &status);
    *socket_status = status;
    return 0;
}

int Tcp_Fc_Select_Non_Lock_By_TH(PTCP_TH ptcp_th)
{
    if (ptcp_th == nullptr)
        return -1;
    PTCP_SOCKFD_ST r = record(ptcp_th);
    Tcp_Select_Status(r->sockfd, &r->socket_status);
    switch (r->socket_status) {
    case CONNECTED:
        return 1;
    case CONNECTING:
        return 2;
    case CONNECT_REFUSE:
        return 3;
    default:
        return -1;
    }
}

int Tcp_Fc_Socket_Close(PTCP_TH ptcp_th)
{
    if (ptcp_th == nullptr) {
        print_input_error(kCloseName);
        return -1;
    }
    return free_tcpth(thread_kept(), record(ptcp_th));
}

int Tcp_Fc_Socket_Recv(PTCP_TH ptcp_th, char *pdes_buf, int buf_len)
{
    if (ptcp_th == nullptr || pdes_buf == nullptr) {
        print_input_error(kSendName);
        return -1;
    }
    PTCP_SOCKFD_ST r = record(ptcp_th);
    return is_connected(r) ? Tcp_Socket_Recv(r->sockfd, pdes_buf, buf_len) : -1;
}

int Tcp_Fc_Socket_Send(PTCP_TH ptcp_th, char *pbuf, int len)
{
    if (ptcp_th == nullptr || pbuf == nullptr || len < 1) {
        print_input_error(__func__);
        return -1;
    }
    PTCP_SOCKFD_ST r = record(ptcp_th);
    if (!is_connected(r))
        return -1;
    // Nothing may overtake data already queued.
    if (Fifo_GetCount(r->send_buf_list) > 0)
        return add_to_send_list(thread_kept(), r, pbuf, len, End::Tail);
    int sent = Tcp_Socket_Send(r->sockfd, pbuf, len);
    if (sent < 0)
        return add_to_send_list(thread_kept(), r, pbuf, len, End::Tail);
    if (sent < len)
        return add_to_send_list(thread_kept(), r, pbuf + sent, len - sent, End::Head) >= 0 ? len : sent;
    return len;
}

int Tcp_Fc_Loop_Send(PTCP_TH ptcp_th, int send_size)
{
    if (ptcp_th == nullptr) {
        print_input_error(__func__);
        return -1;
    }
    Kept &kept = thread_kept();
    int total = 0;
    bool sent_some = false;
    for (;;) {
        int r = send_from_send_list_head(kept, record(ptcp_th));
        if (r < 0)
            return sent_some ? total : r;
        total += r;
        sent_some = true;
        if (total >= send_size)
            return total;
    }
}

// TPKT ------------------------------------------------------------------------------

int Tcp_Cut_Tpkt_Recv_Cut(PTCP_TH ptcp_th)
{
    return receive_and_cut(ptcp_th, kTpktCutter);
}

int Tcp_Cut_Tpkt_Get_One_Msg_Bin_Head(PTCP_TH ptcp_th, char *pmsg_body, int body_len, unsigned char *preserved)
{
    if (ptcp_th == nullptr || pmsg_body == nullptr || preserved == nullptr) {
        print_input_error(kGetMsgName);
        return -1;
    }
    return take_oldest(thread_kept(), record(ptcp_th), kTpktHeader, pmsg_body, body_len, preserved);
}

int Tcp_Cut_Tpkt_Send_One_Msg_Bin_Head(PTCP_TH ptcp_th, unsigned char reserved, char *msg_body, int body_len)
{
    if (ptcp_th == nullptr || msg_body == nullptr || body_len < 1 || body_len > kTpktMaxSize - kTpktHeader) {
        print_input_error(__func__);
        return -1;
    }
    int size = body_len + kTpktHeader;
    auto frame = static_cast<unsigned char *>(Mem_Malloc(size));
    if (frame == nullptr) {
        printf("Mem_Malloc is error ! In funtion Tcp_Cut_Tpkt_Send_One_Msg_Bin_Head\n");
        return -1;
    }
    frame[0] = kTpktVersion;
    frame[1] = reserved;
    frame[2] = static_cast<unsigned char>(size / 256);
    frame[3] = static_cast<unsigned char>(size % 256);
    memcpy(frame + kTpktHeader, msg_body, static_cast<size_t>(body_len));
    int result = Tcp_Fc_Socket_Send(ptcp_th, reinterpret_cast<char *>(frame), size);
    Mem_Free(frame);
    return result;
}

void Tcp_Cut_Tpkt_Set_Printf_Flg(int flg)
{
    g_tpkt_print_flg = flg;
}

// SIP -------------------------------------------------------------------------------

int Tcp_Cut_Sip_Recv_Cut(PTCP_TH ptcp_th)
{
    int result = receive_and_cut(ptcp_th, kSipCutter);
    // Unlike a TPKT connection, a closed one that still holds messages says -1.
    if (result == 0 && Fifo_GetCount(record(ptcp_th)->recv_msg_list) > 0)
        return -1;
    return result;
}

int Tcp_Cut_Sip_Get_One_Msg_Sip_Head(PTCP_TH ptcp_th, char *pmsg_buf, int buf_len)
{
    if (ptcp_th == nullptr || pmsg_buf == nullptr) {
        print_input_error(kGetMsgName);
        return -1;
    }
    return take_oldest(thread_kept(), record(ptcp_th), 0, pmsg_buf, buf_len, nullptr);
}

int Tcp_Cut_Sip_Get_One_Msg_Xmlbody_Siphead(PTCP_TH ptcp_th, char *pmsg_body, int *body_len, char *pmsg_head,
                                            int *head_len)
{
    if (ptcp_th == nullptr || pmsg_body == nullptr || body_len == nullptr || pmsg_head == nullptr ||
        head_len == nullptr) {
        print_input_error(kSplitName);
        return -1;
    }
    // Split in place: the message is searched and copied from its element.
    Kept &kept = thread_kept();
    char *el = pull_oldest(kept, record(ptcp_th));
    if (el == nullptr)
        return -1;
    int len = element_length(el);
    const char *msg = el + 4;
    int result = -1;
    if (len <= kSipSplitBufferSize) {  // longer ones are dropped
        const char *xml = find_marker(msg, msg + strnlen(msg, static_cast<size_t>(len)), kXmlStart);
        int head = xml ? static_cast<int>(xml - msg) : 0;
        int body = len - head;
        if (xml == nullptr) {
            printf("error msg, no xml buf!\n");
        } else if (*head_len < head) {
            printf("head buf len is less than sip head len ,can not copy!\n");
        } else {
            memcpy(pmsg_head, msg, static_cast<size_t>(head));
            *head_len = head;
            if (body > *body_len) {
                printf("body buf len is less than sip head len ,can not copy!\n");
            } else {
                memcpy(pmsg_body, xml, static_cast<size_t>(body));
                *body_len = body;
                result = len;
            }
        }
    }
    kept.release(el);
    return result;
}

void Tcp_Cut_Sip_Set_Printf_Flg(int flg)
{
    g_sip_print_flg = flg;
}

} // extern "C"
