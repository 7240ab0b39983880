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

// ---- trace settings
int Log_Level = 1;
char log_path[200] = "/home/switch_msg.log";
int max_mod = 0;
int max_chn = 0;
char *mode_name = nullptr;  // (max_mod + 1) names of kNameSlot bytes
int name_chan = 0;          // 1: print module names, not numbers
int last = 0;               // write attempts; kept for inspection only
int log_max = 50000;        // line-length setting; kept, unused
int iWriteLogTimes = 0;     // MT_Log_Process calls since the last size check

// ---- network log
int netmon = 0;
int net_sockfd = -1;
bool net_open = false;  // net_sockfd is still this module's open socket

// ---- log file, backups, error log
CONFIG_INFO_ST g_tLibStConfigInfo;
int g_iConfigFlag = 0;
LOG_FILE_INFO_ST *g_pFileNode = nullptr;
char g_chLogPath[256];      // backup directory, with a trailing "/"
char g_chLogFileName[32];   // log file name without ".log"
int g_iSetBakDesDirFlag = 0;
char *g_pErrLogPath = nullptr;
int g_iErrLogSize = 0;      // MiB

// Opens path for appending, creating it like fopen's "a+b" does.
int open_append(const char *path)
{
    return open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
}

// open_append for a trace record: every attempt is counted.
int open_record_file(const char *path)
{
    last++;
    return open_append(path);
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
    if (net_sockfd <= 0)
        return;  // listener named, no socket: the line is dropped
    if (!net_open) {
        // The socket was closed; report what a send through it reports.
        printf("send error int Send_Udp_Data\n");
        return;
    }
    Net_Udp_SendLog(net_sockfd, const_cast<char *>(line), static_cast<int>(len),
                    reinterpret_cast<struct sockaddr *>(&net_sockaddr));
}

// Every 20th MT_Log_Process call: a module trace file of 40 MiB or more
// becomes the single "<file>.bak", replacing the previous one.
void rotate_trace_file()
{
    if (size_mib(log_path) < kTraceFileMaxMiB)
        return;
    char backup[sizeof log_path + 8];
    snprintf(backup, sizeof backup, "%s.bak", log_path);
    ShellCommand("rm -rf --").word(backup).run();
    rename(log_path, backup);
}

void ensure_file_table()
{
    if (g_pFileNode != nullptr)
        return;
    g_pFileNode = static_cast<LOG_FILE_INFO_ST *>(Mem_Malloc(kFileNodes * sizeof(LOG_FILE_INFO_ST)));
    if (g_pFileNode == nullptr)
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
    if (g_iSetBakDesDirFlag == 1 && slash == nullptr)
        return false;
    int n = g_iSetBakDesDirFlag == 1 ? snprintf(recorded, sizeof recorded, "%s%s", g_chLogPath, slash + 1)
                                     : snprintf(recorded, sizeof recorded, "%s", backup);
    if (n < 0 || static_cast<size_t>(n) >= sizeof recorded)
        return true;  // no room for the name: the backup stays unrecorded where it is
    if (g_iSetBakDesDirFlag == 1)
        ShellCommand("mv --").word(backup).word(recorded).text(" &").run();
    if (index >= 0) {
        LOG_FILE_INFO_ST &node = g_pFileNode[index];
        node.m_eNodeStat = E_INUSE;
        memcpy(node.m_chFilePath, recorded, sizeof recorded);
        node.m_iLogFileCreateTime = static_cast<double>(st.st_atime);
        node.m_iLogFileSize = static_cast<int>(st.st_size);
    }
    return true;
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
    if (file_path != nullptr && strnlen(file_path, sizeof log_path) < sizeof log_path)
        strcpy(log_path, file_path);
    max_chn = max_chnno;
    max_mod = max_modid;

    long long bytes = static_cast<long long>(max_modid) * kNameSlot + kNameSlot;
    char *table = bytes <= INT_MAX ? static_cast<char *>(Mem_Malloc(static_cast<int>(bytes))) : nullptr;
    if (mode_name != nullptr)
        Mem_Free(mode_name);
    mode_name = table;
    name_chan = 0;
    if (table != nullptr && modname != nullptr) {
        Mem_Memcpy(table, modname, static_cast<int>(bytes));
        name_chan = 1;
    }

    ensure_file_table();
    if (g_iConfigFlag == 0) {
        memset(&g_tLibStConfigInfo, 0, sizeof g_tLibStConfigInfo);
        Str_N_Copy(g_tLibStConfigInfo.m_chFilePath, log_path, sizeof g_tLibStConfigInfo.m_chFilePath - 1);
        g_tLibStConfigInfo.m_iLogFileMaxSize = 1;
        g_tLibStConfigInfo.m_iLogMaxNum = 5;
        g_tLibStConfigInfo.m_iLogMaxDays = 5;
        VelquistLog_GetLogPath();
        VelquistLog_ScanfOldFile();
    }
}

