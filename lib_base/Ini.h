/* Ini.h - a store for flat "key = value" configuration files.
 *
 * LoadIni reads a whole file into an ordered list of key records; each record
 * also keeps, verbatim, the text in front of its key (blank lines, line ends,
 * "#" and "//" comment lines), so that SaveIni writes the file back with its
 * comments and layout. There are no sections. Keys are at most 255 bytes,
 * values at most 255, the text in front of a key at most 511; longer ones
 * are cut. Bytes are taken as they are (GBK or ASCII), with no conversion.
 * Edits work in memory until a save. One thread at a time per handle.
 * Complaints are printed to standard output in GBK. */
#ifndef LIBBASE_INI_H
#define LIBBASE_INI_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef void *LPINIVALUE;

/* Loads pcIniFile. A new handle, or NULL when the name is NULL (prints
 * "bad argument .fun[LoadIni]"), the file is missing, empty or unreadable
 * (prints "cannot open configuration file [name]" when it exists but cannot
 * be opened) or memory runs out. The text ends at the first NUL byte. */
LIBBASE_API LPINIVALUE LoadIni(const char *pcIniFile);

/* Frees the handle and its records. A NULL handle prints "bad argument"
 * without a line end. */
LIBBASE_API void ReleaseIni(LPINIVALUE pIni);

/* Copies the value of the first record named pcKey (exact, case-sensitive)
 * into pcValue, which needs room for 256 bytes; a missing key copies
 * pcDefaultValue instead, or leaves pcValue untouched when that is NULL.
 * 1 whenever the arguments were valid, found or not; 0, after "bad
 * argument\n", when pcValue, pcKey or pIni is NULL. */
LIBBASE_API int GetValueByKey(char *pcValue, const char *pcKey, const char *pcDefaultValue,
                              LPINIVALUE pIni);

/* As GetValueByKey, writing at most iValueLen - 1 bytes and a terminating
 * NUL into pcValue (the value or the default). */
LIBBASE_API int GetValueByKeyLen(char *pcValue, int iValueLen, const char *pcKey,
                                 const char *pcDefaultValue, LPINIVALUE pIni);

/* Replaces the value of the first record named pcKey, or appends a new
 * record that a save puts on a new line after "\r\n". 1; 0 on a NULL
 * argument ("bad argument\n") or when the record cannot be added. */
LIBBASE_API int SetValueByKey(const char *pcValue, const char *pcKey, LPINIVALUE pIni);

/* As SetValueByKey, but a new key goes on a new line after a lone "\n". */
LIBBASE_API int SetValueByKeyForSysOp(const char *pcValue, const char *pcKey, LPINIVALUE pIni);

/* A new handle holding the one record "\r\n" pcKey = pcValue, for building a
 * file from nothing. NULL on a NULL argument ("bad argument\n") or when
 * memory runs out. */
LIBBASE_API LPINIVALUE SetValueByKey_Start(const char *pcValue, const char *pcKey);

/* Removes the first record named pcKey, with the text in front of it.
 * 1 when one was removed; 0 when none matched or on a NULL argument
 * ("bad argument\n"). */
LIBBASE_API int RmvKeyValue(LPINIVALUE pIni, const char *pcKey);

/* Writes every record to pcFile (truncating it) as its front text followed
 * by "key = value"; a record without a key writes only its front text. No
 * line end follows the last value. 1; 0 on a NULL argument ("bad
 * argument\n") or when the file cannot be opened ("cannot open file
 * [name]\n"). The handle stays valid. */
LIBBASE_API int SaveIni(const char *pcFile, LPINIVALUE pIni);

/* As SaveIni, writing "key=value" with no spaces around the equals sign. */
LIBBASE_API int SaveIniNoSpace(const char *pcFile, LPINIVALUE pIni);

/* Rewrites in place the value after the first "=" that follows the first
 * occurrence of pchKey anywhere in the file: the rest of that line becomes
 * pchValue in double quotation marks, and the file goes on from the line's
 * "\n". ReplacedLen must be the length of pchValue: a longer value is cut
 * to ReplacedLen + 2 bytes of quoted text, a shorter one ends the file
 * right after the value. 0 on success; -1 on a NULL argument, a negative
 * ReplacedLen, an empty or missing file, or (with a line saying which) a
 * file that cannot be opened, no memory, no key, no "=" or no "\n" after
 * it. Prints "[ReplaceVaribleValue]--  StartLen[n]\n" on the way. */
LIBBASE_API int ReplaceVaribleValue(char *pchFileName, char *pchKey, char *pchValue,
                                    int ReplacedLen);

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_INI_H */
