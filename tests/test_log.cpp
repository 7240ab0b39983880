#include "log.h"

#include <arpa/inet.h>
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>
#include <utime.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <numeric>
#include <regex>
#include <string>
#include <vector>

#include "test_support.h"

namespace fs = std::filesystem;
using namespace testing_support;

namespace {

constexpr uintmax_t kMiB = 1048576;
const std::string kRed = "\x1b[1;37;40m", kReset = "\x1b[0;37;40m";

// Module trace and source trace (from "main.c") calls; what they printed. A "%d" in text shows 7.
std::string Mod(int mod, int level, int chn, const char *text)
{
    return Printed([&] { MT_Log_Process(mod, level, chn, text, 7); });
}
std::string Src(int level, int chn, int line, const char *text)
{
    return Printed([&] { Log_Trace_Proc(level, chn, const_cast<char *>("main.c"), line, text, 7); });
}
std::string Join(std::initializer_list<std::string> parts)  // a braced list runs its calls in order
{
    return std::accumulate(parts.begin(), parts.end(), std::string());
}

// Time stamps as "<time:T>" in module trace lines, "<T>" in source trace and network lines.
std::string Untimed(const std::string &text)
{
    static const std::regex stamp(R"((<time:)\d{4}-\d\d-\d\d_\d\d:\d\d:\d\d>|(<)\d{4}-\d\d-\d\d \d\d:\d\d:\d\d>)");
    return std::regex_replace(text, stamp, "$1$2T>");
}

void SetSize(const std::string &path, uintmax_t size)
{
    WriteFile(path, "");
    fs::resize_file(path, size);
}

int Configure(const std::string &path, int max_mib, int max_num = 5)
{
    CONFIG_INFO_ST config{{}, max_mib, max_num, 0, nullptr};
    snprintf(config.m_chFilePath, sizeof config.m_chFilePath, "%s", path.c_str());
    return VelquistLog_ConfigParameter(&config);
}

// Module trace to trace, source trace to path, every level let through.
void InitBoth(const std::string &trace, const std::string &path, int max_mib = 1)
{
    MT_Log_SetLevel(7);
    LogSetPrintfLvl(7);
    Printed([&] { MT_Log_Init(4, 8, trace.c_str(), nullptr); });
    Configure(path, max_mib);
}

// Whether reading dir hands out an inode number or a position that does not
// fit in 32 bits, as ext4 does for a 64-bit kernel, also under qemu-arm. A
// 32-bit program built without large-file support reads no entry of such a
// directory: its readdir fails with EOVERFLOW.
bool HasWideEntries(const std::string &dir)
{
    int fd = open(dir.c_str(), O_RDONLY | O_DIRECTORY);
    alignas(dirent64) char buf[8192];
    bool wide = false;
    for (ssize_t n; (n = getdents64(fd, buf, sizeof buf)) > 0;)
        for (ssize_t at = 0; at < n; at += reinterpret_cast<dirent64 *>(buf + at)->d_reclen) {
            const dirent64 *entry = reinterpret_cast<dirent64 *>(buf + at);
            wide = wide || entry->d_ino > UINT32_MAX || entry->d_off != static_cast<int32_t>(entry->d_off);
        }
    close(fd);
    return wide;
}

std::vector<std::string> Backups(const std::string &dir)
{
    static const std::regex backup("app_\\d{4}-\\d\\d-\\d\\d_\\d\\d-\\d\\d-\\d\\d_bak\\.log");
    std::vector<std::string> names;
    for (const auto &entry : fs::directory_iterator(dir))
        if (std::regex_match(entry.path().filename().string(), backup))
            names.push_back(entry.path().filename().string());
    return names;
}

// A UDP socket on 127.0.0.1 with an ephemeral port.
struct Listener {
    int fd = socket(AF_INET, SOCK_DGRAM, 0), port = 0;
    Listener()
    {
        sockaddr_in addr{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
        socklen_t len = sizeof addr;
        bind(fd, reinterpret_cast<sockaddr *>(&addr), len);
        getsockname(fd, reinterpret_cast<sockaddr *>(&addr), &len);
        port = ntohs(addr.sin_port);
    }
    ~Listener() { close(fd); }
    std::string Next()  // the next datagram, or "<none>"
    {
        char buf[16384];
        ssize_t n = recv(fd, buf, sizeof buf, MSG_DONTWAIT);
        return n < 0 ? "<none>" : std::string(buf, static_cast<size_t>(n));
    }
};

// Runs in a fresh directory, where a command injected through a path would leave "pwned",
// with the settings a process starts with: no configuration, default levels, no network log.
class Log : public ::testing::Test {
protected:
    Log()
    {
        fs::current_path(dir.path());
        CONFIG_INFO_ST none{};
        VelquistLog_ConfigParameter(&none);  // refused for its empty path, which leaves none
        MT_Log_SetLevel(1);
        LogSetPrintfLvl(7);
        Net_Udp_Close();
    }
    ~Log() override { fs::current_path(saved); }
    TempDir dir;
    std::string path = dir.file("app.log");
    fs::path saved = fs::current_path();
};

} // namespace

TEST_F(Log, WithoutConfigurationTheModuleTraceFileIsTheLogFile)
{
    std::string logdir = dir.file("it's; a dir") + "/", app = logdir + "app.log";
    fs::create_directory(logdir);
    for (int i = 1; i <= 7; i++)
        WriteFile(logdir + "app_2024-01-0" + std::to_string(i) + "_03-04-05_bak.log", "x");
    auto order = Backups(logdir);  // the scan records them in this order; the last is made the oldest
    for (size_t i = 0; i < order.size(); i++) {
        utimbuf times{static_cast<time_t>(1000000 - i), 0};
        utime((logdir + order[i]).c_str(), &times);
    }
    if (!HasWideEntries(logdir))
        std::cout << "note: " << logdir << " has no entry beyond 32 bits; large-file support goes unneeded\n";
    Printed([&] { MT_Log_Init(4, 8, app.c_str(), nullptr); });  // scans the backups
    EXPECT_EQ(VelquistLog_GetOldestFileIndex(), 6);
    EXPECT_EQ(Backups(logdir).size(), 6u);  // five kept: the record at index 7 - 5 is deleted
    EXPECT_FALSE(fs::exists(logdir + order[2]));
    Join({Mod(1, 0, 2, "module"), Src(2, 3, 7, "above the default level"), Src(1, 3, 9, "source")});
    EXPECT_EQ(Untimed(ReadFile(app)), "<level:0><mod:1><chnno:2><time:T> module\r\n" + kRed +
                                          "[lv:1][chn:   3][WARNING]:" + kReset + " source  <T><main.c:9>\r\n\n");
    SetSize(app, kMiB);  // the default limit
    Src(0, 3, 9, "fresh");
    EXPECT_EQ(Backups(logdir).size(), 6u);  // one more, one deleted
}

TEST_F(Log, LevelFilterAndFormatLengthOfBothCalls)
{
    InitBoth(path, path);
    auto written = [&](int level) {  // after setting level, then 8 and -1, both ignored
        for (int set : {level, 8, -1})
            MT_Log_SetLevel(set);
        WriteFile(path, "");
        for (int level = -1; level <= 8; level++)
            Join({Mod(0, level, 0, ("m" + std::to_string(level)).c_str()),
                  Src(level, 0, 1, ("t" + std::to_string(level)).c_str())});
        return std::regex_replace(ReadFile(path), std::regex("[^]*? [mt](-?\\d)|[^]*"), "$1");
    };
    EXPECT_EQ(written(1), "0011");
    EXPECT_EQ(written(7), "0011223344556677");
    WriteFile(path, "");
    const std::string f4000(4000, 'a'), f6000(6000, 'c'), big(20000, 'z');
    Join({Mod(0, 2, 0, f4000.c_str()), Mod(0, 2, 0, (f4000 + "b").c_str()), Src(2, 0, 1, f6000.c_str()),
          Src(2, 0, 1, (f6000 + "d").c_str())});
    Printed([&] {  // the text is cut at 4000 and 6000
        MT_Log_Process(0, 2, 0, "%s", big.c_str());
        Log_Trace_Proc(2, 0, const_cast<char *>("main.c"), 1, "%s", big.c_str());
    });
    auto lines = [](const std::string &module_text, const std::string &source_text) {
        return "<level:2><mod:0><chnno:0><time:T> " + module_text + "\r\n[lv:2][chn:   0]: " + source_text +
               "  <T><main.c:1>\r\n\n";
    };
    EXPECT_EQ(Untimed(ReadFile(path)), lines(f4000, f6000) + lines(big.substr(0, 4000), big.substr(0, 6000)));
}

TEST_F(Log, LinesOfBothFormsOnFileAndTerminal)
{
    char names[5][20] = {"CALL", "SIP", "MEDIA", "DB", "spare"};
    InitBoth(path, dir.file("src.log"));
    std::string printed = Join({Mod(3, 1, -1, "text %d"), Mod(2, 0, 7, "chn"), Mod(4, 2, 0, "module 4 is out of range"),
                                Mod(-1, 2, 0, "so is -1"), Mod(0, 2, 8, "channel 8 is out of range")});
    Printed([&] { MT_Log_Init(4, 8, path.c_str(), names); });
    printed += Mod(2, 2, -100, "named");
    EXPECT_EQ(Untimed(ReadFile(path)), "<level:1><mod:3><time:T> text 7\r\n<level:0><mod:2><chnno:7><time:T> chn\r\n"
                                       "<level:2><mod:MEDIA><time:T> named\r\n");
    EXPECT_EQ(Untimed(printed), "<level:1><mod:3><time:T> text 7\n<level:0><mod:2><chnno:7><time:T> chn\r\n"
                                "<level:2><mod:MEDIA><time:T> named\r\n");

    printed = Join({Src(0, 12345, 42, "boom %d"), Src(1, -1, 43, "careful"), Src(6, 5, 44, "six")});
    EXPECT_EQ(Untimed(ReadFile(dir.file("src.log"))),
              kRed + "[lv:0][chn:12345][ERROR]:" + kReset + " boom 7  <T><main.c:42>\r\n\n" + kRed +
                  "[lv:1][chn:  -1][WARNING]:" + kReset + " careful  <T><main.c:43>\r\n\n" +
                  "[lv:6][chn:   5]: six  <T><main.c:44>\r\n\n");
    EXPECT_EQ(printed, ReadFile(dir.file("src.log")));
    EXPECT_EQ(Src(7, 5, 45, "seven"), "");  // not below glibPrintFlag 7
    const std::string none = dir.file("none/app.log"), complaint = "Can not write log file:" + none + ".\n";
    InitBoth(none, none);
    EXPECT_EQ(Join({Mod(0, 1, 0, "lost"), Src(1, 0, 1, "lost")}), complaint + complaint);
}

TEST_F(Log, BackupAtExactlyTheLimitAndScanOfOldOnes)
{
    InitBoth(path, path);
    SetSize(path, kMiB - 1);
    Src(2, 0, 1, "kept");
    EXPECT_TRUE(Backups(dir.path()).empty());
    SetSize(path, kMiB);
    Src(2, 0, 1, "fresh");
    auto backups = Backups(dir.path());
    ASSERT_EQ(backups.size(), 1u);
    EXPECT_EQ(fs::file_size(backups[0]), kMiB);
    EXPECT_EQ(Untimed(ReadFile(path)), "[lv:2][chn:   0]: fresh  <T><main.c:1>\r\n\n");
    EXPECT_EQ(VelquistLog_ConfigParameter(nullptr), -1);
    for (const char *name : {"app_abcd-01-02_bak.log", "app_2024-01-02.log", "other_2024-01-02_03-04-05_bak.log"})
        WriteFile(name, "x");
    fs::create_directory("app_2024_bak.log");
    ASSERT_EQ(Configure(path, 1), 0);
    EXPECT_EQ(VelquistLog_GetUsedFileNodeNum(), 1);
    for (int i = 0; i < 129; i++)  // a full table stops the scan; a backup made then is not recorded
        WriteFile("app_2024_" + std::to_string(i) + "_bak.log", "x");
    EXPECT_EQ(Configure(path, 1, 500), 0);
    EXPECT_EQ(VelquistLog_GetIdleFileNode(), -1);
    SetSize(path, kMiB);
    VelquistLog_CheckBakFile();
    EXPECT_FALSE(fs::exists(path));
    EXPECT_EQ(VelquistLog_GetUsedFileNodeNum(), 128);
}

// In a child process: both settings stay set for the process.
TEST_F(Log, BackupDirectoryAndErrorLog)
{
    auto test = [&] {
        std::string logdir = dir.file("x;touch pwned;y"), bakdir = dir.file("b a k"), app = logdir + "/app.log";
        fs::create_directory(logdir);
        EXPECT_EQ(VelquistLog_SetBakDesDir(nullptr), -1);
        EXPECT_EQ(VelquistLog_SetBakDesDir(bakdir.data()), 0);
        WriteFile(bakdir + "/app_2023-01-01_00-00-00_bak.log", "x");
        InitBoth(app, app);
        EXPECT_EQ(VelquistLog_GetUsedFileNodeNum(), 1);  // scanned in the backup directory
        SetSize(app, kMiB);
        Src(3, 0, 1, "after");
        for (int i = 0; i < 200 && Backups(bakdir).size() < 2; i++)  // moved in the background
            usleep(10000);
        EXPECT_EQ(Backups(bakdir).size(), 2u);
        EXPECT_FALSE(fs::exists("pwned"));
        LogSetPrintfLvl(0);
        std::string err = dir.file("err/e.log");
        EXPECT_EQ(VelquistLog_SetErrLogFile(nullptr, 1), -1);
        ASSERT_EQ(VelquistLog_SetErrLogFile(err.data(), 1), 0);  // makes its directory
        Join({Src(0, 1, 10, "zero"), Src(2, 1, 11, "two"), Src(1, 1, 12, "one")});  // 0 and 1 are copied
        const std::string zero = kRed + "[lv:0][chn:   1][ERROR]:" + kReset + " zero  <T><main.c:10>\r\n\n";
        const std::string one = kRed + "[lv:1][chn:   1][WARNING]:" + kReset + " one  <T><main.c:12>\r\n\n";
        EXPECT_EQ(Untimed(ReadFile(err)), zero + one);
        SetSize(err, kMiB - 1);
        Src(0, 1, 10, "zero");
        EXPECT_GT(fs::file_size(err), kMiB);
        SetSize(err, kMiB);
        Src(0, 1, 10, "zero");  // deleted, then written anew
        EXPECT_EQ(Untimed(ReadFile(err)), zero);
        fs::remove(err);
        fs::create_directories(err + "/keep");  // an error log that cannot be opened is skipped
        Src(1, 1, 12, "main only");
        EXPECT_NE(ReadFile(app).find("main only"), std::string::npos);
    };
    EXPECT_EXIT((test(), fflush(stdout), _exit(HasFailure())), ::testing::ExitedWithCode(0), "");
}

TEST_F(Log, ModuleTraceRotatesAt40MiBEvery20thCall)
{
    std::string logdir = dir.file("a b;touch pwned;'c"), trace = logdir + "/trace.log", bak = trace + ".bak", lines;
    fs::create_directories(bak + "/inside");  // an old backup that only "rm -rf" removes
    Printed([&] { MT_Log_Init(1, 1, trace.c_str(), nullptr); });  // level 1 passes the default level
    SetSize(trace, 40 * kMiB);
    for (int call = 1; call <= 20 && !fs::is_regular_file(bak); call++) {
        lines += "<level:1><mod:0><chnno:0><time:T> call " + std::to_string(call) + "\r\n";
        Mod(0, 1, 0, ("call " + std::to_string(call)).c_str());
    }
    ASSERT_TRUE(fs::is_regular_file(bak)) << "no rotation within 20 calls";
    EXPECT_FALSE(fs::exists(trace));  // the rotating call's line went into the backup
    EXPECT_EQ(Untimed(ReadFile(bak).substr(40 * kMiB)), lines);
    EXPECT_FALSE(fs::exists("pwned"));
}

TEST_F(Log, NetLogSendsEveryLineByteForByte)
{
    Listener listener;
    InitBoth(path, path);
    int port = Listener().port;  // free a moment ago
    Printed([&] { EXPECT_EQ(MT_NetLog_Init(port), 0); });
    char ip[] = "127.0.0.1";
    MT_NetLog_SetAddr(ip, listener.port);
    Join({Mod(1, 2, 3, "chn %d"), Mod(1, 2, -1, "none"), Src(0, 4, 5, "a"), Src(1, -1, 6, "b"), Src(2, 4, 7, "c"),
          Src(3, -2, 8, "d %d")});
    std::string sent;
    for (int i = 0; i < 7; i++)
        sent += Untimed(listener.Next()) + "|";
    EXPECT_EQ(sent, "<level:2><mod:1><chnno:3><time:T> chn 7\r\n|<level:2><mod:1><time:T> none\r\n|"
                    "<lv:0><chn:4><main.c:5><T><ERROR> a\r\n\n|<lv:1><main.c:6><T><WARNING> b\r\n\n|"
                    "<lv:2><chn:4><main.c:7><T> c\r\n\n|<lv:3><main.c:8><T> d 7\r\n\n|<none>|");
    EXPECT_EQ(Net_Udp_Close(), 0);
    MT_NetLog_SetAddr(ip, listener.port);  // after the close, each line reports the failed send
    EXPECT_EQ(Untimed(Mod(0, 1, 0, "closed")),
              "<level:1><mod:0><chnno:0><time:T> closed\r\nsend error int Send_Udp_Data\n");
    EXPECT_EQ(Net_Udp_Close(), -1);
    MT_NetLog_SetAddr(nullptr, 3000);  // ignored
    EXPECT_EQ(net_sockaddr.sin_port, htons(static_cast<uint16_t>(listener.port)));
}
