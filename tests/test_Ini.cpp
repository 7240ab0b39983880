#include "Ini.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "test_support.h"

using testing_support::Printed;
using testing_support::ReadFile;
using testing_support::TempDir;
using testing_support::WriteFile;

namespace {

const std::string kBadArgument = "\xBA\xAF\xCA\xFD\xC8\xEB\xB2\xCE\xB4\xED\xCE\xF3";

class IniFile : public ::testing::Test {
protected:
    void TearDown() override
    {
        if (ini != nullptr)
            ReleaseIni(ini);
    }

    // Loads text from a file; false when LoadIni refused it.
    bool Load(const std::string &text)
    {
        WriteFile(path, text);
        ini = LoadIni(path.c_str());
        return ini != nullptr;
    }

    std::string Value(const char *key)
    {
        char value[256] = "<missing>";
        GetValueByKey(value, key, nullptr, ini);
        return value;
    }

    std::string Saved(int (*save)(const char *, LPINIVALUE) = SaveIni)
    {
        EXPECT_EQ(save(saved.c_str(), ini), 1);
        return ReadFile(saved);
    }

    TempDir dir;
    std::string path = dir.file("in.ini");
    std::string saved = dir.file("out.ini");
    LPINIVALUE ini = nullptr;
};

TEST_F(IniFile, CommentsAndLayoutSurviveLoadAndSave)
{
    ASSERT_TRUE(Load("# c\r\nkey = a b  // x\r\nk2\t=\t3"));
    EXPECT_EQ(Value("key"), "a b");
    EXPECT_EQ(Value("k2"), "3");
    EXPECT_EQ(Saved(), "# c\r\nkey = a b  // x\r\nk2 = 3");
    EXPECT_EQ(Saved(SaveIniNoSpace), "# c\r\nkey=a b  // x\r\nk2=3");
}

TEST_F(IniFile, KeysAndValuesAsTheScannerCutsThem)
{
    ASSERT_TRUE(Load("[sec]\r\nk = v\n"
                     "/slash = 1\n"
                     "eq ==  = 2\n"
                     "hash = 1 # 2\n"
                     "url = http://x\n"
                     "empty =\n"
                     "far \n\nbehind = 5\n"));
    EXPECT_EQ(Value("[sec]\r\nk"), "v");  // no sections: the line end is part of the key
    EXPECT_EQ(Value("slash"), "1");        // a lone "/" counts as blank
    EXPECT_EQ(Value("eq"), "2");           // every "=" and blank is skipped
    EXPECT_EQ(Value("hash"), "1 # 2");     // "#" does not end a value
    EXPECT_EQ(Value("url"), "http:");      // "//" does
    EXPECT_EQ(Value("empty"), "");
    EXPECT_EQ(Value("far"), "5");          // the first "=" is taken, lines later
    EXPECT_EQ(Value("behind"), "<missing>");
    EXPECT_EQ(Value("SLASH"), "<missing>");  // case counts
}

TEST_F(IniFile, EndOfText)
{
    ASSERT_TRUE(Load("k = v\r\n"));
    EXPECT_EQ(Saved(), "k = v");  // the last line end is lost
    ReleaseIni(ini);

    ASSERT_TRUE(Load("k = v\r\n# tail"));
    EXPECT_EQ(Saved(), "k = v\r\n# tail");  // kept as a comment-only record
    ReleaseIni(ini);

    ASSERT_TRUE(Load("k = v\r\n# tail\r\n\r\n"));
    EXPECT_EQ(Saved(), "k = v");  // blanks and comments after the last value go
    ReleaseIni(ini);

    ASSERT_TRUE(Load("a = 1\nlone \n"));
    EXPECT_EQ(Value("lone"), "");  // no "=" anywhere later: empty value, loading stops
    EXPECT_EQ(Saved(), "a = 1\nlone = ");
    ReleaseIni(ini);

    ASSERT_TRUE(Load("a = 1\n# c\nword"));
    EXPECT_EQ(Value("word"), "<missing>");  // dropped; the text in front stays
    EXPECT_EQ(Saved(), "a = 1\n# c\n");
}

TEST_F(IniFile, LongFieldsAreCut)
{
    std::string key(300, 'k'), value(300, 'v'), comment = "#" + std::string(600, 'c') + "\n";
    ASSERT_TRUE(Load(comment + key + " = " + value + "\n"));
    EXPECT_EQ(Value(key.substr(0, 255).c_str()), value.substr(0, 255));
    EXPECT_EQ(Saved(), comment.substr(0, 511) + key.substr(0, 255) + " = " + value.substr(0, 255));
}

TEST_F(IniFile, HostileFilesStayInsideTheBuffers)
{
    EXPECT_FALSE(Load(""));  // empty: refused without a message
    EXPECT_EQ(Printed([&] { EXPECT_EQ(LoadIni(dir.file("none").c_str()), nullptr); }), "");
    EXPECT_EQ(LoadIni(dir.path().c_str()), nullptr);  // a directory cannot be read

    ASSERT_TRUE(Load("k = v"));  // no line end at all
    EXPECT_EQ(Value("k"), "v");
    ReleaseIni(ini);

    ASSERT_TRUE(Load(std::string("a = 1\nb = 2\0c = 3\n", 18)));  // the text ends at a NUL
    EXPECT_EQ(Value("b"), "2");
    EXPECT_EQ(Value("c"), "<missing>");
    ReleaseIni(ini);

    // One huge line: a value of a million inner spaces, then a huge key.
    ASSERT_TRUE(Load("k = a" + std::string(1000000, ' ') + "b \n" + std::string(1000000, 'x') + "=1"));
    EXPECT_EQ(Value("k"), "a" + std::string(254, ' '));
    EXPECT_EQ(Value(std::string(255, 'x').c_str()), "1");
    ReleaseIni(ini);

    ASSERT_TRUE(Load(std::string(70000, '#')));  // a comment running to the end
    EXPECT_EQ(Saved(), std::string(511, '#'));
    ReleaseIni(ini);

    ASSERT_TRUE(Load("\n\t \r\n"));  // only blanks: no record at all
    EXPECT_EQ(Saved(), "");
}

TEST_F(IniFile, Lookups)
{
    ASSERT_TRUE(Load("k = value\nk = second"));
    char buf[8] = "keep";
    EXPECT_EQ(GetValueByKey(buf, "x", nullptr, ini), 1);  // missing, no default: untouched
    EXPECT_STREQ(buf, "keep");
    EXPECT_EQ(GetValueByKey(buf, "x", "def", ini), 1);
    EXPECT_STREQ(buf, "def");
    EXPECT_EQ(Value("k"), "value");  // the first match wins

    char small[8];
    memset(small, 'Z', sizeof small);
    EXPECT_EQ(GetValueByKeyLen(small, 4, "k", nullptr, ini), 1);
    EXPECT_EQ(std::string(small, 5), std::string("val\0Z", 5));
    EXPECT_EQ(GetValueByKeyLen(small, 3, "x", "default", ini), 1);
    EXPECT_STREQ(small, "de");

    std::string printed = Printed([&] {
        EXPECT_EQ(GetValueByKey(nullptr, "k", "d", ini), 0);
        EXPECT_EQ(GetValueByKey(buf, nullptr, "d", ini), 0);
        EXPECT_EQ(GetValueByKeyLen(buf, 8, "k", "d", nullptr), 0);
    });
    EXPECT_EQ(printed, kBadArgument + "\n" + kBadArgument + "\n" + kBadArgument + "\n");
}

TEST_F(IniFile, Edits)
{
    ASSERT_TRUE(Load("# head\na = 1\nb = 2"));
    EXPECT_EQ(SetValueByKey("one", "a", ini), 1);
    EXPECT_EQ(SetValueByKey("3", "c", ini), 1);
    EXPECT_EQ(SetValueByKeyForSysOp("4", "d", ini), 1);
    EXPECT_EQ(Saved(), "# head\na = one\nb = 2\r\nc = 3\nd = 4");

    EXPECT_EQ(RmvKeyValue(ini, "b"), 1);  // goes with the text in front of it
    EXPECT_EQ(RmvKeyValue(ini, "b"), 0);
    EXPECT_EQ(SetValueByKey(std::string(300, 'v').c_str(), "a", ini), 1);
    EXPECT_EQ(Value("a"), std::string(255, 'v'));
    EXPECT_EQ(Saved(SaveIniNoSpace), "# head\na=" + std::string(255, 'v') + "\r\nc=3\nd=4");

    std::string printed = Printed([&] {
        EXPECT_EQ(SetValueByKey(nullptr, "a", ini), 0);
        EXPECT_EQ(SetValueByKeyForSysOp("v", "a", nullptr), 0);
        EXPECT_EQ(RmvKeyValue(ini, nullptr), 0);
        EXPECT_EQ(SaveIni(nullptr, ini), 0);
        EXPECT_EQ(SaveIniNoSpace(saved.c_str(), nullptr), 0);
        EXPECT_EQ(SetValueByKey_Start("v", nullptr), nullptr);
    });
    std::string expected;
    for (int i = 0; i < 6; i++)
        expected += kBadArgument + "\n";
    EXPECT_EQ(printed, expected);
}

TEST_F(IniFile, BuildFromNothing)
{
    ini = SetValueByKey_Start("1", "first");
    ASSERT_NE(ini, nullptr);
    SetValueByKey("2", "second", ini);
    EXPECT_EQ(Saved(), "\r\nfirst = 1\r\nsecond = 2");
}

TEST(Ini, Messages)
{
    TempDir dir;
    EXPECT_EQ(Printed([] { EXPECT_EQ(LoadIni(nullptr), nullptr); }), kBadArgument + ".fun[LoadIni]\n");
    EXPECT_EQ(Printed([] { ReleaseIni(nullptr); }), kBadArgument);
    LPINIVALUE ini = SetValueByKey_Start("v", "k");
    std::string target = dir.file("no/such/dir.ini");
    EXPECT_EQ(Printed([&] { EXPECT_EQ(SaveIni(target.c_str(), ini), 0); }),
              "\xB4\xF2\xBF\xAA\xCE\xC4\xBC\xFE\xCA\xA7\xB0\xDC[" + target + "]\n");
    ReleaseIni(ini);
}

class ReplaceInFile : public ::testing::Test {
protected:
    // Runs the replacement on text; returns the result, with what was
    // printed and the file afterwards in the members.
    int Replace(const std::string &text, const char *key, const char *value, int len)
    {
        WriteFile(path, text);
        int result = 0;
        printed = Printed([&] {
            result = ReplaceVaribleValue(path.data(), const_cast<char *>(key),
                                         const_cast<char *>(value), len);
        });
        after = ReadFile(path);
        return result;
    }

