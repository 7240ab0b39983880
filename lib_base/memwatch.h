/* memwatch.h - a checking allocator for finding memory faults.
 *
 * mwMalloc, mwCalloc, mwRealloc, mwStrdup and mwFree work like their C
 * library namesakes and take the caller's source file and line. Every block
 * is recorded with them and fenced by guard bytes before and after it. The
 * debugger finds and reports
 *   - a free of a block that was already freed, or of a pointer it never
 *     handed out (the block is then left alone),
 *   - writes past either end of a block, when the block is freed or
 *     reallocated and on every mwCheck,
 *   - every block still allocated, on mwReport and when the process exits.
 * Findings are appended, one line each with file and line, to the log file
 * "/tmp/log/memwatch.log" (its directory is created when missing) or to the
 * file chosen with mwSetLogFile; when the file cannot be opened they are
 * printed to standard output. All functions are safe to call from several
 * threads.
 *
 * Routing an application's own calls: define MEMWATCH before including this
 * header (or libbase.h), e.g. with -DMEMWATCH, and malloc, calloc, realloc,
 * strdup and free in the source that follows go through the debugger with
 * __FILE__ and __LINE__. Blocks the debugger hands out must be released
 * through it, and blocks from the library's own functions with Mem_Free.
 * In C++ the routing covers unqualified and ::-qualified calls, not std::. */
#ifndef LIBBASE_MEMWATCH_H
#define LIBBASE_MEMWATCH_H

#include <stddef.h>

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Counters since the process started. A reallocation keeps its block: it
 * changes the bytes in use, not the number of allocations or frees. */
typedef struct _MW_STATS {
    unsigned long long allocations;   /* blocks handed out */
    unsigned long long frees;         /* blocks released */
    unsigned long long blocks_in_use; /* allocations - frees */
    unsigned long long bytes_in_use;  /* bytes the caller asked for, still held */
    unsigned long long peak_bytes;    /* highest bytes_in_use so far */
} MW_STATS, *PMW_STATS;

/* A block of size bytes (may be 0), filled with 0xCD; NULL when memory
 * runs out (logged). */
LIBBASE_API void *mwMalloc(size_t size, const char *file, int line);

/* A zero-filled block of count * size bytes; NULL on overflow or when
 * memory runs out (logged). */
LIBBASE_API void *mwCalloc(size_t count, size_t size, const char *file, int line);

/* Resizes the block ptr, keeping its first bytes; NULL ptr allocates, size 0
 * frees and returns NULL. A pointer the debugger does not hold is logged and
 * left alone, and NULL is returned; so is NULL when memory runs out, and
 * ptr then stays valid. */
LIBBASE_API void *mwRealloc(void *ptr, size_t size, const char *file, int line);

/* A copy of str in a new block; NULL for a NULL str (logged) or when memory
 * runs out. */
LIBBASE_API char *mwStrdup(const char *str, const char *file, int line);

/* Releases a block after checking its guards. NULL is ignored; a pointer
 * already freed or never handed out is logged and left alone. */
LIBBASE_API void mwFree(void *ptr, const char *file, int line);

/* Checks the guards of every block; logs each damaged one. Returns the
 * number of damaged blocks. */
LIBBASE_API int mwCheck(const char *file, int line);

/* Logs every block still allocated with its size, address and the file and
 * line that allocated it. Returns the number of blocks. */
LIBBASE_API int mwReport(const char *file, int line);

/* Logs the counters in one line and, when stats is not NULL, copies them
 * there. */
LIBBASE_API void mwStatistics(MW_STATS *stats);

/* Sends later findings to the file path (NULL: back to
 * "/tmp/log/memwatch.log"). 0; -1 for a path of 4096 bytes or more, which
 * leaves the log file unchanged. */
LIBBASE_API int mwSetLogFile(const char *path);

#ifdef __cplusplus
}
#endif

#if defined(MEMWATCH) && !defined(LIBBASE_BUILDING)
/* The C library's declarations first, so that the macros below do not
 * rewrite them. */
#include <stdlib.h>
#include <string.h>
#undef malloc
#undef calloc
#undef realloc
#undef strdup
#undef free
#define malloc(size) mwMalloc((size), __FILE__, __LINE__)
#define calloc(count, size) mwCalloc((count), (size), __FILE__, __LINE__)
#define realloc(ptr, size) mwRealloc((ptr), (size), __FILE__, __LINE__)
#define strdup(str) mwStrdup((str), __FILE__, __LINE__)
#define free(ptr) mwFree((ptr), __FILE__, __LINE__)
#define mwCHECK() mwCheck(__FILE__, __LINE__)
#define mwREPORT() mwReport(__FILE__, __LINE__)
#endif

#endif /* LIBBASE_MEMWATCH_H */
