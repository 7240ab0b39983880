#include "log.h"

#include <arpa/inet.h>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
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
constexpr uintmax_t kMiB = 1048576;
const char kBackup[] = "app_\\d{4}-\\d\\d-\\d\\d_\\d\\d-\\d\\d-\\d\\d_bak\\.log";
const std::string kRed = "\x1b[1;37;40m", kReset = "\x1b[0;37;40m";

// Time stamps of both trace forms replaced by "T".
std::string Untimed(const std::string &text)
{
    static const std::regex stamp("\\d{4}-\\d\\d-\\d\\d[ _]\\d\\d:\\d\\d:\\d\\d");
    return std::regex_replace(text, stamp, "T");
}

void SetSize(const std::string &path, uintmax_t size)
{
    if (!fs::exists(path))
        WriteFile(path, "");
    fs::resize_file(path, size);
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
    LogSetPrintfLvl(7);
    Printed([&] { MT_Log_Init(4, 8, trace.c_str(), nullptr); });
    Configure(path, max_mib, 5);
}

// Names in dir matching pattern, in directory order.
std::vector<std::string> Matching(const std::string &dir, const char *pattern = kBackup)
{
    std::vector<std::string> names;
    if (DIR *d = opendir(dir.c_str())) {
        while (dirent *e = readdir(d))
            if (std::regex_match(e->d_name, std::regex(pattern)))
                names.push_back(e->d_name);
        closedir(d);
    }
    return names;
}

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

// Runs in dir, where a command injected through a path would leave "pwned".
struct InDir {
    explicit InDir(const fs::path &dir) { fs::current_path(dir); }
    ~InDir() { fs::current_path(saved); }
    fs::path saved = fs::current_path();
};

// A UDP listener on 127.0.0.1 with an ephemeral port.
struct Listener {
    Listener()
    {
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t len = sizeof addr;
        bind(fd, reinterpret_cast<sockaddr *>(&addr), len);
        getsockname(fd, reinterpret_cast<sockaddr *>(&addr), &len);
        port = ntohs(addr.sin_port);
    }
    ~Listener() { close(fd); }
    // The next datagram, or "<none>" when nothing is waiting.
    std::string Next()
    {
        char buf[16384];
        ssize_t n = recv(fd, buf, sizeof buf, MSG_DONTWAIT);
        return n < 0 ? "<none>" : std::string(buf, static_cast<size_t>(n));
    }
    int fd = socket(AF_INET, SOCK_DGRAM, 0);
    int port = 0;
};

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
    EXPECT_EQ(Matching(dir.path()).size(), 6u);  // five kept, one deleted by the scan
    Printed([] {
        MT_Log_Process(1, 0, 2, "module %d", 1);
        Log_Trace_Proc(2, 3, kSource, 7, "above the default level");
        Log_Trace_Proc(1, 3, kSource, 9, "source");
    });
    EXPECT_EQ(Untimed(ReadFile(path)), "<level:0><mod:1><chnno:2><time:T> module 1\r\n" + kRed +
                                           "[lv:1][chn:   3][WARNING]:" + kReset + " source  <T><main.c:9>\r\n\n");
    SetSize(path, kMiB);  // the default limit
    Printed([] { Log_Trace_Proc(0, 3, kSource, 9, "fresh"); });
    EXPECT_EQ(Matching(dir.path()).size(), 6u);  // one more, one deleted
}

