/* objlist.h - an index-addressed list of private copies of byte blocks.
 *
 * Each element is one block: a host-order 32-bit length followed by that
 * many bytes. The list owns its blocks: deleting or freeing releases them.
 * Object_Get_Content_Point points into the list's own copy. */
#ifndef LIBBASE_OBJLIST_H
#define LIBBASE_OBJLIST_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef void *OLH;

/* A new empty list (max is nominal), or NULL. */
LIBBASE_API OLH Objlist_Allocate(int max);

/* Frees every block and the list. 1; -1 for NULL. */
LIBBASE_API int Objlist_Free(OLH pl);

/* The count; -1 for NULL. */
LIBBASE_API int Objlist_GetCount(OLH pl);

/* Appends a copy of len bytes of content. 0; -1 for a NULL argument or a
 * negative len; -2 when the block cannot be allocated. */
LIBBASE_API int Objlist_Add(OLH pl, void *content, int len);

/* Copies element index into content. The stored length; -1 for a NULL
 * argument or no such element; -2 for a stored length below 1; -100 when
 * it exceeds maxclen (nothing copied). */
LIBBASE_API int Objlist_Get(OLH pl, int index, void *content, int maxclen);

/* The stored bytes of element index (just behind the length), or NULL. */
LIBBASE_API void *Object_Get_Content_Point(OLH pl, int index);

/* Removes and frees element index, if there is one. Always 0. */
LIBBASE_API int Objlist_Del(OLH pl, int index);

/* As Objlist_Add, placed at index (<= 0 at the front, count at the end);
 * a copy that cannot be placed is dropped. */
LIBBASE_API int Objlist_Insert(OLH pl, int index, void *content, int len);

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_OBJLIST_H */
