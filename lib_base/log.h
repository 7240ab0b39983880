/* log.h - leveled trace logging: log files with dated backups, the
 * error-log copy and the UDP copy of every line.
 *
 * Levels are 0 to 7, smaller is more severe; 0 is "ERROR", 1 "WARNING".
 * Each trace call opens its file, appends one record and closes it again.
 * Nothing here is locked: callers serialise access themselves.
 *
 * Setting up, in order:
 *   VelquistLog_SetBakDesDir / VelquistLog_SetErrLogFile   (optional)
 *   VelquistLog_ConfigParameter                            (log file)
 *   MT_Log_Init                                            (module trace)
 *   MT_NetLog_Init + MT_NetLog_SetAddr                     (UDP copy)
 * then MT_Log_Process and Log_Trace_Proc any number of times. */
#ifndef LIBBASE_LOG_H
#define LIBBASE_LOG_H

#include <netinet/in.h>
#include <stdio.h>
#include <sys/socket.h>

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define LIBBASE_LOG_FORMAT(fmt, args) __attribute__((format(printf, fmt, args)))
#else
#define LIBBASE_LOG_FORMAT(fmt, args)
#endif

/* ---- trace log core ---------------------------------------------------- */

/* Terminal filter of Log_Trace_Proc: levels below it are printed
 * (default 7). */
LIBBASE_API extern int glibPrintFlag;
/* File size setting in MiB (default 40), kept for applications; the
 * library's own limits do not read it. */
LIBBASE_API extern int glibLogSize;

/* Sets up the module trace. A file_path shorter than 200 characters
 * becomes the module trace file (default "/home/switch_msg.log"). Modules
 * 0 to max_modid-1 and channels below max_chnno are accepted. modname, when
 * not NULL, holds max_modid+1 names in 20-byte slots, printed instead of
 * module numbers. While no log configuration has been given, the module
 * trace file also becomes the file of Log_Trace_Proc (limit 1 MiB, 5
 * backups) and the backups beside it are scanned. Out of memory for the
 * backup table ends the process with status 0. */
LIBBASE_API void MT_Log_Init(int max_modid, int max_chnno, const char *file_path, void *modname);

/* Highest level written by both trace calls (default 1); values outside
 * 0..7 are ignored. */
LIBBASE_API void MT_Log_SetLevel(int print_level);

/* Stores a line-length setting (values >= 0); nothing reads it. */
LIBBASE_API void MT_Log_SetLENTH(int log_len);

/* Sets glibPrintFlag, unchecked. */
LIBBASE_API void LogSetPrintfLvl(int iLvl);

/* Sets glibLogSize when iSize > 0. */
LIBBASE_API void LogSetFileSize(int iSize);

/* Module/channel trace: one line "<level:..><mod:..>[<chnno:..>]<time:...>
 * text\r\n" (time "%Y-%m-%d_%H:%M:%S") appended to the module trace file,
 * printed on the terminal (the numeric-module line without a channel ends
 * in "\n" there) and sent to the UDP listener. A negative chn_id means no
 * channel. Dropped unless mod, level and channel are in range, the level is
 * at most the set level and content is at most 4000 characters; the text
 * is cut at 4000 characters. Every 20th call moves a file of 40 MiB or more
 * to "<file>.bak" (this call's line goes into the moved file). A file that
 * does not open prints "Can not write log file:%s.\n". */
LIBBASE_API void MT_Log_Process(int mod, int print_level, int chn_id, const char *content, ...)
    LIBBASE_LOG_FORMAT(4, 5);

/* Source-located trace: one record "[lv:..][chn:..]: text  <time><file:line>
 * \r\n\n" (time "%Y-%m-%d %H:%M:%S"; levels 0 and 1 carry a coloured
 * "[ERROR]" / "[WARNING]" prefix and are copied to the error-log file)
 * appended to the configured log file, printed when the level is below
 * glibPrintFlag, and sent to the UDP listener. Dropped unless the level is
 * 0..7 and at most the set level and content is at most 6000 characters;
 * the text is cut at 6000 characters. The log file is first moved to a
 * dated backup when it has reached its limit. A log file that does not
 * open prints "Can not write log file:%s.\n"; an error-log file that does
 * not open is skipped. */
LIBBASE_API void Log_Trace_Proc(int print_level, int chn_id, char *pchFile, int iLine, const char *content, ...)
    LIBBASE_LOG_FORMAT(5, 6);

/* Wraps inbuf in ANSI colour sequences into outbuf (at most maxout bytes
 * with the NUL) and returns outbuf. Colours are 30..37; bit 7 of fgcolor
 * asks for bold; a background of 0 is black. The text is followed by a
 * reset to white on black. With both colours 0, or both with bit 7 set
 * (or no room at all), returns inbuf and leaves outbuf alone. */
LIBBASE_API char *term_color(char *outbuf, char *inbuf, int fgcolor, int bgcolor, int maxout);

/* ---- log files and backups --------------------------------------------- */