TEST(Log, LevelFilterOfBothCalls)
{
    TempDir dir;
    std::string path = dir.file("app.log");
    InitBoth(path, path, 1);
    MT_Log_SetLevel(1);
    MT_Log_SetLevel(8);  // ignored, as is -1
    MT_Log_SetLevel(-1);
    auto log_all = [] {
        for (int level = -1; level <= 8; level++) {
            MT_Log_Process(0, level, 0, "m%d", level);
            Log_Trace_Proc(level, 0, kSource, 1, "t%d", level);
        }
    };
    Printed(log_all);
    std::regex written("(?:> m|\\]: t|:\x1b\\[0;37;40m t)(-?\\d)");
    auto levels = [&] {
        std::string text = ReadFile(path), out;
        for (std::sregex_iterator it(text.begin(), text.end(), written), end; it != end; ++it)
            out += (*it)[1].str();
        return out;
    };
    EXPECT_EQ(levels(), "0011");
    MT_Log_SetLevel(7);
    WriteFile(path, "");
    Printed(log_all);
    EXPECT_EQ(levels(), "0011223344556677");
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
        MT_Log_Process(4, 2, 0, "module 4 is out of range");
        MT_Log_Process(-1, 2, 0, "so is -1");
        MT_Log_Process(0, 2, 8, "channel 8 is out of range");
    });
    EXPECT_EQ(Untimed(ReadFile(path)), "<level:1><mod:3><time:T> text here\r\n"
                                       "<level:0><mod:2><chnno:7><time:T> chn\r\n"
                                       "<level:5><mod:0><time:T> any negative channel\r\n");
    EXPECT_EQ(Untimed(printed), "<level:1><mod:3><time:T> text here\n"
                                "<level:0><mod:2><chnno:7><time:T> chn\r\n"
                                "<level:5><mod:0><time:T> any negative channel\n");
    EXPECT_TRUE(std::regex_search(ReadFile(path), std::regex("<time:\\d{4}-\\d\\d-\\d\\d_\\d\\d:\\d\\d:\\d\\d>")));

    char names[5][20] = {"CALL", "SIP", "MEDIA", "DB", "spare"};
    Printed([&] { MT_Log_Init(4, 8, path.c_str(), names); });
    WriteFile(path, "");
    printed = Printed([] {
        MT_Log_Process(1, 2, 5, "x");
        MT_Log_Process(2, 2, -1, "y");
    });
    EXPECT_EQ(Untimed(ReadFile(path)), "<level:2><mod:SIP><chnno:5><time:T> x\r\n<level:2><mod:MEDIA><time:T> y\r\n");
    EXPECT_EQ(printed, ReadFile(path));
}

TEST(Log, FormatLengthBoundsAndTruncation)
{
    TempDir dir;
    std::string path = dir.file("app.log");
    InitBoth(path, path, 10);
    const std::string f4000(4000, 'a'), f4001(4001, 'b'), f6000(6000, 'c'), f6001(6001, 'd'), big(20000, 'z');
    Printed([&] {
        MT_Log_Process(0, 2, 0, f4000.c_str(), 0);
        MT_Log_Process(0, 2, 0, f4001.c_str(), 0);
        Log_Trace_Proc(2, 0, kSource, 1, f6000.c_str(), 0);
        Log_Trace_Proc(2, 0, kSource, 1, f6001.c_str(), 0);
        MT_Log_Process(0, 2, 0, "%s", big.c_str());  // the text is cut at 4000 and 6000
        Log_Trace_Proc(2, 0, kSource, 1, "%s", big.c_str());
    });
    EXPECT_EQ(Untimed(ReadFile(path)), "<level:2><mod:0><chnno:0><time:T> " + f4000 + "\r\n" +
                                           "[lv:2][chn:   0]: " + f6000 + "  <T><main.c:1>\r\n\n" +
                                           "<level:2><mod:0><chnno:0><time:T> " + big.substr(0, 4000) + "\r\n" +
                                           "[lv:2][chn:   0]: " + big.substr(0, 6000) + "  <T><main.c:1>\r\n\n");
}

