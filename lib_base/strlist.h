/* strlist.h - an index-addressed list of private string copies.
 *
 * The list owns its copies: deleting, clearing or freeing releases them.
 * Strings handed out by Strlist_Get point into the list's own copies. */
#ifndef LIBBASE_STRLIST_H
#define LIBBASE_STRLIST_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef void *SLH;

/* A new empty list (max is nominal), or NULL. */
LIBBASE_API SLH Strlist_Allocate(int max);

/* Frees every string and the list. 1; -1 for NULL. */
LIBBASE_API int Strlist_Free(SLH pl);

/* The count; -1 for NULL. */
LIBBASE_API int Strlist_GetCount(SLH pl);

/* Appends a copy of content. 0; -1 for a NULL argument; -2 when the copy
 * cannot be made. */
LIBBASE_API int Strlist_Add(SLH pl, char *content);

/* The stored string at index, or NULL (an index out of range prints the
 * list's offset line). Moves the list's cursor. */
LIBBASE_API char *Strlist_Get(SLH pl, int index);

/* Removes and frees the string at index. 0, also when nothing was there;
 * -1 for NULL. */
LIBBASE_API int Strlist_Del(SLH pl, int index);

/* Inserts a copy so that it gets index (<= 0 at the front, count at the
 * end); a copy that cannot be placed is dropped. 0; -1; -2 as Strlist_Add. */
LIBBASE_API int Strlist_Insert(SLH pl, int index, char *content);

/* The first index whose string equals content (case-sensitive); -1 when
 * absent or for a NULL argument. */
LIBBASE_API int Strlist_Index_Content(SLH pl, char *content);

/* Removes and frees every string; the list stays usable. 0; -1 for NULL. */
LIBBASE_API int Strlist_Clear(SLH pl);

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_STRLIST_H */
