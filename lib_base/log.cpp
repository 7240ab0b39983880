// log.cpp - trace logging: the module trace, the source-located trace with
// its size-limited log file, dated backups and error-log copy, and the UDP
// copy of every line.
#include "log.h"

#include <arpa/inet.h>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "internal/fd.h"
#include "internal/ipv4.h"
#include "mem.h"
#include "str.h"

static_assert(offsetof(CONFIG_INFO_ST, m_iLogFileMaxSize) == 256, "config layout");
static_assert(offsetof(CONFIG_INFO_ST, m_iLogMaxDays) == 264, "config layout");
static_assert(offsetof(CONFIG_INFO_ST, m_fHandle) == (sizeof(void *) == 4 ? 268 : 272), "config layout");
static_assert(sizeof(CONFIG_INFO_ST) == (sizeof(void *) == 4 ? 272 : 280), "config layout");
static_assert(sizeof(NODE_STAT_E) == 4, "file record layout");
static_assert(offsetof(LOG_FILE_INFO_ST, m_chFilePath) == 4, "file record layout");
static_assert(offsetof(LOG_FILE_INFO_ST, m_iLogFileSize) == 260, "file record layout");
static_assert(offsetof(LOG_FILE_INFO_ST, m_iLogFileCreateTime) == 264, "file record layout");
static_assert(sizeof(LOG_FILE_INFO_ST) == 272, "file record layout");
static_assert(sizeof(struct sockaddr_in) == 16, "listener address");
// Without large-file support readdir and stat fail with EOVERFLOW where the
// filesystem hands out 64-bit inode numbers or directory positions.
static_assert(sizeof(off_t) == 8 && sizeof(ino_t) == 8, "built with _FILE_OFFSET_BITS=64");

