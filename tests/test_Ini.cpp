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

const std::string kBadArg = "\xBA\xAF\xCA\xFD\xC8\xEB\xB2\xCE\xB4\xED\xCE\xF3";

class IniFile : public ::testing::Test {
protected:
    void TearDown() override { Release(); }
    void Release()
    {
        if (ini != nullptr)
            ReleaseIni(ini);
        ini = nullptr;
    }
    // Loads text from a file, dropping what was loaded before.
    bool Load(const std::string &text)
    {
        Release();
        WriteFile(path, text);
        ini = LoadIni(path.c_str());
        return ini != nullptr;
    }
    std::string Value(const std::string &key)
    {
        char value[256] = "<missing>";
        GetValueByKey(value, key.c_str(), nullptr, ini);
        return value;
    }
    std::string Saved(int (*save)(const char *, LPINIVALUE) = SaveIni)
    {
        EXPECT_EQ(save(saved.c_str(), ini), 1);
        return ReadFile(saved);
    }

    TempDir dir;
    std::string path = dir.file("in.ini"), saved = dir.file("out.ini");
    LPINIVALUE ini = nullptr;
};

TEST_F(IniFile, CommentsAndLayoutSurviveLoadAndSave)
{
    ASSERT_TRUE(Load("# c\r\nkey = a b  // x\r\nk2\t=\t3"));
    EXPECT_EQ(Value("key"), "a b");
    EXPECT_EQ(Saved(), "# c\r\nkey = a b  // x\r\nk2 = 3");
    EXPECT_EQ(Saved(SaveIniNoSpace), "# c\r\nkey=a b  // x\r\nk2=3");
}

TEST_F(IniFile, KeysAndValuesAsTheScannerCutsThem)
{
    ASSERT_TRUE(Load("[sec]\r\nk = v\n/slash = 1\neq ==  = 2\nhash = 1 # 2\n"
                     "url = http://x\nempty =\nfar \n\nbehind = 5\n"));
    EXPECT_EQ(Value("[sec]\r\nk"), "v");  // no sections: the line end is part of the key
    EXPECT_EQ(Value("slash"), "1");        // a lone "/" counts as blank
    EXPECT_EQ(Value("eq"), "2");           // every "=" and blank is skipped
    EXPECT_EQ(Value("hash"), "1 # 2");     // "#" does not end a value ...
    EXPECT_EQ(Value("url"), "http:");      // ... "//" does
    EXPECT_EQ(Value("empty"), "");
    EXPECT_EQ(Value("far"), "5");  // the first "=" is taken, lines later
    EXPECT_EQ(Value("behind"), "<missing>");
    EXPECT_EQ(Value("SLASH"), "<missing>");
}

TEST_F(IniFile, EndOfText)
{
    ASSERT_TRUE(Load("k = v\r\n"));
    EXPECT_EQ(Saved(), "k = v");  // the last line end is lost
    ASSERT_TRUE(Load("k = v\r\n# tail"));
    EXPECT_EQ(Saved(), "k = v\r\n# tail");  // kept as a comment-only record
    ASSERT_TRUE(Load("k = v\r\n# tail\r\n\r\n"));
    EXPECT_EQ(Saved(), "k = v");  // comments behind the last value, then a line end: dropped
    ASSERT_TRUE(Load("a = 1\nlone \n"));
    EXPECT_EQ(Saved(), "a = 1\nlone = ");  // no "=" later: empty value, loading stops
    ASSERT_TRUE(Load("a = 1\n# c\nword"));
    EXPECT_EQ(Saved(), "a = 1\n# c\n");  // the last word goes, the text in front stays
}

TEST_F(IniFile, LongFieldsAreCut)
{
    std::string key(300, 'k'), value(300, 'v'), comment = "#" + std::string(600, 'c') + "\n";
    ASSERT_TRUE(Load(comment + key + " = " + value + "\n"));
    EXPECT_EQ(Value(key.substr(0, 255)), value.substr(0, 255));
    EXPECT_EQ(Saved(), comment.substr(0, 511) + key.substr(0, 255) + " = " + value.substr(0, 255));
}

TEST_F(IniFile, HostileFilesStayInsideTheBuffers)
{
    EXPECT_FALSE(Load(""));  // refused without a message, like a missing file
    EXPECT_EQ(Printed([&] { EXPECT_EQ(LoadIni(dir.file("none").c_str()), nullptr); }), "");
    EXPECT_EQ(LoadIni(dir.path().c_str()), nullptr);  // a directory cannot be read

    ASSERT_TRUE(Load(std::string("a = 1\nb = 2\0c = 3\n", 18)));  // the text ends at a NUL
    EXPECT_EQ(Value("b"), "2");
    EXPECT_EQ(Value("c"), "<missing>");

    // One huge line: a million inner spaces in a value, then a huge key.
    std::string spaces(1000000, ' '), xs(1000000, 'x');
    ASSERT_TRUE(Load("k = a" + spaces + "b \n" + xs + "=1"));
    EXPECT_EQ(Value("k"), "a" + spaces.substr(0, 254));
    EXPECT_EQ(Value(xs.substr(0, 255)), "1");

    ASSERT_TRUE(Load(std::string(70000, '#')));  // a comment to the end, no line end
    EXPECT_EQ(Saved(), std::string(511, '#'));
    ASSERT_TRUE(Load("\n\t \r\n"));
    EXPECT_EQ(Saved(), "");
}

