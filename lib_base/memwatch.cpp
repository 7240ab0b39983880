// memwatch.cpp - a checking allocator for finding memory faults.
//
// Each block is one malloc'ed area: a front guard, the caller's bytes and a
// rear guard. The caller's pointer is the key of a record in the table of
// live blocks, so that a pointer is validated there before anything behind
// it is read. Freed pointers are remembered for a while (the last
// kFreedRemembered of them) to tell a double free from a stray pointer.
// One mutex guards all state; it is held for the whole of each call.
#include "memwatch.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <unordered_map>

static_assert(sizeof(MW_STATS) == 40, "statistics layout");
static_assert(offsetof(MW_STATS, peak_bytes) == 32, "statistics layout");

namespace {

constexpr size_t kGuard = 16; // keeps the caller's bytes aligned as malloc's
constexpr unsigned char kGuardByte = 0xFD;
constexpr unsigned char kFreshByte = 0xCD;
constexpr unsigned char kDeadByte = 0xDD;
constexpr size_t kFreedRemembered = 1024;
constexpr size_t kPathSize = 4096;
constexpr char kDefaultLog[] = "/tmp/log/memwatch.log";
static_assert(kGuard % alignof(max_align_t) == 0, "guard keeps alignment");

// A live block: its size and where it was allocated. A freed one: where it
// was freed, and its place in the order of frees.
struct Record {
    size_t size;
    const char *file;
    int line;
    uint64_t seq;
};

using Table = std::unordered_map<uintptr_t, Record>;

struct State {
    std::mutex lock;
    Table live;
    Table freed;
    std::array<std::pair<uintptr_t, uint64_t>, kFreedRemembered> freed_order{}; // ring, oldest at next
    size_t freed_next = 0;
    uint64_t freed_seq = 0;
    MW_STATS stats{};
    char log_path[kPathSize] = {0};
    bool exit_hook = false;
};

// Built once and never destroyed, so that frees from other exit-time
// destructors still find it.
State &state()
{
    alignas(State) static unsigned char storage[sizeof(State)];
    static State *s = new (storage) State;
    return *s;
}

const char *name(const char *file)
{
    return file != nullptr ? file : "?";
}

unsigned char *raw_of(uintptr_t user)
{
    return reinterpret_cast<unsigned char *>(user) - kGuard;
}

// The log file opened for appending (its directory made when missing), or
// standard output when it cannot be opened. Used with the lock held.
class Log {
public:
    explicit Log(const State &s)
    {
        const char *path = s.log_path[0] != 0 ? s.log_path : kDefaultLog;
        out_ = fopen(path, "a");
        if (out_ == nullptr && errno == ENOENT) {
            char dir[kPathSize];
            snprintf(dir, sizeof dir, "%s", path);
            char *slash = strrchr(dir, '/');
            if (slash != nullptr && slash != dir) {
                *slash = 0;
                mkdir(dir, 0755);
                out_ = fopen(path, "a");
            }
        }
        if (out_ == nullptr)
            out_ = stdout;
    }
    ~Log()
    {
        if (out_ != stdout)
            fclose(out_);
        else
            fflush(stdout);
    }
    Log(const Log &) = delete;
    Log &operator=(const Log &) = delete;