namespace {

using libbase::Fd;

constexpr long kMiB = 1048576;
constexpr int kLevels = 8;
constexpr int kNameSlot = 20;           // bytes per module name
constexpr int kFileNodes = 128;         // backup records
constexpr int kTraceTextMax = 4000;     // MT_Log_Process text
constexpr int kSourceTextMax = 6000;    // Log_Trace_Proc text
constexpr long kTraceFileMaxMiB = 40;   // module trace rotation
constexpr int kSizeCheckEvery = 20;     // MT_Log_Process calls per check
constexpr int kDefaultNetPort = 8000;

// Printed texts that applications and their log readers match: they stay
// as they are, slips included.
constexpr char kCannotWrite[] = "Can not write log file:%s.\n";
// Names Send_Udp_Data, not the function that prints it, and says "int" for
// "in"; a line dropped on a closed socket prints it too.
constexpr char kSendError[] = "send error int Send_Udp_Data\n";
// "bing" for "bind"; the log socket calls itself a "sip udp server".
constexpr char kUdpServerUp[] = "create sip udp server success, bing udp port %i!\n";
// Printed when the backup directory does not open.
constexpr char kNoBackupDir[] = "The Log Path is NULL!\n";

// Everything the module remembers between calls, besides the variables
// log.h exports.
struct State {
    // module trace (MT_Log_*)
    int level = 1;                                  // highest level both trace calls write
    char trace_path[200] = "/home/switch_msg.log";  // the module trace file
    int modules = 0;                                // accepted: 0 to modules - 1
    int channels = 0;                               // accepted: below channels
    char *module_names = nullptr;                   // modules + 1 slots of kNameSlot bytes
    bool print_names = false;                       // names in place of module numbers
    int line_length = 50000;                        // MT_Log_SetLENTH's setting; nothing reads it
    int calls_since_size_check = 0;                 // MT_Log_Process calls
    // log file, backups and error log (Log_Trace_Proc, VelquistLog_*)
    CONFIG_INFO_ST config{};
    bool configured = false;              // by VelquistLog_ConfigParameter
    LOG_FILE_INFO_ST *backups = nullptr;  // kFileNodes records
    char backup_dir[256] = "";            // with a trailing "/"
    bool backup_dir_set = false;          // by VelquistLog_SetBakDesDir
    char file_stem[32] = "";              // log file name without ".log"
    char *err_path = nullptr;             // error-log copy of levels 0 and 1
    int err_limit_mib = 0;
    // UDP copy (MT_NetLog_*, Net_Udp_*)
    bool net_on = false;    // a listener is named
    int net_fd = -1;        // the log socket
    bool net_open = false;  // net_fd is still this module's open socket
};

State state;

// Opens path for appending, creating it like fopen's "a+b" does.
int open_append(const char *path)
{
    return open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
}

void write_all(int fd, const char *buf, size_t len)
{
    while (len > 0) {
        ssize_t n = write(fd, buf, len);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return;
        buf += n;
        len -= static_cast<size_t>(n);
    }
}

// Size of path in whole MiB; 0 when it cannot be read.
long size_mib(const char *path)
{
    struct stat st {};
    if (stat(path, &st) != 0)
        return 0;
    return static_cast<long>(st.st_size / kMiB);
}

// The length test is on the format text itself, not on what it yields.
bool format_fits(const char *content, size_t max)
{
    return content != nullptr && strnlen(content, max + 1) <= max;
}

struct tm local_now()
{
    time_t now = time(nullptr);
    struct tm local {};
    localtime_r(&now, &local);
    return local;
}

void stamp(char (&text)[100], const char *format)
{
    struct tm local = local_now();
    if (strftime(text, sizeof text, format, &local) == 0)
        text[0] = '\0';
}

// Length of the line snprintf (result n) left in buf; a line cut short by
// the buffer keeps its ending.
size_t fit_line(char *buf, size_t size, int n, const char *ending)
{
    if (n < 0) {
        buf[0] = '\0';
        return 0;
    }
    if (static_cast<size_t>(n) < size)
        return static_cast<size_t>(n);
    size_t len = size - 1, tail = strlen(ending);
    memcpy(buf + len - tail, ending, tail);
    return len;
}

// A command for the system shell whose paths are single-quoted words, so
// that blanks, quotes or ";" in a path stay part of it. A command too long
// for its buffer is never run (a cut path could name another file).
class ShellCommand {
public:
    explicit ShellCommand(const char *verb) { text(verb); }
    ShellCommand &word(const char *path)
    {
        text(" '");
        for (const char *p = path; *p != '\0'; p++) {
            if (*p == '\'')
                text("'\\''");
            else
                put(*p);
        }
        return text("'");
    }
    ShellCommand &text(const char *s)
    {
        while (*s != '\0')
            put(*s++);
        return *this;
    }
    void run() const
    {
        if (fits_) {
            int status = system(buf_);
            (void)status;
        }
    }

private:
    void put(char c)
    {
        if (len_ + 1 >= sizeof buf_) {
            fits_ = false;
            return;
        }
        buf_[len_++] = c;
        buf_[len_] = '\0';
    }
    char buf_[2560] = "";  // two quoted paths of the longest kind
    size_t len_ = 0;
    bool fits_ = true;
};

void send_line(const char *line, size_t len)
{
    if (state.net_fd <= 0)
        return;  // listener named, no socket: the line is dropped
    if (!state.net_open) {
        // The socket was closed; report what a send through it reports.
        printf(kSendError);
        return;
    }
    Net_Udp_SendLog(state.net_fd, const_cast<char *>(line), static_cast<int>(len),
                    reinterpret_cast<struct sockaddr *>(&net_sockaddr));
}

// Every 20th MT_Log_Process call: a module trace file of 40 MiB or more
// becomes the single "<file>.bak", replacing the previous one.
void rotate_trace_file()
{
    if (size_mib(state.trace_path) < kTraceFileMaxMiB)
        return;
    char backup[sizeof state.trace_path + 8];
    snprintf(backup, sizeof backup, "%s.bak", state.trace_path);
    ShellCommand("rm -rf --").word(backup).run();
    rename(state.trace_path, backup);
}

void ensure_file_table()
{
    if (state.backups != nullptr)
        return;
    state.backups = static_cast<LOG_FILE_INFO_ST *>(Mem_Malloc(kFileNodes * sizeof(LOG_FILE_INFO_ST)));
    if (state.backups == nullptr)
        exit(0);
}

void ensure_directory(char *dir)
{
    DIR *d = opendir(dir);
    if (d != nullptr)
        closedir(d);
    else
        VelquistLog_MakeDirectory(dir);
}

// 0 when chStr is non-empty and all digits, else -1.
int VelquistLog_JudgeStrIsNum(const char *chStr)
{
    if (chStr == nullptr || chStr[0] == '\0')
        return -1;
    for (const char *p = chStr; *p != '\0'; p++) {
        if (*p < '0' || *p > '9')
            return -1;
    }
    return 0;
}

// "<prefix>YYYY...": a name made by VelquistLog_CheckBakFile.
bool is_backup_name(const char *name, const char *prefix)
{
    size_t plen = strlen(prefix);
    if (strncmp(name, prefix, plen) != 0 || strstr(name, "_bak.log") == nullptr)
        return false;
    char year[5] = "";
    strncpy(year, name + plen, 4);
    return VelquistLog_JudgeStrIsNum(year) == 0;
}

// Records a backup just made; false when the move into the backup
// directory is impossible (a backup name without "/").
bool record_backup(const char *backup)
{
    struct stat st {};
    stat(backup, &st);
    int index = VelquistLog_GetIdleFileNode();
    char recorded[256];
    const char *slash = strrchr(backup, '/');
    if (state.backup_dir_set && slash == nullptr)
        return false;
    int n = state.backup_dir_set ? snprintf(recorded, sizeof recorded, "%s%s", state.backup_dir, slash + 1)
                                 : snprintf(recorded, sizeof recorded, "%s", backup);
    if (n < 0 || static_cast<size_t>(n) >= sizeof recorded)
        return true;  // no room for the name: the backup stays unrecorded where it is
    if (state.backup_dir_set)
        ShellCommand("mv --").word(backup).word(recorded).text(" &").run();
    if (index >= 0) {
        LOG_FILE_INFO_ST &node = state.backups[index];
        node.m_eNodeStat = E_INUSE;
        memcpy(node.m_chFilePath, recorded, sizeof recorded);
        node.m_iLogFileCreateTime = static_cast<double>(st.st_atime);
        node.m_iLogFileSize = static_cast<int>(st.st_size);
    }
    return true;
}

// ---- the trace records

// One MT_Log_Process line before it is laid out.
struct ModuleRecord {
    int mod;
    int level;
    int chn;             // negative: no channel
    const char *name;    // the module's name, or NULL to print its number
    char when[100];
    char text[kTraceTextMax + 1];
};

const char *module_name(int mod)
{
    return state.print_names && state.module_names != nullptr ? state.module_names + mod * kNameSlot : nullptr;
}

constexpr size_t kModuleLineSize = kTraceTextMax + 256;

size_t format_module_line(const ModuleRecord &r, char (&line)[kModuleLineSize])
{
    int n;
    if (r.chn >= 0 && r.name != nullptr)
        n = snprintf(line, sizeof line, "<level:%d><mod:%.20s><chnno:%d><time:%s> %s\r\n", r.level, r.name, r.chn,
                     r.when, r.text);
    else if (r.chn >= 0)
        n = snprintf(line, sizeof line, "<level:%d><mod:%d><chnno:%d><time:%s> %s\r\n", r.level, r.mod, r.chn,
                     r.when, r.text);
    else if (r.name != nullptr)
        n = snprintf(line, sizeof line, "<level:%d><mod:%.20s><time:%s> %s\r\n", r.level, r.name, r.when, r.text);
    else
        n = snprintf(line, sizeof line, "<level:%d><mod:%d><time:%s> %s\r\n", r.level, r.mod, r.when, r.text);
    return fit_line(line, sizeof line, n, "\r\n");
}

// Appends the line to the module trace file, prints it and sends it to the
// listener. Every 20th call moves a full file to its backup after opening
// it, so this line still goes into the moved file.
void write_module_record(const ModuleRecord &r)
{
    Fd out(open_append(state.trace_path));
    if (++state.calls_since_size_check >= kSizeCheckEvery) {
        rotate_trace_file();
        state.calls_since_size_check = 0;
    }
    if (!out.ok()) {
        printf(kCannotWrite, state.trace_path);
        return;
    }
    char line[kModuleLineSize];
    size_t len = format_module_line(r, line);
    write_all(out.get(), line, len);
    if (r.chn < 0 && r.name == nullptr)
        printf("%.*s\n", static_cast<int>(len - 2), line);  // "\n" alone on the terminal
    else
        fwrite(line, 1, len, stdout);
    if (state.net_on)
        send_line(line, len);
}

// One Log_Trace_Proc record before it is laid out.
struct SourceRecord {
    int level;
    int chn;
    const char *source;  // the file name, "(null)" for none
    int line;
    char when[100];
    char text[kSourceTextMax + 1];