TEST_F(IniFile, LookupsAndEdits)
{
    ASSERT_TRUE(Load("# head\na = 1\nb = 2\na = second"));
    char buf[8] = "keep";
    EXPECT_EQ(GetValueByKey(buf, "x", nullptr, ini), 1);  // missing, no default: untouched
    EXPECT_STREQ(buf, "keep");
    EXPECT_EQ(GetValueByKey(buf, "x", "def", ini), 1);
    EXPECT_STREQ(buf, "def");
    memset(buf, 'Z', sizeof buf);
    EXPECT_EQ(GetValueByKeyLen(buf, 4, "x", "default", ini), 1);
    EXPECT_EQ(std::string(buf, 5), std::string("def\0Z", 5));

    EXPECT_EQ(SetValueByKey("one", "a", ini), 1);  // the first "a" only
    EXPECT_EQ(SetValueByKey("3", "c", ini), 1);
    EXPECT_EQ(SetValueByKeyForSysOp("4", "d", ini), 1);
    EXPECT_EQ(Saved(), "# head\na = one\nb = 2\na = second\r\nc = 3\nd = 4");
    EXPECT_EQ(RmvKeyValue(ini, "b"), 1);  // with the text in front of it
    EXPECT_EQ(RmvKeyValue(ini, "b"), 0);
    EXPECT_EQ(SetValueByKey(std::string(300, 'v').c_str(), "a", ini), 1);
    EXPECT_EQ(Saved(SaveIniNoSpace),
              "# head\na=" + std::string(255, 'v') + "\na=second\r\nc=3\nd=4");

    Release();
    ini = SetValueByKey_Start("1", "first");
    ASSERT_NE(ini, nullptr);
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
    char buf[256];
    std::string printed = Printed([&] {
        EXPECT_EQ(GetValueByKeyLen(buf, 8, "k", "d", nullptr), 0);
        EXPECT_EQ(SetValueByKey(nullptr, "a", ini), 0);
        EXPECT_EQ(RmvKeyValue(ini, nullptr), 0);
        EXPECT_EQ(SaveIni(nullptr, ini), 0);
        EXPECT_EQ(SetValueByKey_Start("v", nullptr), nullptr);
    });
    std::string line = kBadArg + "\n";
    EXPECT_EQ(printed, line + line + line + line + line);
}

class ReplaceInFile : public ::testing::Test {
protected:
    // The result; what was printed and the file afterwards go to members.
    int Replace(const std::string &text, std::string key, std::string value, int len)
    {
        WriteFile(path, text);
        int result = 0;
        printed = Printed(
            [&] { result = ReplaceVaribleValue(path.data(), key.data(), value.data(), len); });
        after = ReadFile(path);
        return result;
    }

    TempDir dir;
    std::string path = dir.file("conf"), printed, after;
};

TEST_F(ReplaceInFile, FixedArithmetic)
{
    EXPECT_EQ(Replace("port=1\n", "port", "8080", 4), 0);
    EXPECT_EQ(after, "port=\"8080\"\n");
    EXPECT_EQ(printed, "[ReplaceVaribleValue]--  StartLen[5]\n");
    // The key matches inside the comment; the "=" is the next one after it.
    EXPECT_EQ(Replace("# the port\nport = 1 // old\nnext=2\n", "port", "9", 1), 0);
    EXPECT_EQ(after, "# the port\nport =\"9\"\nnext=2\n");
    EXPECT_EQ(Replace("a=1\nb=2\n", "a", "12345", 2), 0);  // a longer value is cut
    EXPECT_EQ(after, "a=\"123\nb=2\n");
    EXPECT_EQ(Replace("a=1\nb=2\n", "a", "1", 4), 0);  // a shorter one ends the file
    EXPECT_EQ(after, "a=\"1\"");
}

TEST_F(ReplaceInFile, Failures)
{
    const std::string head = "[ReplaceVaribleValue]-- ";
    EXPECT_EQ(Replace("a=1\n", "zz", "1", 1), -1);
    EXPECT_EQ(printed, head + "strstr pchKey[zz], is Failed... \n");
    EXPECT_EQ(Replace("a 1\n", "a", "1", 1), -1);
    EXPECT_EQ(printed, head + "strstr \"=\" is Failed... \n");
    EXPECT_EQ(Replace("a=1", "a", "1", 1), -1);
    EXPECT_EQ(printed, head + " StartLen[2]\n" + head + "strstr \"\\n\" is Failed... \n");
    EXPECT_EQ(after, "a=1");
    EXPECT_EQ(Replace("a=1\n", "a", "1", -1), -1);
    EXPECT_EQ(Replace("", "a", "1", 1), -1);
    EXPECT_EQ(printed, "");
    EXPECT_EQ(ReplaceVaribleValue(nullptr, path.data(), path.data(), 1), -1);
}

} // namespace