    // One line: "memwatch[<pid>] " and the formatted text.
    void line(const char *fmt, ...) __attribute__((format(printf, 2, 3)))
    {
        va_list args;
        va_start(args, fmt);
        fprintf(out_, "memwatch[%d] ", static_cast<int>(getpid()));
        vfprintf(out_, fmt, args);
        fputc('\n', out_);
        va_end(args);
    }

private:
    FILE *out_;
};

void report_blocks(State &s, Log &log)
{
    for (const auto &[user, rec] : s.live)
        log.line("block: %zu bytes at %p allocated at %s:%d", rec.size, reinterpret_cast<void *>(user),
                 name(rec.file), rec.line);
}

void at_exit()
{
    State &s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    if (s.live.empty())
        return;
    Log log(s);
    log.line("at exit: %zu blocks, %llu bytes still allocated", s.live.size(), s.stats.bytes_in_use);
    report_blocks(s, log);
}

bool guard_intact(const unsigned char *p)
{
    for (size_t i = 0; i < kGuard; i++) {
        if (p[i] != kGuardByte)
            return false;
    }
    return true;
}

// Checks both guards of a live block and logs each damaged one. Returns
// whether the block is intact.
bool check_block(State &s, uintptr_t user, const Record &rec, const char *file, int line)
{
    const unsigned char *raw = raw_of(user);
    bool front = guard_intact(raw), rear = guard_intact(raw + kGuard + rec.size);
    if (!front)
        Log(s).line("underrun: %zu-byte block %p allocated at %s:%d, written before its start, found at %s:%d",
                 rec.size, reinterpret_cast<void *>(user), name(rec.file), rec.line, name(file), line);
    if (!rear)
        Log(s).line("overrun: %zu-byte block %p allocated at %s:%d, written past its end, found at %s:%d",
                 rec.size, reinterpret_cast<void *>(user), name(rec.file), rec.line, name(file), line);
    return front && rear;
}

// A new guarded block of size bytes, not yet recorded; the caller's pointer
// or NULL (logged).
unsigned char *new_block(State &s, size_t size, const char *file, int line)
{
    unsigned char *raw = size <= SIZE_MAX - 2 * kGuard ? static_cast<unsigned char *>(malloc(size + 2 * kGuard))
                                                       : nullptr;
    if (raw == nullptr) {
        Log(s).line("out of memory: %zu bytes at %s:%d", size, name(file), line);
        return nullptr;
    }
    memset(raw, kGuardByte, kGuard);
    memset(raw + kGuard + size, kGuardByte, kGuard);
    return raw + kGuard;
}

void release_block(unsigned char *user, size_t size)
{
    unsigned char *raw = user - kGuard;
    memset(raw, kDeadByte, size + 2 * kGuard);
    free(raw);
}

void count_bytes(MW_STATS &st, size_t released, size_t added)
{
    st.bytes_in_use = st.bytes_in_use - released + added;
    if (st.bytes_in_use > st.peak_bytes)
        st.peak_bytes = st.bytes_in_use;
}

// Enters a new block in the table of live blocks; when the table cannot
// grow, logs it, releases the block and returns false.
bool enter_live(State &s, unsigned char *user, size_t size, const char *file, int line)
{
    auto key = reinterpret_cast<uintptr_t>(user);
    try {
        s.live.emplace(key, Record{size, file, line, 0});
    } catch (...) {
        Log(s).line("out of memory: %zu bytes at %s:%d", size, name(file), line);
        release_block(user, size);
        return false;
    }
    s.freed.erase(key); // the address is in use again
    return true;
}

// Records a new block; on failure (logged) releases it and returns NULL.
void *record_block(State &s, unsigned char *user, size_t size, const char *file, int line)
{
    if (user == nullptr || !enter_live(s, user, size, file, line))
        return nullptr;
    if (!s.exit_hook)
        s.exit_hook = atexit(at_exit) == 0;
    s.stats.allocations++;
    s.stats.blocks_in_use++;
    count_bytes(s.stats, 0, size);
    return user;
}

void *allocate(size_t size, const char *file, int line)
{
    State &s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    return record_block(s, new_block(s, size, file, line), size, file, line);
}

// Logs a pointer that is not live: freed before, or never handed out.
void complain_not_live(State &s, uintptr_t key, const char *what, const char *file, int line)
{
    auto it = s.freed.find(key);
    if (it != s.freed.end())
        Log(s).line("%s: %p at %s:%d, freed before at %s:%d",
                 strcmp(what, "free") == 0 ? "double free" : "realloc after free", reinterpret_cast<void *>(key),
                 name(file), line, name(it->second.file), it->second.line);
    else
        Log(s).line("%s of unknown pointer: %p at %s:%d", what, reinterpret_cast<void *>(key), name(file), line);
}

// The record of the live block ptr, its guards checked; end() after logging
// a pointer that is not live.
Table::iterator checked_live(State &s, void *ptr, const char *what, const char *file, int line)
{
    auto key = reinterpret_cast<uintptr_t>(ptr);
    auto it = s.live.find(key);
    if (it == s.live.end())
        complain_not_live(s, key, what, file, line);
    else
        check_block(s, key, it->second, file, line);
    return it;
}

// Moves a live record to the remembered frees, now saying where it was
// freed; forgets the oldest remembered free when there are too many. The
// record's node is reused; when the table of frees cannot grow, this free
// is not remembered.
void remember_free(State &s, Table::iterator it, const char *file, int line)
{
    auto node = s.live.extract(it);
    uint64_t seq = ++s.freed_seq;
    node.mapped() = Record{0, file, line, seq};
    auto &slot = s.freed_order[s.freed_next];
    auto old = s.freed.find(slot.first);
    if (slot.second != 0 && old != s.freed.end() && old->second.seq == slot.second)
        s.freed.erase(old);
    slot = {node.key(), seq};
    s.freed_next = (s.freed_next + 1) % kFreedRemembered;
    try {
        s.freed.insert(std::move(node));
    } catch (...) {
        // node still holds the record and releases it
    }
}

} // namespace

