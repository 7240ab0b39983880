#include "str.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using V = std::vector<std::string>;

char *S(const char *s) { return const_cast<char *>(s); }

// What tok returns over a copy of text until NULL, each with what is left.
template <typename Tok>
V Tokens(std::string text, Tok tok)
{
    V out;
    for (char *cursor = text.data(), *t = cursor; t != nullptr && out.size() < 10;) {
        t = tok(&cursor);
        out.push_back((t ? t : "(null)") + std::string("|") + cursor);
    }
    return out;
}

} // namespace

TEST(Str, Tokenisers)
{
    auto semi = [](char **c) { return Str_Tok(c, S(";")); };
    EXPECT_EQ(Tokens(";a", semi), (V{";a|a", "a|", "(null)|"})); // a leading delimiter is kept
    EXPECT_EQ(Tokens("a;;b", semi), (V{"a|;b", ";b|b", "b|", "(null)|"}));
    EXPECT_EQ(Tokens("x\r\ny", [](char **c) { return Str_Tok(c, S("\r\n")); }), (V{"x|y", "y|", "(null)|"}));
    auto two = [](char **c) { return Str_Two_Tok(c, S("<a>"), S("</a>")); };
    EXPECT_EQ(Tokens("x<a>y</a>z<a></a>", two), (V{"y|z<a></a>", "|", "(null)|"})); // an empty token counts
    EXPECT_EQ(Tokens("x<a>y", two), (V{"(null)|x<a>y"}));

    char text[] = "a;b";
    char *cursor = text, *none = nullptr;
    EXPECT_EQ(Str_Tok(nullptr, S(";")), nullptr);
    EXPECT_EQ(Str_Tok(&none, S(";")), nullptr);
    EXPECT_EQ(Str_Tok(&cursor, nullptr), nullptr);
    EXPECT_EQ(Str_Tok(&cursor, S("")), nullptr);
    EXPECT_EQ(Str_Two_Tok(&cursor, S(""), S(";")), nullptr);
    EXPECT_EQ(cursor, text);
    EXPECT_EQ(Str_Seq_Num(S("a,b,c"), S(",")), 3);
    EXPECT_EQ(Str_Seq_Num(S("abc"), S(",")), 1);
    EXPECT_EQ(Str_Seq_Num(S(",,"), S(",")), 3);
    EXPECT_EQ(Str_Seq_Num(S(""), S(",")), 0);
    EXPECT_EQ(Str_Seq_Num(nullptr, S(",")), 0);
    EXPECT_EQ(Str_Seq_Num(text, S("")), 0);
    EXPECT_EQ(Str_Seq_Num(S("aaaa"), S("aa")), 3); // matches do not overlap
}

TEST(Str, CaseFoldingAndThe999ByteBound)
{
    char text[] = "abz{AZ`\xE1";
    EXPECT_EQ(Str_Uppercase(text), 0);
    EXPECT_STREQ(text, "ABZ{AZ`\xE1");
    EXPECT_EQ(Str_N_Cmp_NoCase(S("abcd"), S("ABCE"), 3), 0);
    EXPECT_NE(Str_Cmp_NoCase(S("{"), S("[")), 0); // not letters: no folding

    std::string a = std::string(999, 'x') + "a", b = std::string(999, 'X') + "b", huge(5000, 'q');
    EXPECT_EQ(Str_Cmp_NoCase(a.data(), b.data()), 0);
    EXPECT_EQ(Str_N_Cmp_NoCase(a.data(), b.data(), 2000), 0);
    a.erase(0, 1), b.erase(0, 1); // the difference now falls in the first 999
    EXPECT_LT(Str_Cmp_NoCase(a.data(), b.data()), 0);
    EXPECT_GT(Str_Cmp_NoCase(huge.data(), S("Q")), 0);
}

TEST(Str, NullResults)
{
    char *x = S("x"); // never written through
    EXPECT_EQ(Str_Len(nullptr), -1);
    EXPECT_EQ(Str_Atoi(nullptr), -1);
    EXPECT_EQ(Str_Cmp(nullptr, x), -1);
    EXPECT_EQ(Str_N_Cmp(x, nullptr, 1), -1);
    EXPECT_EQ(Str_Cmp_NoCase(nullptr, x), -1);
    EXPECT_EQ(Str_N_Cmp_NoCase(x, nullptr, 1), -1);
    EXPECT_EQ(Str_Copy(nullptr, x), -1);
    EXPECT_EQ(Str_N_Copy(x, nullptr, 1), -1);
    EXPECT_EQ(Str_N_Cat(nullptr, x, 1), -1);
    EXPECT_EQ(Str_Uppercase(nullptr), -1);
    EXPECT_EQ(Str_Atol(nullptr), -1L);
    EXPECT_EQ(Str_Alloc(nullptr), nullptr);
}
