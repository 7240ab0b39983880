#include "str.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

// Every result of repeated calls to tok over a copy of text, with the
// cursor's remaining text after each call.
template <typename Tok>
std::vector<std::string> Tokens(std::string text, Tok tok, int calls)
{
    std::vector<char> buf(text.begin(), text.end());
    buf.push_back('\0');
    char *cursor = buf.data();
    std::vector<std::string> out;
    for (int i = 0; i < calls; i++) {
        char *t = tok(&cursor);
        out.push_back((t ? t : "(null)") + std::string("|") + cursor);
    }
    return out;
}

using V = std::vector<std::string>;

} // namespace

TEST(Str, TokKeepsALeadingDelimiter)
{
    auto tok = [](char **c) { return Str_Tok(c, const_cast<char *>(";")); };
    EXPECT_EQ(Tokens("a;b", tok, 3), (V{"a|b", "b|", "(null)|"}));
    EXPECT_EQ(Tokens(";a", tok, 2), (V{";a|a", "a|"}));
    EXPECT_EQ(Tokens("a;;b", tok, 4), (V{"a|;b", ";b|b", "b|", "(null)|"}));
    auto multi = [](char **c) { return Str_Tok(c, const_cast<char *>("\r\n")); };
    EXPECT_EQ(Tokens("x\r\ny", multi, 2), (V{"x|y", "y|"}));
}

TEST(Str, TokBadArguments)
{
    char text[] = "a;b", key[] = ";", empty[] = "";
    char *cursor = text, *none = nullptr;
    EXPECT_EQ(Str_Tok(nullptr, key), nullptr);
    EXPECT_EQ(Str_Tok(&none, key), nullptr);
    EXPECT_EQ(Str_Tok(&cursor, nullptr), nullptr);
    EXPECT_EQ(Str_Tok(&cursor, empty), nullptr);
    EXPECT_EQ(cursor, text);
    EXPECT_EQ(Str_Two_Tok(&cursor, empty, key), nullptr);
    EXPECT_EQ(Str_Seq_Num(text, empty), 0);
}

TEST(Str, TwoTok)
{
    auto tok = [](char **c) {
        return Str_Two_Tok(c, const_cast<char *>("<a>"), const_cast<char *>("</a>"));
    };
    EXPECT_EQ(Tokens("x<a>y</a>z", tok, 2), (V{"y|z", "(null)|z"}));
    EXPECT_EQ(Tokens("<a></a>", tok, 1), (V{"|"}));  // an empty token is returned
    EXPECT_EQ(Tokens("x<a>y", tok, 1), (V{"(null)|x<a>y"}));
}

TEST(Str, SeqNum)
{
    char comma[] = ",";
    EXPECT_EQ(Str_Seq_Num(const_cast<char *>("a,b,c"), comma), 3);
    EXPECT_EQ(Str_Seq_Num(const_cast<char *>("abc"), comma), 1);
    EXPECT_EQ(Str_Seq_Num(const_cast<char *>(",,"), comma), 3);
    EXPECT_EQ(Str_Seq_Num(const_cast<char *>(""), comma), 0);
    EXPECT_EQ(Str_Seq_Num(nullptr, comma), 0);
    EXPECT_EQ(Str_Seq_Num(const_cast<char *>("aaaa"), const_cast<char *>("aa")), 3);  // non-overlapping
}

TEST(Str, CaseFolding)
{
    char text[] = "abz{AZ`\xE1";
    EXPECT_EQ(Str_Uppercase(text), 0);
    EXPECT_EQ(std::string(text), "ABZ{AZ`\xE1");
    EXPECT_EQ(Str_Uppercase(nullptr), -1);
    EXPECT_EQ(Str_Cmp_NoCase(const_cast<char *>("Abc"), const_cast<char *>("aBC")), 0);
    EXPECT_EQ(Str_N_Cmp_NoCase(const_cast<char *>("abcd"), const_cast<char *>("ABCE"), 3), 0);
    EXPECT_LT(Str_Cmp_NoCase(const_cast<char *>("abc"), const_cast<char *>("ABD")), 0);
    // '{' and '[' are not letters: no folding between them.
    EXPECT_NE(Str_Cmp_NoCase(const_cast<char *>("{"), const_cast<char *>("[")), 0);
}

TEST(Str, NoCaseComparesOnly999Bytes)
{
    std::string a(999, 'x'), b(999, 'X');
    std::string a1 = a + "a", b1 = b + "b";
    EXPECT_EQ(Str_Cmp_NoCase(a1.data(), b1.data()), 0);
    EXPECT_EQ(Str_N_Cmp_NoCase(a1.data(), b1.data(), 2000), 0);
    std::string a2 = std::string(998, 'x') + "a", b2 = std::string(998, 'x') + "b";
    EXPECT_LT(Str_Cmp_NoCase(a2.data(), b2.data()), 0);
    std::string huge(5000, 'q');
    EXPECT_GT(Str_Cmp_NoCase(huge.data(), const_cast<char *>("Q")), 0);
}

TEST(Str, NullResults)
{
    char x[] = "x";
    EXPECT_EQ(Str_Len(nullptr), -1);
    EXPECT_EQ(Str_Atoi(nullptr), -1);
    EXPECT_EQ(Str_Atol(nullptr), -1L);
    EXPECT_EQ(Str_Cmp(nullptr, x), -1);
    EXPECT_EQ(Str_N_Cmp(x, nullptr, 1), -1);
    EXPECT_EQ(Str_Cmp_NoCase(nullptr, x), -1);
    EXPECT_EQ(Str_N_Cmp_NoCase(x, nullptr, 1), -1);
    EXPECT_EQ(Str_Copy(nullptr, x), -1);
    EXPECT_EQ(Str_N_Copy(x, nullptr, 1), -1);
    EXPECT_EQ(Str_N_Cat(nullptr, x, 1), -1);
    EXPECT_EQ(Str_Alloc(nullptr), nullptr);
}

TEST(Str, CopiesAndConversions)
{
    char dest[16] = "zzzzzzzz";
    auto as_int = [](char *p) { return static_cast<int>(reinterpret_cast<uintptr_t>(p)); };
    EXPECT_EQ(Str_N_Copy(dest, const_cast<char *>("abcdef"), 3), as_int(dest));
    EXPECT_EQ(std::string(dest), "abczzzzz");  // strncpy adds no terminator
    EXPECT_EQ(Str_Copy(dest, const_cast<char *>("ab")), as_int(dest));
    EXPECT_EQ(Str_N_Cat(dest, const_cast<char *>("cdef"), 2), as_int(dest));
    EXPECT_EQ(std::string(dest), "abcd");
    EXPECT_EQ(Str_Len(dest), 4);
    EXPECT_EQ(Str_Atoi(const_cast<char *>(" 42x")), 42);
    EXPECT_EQ(Str_Atol(const_cast<char *>("-7")), -7L);
    EXPECT_EQ(Str_Cmp(dest, const_cast<char *>("abcd")), 0);
    EXPECT_EQ(Str_N_Cmp(dest, const_cast<char *>("abzz"), 2), 0);
    char *copy = Str_Alloc(dest);
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy, dest);
    EXPECT_EQ(std::string(copy), "abcd");
    free(copy);
}
