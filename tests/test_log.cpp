#include "log.h"

#include <arpa/inet.h>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "test_support.h"

namespace fs = std::filesystem;
using testing_support::Printed;
using testing_support::ReadFile;
using testing_support::TempDir;
using testing_support::WriteFile;

namespace {

char kSource[] = "main.c";
constexpr long kMiB = 1048576;

// Time stamps of both trace forms replaced by "T".
std::string Untimed(const std::string &text)
{
    static const std::regex stamp("\\d{4}-\\d\\d-\\d\\d[ _]\\d\\d:\\d\\d:\\d\\d");
    return std::regex_replace(text, stamp, "T");
}

void SetSize(const std::string &path, long size)
{
    if (!fs::exists(path))
        WriteFile(path, "");
    fs::resize_file(path, static_cast<uintmax_t>(size));
}

int Configure(const std::string &path, int max_mib, int max_num)
{
    CONFIG_INFO_ST config{};
    snprintf(config.m_chFilePath, sizeof config.m_chFilePath, "%s", path.c_str());
    config.m_iLogFileMaxSize = max_mib;
    config.m_iLogMaxNum = max_num;
    int result = 0;
    Printed([&] { result = VelquistLog_ConfigParameter(&config); });
    return result;
}

// Module trace to trace, source trace to path, every level let through.
void InitBoth(const std::string &trace, const std::string &path, int max_mib)
{
    MT_Log_SetLevel(7);
    Printed([&] { MT_Log_Init(4, 8, trace.c_str(), nullptr); });
    Configure(path, max_mib, 5);
}

// Names in dir matching pattern, in directory order.
std::vector<std::string> Matching(const std::string &dir, const std::string &pattern)
{
    std::vector<std::string> names;
    DIR *d = opendir(dir.c_str());
    while (dirent *e = d != nullptr ? readdir(d) : nullptr) {
        if (std::regex_match(e->d_name, std::regex(pattern)))
            names.push_back(e->d_name);
    }
    if (d != nullptr)
        closedir(d);
    return names;
}

const char kBackup[] = "app_\\d{4}-\\d\\d-\\d\\d_\\d\\d-\\d\\d-\\d\\d_bak\\.log";

// Runs fn in a child process, for settings that stay set for the process.
template <typename Fn>
void Isolated(Fn fn)
{
    EXPECT_EXIT(
        {
            fn();
            fflush(stdout);
            _exit(::testing::Test::HasFailure() ? 1 : 0);
        },
        ::testing::ExitedWithCode(0), "");
}

// A UDP listener on 127.0.0.1 with an ephemeral port.
class Listener {
public:
    Listener()
    {
        fd_ = socket(AF_INET, SOCK_DGRAM, 0);
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bind(fd_, reinterpret_cast<sockaddr *>(&addr), sizeof addr);
        socklen_t len = sizeof addr;
        getsockname(fd_, reinterpret_cast<sockaddr *>(&addr), &len);
        port_ = ntohs(addr.sin_port);
    }
    ~Listener() { close(fd_); }
    int port() const { return port_; }
    // The next datagram, or "<none>" when nothing is waiting.
    std::string Next()
    {
        char buf[16384];
        ssize_t n = recv(fd_, buf, sizeof buf, MSG_DONTWAIT);
        return n < 0 ? "<none>" : std::string(buf, static_cast<size_t>(n));
    }

private:
    int fd_ = -1;
    int port_ = 0;
};

// Restores the working directory at scope exit.
class CwdGuard {
public:
    CwdGuard()
    {
        if (getcwd(cwd_, sizeof cwd_) == nullptr)
            strcpy(cwd_, "/");
    }
    ~CwdGuard()
    {
        if (chdir(cwd_) != 0)
            ADD_FAILURE() << "cannot return to " << cwd_;
    }

private:
    char cwd_[4096];
};

int FreeUdpPort()
{
    Listener probe;
    return probe.port();
}

} // namespace

