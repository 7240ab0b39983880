// Lines per second of the two trace calls writing to a file, next to the
// floor: the same system calls (stat, open, write, close) made directly.
#include "log.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

// A scratch directory, and the terminal sent to /dev/null meanwhile.
class Scratch {
public:
    Scratch()
    {
        char pattern[] = "/tmp/libbase-bench-XXXXXX";
        dir_ = mkdtemp(pattern) != nullptr ? pattern : "/tmp";
        fflush(stdout);
        saved_ = dup(STDOUT_FILENO);
        int null = open("/dev/null", O_WRONLY);
        dup2(null, STDOUT_FILENO);
        close(null);
    }
    ~Scratch()
    {
        fflush(stdout);
        dup2(saved_, STDOUT_FILENO);
        close(saved_);
        std::string cmd = "rm -rf '" + dir_ + "'";
        int rc = system(cmd.c_str());
        (void)rc;
    }
    std::string file(const char *name) const { return dir_ + "/" + name; }

private:
    std::string dir_;
    int saved_ = -1;
};

void Configure(const std::string &path)
{
    CONFIG_INFO_ST config{};
    snprintf(config.m_chFilePath, sizeof config.m_chFilePath, "%s", path.c_str());
    config.m_iLogFileMaxSize = 10;
    config.m_iLogMaxNum = 5;
    VelquistLog_ConfigParameter(&config);
}

void BM_Log_Trace_Proc(benchmark::State &state)
{
    Scratch scratch;
    std::string path = scratch.file("app.log");
    MT_Log_Init(4, 8, scratch.file("trace.log").c_str(), nullptr);
    Configure(path);
    MT_Log_SetLevel(7);
    LogSetPrintfLvl(0);  // file only
    char source[] = "bench_log.cpp";
    int i = 0;
    for (auto _ : state) {
        Log_Trace_Proc(2, 3, source, 42, "call %d answered after %d ms", i, i % 977);
        if (++i % 50000 == 0)
            truncate(path.c_str(), 0);  // stay below the backup limit
    }
    state.SetItemsProcessed(state.iterations());
    LogSetPrintfLvl(7);
}
BENCHMARK(BM_Log_Trace_Proc);

void BM_MT_Log_Process(benchmark::State &state)
{
    Scratch scratch;
    std::string path = scratch.file("trace.log");
    MT_Log_Init(4, 8, path.c_str(), nullptr);
    MT_Log_SetLevel(7);
    int i = 0;
    for (auto _ : state) {
        MT_Log_Process(1, 2, 3, "call %d answered after %d ms", i, i % 977);
        if (++i % 50000 == 0)
            truncate(path.c_str(), 0);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_MT_Log_Process);

// open, write and close of a line of the same length, per line, with a
// stat first when the argument is 1 (as Log_Trace_Proc does; MT_Log_Process
// stats only every 20th line).
void BM_SyscallFloor(benchmark::State &state)
{
    Scratch scratch;
    std::string path = scratch.file("floor.log");
    const char line[] = "[lv:2][chn:   3]: call 123456 answered after 345 ms  <2026-11-23 01:00:00><bench_log.cpp:42>\r\n\n";
    int i = 0;
    for (auto _ : state) {
        struct stat st {};
        if (state.range(0) != 0)
            stat(path.c_str(), &st);
        int fd = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
        ssize_t n = write(fd, line, sizeof line - 1);
        benchmark::DoNotOptimize(n);
        close(fd);
        if (++i % 50000 == 0)
            truncate(path.c_str(), 0);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SyscallFloor)->ArgName("stat")->Arg(1)->Arg(0);

} // namespace
