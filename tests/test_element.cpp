#include "element.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>

#include "test_support.h"

using testing_support::Printed;

namespace {

const std::string kInputError = "The input is error!\n";

// Bodies and output buffers live on the heap, sized exactly, so that the
// sanitizers see any access beyond them.
std::unique_ptr<M_Body> NewBody(std::initializer_list<std::pair<unsigned, std::string>> elements = {})
{
    auto md = std::make_unique<M_Body>();
    md->len = 0;
    for (auto &[tag, value] : elements)
        element_add_data(md.get(), tag, const_cast<char *>(value.data()), static_cast<unsigned>(value.size()));
    return md;
}

// Writes a raw element header at p, whatever its length says.
void PutHeader(M_Body *md, U32 p, U32 tag, U32 len)
{
    memcpy(md->buf + p, &tag, 4);
    memcpy(md->buf + p + 4, &len, 4);
}

// The value of occurrence index of tag, or "<result>" when the read fails.
std::string Get(M_Body *md, unsigned int tag, int index = 0, unsigned int vd_len = 64)
{
    auto out = std::make_unique<char[]>(vd_len);
    unsigned int len = 0;
    int r = index == 0 ? element_get_data(md, tag, out.get(), vd_len, &len)
                       : element_get_data_by_index(md, tag, out.get(), index, vd_len, &len);
    return r == 0 ? std::string(out.get(), len) : "<" + std::to_string(r) + ">";
}

} // namespace

TEST(Element, AppendLayoutAndLimits)
{
    auto md = NewBody({{7, "abc"}});
    EXPECT_EQ(std::string(reinterpret_cast<char *>(md->buf), md->len), std::string("\x07\0\0\0\x03\0\0\0abc", 11));

    std::string big(5001, 'x');
    EXPECT_EQ(Printed([&] { EXPECT_EQ(element_add_data(md.get(), 1, big.data(), 5001), -2); }),
              "The input is error in element_add_data!\n");
    EXPECT_EQ(element_add_data(md.get(), 1, big.data(), 5000), 0);

    md->len = 9992;
    EXPECT_EQ(element_add_data(md.get(), 2, big.data(), 0), 0);
    EXPECT_EQ(md->len, 10000u);
    EXPECT_EQ(Printed([&] { EXPECT_EQ(element_add_data(md.get(), 3, big.data(), 0), -1); }),
              "There is no enough Msg buf in element_add_data,add element fail!\n");
    EXPECT_EQ(md->len, 10000u);
}

TEST(Element, FirstWinsByIndexAndCount)
{
    auto md = NewBody({{5, "one"}, {6, "other"}, {5, "two"}, {5, "three"}});
    EXPECT_EQ(Get(md.get(), 5), "one");
    EXPECT_EQ(Get(md.get(), 5, 2), "three");
    EXPECT_EQ(element_get_et_count(md.get(), 5), 3);
    // Walking off the end: silent for the plain read, complained about by index.
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Get(md.get(), 4), "<-2>"); }), "");
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Get(md.get(), 5, 3), "<-2>"); }), kInputError);
}

TEST(Element, EmptyValueLastIsInvisible)
{
    auto md = NewBody({{1, "a"}, {2, ""}});
    EXPECT_EQ(element_get_et_count(md.get(), 2), 0);
    // The strict end test stays silent even for the by-index read.
    unsigned int len;
    EXPECT_EQ(Printed([&] { EXPECT_EQ(element_get_data_by_index(md.get(), 2, &len, 0, 4, &len), -2); }), "");
    element_add_data(md.get(), 3, &len, 0);
    EXPECT_EQ(Get(md.get(), 2), "");
    EXPECT_EQ(element_get_et_count(md.get(), 2), 1);
}

TEST(Element, ReadFailuresCopyNothing)
{
    auto md = NewBody();
    element_add_integer(md.get(), 1, 0x01020304);
    char out[4] = {'z', 'z', 'z', 'z'};
    unsigned int len = 99;
    EXPECT_EQ(Printed([&] { EXPECT_EQ(element_get_data(md.get(), 1, out, 3, &len), -1); }),
              "Element is longer than out buffer, can't copy. element len=4, out buf len=3!\n");
    PutHeader(md.get(), 0, 1, 5);  // one byte more than the body holds
    EXPECT_EQ(Printed([&] { EXPECT_EQ(element_get_data(md.get(), 1, out, 8, &len), -1); }),
              "Element is out of messge, can't copy. element len=13, messge len=12!\n");
    EXPECT_EQ(std::string(out, 4), "zzzz");
    EXPECT_EQ(len, 99u);
}