    bool severe() const { return level <= 1; }
    const char *word() const { return level == 0 ? "ERROR" : level == 1 ? "WARNING" : ""; }
};

constexpr size_t kSourceLineSize = kSourceTextMax + 2048;

// The record as the log files and the terminal get it; levels 0 and 1 carry
// a coloured "[ERROR]" or "[WARNING]" prefix.
size_t format_source_line(const SourceRecord &r, char (&line)[kSourceLineSize])
{
    int n;
    if (r.severe()) {
        char incolorstr[128], outcolorstr[128];
        snprintf(incolorstr, sizeof incolorstr, "[lv:%d][chn:%4d][%s]:", r.level, r.chn, r.word());
        const char *prefix = term_color(outcolorstr, incolorstr, 0xA5, 0, 128);
        n = snprintf(line, sizeof line, "%s %s  <%s><%s:%d>\r\n\n", prefix, r.text, r.when, r.source, r.line);
    } else {
        n = snprintf(line, sizeof line, "[lv:%d][chn:%4d]: %s  <%s><%s:%d>\r\n\n", r.level, r.chn, r.text, r.when,
                     r.source, r.line);
    }
    return fit_line(line, sizeof line, n, "\r\n\n");
}

// The record as the UDP listener gets it.
size_t format_source_datagram(const SourceRecord &r, char (&line)[kSourceLineSize])
{
    int n;
    if (r.chn >= 0 && r.severe())
        n = snprintf(line, sizeof line, "<lv:%d><chn:%d><%s:%d><%s><%s> %s\r\n\n", r.level, r.chn, r.source, r.line,
                     r.when, r.word(), r.text);
    else if (r.chn >= 0)
        n = snprintf(line, sizeof line, "<lv:%d><chn:%d><%s:%d><%s> %s\r\n\n", r.level, r.chn, r.source, r.line,
                     r.when, r.text);
    else if (r.severe())
        n = snprintf(line, sizeof line, "<lv:%d><%s:%d><%s><%s> %s\r\n\n", r.level, r.source, r.line, r.when,
                     r.word(), r.text);
    else
        n = snprintf(line, sizeof line, "<lv:%d><%s:%d><%s> %s\r\n\n", r.level, r.source, r.line, r.when, r.text);
    return fit_line(line, sizeof line, n, "\r\n\n");
}

// The error-log file, opened after its size check so that a record never
// goes into a file that is being deleted; -1 when none is set or it does
// not open. Every record opens it (creating it), whatever its level.
int open_error_log()
{
    if (state.err_path == nullptr)
        return -1;
    VelquistLog_CheckErrLogSize();
    return open_append(state.err_path);
}

// Moves a full log file to its backup, then appends the record to the log
// file (levels 0 and 1 to the error log too) and prints it when its level
// is below glibPrintFlag. False when the log file does not open.
bool write_source_record(const SourceRecord &r)
{
    VelquistLog_CheckBakFile();
    const char *path = state.config.m_chFilePath;
    Fd out(open_append(path));
    if (!out.ok()) {
        printf(kCannotWrite, path);
        return false;
    }
    Fd err(open_error_log());
    char line[kSourceLineSize];
    size_t len = format_source_line(r, line);
    if (r.severe() && err.ok())
        write_all(err.get(), line, len);
    write_all(out.get(), line, len);
    if (r.level < glibPrintFlag)
        fwrite(line, 1, len, stdout);
    return true;
}

void send_source_record(const SourceRecord &r)
{
    if (!state.net_on || state.net_fd <= 0)
        return;
    char line[kSourceLineSize];
    send_line(line, format_source_datagram(r, line));
}

} // namespace

