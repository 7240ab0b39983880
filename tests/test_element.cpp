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
const std::string kNoRoom = "There is no enough Msg buf in element_add_data,add element fail!\n";

// Bodies live on the heap, sized exactly, so that the sanitizers see any
// access beyond them.
std::unique_ptr<M_Body> NewBody()
{
    auto md = std::make_unique<M_Body>();
    md->len = 0;
    return md;
}

// Writes a raw element header at p, whatever its length says.
void PutHeader(M_Body *md, U32 p, U32 tag, U32 len)
{
    memcpy(md->buf + p, &tag, 4);
    memcpy(md->buf + p + 4, &len, 4);
}

int Add(M_Body *md, unsigned int tag, const std::string &value)
{
    return element_add_data(md, tag, const_cast<char *>(value.data()), static_cast<unsigned>(value.size()));
}

// The value of occurrence index of tag, or "<result>" when the read fails.
std::string Get(M_Body *md, unsigned int tag, int index = 0, unsigned int vd_len = 64)
{
    auto out = std::make_unique<char[]>(vd_len);  // exactly vd_len, for the sanitizers
    unsigned int len = 0;
    int r = element_get_data_by_index(md, tag, out.get(), index, vd_len, &len);
    return r == 0 ? std::string(out.get(), len) : "<" + std::to_string(r) + ">";
}

} // namespace

TEST(Element, AppendWritesHostOrderHeaderThenValue)
{
    auto md = NewBody();
    EXPECT_EQ(Add(md.get(), 7, "abc"), 0);
    ASSERT_EQ(md->len, 11u);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(md->buf), 11),
              std::string("\x07\0\0\0\x03\0\0\0abc", 11));
}

TEST(Element, AppendLimits)
{
    auto md = NewBody();
    std::string big(5001, 'x');
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Add(md.get(), 1, big), -2); }),
              "The input is error in element_add_data!\n");
    EXPECT_EQ(Add(md.get(), 1, big.substr(1)), 0);  // 5000 bytes is the largest value
    EXPECT_EQ(element_add_data(md.get(), 1, nullptr, 0), -2);
    EXPECT_EQ(element_add_data(nullptr, 1, big.data(), 0), -2);

    md->len = 9992;
    EXPECT_EQ(Add(md.get(), 2, ""), 0);
    EXPECT_EQ(md->len, 10000u);
    md->len = 9993;  // 9993 + 8 is one byte too many
    std::string before(reinterpret_cast<char *>(md->buf) + 9990, 10);
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Add(md.get(), 3, ""), -1); }), kNoRoom);
    EXPECT_EQ(md->len, 9993u);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(md->buf) + 9990, 10), before);
    md->len = 10001;
    EXPECT_EQ(Add(md.get(), 3, ""), -2);
}

TEST(Element, FirstWinsByIndexAndCount)
{
    auto md = NewBody();
    Add(md.get(), 5, "one");
    Add(md.get(), 6, "other");
    Add(md.get(), 5, "two");
    Add(md.get(), 5, "three");
    Add(md.get(), 9, "last");
    EXPECT_EQ(Get(md.get(), 5), "one");
    EXPECT_EQ(Get(md.get(), 5, 2), "three");
    EXPECT_EQ(element_get_et_count(md.get(), 5), 3);
    EXPECT_EQ(element_get_et_count(md.get(), 4), 0);
    // Walking off the end: silent for the plain read, complained about by index.
    unsigned int len;
    char out[8];
    EXPECT_EQ(Printed([&] { EXPECT_EQ(element_get_data(md.get(), 4, out, 8, &len), -2); }), "");
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Get(md.get(), 5, 3), "<-2>"); }), kInputError);
    EXPECT_EQ(Get(md.get(), 5, -1), "<-2>");
    EXPECT_EQ(Printed([&] { EXPECT_EQ(element_get_data(md.get(), 5, out, 8, nullptr), -2); }), kInputError);
    EXPECT_EQ(Printed([&] { EXPECT_EQ(element_get_et_count(nullptr, 5), -2); }), kInputError);
}

