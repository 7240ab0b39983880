/* d_element.h - linked element streams: tagged values of any size kept in
 * memory, for messages that do not fit a fixed message body.
 *
 * A stream is a handle on a head cell holding the newest element; each
 * element owns a heap copy of its value and points to the next older one.
 * Lookups start at the newest element, so for a repeated tag the one added
 * last is found first. Nothing is printed. One thread at a time per stream. */
#ifndef LIBBASE_D_ELEMENT_H
#define LIBBASE_D_ELEMENT_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Points to a head cell: one ELEMENT_ST pointer, NULL when empty. */
typedef void *ELEMENT_STREAM;

typedef struct _ELEMENT_ST {
    int tag;
    int length;                  /* number of value bytes */
    void *pvalue;                /* the element's own copy of the value */
    struct _ELEMENT_ST *pnext;   /* the next older element, or NULL */
    unsigned char c;             /* not used */
} ELEMENT_ST;

/* A new empty stream, or NULL when out of memory. */
LIBBASE_API ELEMENT_STREAM d_element_allocate_element_stream(void);

/* Frees every element with its value, then the stream. NULL is ignored.
 * Pointers from d_element_get_et_point die here. */
LIBBASE_API void d_element_free_element_stream(ELEMENT_STREAM ele_s);

/* Adds a copy of length bytes of value under tag as the newest element.
 * 0; -1 for a NULL stream or value, a negative length or no memory (the
 * stream is then unchanged). */
LIBBASE_API int d_element_add_et(ELEMENT_STREAM ele_s, int tag, void *value, int length);

/* Copies the value of the newest element with tag into dest_buf and its
 * length into *element_len. 0; -1 for a NULL argument, an empty stream, no
 * such element, or a value longer than dest_buf_len (nothing copied). */
LIBBASE_API int d_element_get_et(ELEMENT_STREAM ele_s, int tag, void *dest_buf, int dest_buf_len,
                                 int *element_len);

/* The stream's own copy of the value of the newest element with tag, valid
 * until the stream is freed, with its length in *element_len; NULL for a
 * NULL argument, an empty stream or no such element. */
LIBBASE_API void *d_element_get_et_point(ELEMENT_STREAM ele_s, int tag, int *element_len);

/* As d_element_get_et for occurrence index of tag, counted from the newest
 * (0 = added last). Note the order: the buffer length comes before the
 * buffer here. */
LIBBASE_API int d_element_get_et_by_index(ELEMENT_STREAM ele_s, int tag, int index, int dest_buf_len,
                                          void *dest_buf, int *element_len);

/* The number of elements with tag; 0 when none or for a NULL stream. */
LIBBASE_API int d_element_get_et_count(ELEMENT_STREAM ele_s, int tag);

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_D_ELEMENT_H */