    TempDir dir;
    std::string path = dir.file("conf");
    std::string printed, after;
};

TEST_F(ReplaceInFile, FixedArithmetic)
{
    EXPECT_EQ(Replace("port=1\n", "port", "8080", 4), 0);
    EXPECT_EQ(after, "port=\"8080\"\n");
    EXPECT_EQ(printed, "[ReplaceVaribleValue]--  StartLen[5]\n");

    EXPECT_EQ(Replace("# the port\nport = 1 // old\nnext=2\n", "port", "9", 1), 0);
    // The key matched inside the comment; its "=" is the one on the next line.
    EXPECT_EQ(after, "# the port\nport =\"9\"\nnext=2\n");
    EXPECT_EQ(printed, "[ReplaceVaribleValue]--  StartLen[17]\n");

    EXPECT_EQ(Replace("a=1\nb=2\n", "a", "12345", 2), 0);  // a longer value is cut
    EXPECT_EQ(after, "a=\"123\nb=2\n");
    EXPECT_EQ(Replace("a=1\nb=2\n", "a", "1", 4), 0);  // a shorter one ends the file
    EXPECT_EQ(after, "a=\"1\"");
}

TEST_F(ReplaceInFile, Failures)
{
    EXPECT_EQ(Replace("a=1\n", "zz", "1", 1), -1);
    EXPECT_EQ(printed, "[ReplaceVaribleValue]-- strstr pchKey[zz], is Failed... \n");
    EXPECT_EQ(Replace("a 1\n", "a", "1", 1), -1);
    EXPECT_EQ(printed, "[ReplaceVaribleValue]-- strstr \"=\" is Failed... \n");
    EXPECT_EQ(Replace("a=1", "a", "1", 1), -1);
    EXPECT_EQ(printed, "[ReplaceVaribleValue]--  StartLen[2]\n"
                       "[ReplaceVaribleValue]-- strstr \"\\n\" is Failed... \n");
    EXPECT_EQ(after, "a=1");  // untouched on failure
    EXPECT_EQ(Replace("a=1\n", "a", "1", -1), -1);
    EXPECT_EQ(Replace("", "a", "1", 1), -1);
    EXPECT_EQ(printed, "");
    EXPECT_EQ(ReplaceVaribleValue(nullptr, path.data(), path.data(), 1), -1);
    std::string missing = dir.file("missing");
    char key[] = "a", value[] = "1";
    EXPECT_EQ(ReplaceVaribleValue(missing.data(), key, value, 1), -1);
}

} // namespace