// Must run first in its process: no configuration has been given yet.
TEST(LogInit, ModuleTraceFileBecomesTheConfiguredFile)
{
    TempDir dir;
    std::string path = dir.file("app.log");
    for (int i = 1; i <= 7; i++)
        WriteFile(dir.file("app_2024-01-0" + std::to_string(i) + "_03-04-05_bak.log"), "x");
    MT_Log_SetLevel(1);
    Printed([&] { MT_Log_Init(4, 8, path.c_str(), nullptr); });
    EXPECT_EQ(VelquistLog_GetUsedFileNodeNum(), 7);
    EXPECT_EQ(Matching(dir.path(), kBackup).size(), 6u);  // five kept, one deleted by the scan
    Printed([] { MT_Log_Process(1, 0, 2, "module %d", 1); });
    Printed([] { Log_Trace_Proc(2, 3, kSource, 7, "hidden"); });
    Printed([] { Log_Trace_Proc(1, 3, kSource, 9, "source"); });
    EXPECT_EQ(Untimed(ReadFile(path)),
              "<level:0><mod:1><chnno:2><time:T> module 1\r\n"
              "\x1b[1;37;40m[lv:1][chn:   3][WARNING]:\x1b[0;37;40m source  <T><main.c:9>\r\n\n");
    SetSize(path, kMiB);  // the default limit is 1 MiB
    Printed([] { Log_Trace_Proc(0, 3, kSource, 9, "fresh"); });
    EXPECT_EQ(Matching(dir.path(), kBackup).size(), 6u);  // one more, one deleted
}

TEST(Log, SettersAndLevelFilter)
{
    TempDir dir;
    std::string path = dir.file("app.log");
    Printed([&] { MT_Log_Init(4, 8, path.c_str(), nullptr); });
    Configure(path, 1, 5);
    MT_Log_SetLevel(1);
    MT_Log_SetLevel(8);
    MT_Log_SetLevel(-1);
    Printed([] {
        for (int level = 0; level < 3; level++) {
            MT_Log_Process(0, level, 0, "m%d", level);
            Log_Trace_Proc(level, 0, kSource, 1, "t%d", level);
        }
    });
    std::string text = ReadFile(path);
    EXPECT_NE(text.find("> m1\r\n"), std::string::npos);
    EXPECT_NE(text.find(" t1  <"), std::string::npos);
    EXPECT_EQ(text.find("m2"), std::string::npos);
    EXPECT_EQ(text.find("t2"), std::string::npos);
    MT_Log_SetLevel(7);
    Printed([] {
        MT_Log_Process(0, 7, 0, "m7");
        MT_Log_Process(0, 8, 0, "m8");
        MT_Log_Process(0, -1, 0, "m-1");
        Log_Trace_Proc(7, 0, kSource, 1, "t7");
        Log_Trace_Proc(8, 0, kSource, 1, "t8");
    });
    text = ReadFile(path);
    EXPECT_NE(text.find("<level:7>"), std::string::npos);
    EXPECT_NE(text.find("[lv:7]"), std::string::npos);
    EXPECT_EQ(text.find("m8"), std::string::npos);
    EXPECT_EQ(text.find("m-1"), std::string::npos);
    EXPECT_EQ(text.find("t8"), std::string::npos);

    LogSetFileSize(0);
    LogSetFileSize(-2);
    EXPECT_EQ(glibLogSize, 40);
    LogSetFileSize(3);
    EXPECT_EQ(glibLogSize, 3);
    LogSetPrintfLvl(-9);
    EXPECT_EQ(glibPrintFlag, -9);
    LogSetPrintfLvl(7);
    MT_Log_SetLENTH(-1);
    MT_Log_SetLENTH(100);
}

