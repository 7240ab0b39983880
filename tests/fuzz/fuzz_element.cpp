// fuzz_element.cpp - the element readers on any body: any used length, the
// ones they must refuse included, and any bytes. The bytes past the used
// length are poisoned, so reading them is a finding; output buffers are
// exactly as large as stated. Results are checked against a walk of the
// body as the format defines it, and the body must come out unchanged.
// Appends are checked last.
#include <algorithm>
#include <cstdint>
#include <memory>

#include "element.h"
#include "support.h"

#if defined(__SANITIZE_ADDRESS__)
#define POISONS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define POISONS 1
#endif
#endif
#ifdef POISONS
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(addr, size) ((void)(addr), (void)(size))
#define ASAN_UNPOISON_MEMORY_REGION(addr, size) ((void)(addr), (void)(size))
#endif

namespace {

constexpr U32 kBody = 10000;

// Where the walk for occurrence index of tag ends.
struct Found {
    int result;      // element_get_data_by_index's result with room enough
    U32 at, len;     // the element's offset and value length when found
    bool past_end;   // the walk stepped past the body (complained about)
};

Found walk(const M_Body &md, U32 tag, int index)
{
    auto u32 = [&](uint64_t p) {
        U32 v;
        memcpy(&v, md.buf + p, 4);
        return v;
    };
    int seen = 0;
    for (uint64_t p = 0; p + 8 < md.len;) {
        U32 len = u32(p + 4);
        if (u32(p) == tag && seen++ == index)
            return {p + 8 + len > md.len ? -1 : 0, static_cast<U32>(p), len, false};
        p += 8 + uint64_t{len};
        if (p >= md.len)
            return {-2, 0, 0, true};
    }
    return {-2, 0, 0, false};
}

// The tags of the elements a walk passes, at most max of them, and how
// many carry tag.
std::vector<U32> tags_walked(const M_Body &md, U32 tag, int *with_tag, size_t max = SIZE_MAX)
{
    std::vector<U32> tags;
    *with_tag = 0;
    for (uint64_t p = 0; p + 8 < md.len && tags.size() < max;) {
        U32 t, len;
        memcpy(&t, md.buf + p, 4);
        memcpy(&len, md.buf + p + 4, 4);
        tags.push_back(t);
        *with_tag += t == tag;
        p += 8 + uint64_t{len};
    }
    return tags;
}

// Reads occurrence index of tag into a buffer of exactly room bytes.
void check_read(M_Body *md, U32 tag, int index, U32 room)
{
    Found f = walk(*md, tag, index);
    int expected = f.result == 0 && f.len > room ? -1 : f.result;
    std::vector<U8> out(std::max<U32>(room, 1), 0x5A);
    U32 got = 12345;
    int r = index == 0 ? element_get_data(md, tag, out.data(), room, &got)
                       : element_get_data_by_index(md, tag, out.data(), index, room, &got);
    FUZZ_CHECK(r == expected);
    if (r == 0)
        FUZZ_CHECK(got == f.len && memcmp(out.data(), md->buf + f.at + 8, f.len) == 0);
    else
        FUZZ_CHECK(got == 12345 && out[0] == 0x5A);

    if (index != 0)
        return;
    int value = 0;
    FUZZ_CHECK(element_get_integer(md, tag, &value) == (f.result == 0 && f.len == 4 ? 0 : -1));
    FUZZ_CHECK(element_get_struct(md, tag, out.data(), room) == (f.result == 0 && f.len == room ? 0 : -1));
    auto et = std::make_unique<ET>();
    et->tag = tag;
    FUZZ_CHECK(element_get_et(md, et.get()) == (f.result == 0 && f.len > 5000 ? -1 : f.result));
    auto ext = std::make_unique<EXT_ET>();
    ext->tag = tag;
    FUZZ_CHECK(element_get_ext_et(md, ext.get()) == f.result);
}

// Appends a value of len bytes (any len), checking the result and bytes.
void check_append(M_Body *md, U32 tag, U32 len)
{
    U32 before = md->len;
    std::vector<U8> value(std::max<U32>(len, 1), 0xC3);
    int expected = before > kBody || len > 5000 ? -2 : before + len + 8 > kBody ? -1 : 0;
    if (expected == 0)
        ASAN_UNPOISON_MEMORY_REGION(md->buf + before, len + 8);
    FUZZ_CHECK(element_add_data(md, tag, value.data(), len) == expected);
    if (expected != 0) {
        FUZZ_CHECK(md->len == before);
        return;
    }
    FUZZ_CHECK(md->len == before + len + 8 && memcmp(md->buf + before, &tag, 4) == 0 &&
               memcmp(md->buf + before + 4, &len, 4) == 0 && memcmp(md->buf + before + 8, value.data(), len) == 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Input in(data, size);
    // Mostly a length that fits what the input brings; sometimes any value.
    uint32_t raw_len = in.u32();
    U32 room = in.u16() % 10100;
    int index = static_cast<int>(in.u8()) - 8;
    U32 add_len = in.u16() % 5100;
    std::string bytes = in.bytes(kBody);

    auto md = std::make_unique<M_Body>();
    memcpy(md->buf, bytes.data(), bytes.size());
    md->len = raw_len & 0x80000000u ? raw_len & 0x7FFFFFFFu : std::min<U32>(raw_len & 0x3FFF, static_cast<U32>(bytes.size()));
    U32 used = std::min(md->len, kBody);
    ASAN_POISON_MEMORY_REGION(md->buf + used, kBody - used);
    auto saved = std::make_unique<M_Body>();
    memcpy(saved.get(), md.get(), 4 + used);

    int unused;
    std::vector<U32> tags = md->len <= kBody ? tags_walked(*md, 0, &unused, 8) : std::vector<U32>();
    tags.push_back(raw_len);
    for (U32 tag : tags) {
        if (md->len > kBody) {
            U8 out[8];
            U32 got;
            FUZZ_CHECK(element_get_data(md.get(), tag, out, sizeof out, &got) == -2);
            FUZZ_CHECK(element_get_et_count(md.get(), tag) == -2);
            continue;
        }
        int with_tag;
        tags_walked(*md, tag, &with_tag);
        FUZZ_CHECK(element_get_et_count(md.get(), tag) == with_tag);
        check_read(md.get(), tag, 0, room);
        check_read(md.get(), tag, index, room);
    }
    FUZZ_CHECK(memcmp(md.get(), saved.get(), 4 + used) == 0);  // reads leave the body alone

    check_append(md.get(), tags.back(), add_len);
    ASAN_UNPOISON_MEMORY_REGION(md->buf, kBody);
    return 0;
}
