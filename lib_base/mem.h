/* mem.h - allocation wrappers and the library's version text.
 *
 * Every block the library hands out can be released with Mem_Free. The
 * wrappers tolerate bad arguments: they print one line to standard output
 * and return NULL (or -1), never abort. */
#ifndef LIBBASE_MEM_H
#define LIBBASE_MEM_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Returns a zero-filled block of size bytes, or NULL. A size of 0 or less
 * prints "Mem Malloc wrong size\n"; a failing malloc is silent. */
LIBBASE_API void *Mem_Malloc(int size);

/* memset(s, c, size); returns s. NULL s prints a line and returns NULL. */
LIBBASE_API void *Mem_Set(void *s, int c, int size);

/* memcmp(s1, s2, n). A NULL pointer prints a line and gives -1, which the
 * caller cannot tell from "less than". */
LIBBASE_API int Mem_Memcmp(void *s1, void *s2, int n);

/* memcpy(dest, src, n); returns dest. A NULL pointer prints a line and
 * returns NULL. */
LIBBASE_API void *Mem_Memcpy(void *dest, void *src, int n);

/* free(ptr). NULL prints "Mem_Free failed , NULL point \n" and does nothing. */
LIBBASE_API void Mem_Free(void *ptr);

/* The library's identity, "libbase_R1.1.4; <build date> <build time>", in a
 * static buffer that the next call overwrites. */
LIBBASE_API char *LibBase_GetLibVersion(void);

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_MEM_H */