TEST(Log, ModuleTraceLinesOnFileAndTerminal)
{
    TempDir dir;
    std::string path = dir.file("trace.log");
    MT_Log_SetLevel(7);
    Printed([&] { MT_Log_Init(4, 8, path.c_str(), nullptr); });
    std::string printed = Printed([] {
        MT_Log_Process(3, 1, -1, "text %s", "here");
        MT_Log_Process(2, 0, 7, "chn");
        MT_Log_Process(0, 5, -100, "any negative channel");
    });
    EXPECT_EQ(Untimed(ReadFile(path)), "<level:1><mod:3><time:T> text here\r\n"
                                       "<level:0><mod:2><chnno:7><time:T> chn\r\n"
                                       "<level:5><mod:0><time:T> any negative channel\r\n");
    EXPECT_EQ(Untimed(printed), "<level:1><mod:3><time:T> text here\n"
                                "<level:0><mod:2><chnno:7><time:T> chn\r\n"
                                "<level:5><mod:0><time:T> any negative channel\n");
    EXPECT_TRUE(std::regex_search(ReadFile(path), std::regex("<time:\\d{4}-\\d\\d-\\d\\d_\\d\\d:\\d\\d:\\d\\d>")));

    char names[5][20] = {"CALL", "SIP", "MEDIA", "DB", "spare"};
    std::string named = dir.file("named.log");
    Printed([&] { MT_Log_Init(4, 8, named.c_str(), names); });
    printed = Printed([] {
        MT_Log_Process(1, 2, 5, "x");
        MT_Log_Process(2, 2, -1, "y");
        MT_Log_Process(4, 2, -1, "module 4 is out of range");
        MT_Log_Process(-1, 2, -1, "so is -1");
        MT_Log_Process(0, 2, 8, "channel 8 is out of range");
    });
    EXPECT_EQ(Untimed(ReadFile(named)), "<level:2><mod:SIP><chnno:5><time:T> x\r\n"
                                        "<level:2><mod:MEDIA><time:T> y\r\n");
    EXPECT_EQ(Untimed(printed), Untimed(ReadFile(named)));
}

TEST(Log, FormatLengthBoundsAndTruncation)
{
    TempDir dir;
    std::string path = dir.file("app.log");
    InitBoth(path, path, 10);
    const std::string f4000(4000, 'a'), f4001(4001, 'b'), f6000(6000, 'c'), f6001(6001, 'd');
    Printed([&] {
        MT_Log_Process(0, 2, 0, f4000.c_str(), 0);
        MT_Log_Process(0, 2, 0, f4001.c_str(), 0);
        Log_Trace_Proc(2, 0, kSource, 1, f6000.c_str(), 0);
        Log_Trace_Proc(2, 0, kSource, 1, f6001.c_str(), 0);
    });
    std::string text = ReadFile(path);
    EXPECT_NE(text.find("> " + f4000 + "\r\n"), std::string::npos);
    EXPECT_NE(text.find(": " + f6000 + "  <"), std::string::npos);
    EXPECT_EQ(text.find(f4001.substr(0, 100)), std::string::npos);
    EXPECT_EQ(text.find(f6001.substr(0, 100)), std::string::npos);

    // The formatted text is cut at 4000 and 6000 characters.
    const std::string big(20000, 'z');
    WriteFile(path, "");
    Printed([&] {
        MT_Log_Process(0, 2, 0, "%s", big.c_str());
        Log_Trace_Proc(2, 0, kSource, 1, "%s", big.c_str());
    });
    EXPECT_EQ(Untimed(ReadFile(path)), "<level:2><mod:0><chnno:0><time:T> " + big.substr(0, 4000) + "\r\n" +
                                           "[lv:2][chn:   0]: " + big.substr(0, 6000) + "  <T><main.c:1>\r\n\n");
}

TEST(Log, FilesThatDoNotOpen)
{
    TempDir dir;
    std::string path = dir.file("missing/app.log");
    InitBoth(path, path, 1);
    EXPECT_EQ(Printed([] { MT_Log_Process(0, 1, 0, "lost"); }), "Can not write log file:" + path + ".\n");
    EXPECT_EQ(Printed([] { Log_Trace_Proc(1, 0, kSource, 1, "lost"); }), "Can not write log file:" + path + ".\n");
}

