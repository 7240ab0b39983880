// fuzz_str.cpp - the tokenisers and compares on any texts and keys, within
// their contracts: writable NUL-terminated texts in buffers of exactly their
// size. Each result is checked against the same operation done on
// std::string. (The copies are plain and have their unit tests.)
#include "support.h"
#include "str.h"

namespace {

int sign(int v)
{
    return (v > 0) - (v < 0);
}

// Str_Tok until the text is used up: tokens and cursor positions as the
// tokeniser defines them. A key at the very start stays on the token.
void check_tok(const std::string &text, const std::string &key)
{
    std::vector<char> buf = c_string(text), k = c_string(key);
    std::string rest = buf.data();
    char *cursor = buf.data();
    size_t at = 0;  // the cursor's offset
    for (int i = 0; i <= static_cast<int>(rest.size()) + 1; i++) {
        char *token = Str_Tok(&cursor, k.data());
        if (k[0] == '\0') {
            FUZZ_CHECK(token == nullptr && cursor == buf.data());
            return;
        }
        std::string left = rest.substr(at);
        size_t hit = left.find(k.data());
        std::string expected = hit == std::string::npos || hit == 0 ? left : left.substr(0, hit);
        at += hit == std::string::npos ? left.size() : hit + strlen(k.data());
        FUZZ_CHECK(cursor == buf.data() + at);
        FUZZ_CHECK(expected.empty() ? token == nullptr : token != nullptr && expected == token);
        if (token == nullptr)
            return;
    }
    FUZZ_CHECK(!"Str_Tok never used the text up");
}

// Str_Two_Tok until a key is missing.
void check_two_tok(const std::string &text, const std::string &key1, const std::string &key2)
{
    std::vector<char> buf = c_string(text), k1 = c_string(key1), k2 = c_string(key2);
    std::string rest = buf.data();
    char *cursor = buf.data();
    size_t at = 0;
    for (;;) {
        char *token = Str_Two_Tok(&cursor, k1.data(), k2.data());
        size_t a = k1[0] && k2[0] ? rest.find(k1.data(), at) : std::string::npos;
        size_t b = a == std::string::npos ? a : rest.find(k2.data(), a + strlen(k1.data()));
        if (b == std::string::npos) {
            FUZZ_CHECK(token == nullptr && cursor == buf.data() + at);
            return;
        }
        size_t start = a + strlen(k1.data());
        FUZZ_CHECK(token == buf.data() + start && rest.substr(start, b - start) == token);
        at = b + strlen(k2.data());
        FUZZ_CHECK(cursor == buf.data() + at);
    }
}

int seq_num(const std::string &text, const std::string &key)
{
    if (text.empty() || key.empty())
        return 0;
    int n = 1;
    for (size_t at = text.find(key); at != std::string::npos; at = text.find(key, at + key.size()))
        n++;
    return n;
}

// What the case-insensitive compares compare: the first 999 bytes, with
// 'a' to 'z' upper-cased and every other byte kept.
std::string folded(const std::string &s)
{
    std::string f = s.substr(0, 999);
    for (char &c : f)
        c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
    return f;
}

void check_compares(const std::string &a, const std::string &b, int len)
{
    std::vector<char> x = c_string(a), y = c_string(b);
    std::string s = x.data(), t = y.data();
    FUZZ_CHECK(sign(Str_Cmp(x.data(), y.data())) == sign(s.compare(t)));
    FUZZ_CHECK(sign(Str_N_Cmp(x.data(), y.data(), len)) == sign(len <= 0 ? 0 : strncmp(s.c_str(), t.c_str(), len)));
    std::string fs = folded(s), ft = folded(t);
    FUZZ_CHECK(sign(Str_Cmp_NoCase(x.data(), y.data())) == sign(fs.compare(ft)));
    FUZZ_CHECK(sign(Str_N_Cmp_NoCase(x.data(), y.data(), len)) ==
               sign(len <= 0 ? 0 : strncmp(fs.c_str(), ft.c_str(), len)));
    FUZZ_CHECK(Str_Cmp(nullptr, y.data()) == -1 && Str_N_Cmp_NoCase(x.data(), nullptr, len) == -1);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Input in(data, size);
    int len = static_cast<int>(in.u16() % 1200) - 100;
    std::string key1 = in.text(16), key2 = in.text(16), other = in.text(1500);
    std::string text = in.rest();

    check_tok(text, key1);
    check_two_tok(text, key1, key2);
    std::vector<char> t = c_string(text), k = c_string(key1);
    FUZZ_CHECK(Str_Seq_Num(t.data(), k.data()) == seq_num(t.data(), k.data()));
    check_compares(text, other, len);
    return 0;
}
