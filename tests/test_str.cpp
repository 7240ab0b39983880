#include "str.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using V = std::vector<std::string>;
using I = std::vector<int>;

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
    EXPECT_EQ((std::vector<char *>{Str_Tok(nullptr, S(";")), Str_Tok(&none, S(";")), Str_Tok(&cursor, nullptr),
                                   Str_Tok(&cursor, S("")), Str_Two_Tok(&cursor, S(""), S(";"))}),
              std::vector<char *>(5, nullptr));
    EXPECT_EQ(cursor, text);
    EXPECT_EQ((I{Str_Seq_Num(S("a,b,c"), S(",")), Str_Seq_Num(S("abc"), S(",")), Str_Seq_Num(S(",,"), S(",")),
                 Str_Seq_Num(S(""), S(",")), Str_Seq_Num(nullptr, S(",")), Str_Seq_Num(text, S("")),
                 Str_Seq_Num(S("aaaa"), S("aa"))}),
              (I{3, 1, 3, 0, 0, 0, 3})); // matches do not overlap
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
    EXPECT_EQ((I{Str_Len(nullptr), Str_Atoi(nullptr), Str_Cmp(nullptr, x), Str_N_Cmp(x, nullptr, 1),
                 Str_Cmp_NoCase(nullptr, x), Str_N_Cmp_NoCase(x, nullptr, 1), Str_Copy(nullptr, x),
                 Str_N_Copy(x, nullptr, 1), Str_N_Cat(nullptr, x, 1), Str_Uppercase(nullptr)}),
              I(10, -1));
    EXPECT_EQ(Str_Atol(nullptr), -1L);
    EXPECT_EQ(Str_Alloc(nullptr), nullptr);
}
