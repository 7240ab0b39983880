#include "element.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>

#include "test_support.h"

using testing_support::Printed;

#define EXPECT_SAYS(call, result, text) EXPECT_EQ(Printed([&] { EXPECT_EQ(call, result); }), text)

static const std::string kInputError = "The input is error!\n",
                         kOutOfMsg = "Element is out of messge, can't copy. element len=";

// The body and output buffers live on the heap, sized exactly, so that the
// sanitizers see any access beyond them.
struct Body : ::testing::Test {
    void Add(std::initializer_list<std::pair<unsigned, std::string>> elements)
    {
        for (auto &[tag, value] : elements)
            element_add_data(md, tag, const_cast<char *>(value.data()), unsigned(value.size()));
    }
    // Writes a raw element header at p, whatever its length says.
    void PutHeader(U32 p, U32 tag, U32 len) { U32 header[2] = {tag, len}; memcpy(md->buf + p, header, 8); }
    // Occurrence index of tag (-1: the plain read), or "<result>" when the read fails.
    std::string Get(unsigned int tag, int index = -1, unsigned int vd_len = 64)
    {
        auto out = std::make_unique<char[]>(vd_len);
        unsigned int len = 0;
        int r = index < 0 ? element_get_data(md, tag, out.get(), vd_len, &len)
                          : element_get_data_by_index(md, tag, out.get(), index, vd_len, &len);
        return r == 0 ? std::string(out.get(), len) : "<" + std::to_string(r) + ">";
    }
    std::unique_ptr<M_Body> owner = std::make_unique<M_Body>();  // zeroed: empty
    M_Body *md = owner.get();
};

TEST_F(Body, AppendLayoutAndLimits)
{
    Add({{7, "abc"}});
    EXPECT_EQ(std::string(reinterpret_cast<char *>(md->buf), md->len), std::string("\x07\0\0\0\x03\0\0\0abc", 11));
    std::string big(5001, 'x');
    EXPECT_SAYS(element_add_data(md, 1, big.data(), 5001), -2, "The input is error in element_add_data!\n");
    EXPECT_EQ(element_add_data(md, 1, big.data(), 5000), 0);
    md->len = 9992;
    EXPECT_EQ(element_add_data(md, 2, big.data(), 0), 0);
    EXPECT_SAYS(element_add_data(md, 3, big.data(), 0), -1,
                "There is no enough Msg buf in element_add_data,add element fail!\n");
    EXPECT_EQ(md->len, 10000u);
}

TEST_F(Body, FirstWinsByIndexCountAndStrictEnd)
{
    Add({{5, "one"}, {6, "other"}, {5, "two"}, {5, "three"}});
    EXPECT_EQ(Get(5), "one");
    EXPECT_EQ(Get(5, 0), "one");
    EXPECT_EQ(Get(5, 2), "three");
    EXPECT_EQ(element_get_et_count(md, 5), 3);
    // Walking off the end: silent for the plain read, complained about by index ...
    EXPECT_SAYS(Get(4), "<-2>", "");
    EXPECT_SAYS(Get(5, 3), "<-2>", kInputError);
    // ... but an empty value ending the body fails the strict end test: invisible, silently.
    Add({{2, ""}});
    EXPECT_SAYS(Get(2, 0), "<-2>", "");
    EXPECT_SAYS(Get(5, 3), "<-2>", "");
    EXPECT_EQ(element_get_et_count(md, 2), 0);
    Add({{3, ""}});
    EXPECT_EQ(Get(2), "");
    EXPECT_EQ(element_get_et_count(md, 2), 1);
}

// Length fields that point past the body, or wrap a 32-bit sum back into it: 29 ends one byte
// past the body; 0xFFFFFFF8 + 8 wraps to 0 (an endless walk), 0xFFFFFFFC to 4.
TEST_F(Body, HostileLengthsStayInsideTheBody)
{
    Add({{1, "aaaa"}, {2, "bbbb"}, {3, "cccc"}});
    char out[4] = {'z', 'z', 'z', 'z'};
    unsigned int len = 99;
    for (U32 bad : {0xFFFFFFF8u, 0xFFFFFFFCu, 0xFFFFFFFFu, 0x80000000u, 29u}) {
        SCOPED_TRACE(bad);
        PutHeader(0, 1, bad);
        EXPECT_EQ(Get(2), "<-2>");
        EXPECT_SAYS(Get(3, 1), "<-2>", kInputError);
        EXPECT_EQ(element_get_et_count(md, 1), 1);
        std::string said = Printed([&] { EXPECT_EQ(element_get_data(md, 1, out, ~0u, &len), -1); });  // huge room
        EXPECT_EQ(said.rfind(bad == 29 ? kOutOfMsg + "37, messge len=36!\n" : kOutOfMsg, 0), 0u) << said;
    }
    EXPECT_EQ(std::string(out, 4), "zzzz");
    EXPECT_EQ(len, 99u);
    md->len = 12;  // bytes past len never count, even when they hold a well-formed element
    PutHeader(0, 1, 4);
    EXPECT_EQ(element_get_et_count(md, 2), 0);
    std::mt19937 rng(12345);  // random bodies with small tags, lengths often 0..3 or huge
    Printed([&] {
        for (int round = 0; round < 2000; round++) {
            md->len = rng() % 10001;
            for (U32 i = 0; i < md->len; i++)
                md->buf[i] = U8(rng() % 4);
            for (U32 p = 0; p + 8 <= md->len && rng() % 2; p += rng() % 64)
                PutHeader(p, rng() % 4, rng() % 3 == 0 ? rng() : rng() % 40);
            Get(rng() % 4, int(rng() % 5) - 1, rng() % 48);
            element_get_et_count(md, rng() % 4);
        }
    });
}

TEST_F(Body, TypedReadersAndEtForms)
{
    Add({{2, "xy"}, {3, "12345"}});
    element_add_integer(md, 1, -7);
    int value = 0;
    EXPECT_EQ(element_get_integer(md, 1, &value), 0);
    EXPECT_EQ(value, -7);
    EXPECT_SAYS(element_get_integer(md, 3, &value), -1,
                "Element is longer than out buffer, can't copy. element len=5, out buf len=4!\n"
                "get et error in element_get_integer\n");
    EXPECT_EQ(value, -7);  // a failed read copies nothing
    EXPECT_SAYS(element_get_integer(md, 2, &value), -1, "get et success,but is not int type! in element_get_integer\n");
    EXPECT_SAYS(element_add_integer(nullptr, 1, 0), -1, "the input is error in element_get_integer\n");
    char s[5];
    EXPECT_SAYS(element_get_struct(md, 2, s, 5), -1, "get et success,but len is error! in element_get_struct\n");
    auto et = std::make_unique<ET>(ET{4, {5000, {}}});
    auto ext = std::make_unique<EXT_ET>(EXT_ET{4, {}});
    EXPECT_EQ(element_add_et(md, et.get()), 0);
    EXPECT_EQ(element_get_ext_et(md, ext.get()), 0);
    EXPECT_EQ(ext->body.len, 5000u);
}