TEST(Log, SourceTraceRecordsAndTerminalFilter)
{
    TempDir dir;
    std::string path = dir.file("app.log");
    InitBoth(dir.file("trace.log"), path, 1);
    LogSetPrintfLvl(7);
    std::string printed = Printed([] {
        Log_Trace_Proc(0, 12345, kSource, 42, "boom %d", 7);
        Log_Trace_Proc(1, -1, kSource, 43, "careful");
        Log_Trace_Proc(6, 5, kSource, 44, "six");
        Log_Trace_Proc(7, 5, kSource, 45, "seven");
    });
    const std::string expected = "\x1b[1;37;40m[lv:0][chn:12345][ERROR]:\x1b[0;37;40m boom 7  <T><main.c:42>\r\n\n"
                                 "\x1b[1;37;40m[lv:1][chn:  -1][WARNING]:\x1b[0;37;40m careful  <T><main.c:43>\r\n\n"
                                 "[lv:6][chn:   5]: six  <T><main.c:44>\r\n\n"
                                 "[lv:7][chn:   5]: seven  <T><main.c:45>\r\n\n";
    EXPECT_EQ(Untimed(ReadFile(path)), expected);
    EXPECT_EQ(Untimed(printed), expected.substr(0, expected.find("[lv:7]")));  // 7 is not below 7
    EXPECT_TRUE(std::regex_search(ReadFile(path), std::regex("<\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d>")));

    LogSetPrintfLvl(2);
    printed = Printed([] {
        Log_Trace_Proc(1, 0, kSource, 1, "shown");
        Log_Trace_Proc(2, 0, kSource, 1, "file only");
    });
    EXPECT_NE(printed.find("shown"), std::string::npos);
    EXPECT_EQ(printed.find("file only"), std::string::npos);
    LogSetPrintfLvl(0);
    EXPECT_EQ(Printed([] { Log_Trace_Proc(0, 0, kSource, 1, "silent"); }), "");
    EXPECT_NE(ReadFile(path).find("silent"), std::string::npos);
    EXPECT_NE(Printed([] { MT_Log_Process(0, 0, 0, "always"); }), "");
    LogSetPrintfLvl(7);
}

TEST(Log, TermColor)
{
    char in[] = "text";
    char out[64];
    memset(out, '#', sizeof out);
    EXPECT_EQ(term_color(out, in, 0, 0, 64), in);
    EXPECT_EQ(term_color(out, in, 128 | 31, 128 | 32, 64), in);
    EXPECT_EQ(out[0], '#');
    EXPECT_EQ(term_color(out, in, 31, 0, 64), out);
    EXPECT_STREQ(out, "\x1b[31;40mtext\x1b[0;37;40m");
    term_color(out, in, 0, 32, 64);
    EXPECT_STREQ(out, "\x1b[42mtext\x1b[0;37;40m");
    term_color(out, in, 0xA5, 0, 64);
    EXPECT_STREQ(out, "\x1b[1;37;40mtext\x1b[0;37;40m");
    term_color(out, in, 32, 128 | 31, 64);
    EXPECT_STREQ(out, "\x1b[32;41mtext\x1b[0;37;40m");
    term_color(out, in, 31, 0, 8);  // bounded by maxout
    EXPECT_EQ(strlen(out), 7u);
    EXPECT_EQ(term_color(nullptr, in, 31, 0, 64), in);
}

TEST(LogFiles, BackupAtExactlyTheLimit)
{
    TempDir dir;
    std::string path = dir.file("app.log");
    MT_Log_SetLevel(7);
    LogSetPrintfLvl(0);
    ASSERT_EQ(Configure(path, 1, 5), 0);
    int records = VelquistLog_GetUsedFileNodeNum();
    SetSize(path, kMiB - 1);
    Log_Trace_Proc(2, 0, kSource, 1, "kept");
    EXPECT_TRUE(Matching(dir.path(), kBackup).empty());
    EXPECT_GT(fs::file_size(path), static_cast<uintmax_t>(kMiB));  // now over the limit
    SetSize(path, kMiB);
    Log_Trace_Proc(2, 0, kSource, 1, "fresh");
    auto backups = Matching(dir.path(), kBackup);
    ASSERT_EQ(backups.size(), 1u);
    EXPECT_EQ(fs::file_size(dir.file(backups[0])), static_cast<uintmax_t>(kMiB));
    EXPECT_EQ(Untimed(ReadFile(path)), "[lv:2][chn:   0]: fresh  <T><main.c:1>\r\n\n");
    EXPECT_EQ(VelquistLog_GetUsedFileNodeNum(), records + 1);
    LogSetPrintfLvl(7);
}

TEST(LogFiles, ConfigurationLimits)
{
    TempDir dir;
    std::string path = dir.file("app.log");
    EXPECT_EQ(VelquistLog_ConfigParameter(nullptr), -1);
    EXPECT_EQ(Configure("", 1, 5), -1);
    for (int size : {0, -3, 11}) {  // stored as 1
        ASSERT_EQ(Configure(path, size, 100), 0);
        SetSize(path, kMiB);
        VelquistLog_CheckBakFile();
        EXPECT_FALSE(fs::exists(path)) << size;
    }
    ASSERT_EQ(Configure(path, 10, 100), 0);
    SetSize(path, 10 * kMiB - 1);
    VelquistLog_CheckBakFile();
    EXPECT_TRUE(fs::exists(path));
    SetSize(path, 10 * kMiB);
    VelquistLog_CheckBakFile();
    EXPECT_FALSE(fs::exists(path));
}

