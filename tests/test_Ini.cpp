#include "Ini.h"

#include <gtest/gtest.h>

#include <string>

#include "test_support.h"

using namespace testing_support;

static const std::string kBadArg = "\xBA\xAF\xCA\xFD\xC8\xEB\xB2\xCE\xB4\xED\xCE\xF3";

struct IniFile : ::testing::Test {
    ~IniFile() override { Release(); }
    void Release() { ini = ini ? (ReleaseIni(ini), nullptr) : nullptr; }
    // Loads text from a file, dropping what was loaded before.
    bool Load(const std::string &text) { Release(); WriteFile(path, text); return (ini = LoadIni(path.c_str())); }
    std::string Value(const std::string &key)  // a missing key leaves the buffer untouched
    {
        char value[256] = "<missing>";
        EXPECT_EQ(GetValueByKey(value, key.c_str(), nullptr, ini), 1);
        return value;
    }
    std::string Saved(decltype(&SaveIni) f = SaveIni) { return f(saved.c_str(), ini) == 1 ? ReadFile(saved) : "?"; }
    TempDir dir;
    std::string path = dir.file("in.ini"), saved = dir.file("out.ini");
    LPINIVALUE ini = nullptr;
};

TEST_F(IniFile, ScannerCutsCommentsAndLayoutSurviveBothSaveForms)
{
    ASSERT_TRUE(Load("# c\r\nkey = a b  // x\r\nk2\t=\t3"));
    EXPECT_EQ(Saved(), "# c\r\nkey = a b  // x\r\nk2 = 3");
    EXPECT_EQ(Saved(SaveIniNoSpace), "# c\r\nkey=a b  // x\r\nk2=3");
    ASSERT_TRUE(Load("[sec]\r\nk = v\n/slash = 1\neq ==  = 2\nhash = 1 # 2\n"
                     "url = http://x\nempty =\nfar \n\nbehind = 5\n\xFF\x80 = odd\n"));
    const char *cases[][2] = {{"behind", "<missing>"}, {"SLASH", "<missing>"},
        {"\xFF\x80", "odd"}, {"[sec]\r\nk", "v"},  // no sections: the line end is part of the key
        {"slash", "1"}, {"eq", "2"},          // a lone "/" counts as blank; every "=" and blank is skipped
        {"hash", "1 # 2"}, {"url", "http:"},  // "#" does not end a value, "//" does
        {"empty", ""}, {"far", "5"}};         // the first "=" is taken, lines later
    for (auto &c : cases)
        EXPECT_EQ(Value(c[0]), c[1]) << c[0];
}

TEST_F(IniFile, EndOfTextHostileFilesAndLongFields)
{
    const char *cases[][2] = {
        {"k = v\r\n", "k = v"},                   // the last line end is lost
        {"k = v\r\n# tail", "k = v\r\n# tail"},   // kept as a comment-only record
        {"k = v\r\n# tail\r\n\r\n", "k = v"},     // comments behind the last value, then a line end: dropped
        {"a = 1\nlone \n", "a = 1\nlone = "},     // no "=" later: empty value, loading stops
        {"a = 1\n# c\nword", "a = 1\n# c\n"},     // the last word goes, the text in front stays
        {"\n\t \r\n", ""}};
    for (auto &c : cases) {
        ASSERT_TRUE(Load(c[0]));
        EXPECT_EQ(Saved(), c[1]) << c[0];
    }
    EXPECT_FALSE(Load(""));  // refused without a message, like a missing file
    EXPECT_EQ(Printed([&] { EXPECT_EQ(LoadIni(dir.file("none").c_str()), nullptr); }), "");
    EXPECT_EQ(LoadIni(dir.path().c_str()), nullptr);  // a directory cannot be read
    ASSERT_TRUE(Load(std::string("a = 1\nb = 2\0c = 3\n", 18)));  // the text ends at a NUL
    EXPECT_EQ(Value("b"), "2");
    EXPECT_EQ(Value("c"), "<missing>");
    ASSERT_TRUE(Load(std::string(70000, '#')));  // a comment to the end, no line end
    EXPECT_EQ(Saved(), std::string(511, '#'));
    std::string key(300, 'k'), value(300, 'v'), comment = "#" + std::string(600, 'c') + "\n";
    ASSERT_TRUE(Load(comment + key + " = " + value + "\n"));
    EXPECT_EQ(Value(key.substr(0, 255)), value.substr(0, 255));
    EXPECT_EQ(Saved(), comment.substr(0, 511) + key.substr(0, 255) + " = " + value.substr(0, 255));
    // One huge line: a million inner spaces in a value, then a huge key.
    std::string spaces(1000000, ' '), xs(1000000, 'x');
    ASSERT_TRUE(Load("k = a" + spaces + "b \n" + xs + "=1"));
    EXPECT_EQ(Value("k"), "a" + spaces.substr(0, 254));
    EXPECT_EQ(Value(xs.substr(0, 255)), "1");
}

