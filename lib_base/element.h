/* element.h - tagged elements in a fixed-size message body.
 *
 * A message body (M_Body) is a flat area of at most 10000 bytes holding
 * elements back to back, each laid out in host byte order with no padding:
 *
 *     offset p      4 bytes   tag
 *     offset p + 4  4 bytes   value length L
 *     offset p + 8  L bytes   value
 *
 * The next element starts at p + 8 + L; len is the sum of 8 + L over all
 * elements, and a new body must start with len = 0. A value holds at most
 * 5000 bytes. A tag may occur any number of times; order is kept.
 *
 * Readers walk the elements from the first and never change the body. An
 * element whose header ends exactly at the end of the body (an empty value
 * placed last) is invisible to every reader. Whatever the body holds, no
 * reader reads outside its first len bytes or writes outside the caller's
 * buffer. The caller owns every body and buffer; nothing is allocated. */
#ifndef LIBBASE_ELEMENT_H
#define LIBBASE_ELEMENT_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef unsigned char U8;
typedef unsigned int U32;

/* A message: len bytes of buf in use. */
typedef struct _M_Body {
    U32 len;
    U8 buf[10000];
} M_Body;

/* One element's value. */
typedef struct _E_Body {
    U32 len;
    U8 buf[5000];
} E_Body;

/* An element in ordinary size. */
typedef struct _ET {
    U32 tag;
    E_Body body;
} ET;

/* An element in extended size: a 10000-byte value area (appending still
 * takes at most 5000 bytes). */
typedef struct _EXT_ET {
    U32 tag;
    M_Body body;
} EXT_ET;

/* Appends an element of len bytes from vd under tag. 0 on success.
 * -2 after "The input is error in element_add_data!\n" for a NULL md or vd,
 * md->len above 10000 or len above 5000; -1 after "There is no enough Msg
 * buf in element_add_data,add element fail!\n" when the element (8 + len
 * bytes) does not fit, leaving the body unchanged. len 0 is allowed. */
LIBBASE_API int element_add_data(M_Body *md, unsigned int tag, void *vd, unsigned int len);

/* Copies the value of the first element with tag into vd (vd_len bytes
 * available) and its length into *plen. 0 when copied.
 * -2 after "The input is error!\n" for a NULL md, vd or plen or md->len
 * above 10000; -2 silently when no element has tag.
 * -1 after "Element is out of messge, can't copy. element len=%d, messge
 * len=%d!\n" when the element's length runs past the body, or after
 * "Element is longer than out buffer, can't copy. element len=%d, out buf
 * len=%d!\n" when it exceeds vd_len; nothing is copied then. */
LIBBASE_API int element_get_data(M_Body *md, unsigned int tag, void *vd, unsigned int vd_len,
                                 unsigned int *plen);

/* As element_get_data for occurrence index (0 = first) of tag, except that
 * a walk that steps past the end of the body prints "The input is error!\n"
 * before giving -2 (a walk stopping at a header that ends exactly at the
 * end of the body stays silent). A negative index is never found. */
LIBBASE_API int element_get_data_by_index(M_Body *md, unsigned int tag, void *vd, int index,
                                          unsigned int vd_len, unsigned int *plen);

/* The number of elements with tag, 0 when none; -2 after "The input is
 * error!\n" for a NULL md or md->len above 10000. An element is counted
 * even when its length runs past the body. */
LIBBASE_API int element_get_et_count(M_Body *md, unsigned int tag);

/* element_add_data(md, etd->tag, etd->body.buf, etd->body.len); -1 after
 * "the input is error in element_add_et\n" for a NULL argument. */
LIBBASE_API int element_add_et(M_Body *md, ET *etd);

/* Sets etd->body.len to 5000, then reads the first element with etd->tag
 * into etd->body with element_get_data and passes its result through
 * (etd->body.len stays 5000 when the read fails). -1 after "the input is
 * error in element_get_et\n" for a NULL argument. */
LIBBASE_API int element_get_et(M_Body *md, ET *etd);

/* As element_add_et for an extended element; the 5000-byte value limit of
 * element_add_data still applies. */
LIBBASE_API int element_add_ext_et(M_Body *md, EXT_ET *etd);

/* As element_get_et with room for 10000 bytes. */
LIBBASE_API int element_get_ext_et(M_Body *md, EXT_ET *etd);

/* Appends the 4 bytes of value, in host order, under tag; the result of
 * element_add_data. -1 after "the input is error in element_get_integer\n"
 * (sic: the reader's text) for a NULL md. */
LIBBASE_API int element_add_integer(M_Body *md, unsigned int tag, int value);

/* Reads the first element with tag into *pvalue. 0 when it holds exactly
 * 4 bytes; otherwise -1, after
 *   "the input is error in element_get_integer\n" for a NULL md or pvalue,
 *   "get et error in element_get_integer\n" when the read fails (elements
 *     longer than 4 bytes included),
 *   "get et success,but is not int type! in element_get_integer\n" when the
 *     element is shorter (its bytes are already in *pvalue). */
LIBBASE_API int element_get_integer(M_Body *md, unsigned int tag, int *pvalue);

/* Reads the first element with tag into vd. 0 when it holds exactly len
 * bytes; otherwise -1, after
 *   "The input is error in funtion element_get_struct\n" for a NULL md or vd,
 *   "get et error in element_get_struct\n" when the read fails,
 *   "get et success,but len is error! in element_get_struct\n" when the
 *     element is shorter than len (its bytes are already in vd). */
LIBBASE_API int element_get_struct(M_Body *md, unsigned int tag, void *vd, unsigned int len);

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_ELEMENT_H */