// Length fields that point past the body, or wrap a 32-bit sum back into it.
TEST(Element, HostileLengthsStayInsideTheBody)
{
    auto md = NewBody({{1, "aaaa"}, {2, "bbbb"}, {3, "cccc"}});
    char out[4];
    unsigned int len;
    // 0xFFFFFFF8 + 8 wraps to 0 (a walk that never ends), 0xFFFFFFFC to 4.
    for (U32 bad : {0xFFFFFFF8u, 0xFFFFFFFCu, 0xFFFFFFFFu, 0x80000000u, 29u}) {
        SCOPED_TRACE(bad);
        PutHeader(md.get(), 0, 1, bad);
        EXPECT_EQ(Get(md.get(), 2), "<-2>");
        EXPECT_EQ(Printed([&] { EXPECT_EQ(Get(md.get(), 3, 1), "<-2>"); }), kInputError);
        EXPECT_EQ(element_get_et_count(md.get(), 1), 1);
        // Even an output buffer that claims to be huge receives nothing.
        std::string said = Printed([&] { EXPECT_EQ(element_get_data(md.get(), 1, out, ~0u, &len), -1); });
        EXPECT_EQ(said.rfind("Element is out of messge, can't copy. element len=", 0), 0u) << said;
    }
    // Bytes past len never count, even when they hold a well-formed element.
    md->len = 12;
    PutHeader(md.get(), 0, 1, 4);
    EXPECT_EQ(element_get_et_count(md.get(), 2), 0);
}

TEST(Element, RandomBodiesNeverEscape)
{
    std::mt19937 rng(12345);
    auto md = NewBody();
    Printed([&] {
        for (int round = 0; round < 2000; round++) {
            md->len = rng() % 10001;
            for (U32 i = 0; i < md->len; i++)
                md->buf[i] = static_cast<U8>(rng() % 4);  // small tags, lengths often 0..3
            for (U32 p = 0; p + 8 <= md->len && rng() % 2; p += rng() % 64)
                PutHeader(md.get(), p, rng() % 4, rng() % 3 == 0 ? rng() : rng() % 40);
            Get(md.get(), rng() % 4, static_cast<int>(rng() % 4), rng() % 48);
            element_get_et_count(md.get(), rng() % 4);
        }
    });
}

TEST(Element, TypedReaders)
{
    auto md = NewBody({{2, "xy"}, {3, "12345"}});
    element_add_integer(md.get(), 1, -7);
    int value = 0;
    EXPECT_EQ(element_get_integer(md.get(), 1, &value), 0);
    EXPECT_EQ(value, -7);
    EXPECT_EQ(Printed([&] { EXPECT_EQ(element_get_integer(md.get(), 2, &value), -1); }),
              "get et success,but is not int type! in element_get_integer\n");
    EXPECT_EQ(Printed([&] { EXPECT_EQ(element_get_integer(md.get(), 3, &value), -1); }),
              "Element is longer than out buffer, can't copy. element len=5, out buf len=4!\n"
              "get et error in element_get_integer\n");
    EXPECT_EQ(Printed([&] { EXPECT_EQ(element_add_integer(nullptr, 1, 0), -1); }),
              "the input is error in element_get_integer\n");
    char s[5];
    EXPECT_EQ(Printed([&] { EXPECT_EQ(element_get_struct(md.get(), 2, s, 5), -1); }),
              "get et success,but len is error! in element_get_struct\n");
}

TEST(Element, EtForms)
{
    auto md = NewBody();
    auto et = std::make_unique<ET>();
    auto ext = std::make_unique<EXT_ET>();
    et->tag = ext->tag = 4;
    et->body.len = 5000;
    EXPECT_EQ(element_add_et(md.get(), et.get()), 0);
    EXPECT_EQ(element_get_ext_et(md.get(), ext.get()), 0);
    EXPECT_EQ(ext->body.len, 5000u);
    et->tag = 8;
    EXPECT_EQ(element_get_et(md.get(), et.get()), -2);
    EXPECT_EQ(et->body.len, 5000u);
}