TEST_F(IniFile, LookupsAndEdits)
{
    ASSERT_TRUE(Load("# head\na = 1\nb = 2\na = second"));
    char buf[8] = "ZZZZZZZ";
    EXPECT_EQ(GetValueByKeyLen(buf, 4, "x", "default", ini), 1);
    EXPECT_EQ(std::string(buf, 5), std::string("def\0Z", 5));
    EXPECT_EQ(SetValueByKey("one", "a", ini), 1);  // the first "a" only
    EXPECT_EQ(SetValueByKey("3", "c", ini), 1);
    EXPECT_EQ(SetValueByKeyForSysOp("4", "d", ini), 1);
    EXPECT_EQ(Saved(), "# head\na = one\nb = 2\na = second\r\nc = 3\nd = 4");
    EXPECT_EQ(RmvKeyValue(ini, "b"), 1);  // with the text in front of it
    EXPECT_EQ(RmvKeyValue(ini, "b"), 0);
    EXPECT_EQ(SetValueByKey(std::string(300, 'v').c_str(), "a", ini), 1);
    EXPECT_EQ(Saved(SaveIniNoSpace), "# head\na=" + std::string(255, 'v') + "\na=second\r\nc=3\nd=4");
    Release();
    ASSERT_NE(ini = SetValueByKey_Start("1", "first"), nullptr);
    EXPECT_EQ(Saved(), "\r\nfirst = 1");
}

TEST_F(IniFile, Messages)
{
    ini = SetValueByKey_Start("v", "k");
    std::string bad = dir.file("no/dir.ini");
    EXPECT_EQ(Printed([&] { SaveIni(bad.c_str(), ini); }),
              "\xB4\xF2\xBF\xAA\xCE\xC4\xBC\xFE\xCA\xA7\xB0\xDC[" + bad + "]\n");
    EXPECT_EQ(Printed([] { LoadIni(nullptr); }), kBadArg + ".fun[LoadIni]\n");
    EXPECT_EQ(Printed([] { ReleaseIni(nullptr); }), kBadArg);
    std::string line = kBadArg + "\n", printed = Printed([&] {
        EXPECT_EQ(GetValueByKeyLen(bad.data(), 8, "k", "d", nullptr), 0);
        EXPECT_EQ(SetValueByKey(nullptr, "a", ini), 0);
        EXPECT_EQ(RmvKeyValue(ini, nullptr), 0);
        EXPECT_EQ(SaveIni(nullptr, ini), 0);
        EXPECT_EQ(SetValueByKey_Start("v", nullptr), nullptr);
    });
    EXPECT_EQ(printed, line + line + line + line + line);
}

TEST(ReplaceVaribleValue, FixedArithmeticAndFailures)
{
    TempDir dir;
    std::string path = dir.file("conf"), head = "[ReplaceVaribleValue]-- ", start = head + " StartLen[";
    struct { std::string text, key, value; int len, result; std::string after, printed; } cases[] = {
        {"port=1\n", "port", "8080", 4, 0, "port=\"8080\"\n", start + "5]\n"},
        // The key matches inside the comment; the "=" is the next one after it.
        {"# port\nport = 1 // old\nnext=2\n", "port", "9", 1, 0, "# port\nport =\"9\"\nnext=2\n", start + "13]\n"},
        {"a=1\nb=2\n", "a", "12345", 2, 0, "a=\"123\nb=2\n", start + "2]\n"},  // a longer value is cut
        {"a=1\nb=2\n", "a", "1", 4, 0, "a=\"1\"", start + "2]\n"},            // a shorter one ends the file
        {"a=1\n", "zz", "1", 1, -1, "a=1\n", head + "strstr pchKey[zz], is Failed... \n"},
        {"a 1\n", "a", "1", 1, -1, "a 1\n", head + "strstr \"=\" is Failed... \n"},
        {"a=1", "a", "1", 1, -1, "a=1", start + "2]\n" + head + "strstr \"\\n\" is Failed... \n"},
        {"a=1\n", "a", "1", -1, -1, "a=1\n", ""},
        {"", "a", "1", 1, -1, "", ""}};
    for (auto &c : cases) {
        SCOPED_TRACE(c.text);
        WriteFile(path, c.text);
        int r = 0;
        EXPECT_EQ(Printed([&] { r = ReplaceVaribleValue(path.data(), c.key.data(), c.value.data(), c.len); }),
                  c.printed);
        EXPECT_EQ(r, c.result);
        EXPECT_EQ(ReadFile(path), c.after);
    }
    EXPECT_EQ(ReplaceVaribleValue(nullptr, path.data(), path.data(), 1), -1);
}
