// fuzz_tpkt.cpp - the TPKT cutter on any byte stream, through a loopback
// connection (see loopback.h). Every frame is taken into a buffer of
// exactly its body's size, or now and then one byte short, which must
// discard it; each frame taken is sent back with the frame sender.
#include "loopback.h"

namespace {

constexpr int kBufferSize = 20000;

// The cut as the framing defines it: frames start at a byte 3 (anything
// else is skipped), hold their length big-endian in bytes 2 and 3, and
// count when 7 bytes or longer; a zero length throws the rest away; an
// unfinished frame stays as the tail.
std::string cut(const std::string &data, std::deque<std::string> *out)
{
    auto byte = [&](size_t i) { return static_cast<uint8_t>(data[i]); };
    auto keep = [&](size_t from) { return data.size() - from <= 65535 ? data.substr(from) : std::string(); };
    size_t i = 0;
    while (i < data.size()) {
        if (byte(i) != 3) {
            i++;
            continue;
        }
        if (i + 4 > data.size())
            return keep(i);
        size_t len = byte(i + 2) * 256u + byte(i + 3);
        if (len == 0)
            return std::string();
        if (i + len > data.size())
            return keep(i);
        if (len >= 7)
            out->push_back(data.substr(i, len));
        i += len;
    }
    return std::string();
}

std::string pull(PTCP_TH th, const std::string &frame, uint32_t how)
{
    size_t body = frame.size() - 4;
    bool short_buffer = how % 8 == 0;
    std::vector<char> buf(short_buffer ? body - 1 : body);
    unsigned char reserved = 0xAA;
    int n = Tcp_Cut_Tpkt_Get_One_Msg_Bin_Head(th, buf.data(), static_cast<int>(buf.size()), &reserved);
    if (short_buffer) {
        FUZZ_CHECK(n == -1 && reserved == 0xAA);
        return std::string();
    }
    FUZZ_CHECK(n == static_cast<int>(body));
    FUZZ_CHECK(memcmp(buf.data(), frame.data() + 4, body) == 0 && reserved == static_cast<uint8_t>(frame[1]));
    return frame;
}

int echo(PTCP_TH th, const std::string &frame)
{
    std::vector<char> body(frame.begin() + 4, frame.end());
    return Tcp_Cut_Tpkt_Send_One_Msg_Bin_Head(th, static_cast<unsigned char>(frame[1]), body.data(),
                                              static_cast<int>(body.size()));
}

const Cutter kTpkt = {kBufferSize, Tcp_Cut_Tpkt_Recv_Cut, cut, pull, echo, Tcp_Cut_Tpkt_Set_Printf_Flg};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    return loopback::run(kTpkt, data, size);
}