void MT_Log_SetLevel(int print_level)
{
    if (print_level >= 0 && print_level < kLevels)
        Log_Level = print_level;
}

void MT_Log_SetLENTH(int log_len)
{
    if (log_len >= 0)
        log_max = log_len;
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
    if (mod < 0 || mod >= max_mod || print_level < 0 || print_level >= kLevels || chn_id >= max_chn ||
        print_level > Log_Level || !format_fits(content, kTraceTextMax))
        return;

    char when[100];
    stamp(when, "%Y-%m-%d_%H:%M:%S");
    char strbuf[kTraceTextMax + 1];
    va_list args;
    va_start(args, content);
    vsnprintf(strbuf, sizeof strbuf, content, args);
    va_end(args);

    Fd out(open_record_file(log_path));
    if (++iWriteLogTimes >= kSizeCheckEvery) {
        rotate_trace_file();  // this call's line still goes into the moved file
        iWriteLogTimes = 0;
    }
    if (!out.ok()) {
        printf("Can not write log file:%s.\n", log_path);
        return;
    }

    char strlog[kTraceTextMax + 256];
    const bool named = name_chan == 1 && mode_name != nullptr;
    const char *name = named ? mode_name + mod * kNameSlot : "";
    int n;
    if (chn_id >= 0 && named)
        n = snprintf(strlog, sizeof strlog, "<level:%d><mod:%.20s><chnno:%d><time:%s> %s\r\n", print_level, name,
                     chn_id, when, strbuf);
    else if (chn_id >= 0)
        n = snprintf(strlog, sizeof strlog, "<level:%d><mod:%d><chnno:%d><time:%s> %s\r\n", print_level, mod,
                     chn_id, when, strbuf);
    else if (named)
        n = snprintf(strlog, sizeof strlog, "<level:%d><mod:%.20s><time:%s> %s\r\n", print_level, name, when,
                     strbuf);
    else
        n = snprintf(strlog, sizeof strlog, "<level:%d><mod:%d><time:%s> %s\r\n", print_level, mod, when, strbuf);
    size_t len = fit_line(strlog, sizeof strlog, n, "\r\n");

    write_all(out.get(), strlog, len);
    if (chn_id < 0 && !named)
        printf("%.*s\n", static_cast<int>(len - 2), strlog);  // "\n" alone on the terminal
    else
        fwrite(strlog, 1, len, stdout);
    if (netmon == 1)
        send_line(strlog, len);
}