TEST(Element, EmptyValueLastIsInvisible)
{
    auto md = NewBody();
    Add(md.get(), 1, "a");
    Add(md.get(), 2, "");
    EXPECT_EQ(element_get_et_count(md.get(), 2), 0);
    // The strict end test is silent even for the by-index read.
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Get(md.get(), 2, 0), "<-2>"); }), "");
    Add(md.get(), 3, "b");
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
    EXPECT_EQ(std::string(out, 4), "zzzz");
    EXPECT_EQ(len, 99u);

    PutHeader(md.get(), 0, 1, 5);  // one byte more than the body holds
    EXPECT_EQ(Printed([&] { EXPECT_EQ(element_get_data(md.get(), 1, out, 4, &len), -1); }),
              "Element is out of messge, can't copy. element len=13, messge len=12!\n");
}

// Length fields that point past the body, or wrap a 32-bit sum back into it.
TEST(Element, HostileLengthsStayInsideTheBody)
{
    auto md = NewBody();
    Add(md.get(), 1, "aaaa");
    Add(md.get(), 2, "bbbb");
    Add(md.get(), 3, "cccc");
    char out[4];
    unsigned int len;
    // 0xFFFFFFF8 + 8 wraps to 0 (a walk that never ends), 0xFFFFFFFC to 4.
    for (U32 bad : {0xFFFFFFF8u, 0xFFFFFFFCu, 0xFFFFFFFFu, 0x80000000u, 29u}) {
        SCOPED_TRACE(bad);
        PutHeader(md.get(), 0, 1, bad);
        EXPECT_EQ(Printed([&] { EXPECT_EQ(Get(md.get(), 3), "<-2>"); }), kInputError);
        EXPECT_EQ(element_get_data(md.get(), 2, out, 4, &len), -2);
        EXPECT_EQ(element_get_et_count(md.get(), 2), 0);
        EXPECT_EQ(element_get_et_count(md.get(), 1), 1);
        // Even an output buffer that claims to be huge receives nothing.
        std::string said = Printed([&] { EXPECT_EQ(element_get_data(md.get(), 1, out, ~0u, &len), -1); });
        EXPECT_EQ(said.rfind("Element is out of messge, can't copy. element len=", 0), 0u) << said;
    }
    // Bytes past len never count, even when they hold a well-formed element.
    md->len = 12;
    PutHeader(md.get(), 0, 1, 4);
    EXPECT_EQ(element_get_data(md.get(), 2, out, 4, &len), -2);
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
    auto md = NewBody();
    element_add_integer(md.get(), 1, -7);
    Add(md.get(), 2, "xy");
    Add(md.get(), 3, "12345");
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
    EXPECT_EQ(element_get_struct(md.get(), 3, s, 5), 0);
    EXPECT_EQ(Printed([&] { EXPECT_EQ(element_get_struct(md.get(), 2, s, 5), -1); }),
              "get et success,but len is error! in element_get_struct\n");
    EXPECT_EQ(Printed([&] { EXPECT_EQ(element_get_struct(md.get(), 9, s, 5), -1); }),
              "get et error in element_get_struct\n");
    EXPECT_EQ(Printed([&] { EXPECT_EQ(element_get_struct(md.get(), 3, nullptr, 5), -1); }),
              "The input is error in funtion element_get_struct\n");
}

TEST(Element, EtForms)
{
    auto md = NewBody();
    auto et = std::make_unique<ET>();
    auto ext = std::make_unique<EXT_ET>();
    et->tag = 4;
    et->body.len = 5000;
    memset(et->body.buf, 'e', 5000);
    EXPECT_EQ(element_add_et(md.get(), et.get()), 0);
    ext->tag = 4;
    EXPECT_EQ(element_get_ext_et(md.get(), ext.get()), 0);
    EXPECT_EQ(ext->body.len, 5000u);
    EXPECT_EQ(ext->body.buf[4999], 'e');

    ext->body.len = 5001;  // the append limit holds for extended elements too
    Printed([&] { EXPECT_EQ(element_add_ext_et(md.get(), ext.get()), -2); });
    et->tag = 8;
    et->body.len = 0;
    EXPECT_EQ(element_get_et(md.get(), et.get()), -2);
    EXPECT_EQ(et->body.len, 5000u);
    EXPECT_EQ(Printed([&] { EXPECT_EQ(element_get_ext_et(md.get(), nullptr), -1); }),
              "the input is error in element_get_et\n");
    EXPECT_EQ(Printed([&] { EXPECT_EQ(element_add_ext_et(nullptr, ext.get()), -1); }),
              "the input is error in element_add_et\n");
}
