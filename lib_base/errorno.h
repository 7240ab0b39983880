/* errorno.h - the table of call-release cause texts.
 *
 * Applications end calls with a cause number and report it as a text: SIP
 * final responses with their reason phrases, and the device's own causes
 * of the 4000 series. EncodeInit builds the table; EncodeErrorNo reads it. */
#ifndef LIBBASE_ERRORNO_H
#define LIBBASE_ERRORNO_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* One entry: errorno -1 marks a free slot; errorcode is NUL-terminated. */
typedef struct _ERROR_CODE {
    int errorno;
    char errorcode[50];
} ERROR_CODE;

/* The cause table: fourteen entries after EncodeInit, the rest free.
 * Applications may fill free slots themselves; EncodeInit clears them. */
LIBBASE_API extern ERROR_CODE error[100];

/* (Re)builds the table: every entry freed (number -1, text zeroed), then
 * entries 0 to 13 filled with the fixed causes. Prints nothing. */
LIBBASE_API void EncodeInit(void);

/* Looks errorno up in entry order. Found: copies exactly 49 bytes of the
 * entry's text field into errorcode (which must hold 49 bytes) and gives 1.
 * A negative number or no match gives -1 and leaves errorcode untouched. */
LIBBASE_API int EncodeErrorNo(int errorno, char *errorcode);

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_ERRORNO_H */