void Log_Trace_Proc(int print_level, int chn_id, char *pchFile, int iLine, const char *content, ...)
{
    if (print_level < 0 || print_level >= kLevels || print_level > Log_Level)
        return;
    char when[100];
    stamp(when, "%Y-%m-%d %H:%M:%S");
    if (!format_fits(content, kSourceTextMax))
        return;
    char strbuf[kSourceTextMax + 1];
    va_list args;
    va_start(args, content);
    vsnprintf(strbuf, sizeof strbuf, content, args);
    va_end(args);

    VelquistLog_CheckBakFile();
    const char *path = g_tLibStConfigInfo.m_chFilePath;
    Fd out(open_record_file(path));
    if (!out.ok()) {
        printf("Can not write log file:%s.\n", path);
        return;
    }
    // The size check comes first, so a record never goes into an error-log
    // file that is being deleted.
    int err_fd = -1;
    if (g_pErrLogPath != nullptr) {
        VelquistLog_CheckErrLogSize();
        err_fd = open_append(g_pErrLogPath);
    }
    Fd err(err_fd);

    const char *source = pchFile != nullptr ? pchFile : "(null)";
    const bool severe = print_level <= 1;
    const char *word = print_level == 0 ? "ERROR" : print_level == 1 ? "WARNING" : "";
    char line[kSourceTextMax + 2048];
    int n;
    if (severe) {
        char incolorstr[128], outcolorstr[128];
        snprintf(incolorstr, sizeof incolorstr, "[lv:%d][chn:%4d][%s]:", print_level, chn_id, word);
        const char *prefix = term_color(outcolorstr, incolorstr, 0xA5, 0, 128);
        n = snprintf(line, sizeof line, "%s %s  <%s><%s:%d>\r\n\n", prefix, strbuf, when, source, iLine);
    } else {
        n = snprintf(line, sizeof line, "[lv:%d][chn:%4d]: %s  <%s><%s:%d>\r\n\n", print_level, chn_id, strbuf,
                     when, source, iLine);
    }
    size_t len = fit_line(line, sizeof line, n, "\r\n\n");
    if (severe && err.ok())
        write_all(err.get(), line, len);
    write_all(out.get(), line, len);
    if (print_level < glibPrintFlag)
        fwrite(line, 1, len, stdout);

    if (netmon != 1 || net_sockfd <= 0)
        return;
    if (chn_id >= 0 && severe)
        n = snprintf(line, sizeof line, "<lv:%d><chn:%d><%s:%d><%s><%s> %s\r\n\n", print_level, chn_id, source,
                     iLine, when, word, strbuf);
    else if (chn_id >= 0)
        n = snprintf(line, sizeof line, "<lv:%d><chn:%d><%s:%d><%s> %s\r\n\n", print_level, chn_id, source, iLine,
                     when, strbuf);
    else if (severe)
        n = snprintf(line, sizeof line, "<lv:%d><%s:%d><%s><%s> %s\r\n\n", print_level, source, iLine, when, word,
                     strbuf);
    else
        n = snprintf(line, sizeof line, "<lv:%d><%s:%d><%s> %s\r\n\n", print_level, source, iLine, when, strbuf);
    send_line(line, fit_line(line, sizeof line, n, "\r\n\n"));
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
    g_iConfigFlag = 0;
    memset(&g_tLibStConfigInfo, 0, sizeof g_tLibStConfigInfo);
    memcpy(&g_tLibStConfigInfo, ptConfigInfo, sizeof g_tLibStConfigInfo);
    g_tLibStConfigInfo.m_chFilePath[sizeof g_tLibStConfigInfo.m_chFilePath - 1] = '\0';
    if (g_tLibStConfigInfo.m_iLogFileMaxSize > 10 || g_tLibStConfigInfo.m_iLogFileMaxSize < 1)
        g_tLibStConfigInfo.m_iLogFileMaxSize = 1;
    if (g_tLibStConfigInfo.m_chFilePath[0] == '\0')
        return -1;
    ensure_file_table();
    VelquistLog_GetLogPath();
    VelquistLog_ScanfOldFile();
    g_iConfigFlag = 1;
    return 0;
}

int VelquistLog_SetBakDesDir(char *pchDesDirPath)
{
    if (pchDesDirPath == nullptr)
        return -1;
    char dir[sizeof g_chLogPath];
    size_t len = strlen(pchDesDirPath);
    if (len + 2 > sizeof dir)
        return -1;
    memcpy(dir, pchDesDirPath, len + 1);
    if (len == 0 || dir[len - 1] != '/') {
        dir[len] = '/';
        dir[len + 1] = '\0';
    }
    ensure_directory(dir);
    memcpy(g_chLogPath, dir, sizeof dir);
    g_iSetBakDesDirFlag = 1;
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
    g_iErrLogSize = iLogSize;

    size_t len = strlen(pchPath);
    char *copy = len < INT_MAX ? static_cast<char *>(Mem_Malloc(static_cast<int>(len) + 1)) : nullptr;
    if (copy == nullptr) {
        printf("Mem_Malloc error in VelquistLog_SetErrLogFile\n");
        return -1;
    }
    Str_N_Copy(copy, pchPath, static_cast<int>(len));
    copy[len] = '\0';
    if (g_pErrLogPath != nullptr)
        Mem_Free(g_pErrLogPath);
    g_pErrLogPath = copy;
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
    memset(g_chLogFileName, 0, sizeof g_chLogFileName);
    const char *path = g_tLibStConfigInfo.m_chFilePath;
    const char *slash = strrchr(path, '/');
    if (slash == nullptr)
        return -1;
    if (g_iSetBakDesDirFlag != 1) {
        size_t dir_len = static_cast<size_t>(slash - path) + 1;
        memcpy(g_chLogPath, path, dir_len);
        g_chLogPath[dir_len] = '\0';
    }
    size_t name_len = strlen(slash + 1);
    if (name_len > 4) {
        size_t keep = name_len - 4;
        if (keep > sizeof g_chLogFileName - 1)
            keep = sizeof g_chLogFileName - 1;
        memcpy(g_chLogFileName, slash + 1, keep);
    }
    return 0;
}