TEST(Log, SourceTraceRecordsAndTerminalFilter)
{
    TempDir dir;
    std::string path = dir.file("app.log");
    InitBoth(dir.file("trace.log"), path, 1);
    std::string printed = Printed([] {
        Log_Trace_Proc(0, 12345, kSource, 42, "boom %d", 7);
        Log_Trace_Proc(1, -1, kSource, 43, "careful");
        Log_Trace_Proc(6, 5, kSource, 44, "six");
        Log_Trace_Proc(7, 5, kSource, 45, "seven");
    });
    const std::string shown = kRed + "[lv:0][chn:12345][ERROR]:" + kReset + " boom 7  <T><main.c:42>\r\n\n" + kRed +
                              "[lv:1][chn:  -1][WARNING]:" + kReset + " careful  <T><main.c:43>\r\n\n" +
                              "[lv:6][chn:   5]: six  <T><main.c:44>\r\n\n";
    EXPECT_EQ(Untimed(ReadFile(path)), shown + "[lv:7][chn:   5]: seven  <T><main.c:45>\r\n\n");
    EXPECT_EQ(Untimed(printed), shown);  // 7 is not below glibPrintFlag 7
    EXPECT_TRUE(std::regex_search(ReadFile(path), std::regex("<\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d>")));

    LogSetPrintfLvl(2);
    printed = Printed([] {
        Log_Trace_Proc(1, 0, kSource, 1, "shown");
        Log_Trace_Proc(2, 0, kSource, 1, "file only");
    });
    EXPECT_EQ(Untimed(printed), kRed + "[lv:1][chn:   0][WARNING]:" + kReset + " shown  <T><main.c:1>\r\n\n");
    LogSetPrintfLvl(0);
    EXPECT_EQ(Printed([] { Log_Trace_Proc(0, 0, kSource, 1, "silent"); }), "");
    EXPECT_NE(ReadFile(path).find("silent"), std::string::npos);
    EXPECT_NE(Printed([] { MT_Log_Process(0, 0, 0, "always"); }), "");

    std::string missing = dir.file("missing/app.log");
    InitBoth(missing, missing, 1);
    EXPECT_EQ(Printed([] { MT_Log_Process(0, 1, 0, "lost"); }), "Can not write log file:" + missing + ".\n");
    EXPECT_EQ(Printed([] { Log_Trace_Proc(1, 0, kSource, 1, "lost"); }), "Can not write log file:" + missing + ".\n");
}

TEST(Log, TermColor)
{
    char in[] = "text", out[64] = "untouched";
    EXPECT_EQ(term_color(out, in, 0, 0, 64), in);
    EXPECT_EQ(term_color(out, in, 128 | 31, 128 | 32, 64), in);
    EXPECT_STREQ(out, "untouched");
    EXPECT_EQ(term_color(out, in, 31, 0, 64), out);
    EXPECT_STREQ(out, "\x1b[31;40mtext\x1b[0;37;40m");
    EXPECT_STREQ(term_color(out, in, 0, 32, 64), "\x1b[42mtext\x1b[0;37;40m");
    EXPECT_STREQ(term_color(out, in, 0xA5, 0, 64), (kRed + "text" + kReset).c_str());
    EXPECT_STREQ(term_color(out, in, 32, 128 | 31, 64), "\x1b[32;41mtext\x1b[0;37;40m");
    EXPECT_STREQ(term_color(out, in, 31, 0, 8), "\x1b[31;40");  // bounded by maxout
}

TEST(LogFiles, BackupAtExactlyTheLimit)
{
    TempDir dir;
    std::string path = dir.file("app.log");
    InitBoth(path, path, 1);
    LogSetPrintfLvl(0);
    int records = VelquistLog_GetUsedFileNodeNum();
    SetSize(path, kMiB - 1);
    Log_Trace_Proc(2, 0, kSource, 1, "kept");
    EXPECT_TRUE(Matching(dir.path()).empty());
    SetSize(path, kMiB);
    Log_Trace_Proc(2, 0, kSource, 1, "fresh");
    auto backups = Matching(dir.path());
    ASSERT_EQ(backups.size(), 1u);
    EXPECT_EQ(fs::file_size(dir.file(backups[0])), kMiB);
    EXPECT_EQ(Untimed(ReadFile(path)), "[lv:2][chn:   0]: fresh  <T><main.c:1>\r\n\n");
    EXPECT_EQ(VelquistLog_GetUsedFileNodeNum(), records + 1);

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
}