TEST(LogFiles, ScanCountsOnlyDatedBackupFiles)
{
    TempDir dir;
    WriteFile(dir.file("switch_msg_2024-01-02_03-04-05_bak.log"), "x");
    WriteFile(dir.file("switch_msg_abcd-01-02_bak.log"), "x");
    WriteFile(dir.file("switch_msg.log"), "x");
    WriteFile(dir.file("other_2024-01-02_03-04-05_bak.log"), "x");
    WriteFile(dir.file("switch_msg_2024-01-02.log"), "x");
    fs::create_directory(dir.file("switch_msg_2024_bak.log"));
    ASSERT_EQ(Configure(dir.file("switch_msg.log"), 1, 5), 0);
    EXPECT_EQ(VelquistLog_GetUsedFileNodeNum(), 1);
    EXPECT_EQ(VelquistLog_GetIdleFileNode(), 1);
    EXPECT_EQ(VelquistLog_GetOldestFileIndex(), 0);
    EXPECT_EQ(VelquistLog_GetLogPath(), 0);

    Configure("relative.log", 1, 5);
    EXPECT_EQ(VelquistLog_GetLogPath(), -1);
}

TEST(LogFiles, ExcessBackupsDeleteTheRecordAtTheExcessIndex)
{
    TempDir dir;
    std::string logdir = dir.file("it's; a dir") + "/";  // a quote, a blank and a ";" for the shell
    fs::create_directory(logdir);
    for (int i = 1; i <= 7; i++)
        WriteFile(logdir + "app_2024-01-0" + std::to_string(i) + "_03-04-05_bak.log", "x");
    auto order = Matching(logdir, kBackup);  // the scan records them in this order
    ASSERT_EQ(order.size(), 7u);
    // Make record 6 the oldest: the deletion does not pick it.
    for (size_t i = 0; i < order.size(); i++) {
        timespec times[2] = {{static_cast<time_t>(1000000 - i), 0}, {0, UTIME_OMIT}};
        utimensat(AT_FDCWD, (logdir + order[i]).c_str(), times, 0);
    }
    ASSERT_EQ(Configure(logdir + "app.log", 1, 5), 0);
    EXPECT_EQ(VelquistLog_GetUsedFileNodeNum(), 7);  // records stay until the next scan
    EXPECT_EQ(VelquistLog_GetOldestFileIndex(), 6);
    auto left = Matching(logdir, kBackup);
    EXPECT_EQ(left.size(), 6u);
    EXPECT_EQ(std::count(left.begin(), left.end(), order[2]), 0);  // 7 - 5 = 2
    EXPECT_EQ(std::count(left.begin(), left.end(), order[6]), 1);
}

TEST(LogFiles, FullTableStopsTheScan)
{
    TempDir dir;
    for (int i = 0; i < 129; i++)
        WriteFile(dir.file("app_2024_" + std::to_string(i) + "_bak.log"), "x");
    CwdGuard cwd;  // a full table leaves the scan's directory current
    EXPECT_EQ(Configure(dir.file("app.log"), 1, 500), 0);  // the scan's result is not the caller's
    EXPECT_EQ(VelquistLog_GetUsedFileNodeNum(), 128);
    EXPECT_EQ(VelquistLog_GetIdleFileNode(), -1);
    EXPECT_EQ(VelquistLog_ScanfOldFile(), -1);
    SetSize(dir.file("app.log"), kMiB);
    VelquistLog_CheckBakFile();  // moved, though there is no record left for it
    EXPECT_EQ(Matching(dir.path(), kBackup).size(), 1u);
}

