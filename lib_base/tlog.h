/* tlog.h - the simple text log.
 *
 * Plain dated lines "<%s : %s> %s\n" (level word, time, message) in one file
 * that stays open between calls and is flushed after every line. After
 * gt_log_max lines the file is emptied and started again. Independent of
 * the trace log of log.h. */
#ifndef LIBBASE_TLOG_H
#define LIBBASE_TLOG_H

#include <stdio.h>

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Settings, all set by Zor_Log_Init_T. */
LIBBASE_API extern FILE *logfile;       /* the open file; NULL before init */
LIBBASE_API extern int realtime_printf; /* 1: lines are also printed */
LIBBASE_API extern int log_level;       /* highest level written */
LIBBASE_API extern long gt_log_max;     /* lines after which the file is emptied */
LIBBASE_API extern char file[100];      /* the path, kept for reopening */

/* Opens file_path for appending and stores the settings; 1 on success.
 * A NULL or empty path prints the GBK message "bad file name" and gives
 * -1; a file that does not open prints the GBK "cannot open file" and gives
 * -1, keeping the former handle and settings (file then already holds the
 * new path). A successful second call closes the former handle. */
LIBBASE_API int Zor_Log_Init_T(char *file_path, int realtime, int max, int level);

/* Writes string (a finished text, not a format) as one line at level 0
 * "Error ", 1 "Warn  ", 2 "Sys_I ", 3 "Mod_I " or 4 "Debug ", stamped
 * "%b %e %T"; levels above log_level or outside 0..4 are ignored. Before
 * a successful init prints the GBK message "bad file pointer". The line
 * that finds gt_log_max lines written empties the file and becomes its
 * first line; a file that cannot be reopened then leaves logfile NULL. */
LIBBASE_API void Zor_Log_Print(int level, char *string);

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_TLOG_H */