TEST(LogFiles, ScanOfOldBackups)
{
    TempDir dir;
    for (const char *name : {"switch_msg_2024-01-02_03-04-05_bak.log", "switch_msg_abcd-01-02_bak.log",
                             "switch_msg.log", "other_2024-01-02_03-04-05_bak.log", "switch_msg_2024-01-02.log"})
        WriteFile(dir.file(name), "x");
    fs::create_directory(dir.file("switch_msg_2024_bak.log"));
    ASSERT_EQ(Configure(dir.file("switch_msg.log"), 1, 5), 0);
    EXPECT_EQ(VelquistLog_GetUsedFileNodeNum(), 1);
    EXPECT_EQ(VelquistLog_GetIdleFileNode(), 1);
    Configure("relative.log", 1, 5);
    EXPECT_EQ(VelquistLog_GetLogPath(), -1);

    // A full table stops the scan; a backup made then is not recorded.
    for (int i = 0; i < 129; i++)
        WriteFile(dir.file("app_2024_" + std::to_string(i) + "_bak.log"), "x");
    {
        InDir restore(fs::current_path());  // the stopped scan leaves its directory current
        EXPECT_EQ(Configure(dir.file("app.log"), 1, 500), 0);
    }
    EXPECT_EQ(VelquistLog_GetIdleFileNode(), -1);
    SetSize(dir.file("app.log"), kMiB);
    VelquistLog_CheckBakFile();
    EXPECT_EQ(Matching(dir.path()).size(), 1u);
    EXPECT_EQ(VelquistLog_GetUsedFileNodeNum(), 128);
}

TEST(LogFiles, ExcessBackupsDeleteTheRecordAtTheExcessIndex)
{
    TempDir dir;
    std::string logdir = dir.file("it's; a dir") + "/";  // a quote, a blank and a ";" for the shell
    fs::create_directory(logdir);
    for (int i = 1; i <= 7; i++)
        WriteFile(logdir + "app_2024-01-0" + std::to_string(i) + "_03-04-05_bak.log", "x");
    auto order = Matching(logdir);  // the scan records them in this order
    ASSERT_EQ(order.size(), 7u);
    for (size_t i = 0; i < order.size(); i++) {  // the last one recorded is the oldest
        timespec times[2] = {{static_cast<time_t>(1000000 - i), 0}, {0, UTIME_OMIT}};
        utimensat(AT_FDCWD, (logdir + order[i]).c_str(), times, 0);
    }
    ASSERT_EQ(Configure(logdir + "app.log", 1, 5), 0);
    EXPECT_EQ(VelquistLog_GetUsedFileNodeNum(), 7);  // records stay until the next scan
    EXPECT_EQ(VelquistLog_GetOldestFileIndex(), 6);
    auto left = Matching(logdir);
    EXPECT_EQ(left.size(), 6u);
    EXPECT_EQ(std::count(left.begin(), left.end(), order[2]), 0);  // 7 - 5 = 2
}

TEST(LogFiles, MakeDirectoryCreatesComponentsFollowedBySlash)
{
    TempDir dir;
    mode_t old = umask(022);
    std::string ab = dir.file("a/b"), cd = dir.file("c/d/");
    EXPECT_EQ(VelquistLog_MakeDirectory(ab.data()), 0);
    EXPECT_EQ(VelquistLog_MakeDirectory(cd.data()), 0);
    umask(old);
    EXPECT_TRUE(fs::is_directory(dir.file("a")));
    EXPECT_FALSE(fs::exists(ab));
    EXPECT_EQ(fs::status(dir.file("c/d")).permissions(), fs::perms::all);
    EXPECT_EQ(VelquistLog_MakeDirectory(nullptr), -1);
}