TEST(LogFiles, MakeDirectoryCreatesComponentsFollowedBySlash)
{
    TempDir dir;
    mode_t old = umask(022);
    std::string a = dir.file("a/b");
    EXPECT_EQ(VelquistLog_MakeDirectory(a.data()), 0);
    EXPECT_TRUE(fs::is_directory(dir.file("a")));
    EXPECT_FALSE(fs::exists(a));
    std::string c = dir.file("c/d/");
    EXPECT_EQ(VelquistLog_MakeDirectory(c.data()), 0);
    EXPECT_TRUE(fs::is_directory(dir.file("c/d")));
    struct stat st {};
    stat(dir.file("c/d").c_str(), &st);
    EXPECT_EQ(st.st_mode & 0777, 0777u);
    umask(old);
    EXPECT_EQ(VelquistLog_MakeDirectory(nullptr), -1);
}

TEST(LogFiles, BackupDirectoryReceivesTheBackups)
{
    Isolated([] {
        TempDir dir;
        ASSERT_EQ(chdir(dir.path().c_str()), 0);  // an injected command would leave its mark here
        std::string logdir = dir.file("x;touch pwned;y");
        fs::create_directory(logdir);
        std::string bakdir = dir.file("b a k");
        EXPECT_EQ(VelquistLog_SetBakDesDir(nullptr), -1);
        EXPECT_EQ(VelquistLog_SetBakDesDir(bakdir.data()), 0);
        EXPECT_TRUE(fs::is_directory(bakdir));
        WriteFile(bakdir + "/app_2023-01-01_00-00-00_bak.log", "x");
        ASSERT_EQ(Configure(logdir + "/app.log", 1, 5), 0);
        EXPECT_EQ(VelquistLog_GetUsedFileNodeNum(), 1);  // scanned in the backup directory
        SetSize(logdir + "/app.log", kMiB);
        MT_Log_SetLevel(7);
        Printed([] { Log_Trace_Proc(3, 0, kSource, 1, "after"); });
        EXPECT_EQ(VelquistLog_GetUsedFileNodeNum(), 2);
        for (int i = 0; i < 200 && Matching(bakdir, kBackup).size() < 2; i++)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        EXPECT_EQ(Matching(bakdir, kBackup).size(), 2u);
        EXPECT_TRUE(Matching(logdir, kBackup).empty());
        EXPECT_FALSE(fs::exists(dir.file("pwned")));
        EXPECT_FALSE(fs::exists(dir.file("pwned;y")));
    });
}

TEST(LogFiles, ErrorLogCopyAndDeletionAtItsLimit)
{
    Isolated([] {
        TempDir dir;
        std::string path = dir.file("app.log"), err = dir.file("err/e.log");
        EXPECT_EQ(VelquistLog_SetErrLogFile(nullptr, 1), -1);
        EXPECT_EQ(VelquistLog_SetErrLogFile(const_cast<char *>("noslash.log"), 1), -1);
        ASSERT_EQ(VelquistLog_SetErrLogFile(err.data(), 1), 0);
        EXPECT_TRUE(fs::is_directory(dir.file("err")));
        ASSERT_EQ(Configure(path, 1, 5), 0);
        MT_Log_SetLevel(7);
        LogSetPrintfLvl(0);
        Log_Trace_Proc(0, 1, kSource, 10, "zero");
        Log_Trace_Proc(2, 1, kSource, 11, "two");
        Log_Trace_Proc(1, 1, kSource, 12, "one");
        const std::string zero = "\x1b[1;37;40m[lv:0][chn:   1][ERROR]:\x1b[0;37;40m zero  <T><main.c:10>\r\n\n";
        const std::string one = "\x1b[1;37;40m[lv:1][chn:   1][WARNING]:\x1b[0;37;40m one  <T><main.c:12>\r\n\n";
        EXPECT_EQ(Untimed(ReadFile(err)), zero + one);
        EXPECT_EQ(Untimed(ReadFile(path)), zero + "[lv:2][chn:   1]: two  <T><main.c:11>\r\n\n" + one);

        SetSize(err, kMiB - 1);
        Log_Trace_Proc(0, 1, kSource, 10, "zero");
        EXPECT_GT(fs::file_size(err), static_cast<uintmax_t>(kMiB));
        SetSize(err, kMiB);
        Log_Trace_Proc(0, 1, kSource, 10, "zero");  // deleted, then written anew
        EXPECT_EQ(Untimed(ReadFile(err)), zero);

        ASSERT_EQ(VelquistLog_SetErrLogFile(err.data(), 0), 0);  // a limit of 0 deletes every time
        Log_Trace_Proc(1, 1, kSource, 12, "one");
        Log_Trace_Proc(1, 1, kSource, 12, "one");
        EXPECT_EQ(Untimed(ReadFile(err)), one);

        fs::remove(err);
        fs::create_directory(err);  // an error log that cannot be opened is skipped
        WriteFile(err + "/keep", "x");
        Log_Trace_Proc(1, 1, kSource, 12, "main only");
        EXPECT_NE(ReadFile(path).find("main only"), std::string::npos);
    });
}