int VelquistLog_ScanfOldFile(void)
{
    if (g_pFileNode == nullptr)
        return -1;
    memset(g_pFileNode, 0, kFileNodes * sizeof(LOG_FILE_INFO_ST));
    DIR *dir = opendir(g_chLogPath);
    if (dir == nullptr) {
        printf("The Log Path is NULL!\n");
        return -1;
    }
    char prefix[128];
    snprintf(prefix, sizeof prefix, "%s_", g_chLogFileName);
    char cwd[80];
    if (getcwd(cwd, sizeof cwd) == nullptr) {
        closedir(dir);
        return -1;
    }
    if (chdir(g_chLogPath) != 0) {
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
        LOG_FILE_INFO_ST &node = g_pFileNode[index];
        int n = snprintf(node.m_chFilePath, sizeof node.m_chFilePath, "%s%s", g_chLogPath, name);
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
    const char *path = g_tLibStConfigInfo.m_chFilePath;
    if (path[0] == '\0' || size_mib(path) < g_tLibStConfigInfo.m_iLogFileMaxSize)
        return;
    const char *ext = strstr(path, ".log");
    int stem = static_cast<int>(ext != nullptr ? ext - path : static_cast<ptrdiff_t>(strlen(path)));
    struct tm t = local_now();
    char backup[sizeof g_tLibStConfigInfo.m_chFilePath + 80];
    snprintf(backup, sizeof backup, "%.*s_%d-%02d-%02d_%02d-%02d-%02d_bak.log", stem, path, t.tm_year + 1900,
             t.tm_mon + 1, t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec);
    if (rename(path, backup) == 0 && !record_backup(backup))
        return;
    VelquistLog_DelOldFile();
}

void VelquistLog_DelOldFile(void)
{
    if (g_pFileNode == nullptr)
        return;
    long long excess = static_cast<long long>(VelquistLog_GetUsedFileNodeNum()) - g_tLibStConfigInfo.m_iLogMaxNum;
    if (excess <= 0 || excess >= kFileNodes)
        return;
    // The record indexed by the excess count goes, not the oldest one;
    // records stay in use until the next scan.
    const char *victim = g_pFileNode[excess].m_chFilePath;
    if (victim[0] != '\0')
        ShellCommand("rm -f --").word(victim).run();
}

void VelquistLog_CheckErrLogSize(void)
{
    if (g_pErrLogPath != nullptr && size_mib(g_pErrLogPath) >= g_iErrLogSize)
        remove(g_pErrLogPath);
}

int VelquistLog_GetIdleFileNode(void)
{
    if (g_pFileNode == nullptr)
        return -1;
    for (int i = 0; i < kFileNodes; i++) {
        if (g_pFileNode[i].m_eNodeStat == E_NOUSE)
            return i;
    }
    return -1;
}

int VelquistLog_GetUsedFileNodeNum(void)
{
    int used = 0;
    for (int i = 0; g_pFileNode != nullptr && i < kFileNodes; i++)
        used += g_pFileNode[i].m_eNodeStat == E_INUSE;
    return used;
}

int VelquistLog_GetOldestFileIndex(void)
{
    int oldest = -1;
    for (int i = 0; g_pFileNode != nullptr && i < kFileNodes; i++) {
        if (g_pFileNode[i].m_eNodeStat != E_INUSE)
            continue;
        if (oldest < 0 || g_pFileNode[i].m_iLogFileCreateTime < g_pFileNode[oldest].m_iLogFileCreateTime)
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
        printf("create sip udp server success, bing udp port %i!\n", port);
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
    if (net_sockfd > 0 && net_open)
        close(net_sockfd);
    net_sockfd = Net_Udp_Create(used);
    net_open = net_sockfd > 0;
    if (net_sockfd < 1) {
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
    netmon = 1;
}

int Net_Udp_SendLog(int sockfd, char *buf, int len, struct sockaddr *psockaddr)
{
    if (buf == nullptr || len < 0 ||
        sendto(sockfd, buf, static_cast<size_t>(len), 0, psockaddr, sizeof(struct sockaddr_in)) == -1) {
        printf("send error int Send_Udp_Data\n");
        return -1;
    }
    return 1;
}

int Net_Udp_Close(void)
{
    netmon = 0;
    if (net_sockfd < 1 || !net_open)
        return -1;  // also for a socket closed before: close would fail
    net_open = false;
    // net_sockfd keeps its number: a later MT_NetLog_SetAddr switches the
    // copy on again, and each line then reports a send error.
    return close(net_sockfd);
}

} // extern "C"
