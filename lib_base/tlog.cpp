// tlog.cpp - the simple text log.
#include "tlog.h"

#include <cstring>
#include <ctime>

namespace {

const char kBadName[] = "\xCE\xC4\xBC\xFE\xC3\xFB\xB3\xF6\xB4\xED\n";
const char kOpenFailed[] = "\xB4\xF2\xBF\xAA\xCE\xC4\xBC\xFE\xB3\xF6\xB4\xED\n";
const char kNoFile[] = "\xCE\xC4\xBC\xFE\xD6\xB8\xD5\xEB\xB3\xF6\xB4\xED\n";

struct Level {
    const char *text;
};

// Six characters each, so that the columns line up.
constexpr Level Print_Level[] = {{"Error "}, {"Warn  "}, {"Sys_I "}, {"Mod_I "}, {"Debug "}};
constexpr int kLevels = sizeof Print_Level / sizeof Print_Level[0];

long log_count = 0;  // lines written since the last emptying
char dateformat[256] = "%b %e %T";

// Makes handle the log file, closing the one it supersedes.
void replace_logfile(FILE *handle)
{
    if (logfile != nullptr && logfile != handle)
        fclose(logfile);
    logfile = handle;
}

} // namespace

extern "C" {

FILE *logfile = nullptr;
int realtime_printf = 0;
int log_level = 0;
long gt_log_max = 0;
char file[100];

int Zor_Log_Init_T(char *file_path, int realtime, int max, int level)
{
    if (file_path == nullptr || file_path[0] == '\0') {
        printf("%s", kBadName);
        return -1;
    }
    memset(file, 0, sizeof file);
    strncpy(file, file_path, sizeof file - 1);
    FILE *handle = fopen(file_path, "a");
    if (handle == nullptr) {
        printf("%s", kOpenFailed);
        return -1;
    }
    replace_logfile(handle);
    realtime_printf = realtime;
    gt_log_max = max;
    log_level = level;
    return 1;
}

void Zor_Log_Print(int level, char *string)
{
    if (logfile == nullptr) {
        printf("%s", kNoFile);
        return;
    }
    if (level > log_level || level < 0 || level >= kLevels || string == nullptr)
        return;
    char when[256] = "";
    time_t now = time(nullptr);
    struct tm local;
    if (localtime_r(&now, &local) != nullptr)
        strftime(when, sizeof when, dateformat, &local);
    const char *word = Print_Level[level].text;
    if (realtime_printf == 1)
        printf("<%s : %s> %s\n", word, when, string);
    if (log_count >= gt_log_max) {
        replace_logfile(fopen(file, "w+b"));
        log_count = 0;
        if (logfile == nullptr)
            return;
    }
    log_count++;
    fprintf(logfile, "<%s : %s> %s\n", word, when, string);
    fflush(logfile);
}

} // extern "C"