TEST(LogTrace, ModuleTraceRotatesAt40MiBEvery20thCall)
{
    TempDir dir;
    CwdGuard cwd;
    ASSERT_EQ(chdir(dir.path().c_str()), 0);  // an injected command would leave its mark here
    std::string logdir = dir.file("a b;touch pwned;'c");
    fs::create_directory(logdir);
    std::string path = logdir + "/trace.log", bak = path + ".bak";
    MT_Log_SetLevel(7);
    Printed([&] { MT_Log_Init(1, 1, path.c_str(), nullptr); });
    fs::create_directory(bak);  // an old backup that only "rm -rf" removes
    WriteFile(bak + "/inside", "x");
    SetSize(path, 40 * kMiB);
    int calls = 0;
    Printed([&] {
        while (!fs::is_regular_file(bak) && calls < 20)
            MT_Log_Process(0, 1, 0, "call %d", ++calls);
    });
    ASSERT_TRUE(fs::is_regular_file(bak)) << "no rotation within 20 calls";
    EXPECT_FALSE(fs::exists(path));  // the rotating call's line went into the backup
    std::string tail = ReadFile(bak).substr(40 * kMiB);
    std::string lines;  // all of them, the rotating call's last
    for (int i = 1; i <= calls; i++)
        lines += "<level:1><mod:0><chnno:0><time:T> call " + std::to_string(i) + "\r\n";
    EXPECT_EQ(Untimed(tail), lines);

    // The counter restarted: the 20th call from here checks again.
    Printed([] {
        for (int i = 1; i <= 19; i++)
            MT_Log_Process(0, 1, 0, "fill");
    });
    SetSize(path, 40 * kMiB - 1);
    Printed([] { MT_Log_Process(0, 1, 0, "checked, kept"); });
    EXPECT_EQ(fs::file_size(bak), static_cast<uintmax_t>(40 * kMiB) + tail.size());
    Printed([] {
        for (int i = 1; i <= 19; i++)
            MT_Log_Process(0, 1, 0, "fill");
    });
    SetSize(path, 40 * kMiB);
    Printed([] { MT_Log_Process(0, 1, 0, "moved"); });
    EXPECT_FALSE(fs::exists(path));
    EXPECT_NE(ReadFile(bak).substr(40 * kMiB).find("moved"), std::string::npos);
    EXPECT_FALSE(fs::exists(dir.file("pwned")));
}