extern "C" {

void *mwMalloc(size_t size, const char *file, int line)
{
    void *user = allocate(size, file, line);
    if (user != nullptr)
        memset(user, kFreshByte, size);
    return user;
}

void *mwCalloc(size_t count, size_t size, const char *file, int line)
{
    if (size != 0 && count > SIZE_MAX / size) {
        State &s = state();
        std::lock_guard<std::mutex> guard(s.lock);
        Log(s).line("out of memory: %zu x %zu bytes at %s:%d", count, size, name(file), line);
        return nullptr;
    }
    void *user = allocate(count * size, file, line);
    if (user != nullptr)
        memset(user, 0, count * size);
    return user;
}

char *mwStrdup(const char *str, const char *file, int line)
{
    if (str == nullptr) {
        State &s = state();
        std::lock_guard<std::mutex> guard(s.lock);
        Log(s).line("strdup of NULL at %s:%d", name(file), line);
        return nullptr;
    }
    size_t size = strlen(str) + 1;
    auto copy = static_cast<char *>(allocate(size, file, line));
    if (copy != nullptr)
        memcpy(copy, str, size);
    return copy;
}

void mwFree(void *ptr, const char *file, int line)
{
    if (ptr == nullptr)
        return;
    State &s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    auto it = checked_live(s, ptr, "free", file, line);
    if (it == s.live.end())
        return;
    size_t size = it->second.size;
    remember_free(s, it, file, line);
    s.stats.frees++;
    s.stats.blocks_in_use--;
    count_bytes(s.stats, size, 0);
    release_block(static_cast<unsigned char *>(ptr), size);
}

void *mwRealloc(void *ptr, size_t size, const char *file, int line)
{
    if (ptr == nullptr)
        return mwMalloc(size, file, line);
    if (size == 0) {
        mwFree(ptr, file, line);
        return nullptr;
    }
    State &s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    auto it = checked_live(s, ptr, "realloc", file, line);
    if (it == s.live.end())
        return nullptr;
    size_t old_size = it->second.size;
    unsigned char *user = new_block(s, size, file, line);
    if (user == nullptr || !enter_live(s, user, size, file, line))
        return nullptr;
    memcpy(user, ptr, old_size < size ? old_size : size);
    if (size > old_size)
        memset(user + old_size, kFreshByte, size - old_size);
    s.live.erase(reinterpret_cast<uintptr_t>(ptr));
    count_bytes(s.stats, old_size, size);
    release_block(static_cast<unsigned char *>(ptr), old_size);
    return user;
}

int mwCheck(const char *file, int line)
{
    State &s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    int damaged = 0;
    for (const auto &[user, rec] : s.live)
        damaged += !check_block(s, user, rec, file, line);
    return damaged;
}

int mwReport(const char *file, int line)
{
    State &s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    Log log(s);
    log.line("report at %s:%d: %zu blocks, %llu bytes allocated", name(file), line, s.live.size(),
             s.stats.bytes_in_use);
    report_blocks(s, log);
    return static_cast<int>(s.live.size());
}

void mwStatistics(MW_STATS *stats)
{
    State &s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    const MW_STATS &st = s.stats;
    Log(s).line("statistics: %llu allocations, %llu frees, %llu blocks and %llu bytes in use, peak %llu bytes",
             st.allocations, st.frees, st.blocks_in_use, st.bytes_in_use, st.peak_bytes);
    if (stats != nullptr)
        *stats = st;
}

int mwSetLogFile(const char *path)
{
    if (path != nullptr && strlen(path) >= kPathSize)
        return -1;
    State &s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    snprintf(s.log_path, sizeof s.log_path, "%s", path != nullptr ? path : "");
    return 0;
}

} // extern "C"