extern "C" {

int glibPrintFlag = 7;
int glibLogSize = 40;
struct sockaddr_in net_sockaddr;
socklen_t netaddrlen = 0;

/* ---- trace log core ---------------------------------------------------- */

void MT_Log_Init(int max_modid, int max_chnno, const char *file_path, void *modname)
{
    if (file_path != nullptr && strnlen(file_path, sizeof state.trace_path) < sizeof state.trace_path)
        strcpy(state.trace_path, file_path);
    state.channels = max_chnno;
    state.modules = max_modid;

    long long bytes = static_cast<long long>(max_modid) * kNameSlot + kNameSlot;
    char *table = bytes <= INT_MAX ? static_cast<char *>(Mem_Malloc(static_cast<int>(bytes))) : nullptr;
    if (state.module_names != nullptr)
        Mem_Free(state.module_names);
    state.module_names = table;
    state.print_names = false;
    if (table != nullptr && modname != nullptr) {
        Mem_Memcpy(table, modname, static_cast<int>(bytes));
        state.print_names = true;
    }

    ensure_file_table();
    if (!state.configured) {
        memset(&state.config, 0, sizeof state.config);
        Str_N_Copy(state.config.m_chFilePath, state.trace_path, sizeof state.config.m_chFilePath - 1);
        state.config.m_iLogFileMaxSize = 1;
        state.config.m_iLogMaxNum = 5;
        state.config.m_iLogMaxDays = 5;
        VelquistLog_GetLogPath();
        VelquistLog_ScanfOldFile();
    }
}

void MT_Log_SetLevel(int print_level)
{
    if (print_level >= 0 && print_level < kLevels)
        state.level = print_level;
}

void MT_Log_SetLENTH(int log_len)
{
    if (log_len >= 0)
        state.line_length = log_len;
}

void LogSetPrintfLvl(int iLvl)
{
    glibPrintFlag = iLvl;
}

void LogSetFileSize(int iSize)
{
    if (iSize > 0)
        glibLogSize = iSize;
}

void MT_Log_Process(int mod, int print_level, int chn_id, const char *content, ...)
{
    if (mod < 0 || mod >= state.modules || print_level < 0 || print_level >= kLevels || chn_id >= state.channels ||
        print_level > state.level || !format_fits(content, kTraceTextMax))
        return;
    ModuleRecord record{mod, print_level, chn_id, module_name(mod), "", ""};
    stamp(record.when, "%Y-%m-%d_%H:%M:%S");
    va_list args;
    va_start(args, content);
    vsnprintf(record.text, sizeof record.text, content, args);
    va_end(args);
    write_module_record(record);
}

void Log_Trace_Proc(int print_level, int chn_id, char *pchFile, int iLine, const char *content, ...)
{
    if (print_level < 0 || print_level >= kLevels || print_level > state.level ||
        !format_fits(content, kSourceTextMax))
        return;
    SourceRecord record{print_level, chn_id, pchFile != nullptr ? pchFile : "(null)", iLine, "", ""};
    stamp(record.when, "%Y-%m-%d %H:%M:%S");
    va_list args;
    va_start(args, content);
    vsnprintf(record.text, sizeof record.text, content, args);
    va_end(args);
    if (write_source_record(record))
        send_source_record(record);
}

char *term_color(char *outbuf, char *inbuf, int fgcolor, int bgcolor, int maxout)
{
    if ((fgcolor == 0 && bgcolor == 0) || ((fgcolor & 0x80) != 0 && (bgcolor & 0x80) != 0))
        return inbuf;
    if (outbuf == nullptr || maxout < 1)
        return inbuf;
    const int background = ((bgcolor == 0 ? 30 : bgcolor) & ~0x80) + 10;
    const bool bold = (fgcolor & 0x80) != 0;
    const int foreground = fgcolor & ~0x80;
    char colour[40];
    if (foreground != 0)
        snprintf(colour, sizeof colour, "%d;%d", foreground, background);
    else
        snprintf(colour, sizeof colour, "%d", background);
    const char *text = inbuf != nullptr ? inbuf : "";
    const size_t room = static_cast<size_t>(maxout);
    if (bold)
        snprintf(outbuf, room, "%c[%d;%sm%s%c[0;%d;%dm", 27, 1, colour, text, 27, 37, 40);
    else
        snprintf(outbuf, room, "%c[%sm%s%c[0;%d;%dm", 27, colour, text, 27, 37, 40);
    return outbuf;
}

/* ---- log files and backups --------------------------------------------- */

int VelquistLog_ConfigParameter(CONFIG_INFO_ST *ptConfigInfo)
{
    if (ptConfigInfo == nullptr)
        return -1;
    state.configured = false;
    memset(&state.config, 0, sizeof state.config);
    memcpy(&state.config, ptConfigInfo, sizeof state.config);
    state.config.m_chFilePath[sizeof state.config.m_chFilePath - 1] = '\0';
    if (state.config.m_iLogFileMaxSize > 10 || state.config.m_iLogFileMaxSize < 1)
        state.config.m_iLogFileMaxSize = 1;
    if (state.config.m_chFilePath[0] == '\0')
        return -1;
    ensure_file_table();
    VelquistLog_GetLogPath();
    VelquistLog_ScanfOldFile();
    state.configured = true;
    return 0;
}

int VelquistLog_SetBakDesDir(char *pchDesDirPath)
{
    if (pchDesDirPath == nullptr)
        return -1;
    char dir[sizeof state.backup_dir];
    size_t len = strlen(pchDesDirPath);
    if (len + 2 > sizeof dir)
        return -1;
    memcpy(dir, pchDesDirPath, len + 1);
    if (len == 0 || dir[len - 1] != '/') {
        dir[len] = '/';
        dir[len + 1] = '\0';
    }
    ensure_directory(dir);
    memcpy(state.backup_dir, dir, sizeof dir);
    state.backup_dir_set = true;
    return 0;
}

int VelquistLog_SetErrLogFile(char *pchPath, int iLogSize)
{
    if (pchPath == nullptr)
        return -1;
    const char *slash = strrchr(pchPath, '/');
    if (slash == nullptr)
        return -1;
    char dir[256];
    size_t dir_len = static_cast<size_t>(slash - pchPath) + 1;
    if (dir_len >= sizeof dir)
        return -1;
    memcpy(dir, pchPath, dir_len);
    dir[dir_len] = '\0';
    ensure_directory(dir);
    state.err_limit_mib = iLogSize;

    size_t len = strlen(pchPath);
    char *copy = len < INT_MAX ? static_cast<char *>(Mem_Malloc(static_cast<int>(len) + 1)) : nullptr;
    if (copy == nullptr) {
        printf("Mem_Malloc error in VelquistLog_SetErrLogFile\n");
        return -1;
    }
    Str_N_Copy(copy, pchPath, static_cast<int>(len));
    copy[len] = '\0';
    if (state.err_path != nullptr)
        Mem_Free(state.err_path);
    state.err_path = copy;
    return 0;
}

int VelquistLog_MakeDirectory(char *chDirPath)
{
    if (chDirPath == nullptr)
        return -1;
    char part[256];
    for (size_t i = 1; chDirPath[i] != '\0' && i < sizeof part; i++) {
        if (chDirPath[i] != '/')
            continue;
        memcpy(part, chDirPath, i);
        part[i] = '\0';
        if (access(part, W_OK) != 0) {
            mkdir(part, 0777);
            chmod(part, 0777);  // the umask does not narrow it
        }
    }
    return 0;
}

int VelquistLog_GetLogPath(void)
{
    memset(state.file_stem, 0, sizeof state.file_stem);
    const char *path = state.config.m_chFilePath;
    const char *slash = strrchr(path, '/');
    if (slash == nullptr)
        return -1;
    if (!state.backup_dir_set) {
        size_t dir_len = static_cast<size_t>(slash - path) + 1;
        memcpy(state.backup_dir, path, dir_len);
        state.backup_dir[dir_len] = '\0';
    }
    size_t name_len = strlen(slash + 1);
    if (name_len > 4) {
        size_t keep = name_len - 4;
        if (keep > sizeof state.file_stem - 1)
            keep = sizeof state.file_stem - 1;
        memcpy(state.file_stem, slash + 1, keep);
    }
    return 0;
}

int VelquistLog_ScanfOldFile(void)
{
    if (state.backups == nullptr)
        return -1;
    memset(state.backups, 0, kFileNodes * sizeof(LOG_FILE_INFO_ST));
    DIR *dir = opendir(state.backup_dir);
    if (dir == nullptr) {
        printf(kNoBackupDir);
        return -1;
    }
    char prefix[128];
    snprintf(prefix, sizeof prefix, "%s_", state.file_stem);
    char cwd[80];
    if (getcwd(cwd, sizeof cwd) == nullptr) {
        closedir(dir);
        return -1;
    }
    if (chdir(state.backup_dir) != 0) {
        // names are still looked up relative to the open directory below
    }
    while (struct dirent *entry = readdir(dir)) {
        const char *name = entry->d_name;
        struct stat st {};
        if (fstatat(dirfd(dir), name, &st, 0) != 0 || S_ISDIR(st.st_mode) || !is_backup_name(name, prefix))
            continue;
        int index = VelquistLog_GetIdleFileNode();
        if (index < 0) {
            closedir(dir);  // the working directory stays changed
            return -1;
        }
        LOG_FILE_INFO_ST &node = state.backups[index];
        int n = snprintf(node.m_chFilePath, sizeof node.m_chFilePath, "%s%s", state.backup_dir, name);
        if (n < 0 || static_cast<size_t>(n) >= sizeof node.m_chFilePath) {
            memset(node.m_chFilePath, 0, sizeof node.m_chFilePath);
            continue;  // a path too long to record
        }
        node.m_eNodeStat = E_INUSE;
        node.m_iLogFileCreateTime = static_cast<double>(st.st_atime);
        node.m_iLogFileSize = static_cast<int>(st.st_size);
    }
    closedir(dir);
    if (chdir(cwd) != 0) {
        // nothing sensible to do: the caller's directory went away
    }
    VelquistLog_DelOldFile();
    return 0;
}

void VelquistLog_CheckBakFile(void)
{
    const char *path = state.config.m_chFilePath;
    if (path[0] == '\0' || size_mib(path) < state.config.m_iLogFileMaxSize)
        return;
    const char *ext = strstr(path, ".log");
    int stem = static_cast<int>(ext != nullptr ? ext - path : static_cast<ptrdiff_t>(strlen(path)));
    struct tm t = local_now();
    char backup[sizeof state.config.m_chFilePath + 80];
    snprintf(backup, sizeof backup, "%.*s_%d-%02d-%02d_%02d-%02d-%02d_bak.log", stem, path, t.tm_year + 1900,
             t.tm_mon + 1, t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec);
    if (rename(path, backup) == 0 && !record_backup(backup))
        return;
    VelquistLog_DelOldFile();
}

void VelquistLog_DelOldFile(void)
{
    if (state.backups == nullptr)
        return;
    long long excess = static_cast<long long>(VelquistLog_GetUsedFileNodeNum()) - state.config.m_iLogMaxNum;
    if (excess <= 0 || excess >= kFileNodes)
        return;
    // The record indexed by the excess count goes, not the oldest one;
    // records stay in use until the next scan.
    const char *victim = state.backups[excess].m_chFilePath;
    if (victim[0] != '\0')
        ShellCommand("rm -f --").word(victim).run();
}

void VelquistLog_CheckErrLogSize(void)
{
    if (state.err_path != nullptr && size_mib(state.err_path) >= state.err_limit_mib)
        remove(state.err_path);
}

int VelquistLog_GetIdleFileNode(void)
{
    if (state.backups == nullptr)
        return -1;
    for (int i = 0; i < kFileNodes; i++) {
        if (state.backups[i].m_eNodeStat == E_NOUSE)
            return i;
    }
    return -1;
}

int VelquistLog_GetUsedFileNodeNum(void)
{
    int used = 0;
    for (int i = 0; state.backups != nullptr && i < kFileNodes; i++)
        used += state.backups[i].m_eNodeStat == E_INUSE;
    return used;
}

int VelquistLog_GetOldestFileIndex(void)
{
    int oldest = -1;
    for (int i = 0; state.backups != nullptr && i < kFileNodes; i++) {
        if (state.backups[i].m_eNodeStat != E_INUSE)
            continue;
        if (oldest < 0 || state.backups[i].m_iLogFileCreateTime < state.backups[oldest].m_iLogFileCreateTime)
            oldest = i;
    }
    return oldest < 0 ? 0 : oldest;
}

/* ---- network log -------------------------------------------------------- */

int Net_Udp_Create(int port)
{
    int fd;
    libbase::UdpFailure failed = libbase::open_bound_udp(htonl(INADDR_ANY), port, false, &fd);
    printf("sockfd = %i\n", fd);
    if (failed != libbase::UdpFailure::none && fd >= 0)
        close(fd);
    switch (failed) {
    case libbase::UdpFailure::none:
        printf(kUdpServerUp, port);
        return fd;
    case libbase::UdpFailure::socket:
        printf("create sip udp server failed, socket error\n");
        return -1;
    case libbase::UdpFailure::address:
        printf("create sip udp server failed, Invalid source IP!\n");
        return -1;
    case libbase::UdpFailure::bind:
        printf("create sip udp server failed, bind local address error!\n");
        return -1;
    }
    return -1;
}

int MT_NetLog_Init(int port)
{
    const int used = port < 1 ? kDefaultNetPort : port;
    if (state.net_fd > 0 && state.net_open)
        close(state.net_fd);
    state.net_fd = Net_Udp_Create(used);
    state.net_open = state.net_fd > 0;
    if (state.net_fd < 1) {
        printf("Create Netmon udp server failed, port = %d\n", used);
        return -1;
    }
    printf("Create Netmon udp server success, port = %d\n", used);
    return 0;
}

void MT_NetLog_SetAddr(char *ip, int port)
{
    if (ip == nullptr || port <= 1024)
        return;
    memset(&net_sockaddr, 0, sizeof net_sockaddr);
    net_sockaddr.sin_family = AF_INET;
    net_sockaddr.sin_port = htons(static_cast<uint16_t>(port));
    net_sockaddr.sin_addr.s_addr = inet_addr(ip);
    netaddrlen = sizeof net_sockaddr;
    state.net_on = true;
}

int Net_Udp_SendLog(int sockfd, char *buf, int len, struct sockaddr *psockaddr)
{
    if (buf == nullptr || len < 0 ||
        sendto(sockfd, buf, static_cast<size_t>(len), 0, psockaddr, sizeof(struct sockaddr_in)) == -1) {
        printf(kSendError);
        return -1;
    }
    return 1;
}

int Net_Udp_Close(void)
{
    state.net_on = false;
    if (state.net_fd < 1 || !state.net_open)
        return -1;  // also for a socket closed before: close would fail
    state.net_open = false;
    // state.net_fd keeps its number: a later MT_NetLog_SetAddr switches the
    // copy on again, and each line then reports a send error.
    return close(state.net_fd);
}

} // extern "C"