/* The log configuration given by the application. */
typedef struct _ST_CONFIG_INFO_ {
    char m_chFilePath[256]; /* log file path, its name ending in ".log" */
    int m_iLogFileMaxSize;  /* size limit in MiB, 1 to 10 (else 1) */
    int m_iLogMaxNum;       /* backups to keep */
    int m_iLogMaxDays;      /* stored, unused */
    FILE *m_fHandle;        /* stored, unused */
} CONFIG_INFO_ST;

typedef enum _E_FILE_NODE_STAT_ { E_NOUSE = 0, E_INUSE = 1 } NODE_STAT_E;

/* One known backup file. */
typedef struct _ST_LOG_FILE_INFO_ {
    NODE_STAT_E m_eNodeStat;
    char m_chFilePath[256];
    int m_iLogFileSize;           /* bytes, when recorded */
    double m_iLogFileCreateTime;  /* the file's last-access time */
} LOG_FILE_INFO_ST;

/* Installs the configuration (a copy), scans the backups already in the
 * backup directory and deletes the excess. 0; -1 for NULL or an empty
 * path. Out of memory for the backup table ends the process (status 0). */
LIBBASE_API int VelquistLog_ConfigParameter(CONFIG_INFO_ST *ptConfigInfo);

/* Backups go into this directory (created when missing, "/" appended)
 * instead of staying beside the log file; stays set for the process.
 * 0; -1 for NULL or a path over 254 characters. */
LIBBASE_API int VelquistLog_SetBakDesDir(char *pchDesDirPath);

/* Copies level 0 and 1 records to pchPath as well; the file is deleted
 * when it has reached iLogSize MiB. Creates the directory when missing.
 * 0; -1 for NULL, a path without "/" or out of memory (printing "Mem_Malloc
 * error in VelquistLog_SetErrLogFile\n"). */
LIBBASE_API int VelquistLog_SetErrLogFile(char *pchPath, int iLogSize);

/* Creates, mode 0777, every non-writable directory named by a prefix of
 * chDirPath that ends before a "/": "/a/b/" makes /a and /a/b, "/a/b" only
 * /a. Failures are ignored: 0; -1 for NULL. */
LIBBASE_API int VelquistLog_MakeDirectory(char *chDirPath);

/* Learns the backup directory (unless one was set) and the log file's base
 * name from the configured path. 0; -1 when the path has no "/". */
LIBBASE_API int VelquistLog_GetLogPath(void);

/* Rebuilds the backup table from the files "<base>_YYYY..._bak.log" in the
 * backup directory, then deletes the excess. 0; -1 when the directory does
 * not open (printing "The Log Path is NULL!\n"), the working directory is
 * unknown, or the table is full. Changes the working directory meanwhile. */
LIBBASE_API int VelquistLog_ScanfOldFile(void);

/* Moves the log file to "<stem>_YYYY-MM-DD_hh-mm-ss_bak.log" once it holds
 * its limit in whole MiB (into the backup directory, in the background,
 * when one is set), records the backup and deletes the excess. */
LIBBASE_API void VelquistLog_CheckBakFile(void);

/* With more backups recorded than the configuration keeps, deletes the
 * backup in the record indexed by the excess count. Records stay in use
 * until the next scan. */
LIBBASE_API void VelquistLog_DelOldFile(void);

/* Deletes the error-log file once it holds its limit in whole MiB. */
LIBBASE_API void VelquistLog_CheckErrLogSize(void);

/* Index of the first free backup record, or -1 when all 128 are in use. */
LIBBASE_API int VelquistLog_GetIdleFileNode(void);

/* Number of backup records in use. */
LIBBASE_API int VelquistLog_GetUsedFileNodeNum(void);

/* Index of the first in-use record with the smallest time; 0 when none. */
LIBBASE_API int VelquistLog_GetOldestFileIndex(void);

/* ---- network log -------------------------------------------------------- */

/* The UDP log listener and its address length, set by MT_NetLog_SetAddr. */
LIBBASE_API extern struct sockaddr_in net_sockaddr;
LIBBASE_API extern socklen_t netaddrlen;

/* Opens the log socket on port (8000 for a port below 1), closing the one
 * open before. Prints "Create Netmon udp server success, port = %d\n" and
 * gives 0, or prints "... failed ..." and gives -1. */
LIBBASE_API int MT_NetLog_Init(int port);

/* Names the listener (dotted IPv4 text, port above 1024) and switches the
 * UDP copy on; otherwise ignored. Unparsable text means 255.255.255.255. */
LIBBASE_API void MT_NetLog_SetAddr(char *ip, int port);

/* A non-blocking UDP socket bound to port on every local address, or -1.
 * Prints "sockfd = %i\n" and a success or failure line. */
LIBBASE_API int Net_Udp_Create(int port);

/* Sends len bytes of buf to psockaddr. 1; -1 on a send error, printing
 * "send error int Send_Udp_Data\n". */
LIBBASE_API int Net_Udp_SendLog(int sockfd, char *buf, int len, struct sockaddr *psockaddr);

/* Switches the UDP copy off and closes the log socket: the result of
 * close, or -1 when no socket is open. */
LIBBASE_API int Net_Udp_Close(void);

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_LOG_H */