TEST(NetLog, EveryLineReachesTheListenerByteForByte)
{
    TempDir dir;
    std::string path = dir.file("app.log");
    Listener listener;
    LogSetPrintfLvl(7);
    InitBoth(path, path, 10);
    int port = FreeUdpPort();
    std::string printed = Printed([&] { EXPECT_EQ(MT_NetLog_Init(port), 0); });
    const std::string p = std::to_string(port);
    EXPECT_EQ(std::regex_replace(printed, std::regex("sockfd = \\d+"), "sockfd = N"),
              "sockfd = N\ncreate sip udp server success, bing udp port " + p +
                  "!\nCreate Netmon udp server success, port = " + p + "\n");
    Printed([] { MT_Log_Process(0, 1, 0, "before the address"); });
    EXPECT_EQ(listener.Next(), "<none>");
    std::string ip = "127.0.0.1";
    MT_NetLog_SetAddr(ip.data(), 1024);
    Printed([] { MT_Log_Process(0, 1, 0, "port 1024 is refused"); });
    EXPECT_EQ(listener.Next(), "<none>");
    MT_NetLog_SetAddr(ip.data(), listener.port());
    EXPECT_EQ(netaddrlen, 16u);
    EXPECT_EQ(net_sockaddr.sin_port, htons(static_cast<uint16_t>(listener.port())));

    WriteFile(path, "");
    std::string terminal = Printed([] {
        MT_Log_Process(1, 2, 3, "chn %d", 3);
        MT_Log_Process(1, 2, -1, "none");
    });
    std::string file = ReadFile(path);
    size_t split = file.find("\r\n") + 2;
    EXPECT_EQ(listener.Next(), file.substr(0, split));
    EXPECT_EQ(listener.Next(), file.substr(split));
    EXPECT_EQ(Untimed(terminal), "<level:2><mod:1><chnno:3><time:T> chn 3\r\n<level:2><mod:1><time:T> none\n");

    Printed([] {
        Log_Trace_Proc(0, 4, kSource, 5, "a");
        Log_Trace_Proc(1, -1, kSource, 6, "b");
        Log_Trace_Proc(2, 4, kSource, 7, "c");
        Log_Trace_Proc(3, -2, kSource, 8, "d %s", "e");
    });
    EXPECT_EQ(Untimed(listener.Next()), "<lv:0><chn:4><main.c:5><T><ERROR> a\r\n\n");
    EXPECT_EQ(Untimed(listener.Next()), "<lv:1><main.c:6><T><WARNING> b\r\n\n");
    EXPECT_EQ(Untimed(listener.Next()), "<lv:2><chn:4><main.c:7><T> c\r\n\n");
    EXPECT_EQ(Untimed(listener.Next()), "<lv:3><main.c:8><T> d e\r\n\n");

    std::string hundred(100, 'h');
    EXPECT_EQ(Printed([&] {
                  EXPECT_EQ(Net_Udp_SendLog(-1, hundred.data(), 100, reinterpret_cast<sockaddr *>(&net_sockaddr)),
                            -1);
              }),
              "send error int Send_Udp_Data\n");
    EXPECT_EQ(Printed([] { Net_Udp_Close(); }), "");
    EXPECT_EQ(Printed([] { MT_Log_Process(0, 1, 0, "off"); }).find("send error"), std::string::npos);
    EXPECT_EQ(listener.Next(), "<none>");

    // After the close a named listener is sent nothing; each line reports it.
    MT_NetLog_SetAddr(ip.data(), listener.port());
    EXPECT_NE(Printed([] { MT_Log_Process(0, 1, 0, "closed"); }).find("send error int Send_Udp_Data\n"),
              std::string::npos);
    EXPECT_EQ(listener.Next(), "<none>");
    EXPECT_EQ(Net_Udp_Close(), -1);
}

TEST(NetLog, SocketHelpers)
{
    Listener listener;
    int fd = -1;
    Printed([&] { fd = Net_Udp_Create(0); });
    ASSERT_GT(fd, 0);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(static_cast<uint16_t>(listener.port()));
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    std::string hundred(100, 'h');
    EXPECT_EQ(Net_Udp_SendLog(fd, hundred.data(), 100, reinterpret_cast<sockaddr *>(&to)), 1);
    EXPECT_EQ(listener.Next(), hundred);
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Net_Udp_SendLog(fd, nullptr, 5, reinterpret_cast<sockaddr *>(&to)), -1); }),
              "send error int Send_Udp_Data\n");
    close(fd);

    // A port already taken cannot be bound.
    std::string printed = Printed([&] { EXPECT_EQ(Net_Udp_Create(listener.port()), -1); });
    EXPECT_NE(printed.find("create sip udp server failed, bind local address error!\n"), std::string::npos);

    // Ports below 1 mean 8000, which another process may hold.
    for (int port : {0, -5}) {
        printed = Printed([&] { MT_NetLog_Init(port); });
        EXPECT_TRUE(printed.find("Create Netmon udp server success, port = 8000\n") != std::string::npos ||
                    printed.find("Create Netmon udp server failed, port = 8000\n") != std::string::npos)
            << printed;
    }
    Net_Udp_Close();
    EXPECT_EQ(Net_Udp_Close(), -1);  // none open, sending stays off
    std::string bad = "not an address";
    MT_NetLog_SetAddr(bad.data(), 2000);
    EXPECT_EQ(net_sockaddr.sin_addr.s_addr, 0xFFFFFFFFu);
    MT_NetLog_SetAddr(nullptr, 3000);
    EXPECT_EQ(net_sockaddr.sin_port, htons(2000));
    Net_Udp_Close();
}