TEST(LogFiles, BackupDirectoryReceivesTheBackups)
{
    Isolated([] {
        TempDir dir;
        InDir here(dir.path());
        std::string logdir = dir.file("x;touch pwned;y"), bakdir = dir.file("b a k");
        fs::create_directory(logdir);
        EXPECT_EQ(VelquistLog_SetBakDesDir(nullptr), -1);
        EXPECT_EQ(VelquistLog_SetBakDesDir(bakdir.data()), 0);
        EXPECT_TRUE(fs::is_directory(bakdir));
        WriteFile(bakdir + "/app_2023-01-01_00-00-00_bak.log", "x");
        InitBoth(logdir + "/app.log", logdir + "/app.log", 1);
        EXPECT_EQ(VelquistLog_GetUsedFileNodeNum(), 1);  // scanned in the backup directory
        SetSize(logdir + "/app.log", kMiB);
        Printed([] { Log_Trace_Proc(3, 0, kSource, 1, "after"); });
        EXPECT_EQ(VelquistLog_GetUsedFileNodeNum(), 2);
        for (int i = 0; i < 200 && Matching(bakdir).size() < 2; i++)  // moved in the background
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        EXPECT_EQ(Matching(bakdir).size(), 2u);
        EXPECT_TRUE(Matching(logdir).empty());
        EXPECT_FALSE(fs::exists("pwned"));
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
        InitBoth(path, path, 1);
        LogSetPrintfLvl(0);
        Log_Trace_Proc(0, 1, kSource, 10, "zero");
        Log_Trace_Proc(2, 1, kSource, 11, "two");
        Log_Trace_Proc(1, 1, kSource, 12, "one");
        const std::string zero = kRed + "[lv:0][chn:   1][ERROR]:" + kReset + " zero  <T><main.c:10>\r\n\n";
        const std::string one = kRed + "[lv:1][chn:   1][WARNING]:" + kReset + " one  <T><main.c:12>\r\n\n";
        EXPECT_EQ(Untimed(ReadFile(err)), zero + one);
        EXPECT_EQ(Untimed(ReadFile(path)), zero + "[lv:2][chn:   1]: two  <T><main.c:11>\r\n\n" + one);

        SetSize(err, kMiB - 1);
        Log_Trace_Proc(0, 1, kSource, 10, "zero");
        EXPECT_GT(fs::file_size(err), kMiB);
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
    InDir here(dir.path());
    std::string logdir = dir.file("a b;touch pwned;'c"), path = logdir + "/trace.log", bak = path + ".bak";
    fs::create_directory(logdir);
    MT_Log_SetLevel(7);
    Printed([&] { MT_Log_Init(1, 1, path.c_str(), nullptr); });
    fs::create_directory(bak);  // an old backup that only "rm -rf" removes
    WriteFile(bak + "/inside", "x");
    SetSize(path, 40 * kMiB);
    std::string lines;
    Printed([&] {
        for (int call = 1; call <= 20 && !fs::is_regular_file(bak); call++) {
            MT_Log_Process(0, 1, 0, "call %d", call);
            lines += "<level:1><mod:0><chnno:0><time:T> call " + std::to_string(call) + "\r\n";
        }
    });
    ASSERT_TRUE(fs::is_regular_file(bak)) << "no rotation within 20 calls";
    EXPECT_FALSE(fs::exists(path));  // the rotating call's line went into the backup
    EXPECT_EQ(Untimed(ReadFile(bak).substr(40 * kMiB)), lines);
    EXPECT_FALSE(fs::exists("pwned"));

    // The counter restarted: the 20th call from here checks again.
    auto calls = [](int n) {
        Printed([n] {
            for (int i = 0; i < n; i++)
                MT_Log_Process(0, 1, 0, "fill");
        });
    };
    const uintmax_t first = fs::file_size(bak);
    calls(19);
    SetSize(path, 40 * kMiB - 1);
    calls(1);
    EXPECT_EQ(fs::file_size(bak), first);
    calls(19);
    SetSize(path, 40 * kMiB);
    calls(1);
    EXPECT_FALSE(fs::exists(path));
    EXPECT_EQ(Untimed(ReadFile(bak).substr(40 * kMiB)), "<level:1><mod:0><chnno:0><time:T> fill\r\n");
}

TEST(NetLog, EveryLineReachesTheListenerByteForByte)
{
    TempDir dir;
    std::string path = dir.file("app.log"), ip = "127.0.0.1";
    Listener listener;
    InitBoth(path, path, 10);
    int port = Listener().port;  // free a moment ago
    std::string printed = Printed([&] { EXPECT_EQ(MT_NetLog_Init(port), 0); });
    EXPECT_EQ(std::regex_replace(printed, std::regex("sockfd = \\d+"), "sockfd = N"),
              "sockfd = N\ncreate sip udp server success, bing udp port " + std::to_string(port) +
                  "!\nCreate Netmon udp server success, port = " + std::to_string(port) + "\n");
    Printed([] { MT_Log_Process(0, 1, 0, "before the address"); });
    MT_NetLog_SetAddr(ip.data(), 1024);
    Printed([] { MT_Log_Process(0, 1, 0, "port 1024 is refused"); });
    EXPECT_EQ(listener.Next(), "<none>");
    MT_NetLog_SetAddr(ip.data(), listener.port);
    EXPECT_EQ(netaddrlen, 16u);

    WriteFile(path, "");
    Printed([] {
        MT_Log_Process(1, 2, 3, "chn %d", 3);
        MT_Log_Process(1, 2, -1, "none");
        Log_Trace_Proc(0, 4, kSource, 5, "a");
        Log_Trace_Proc(1, -1, kSource, 6, "b");
        Log_Trace_Proc(2, 4, kSource, 7, "c");
        Log_Trace_Proc(3, -2, kSource, 8, "d %s", "e");
    });
    std::string file = ReadFile(path);
    size_t split = file.find("\r\n") + 2;
    EXPECT_EQ(listener.Next(), file.substr(0, split));
    EXPECT_EQ(listener.Next(), file.substr(split, file.find("\r\n", split) + 2 - split));
    EXPECT_EQ(Untimed(listener.Next()), "<lv:0><chn:4><main.c:5><T><ERROR> a\r\n\n");
    EXPECT_EQ(Untimed(listener.Next()), "<lv:1><main.c:6><T><WARNING> b\r\n\n");
    EXPECT_EQ(Untimed(listener.Next()), "<lv:2><chn:4><main.c:7><T> c\r\n\n");
    EXPECT_EQ(Untimed(listener.Next()), "<lv:3><main.c:8><T> d e\r\n\n");

    EXPECT_EQ(Printed([] { EXPECT_EQ(Net_Udp_Close(), 0); }), "");
    Printed([] { MT_Log_Process(0, 1, 0, "off"); });
    EXPECT_EQ(listener.Next(), "<none>");
    // A listener named after the close gets nothing; each line reports it.
    MT_NetLog_SetAddr(ip.data(), listener.port);
    EXPECT_EQ(Untimed(Printed([] { MT_Log_Process(0, 1, 0, "closed"); })),
              "<level:1><mod:0><chnno:0><time:T> closed\r\nsend error int Send_Udp_Data\n");
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
    to.sin_port = htons(static_cast<uint16_t>(listener.port));
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    std::string hundred(100, 'h');
    EXPECT_EQ(Net_Udp_SendLog(fd, hundred.data(), 100, reinterpret_cast<sockaddr *>(&to)), 1);
    EXPECT_EQ(listener.Next(), hundred);
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Net_Udp_SendLog(-1, hundred.data(), 100, nullptr), -1); }),
              "send error int Send_Udp_Data\n");
    close(fd);
    EXPECT_NE(Printed([&] { EXPECT_EQ(Net_Udp_Create(listener.port), -1); })
                  .find("create sip udp server failed, bind local address error!\n"),
              std::string::npos);
    for (int port : {0, -5}) {  // 8000, which another process may hold
        std::string printed = Printed([&] { MT_NetLog_Init(port); });
        EXPECT_TRUE(std::regex_search(printed, std::regex("Create Netmon udp server (success|failed), port = 8000\n")))
            << printed;
    }
    Net_Udp_Close();
    EXPECT_EQ(Net_Udp_Close(), -1);  // none open
    std::string bad = "not an address";
    MT_NetLog_SetAddr(bad.data(), 2000);
    MT_NetLog_SetAddr(nullptr, 3000);
    EXPECT_EQ(net_sockaddr.sin_addr.s_addr, 0xFFFFFFFFu);
    EXPECT_EQ(net_sockaddr.sin_port, htons(2000));
    Net_Udp_Close();
}
