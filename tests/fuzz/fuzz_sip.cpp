// fuzz_sip.cpp - the SIP cutter on any byte stream, through a loopback
// connection (see loopback.h). Every message is taken whole into a buffer
// of exactly its size, or split into header and XML body buffers of exactly
// their sizes (the body then goes through the XML decoder), or now and then
// into a buffer one byte short, which must discard it; each message taken
// is sent back on the connection.
#include "loopback.h"
#include "xml.h"

namespace {

constexpr int kBufferSize = 12288;
constexpr size_t kSplitLimit = 5000;  // longest message the split takes

// The cut as the message format defines it, on text: every search stops at
// the first NUL from where it starts. A message runs from "Command sip:"
// through the "Content-Length: " line, the empty line's two bytes and the
// body; a negative length drops it; an unfinished one stays as the tail,
// with whatever came before it.
std::string cut(const std::string &data, std::deque<std::string> *out)
{
    const size_t end = data.size();
    size_t scan = 0;
    for (;;) {
        size_t text_end = std::min(data.find('\0', scan), end);
        auto find = [&](size_t from, const char *marker) {
            size_t at = from == std::string::npos ? from : data.find(marker, from);
            return at != std::string::npos && at + strlen(marker) <= text_end ? at : std::string::npos;
        };
        size_t start = find(scan, "Command sip:");
        size_t cl = find(start, "Content-Length: ");
        size_t crlf = find(cl, "\r\n");
        if (crlf == std::string::npos)
            break;
        long length = atoi(data.c_str() + cl + 16);
        if (length < 0) {
            scan = crlf;
        } else {
            size_t msg_end = crlf + 4 + static_cast<size_t>(length);
            if (msg_end > end)
                break;
            out->push_back(data.substr(start, msg_end - start));
            scan = msg_end;
        }
        if (scan >= end)
            return std::string();
    }
    return end - scan <= 65535 ? data.substr(scan) : std::string();
}

// The message split at "<?xml version" into buffers of exactly the sizes of
// its parts; the body is then decoded.
std::string split(PTCP_TH th, const std::string &msg)
{
    size_t at = std::string(msg.c_str()).find("<?xml version");
    std::vector<char> head(at == std::string::npos ? 1 : at), body(at == std::string::npos ? 1 : msg.size() - at);
    int head_len = static_cast<int>(head.size()), body_len = static_cast<int>(body.size());
    int n = Tcp_Cut_Sip_Get_One_Msg_Xmlbody_Siphead(th, body.data(), &body_len, head.data(), &head_len);
    if (msg.size() > kSplitLimit || at == std::string::npos) {
        FUZZ_CHECK(n == -1);
        return std::string();
    }
    FUZZ_CHECK(n == static_cast<int>(msg.size()));
    FUZZ_CHECK(head_len == static_cast<int>(at) && memcmp(head.data(), msg.data(), at) == 0);
    FUZZ_CHECK(body_len == static_cast<int>(body.size()) && memcmp(body.data(), msg.data() + at, body.size()) == 0);
    std::vector<char> xml = c_string(msg.substr(at));
    if (pXmldoc doc = Xml_Decode(xml.data()))
        Xml_Free(doc);
    return msg;
}

std::string pull(PTCP_TH th, const std::string &msg, uint32_t how)
{
    if (how % 4 == 1)
        return split(th, msg);
    bool short_buffer = how % 8 == 0;
    std::vector<char> buf(short_buffer ? msg.size() - 1 : msg.size());
    int n = Tcp_Cut_Sip_Get_One_Msg_Sip_Head(th, buf.data(), static_cast<int>(buf.size()));
    if (short_buffer) {
        FUZZ_CHECK(n == -1);
        return std::string();
    }
    FUZZ_CHECK(n == static_cast<int>(msg.size()) && memcmp(buf.data(), msg.data(), msg.size()) == 0);
    return msg;
}

int echo(PTCP_TH th, const std::string &msg)
{
    std::vector<char> bytes(msg.begin(), msg.end());
    return Tcp_Fc_Socket_Send(th, bytes.data(), static_cast<int>(bytes.size()));
}

const Cutter kSip = {kBufferSize, Tcp_Cut_Sip_Recv_Cut, cut, pull, echo, Tcp_Cut_Sip_Set_Printf_Flg};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    return loopback::run(kSip, data, size);
}
