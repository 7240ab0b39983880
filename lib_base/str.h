/* str.h - byte-string utilities used throughout the library.
 *
 * A NULL argument never crashes: the tokenisers give NULL (or 0), every
 * function returning a number gives -1. Case folding touches only the ASCII
 * letters. Nothing here prints. */
#ifndef LIBBASE_STR_H
#define LIBBASE_STR_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Cuts the next token off *pstr at the substring key, writing a NUL over
 * the key, and moves the cursor past the key. Text without the key is one
 * token. A key at the very start is not stripped: the token then begins
 * with the key and the cursor still moves past it. NULL once the text is
 * used up, or for a NULL or empty argument. */
LIBBASE_API char *Str_Tok(char **pstr, char *key);

/* The text between the first key1 and the next key2 after it (possibly
 * empty). Writes a NUL over key2 and moves the cursor past it; text before
 * key1 is skipped. NULL, with the cursor left, when either key is missing. */
LIBBASE_API char *Str_Two_Tok(char **pstr, char *key1, char *key2);

/* Occurrences of key in str plus one; 0 when str is empty or an argument
 * is NULL or empty. */
LIBBASE_API int Str_Seq_Num(char *str, char *key);

/* Upper-cases 'a'..'z' in place. 0; -1 for NULL. */
LIBBASE_API int Str_Uppercase(char *str);

/* strcmp / strncmp; -1 when either string is NULL. */
LIBBASE_API int Str_Cmp(char *str1, char *str2);
LIBBASE_API int Str_N_Cmp(char *str1, char *str2, int len);

/* Case-insensitive strcmp / strncmp over the first 999 bytes of each
 * string; -1 when either string is NULL. */
LIBBASE_API int Str_Cmp_NoCase(char *str1, char *str2);
LIBBASE_API int Str_N_Cmp_NoCase(char *str1, char *str2, int len);

/* strcpy / strncpy / strncat, unbounded beyond what the caller gives.
 * dest's address as an int; -1 when either pointer is NULL. */
LIBBASE_API int Str_Copy(char *dest, char *src);
LIBBASE_API int Str_N_Copy(char *dest, char *src, int len);
LIBBASE_API int Str_N_Cat(char *dest, char *src, int len);

/* strlen / atoi / atol; -1 for NULL. */
LIBBASE_API int Str_Len(char *str);
LIBBASE_API int Str_Atoi(char *str);
LIBBASE_API long Str_Atol(char *str);

/* A malloc'd copy of str, owned by the caller (release with Mem_Free);
 * NULL for NULL or when memory runs out. */
LIBBASE_API char *Str_Alloc(char *str);

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_STR_H */
