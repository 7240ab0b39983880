// fuzz_utf8.cpp - the GB2312 to UTF-8 conversion on raw bytes, with an
// output room taken from the input, into a destination of exactly that room.
// What it produces must be what a fresh iconv converter produces.
#include <iconv.h>

#include "support.h"
#include "xml.h"

namespace {

constexpr size_t kConverterRoom = 4096;  // the conversion's own buffer

// The conversion done directly: the bytes, or false when iconv refuses.
bool reference(const std::string &in, size_t room, std::string *out)
{
    iconv_t cd = iconv_open("UTF-8", "GB2312");
    FUZZ_CHECK(cd != reinterpret_cast<iconv_t>(-1));
    std::vector<char> src(in.begin(), in.end()), dst(kConverterRoom);
    char *from = src.data(), *to = dst.data();
    size_t from_left = src.size(), to_left = room < kConverterRoom ? room : kConverterRoom;
    bool ok = iconv(cd, &from, &from_left, &to, &to_left) != static_cast<size_t>(-1);
    iconv_close(cd);
    out->assign(dst.data(), static_cast<size_t>(to - dst.data()));
    return ok;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Input in(data, size);
    size_t room = in.u16() % (2 * kConverterRoom);
    std::string bytes = in.rest();

    // Exactly as many bytes as stated, unterminated, on either side.
    std::vector<char> src(bytes.begin(), bytes.end());
    std::vector<char> dst(room);
    char dummy = 0;
    char *src_p = src.empty() ? &dummy : src.data();
    char *dst_p = dst.empty() ? &dummy : dst.data();
    int n = UTF8Encoding(src_p, dst_p, src.size(), room);

    std::string expected;
    if (reference(bytes, room, &expected)) {
        FUZZ_CHECK(n == static_cast<int>(expected.size()));
        FUZZ_CHECK(expected.empty() || memcmp(dst_p, expected.data(), expected.size()) == 0);
    } else {
        FUZZ_CHECK(n == -1);
    }
    FUZZ_CHECK(UTF8Encoding(nullptr, dst_p, src.size(), room) == -1);
    FUZZ_CHECK(UTF8Encoding(src_p, nullptr, src.size(), room) == -1);
    return 0;
}
