/* xml.h - message documents: a small tree of named elements, its decoder
 * and its encoder.
 *
 * A document has one root ("request" or "response", with an id and a
 * type) holding leaf items (name, optional source, text content) and child
 * elements (name, optional source, children of their own), kept in order
 * in FIFO lists. The tree owns every node; the caller owns only the root
 * and releases it with Xml_Free. Lookups walk a node's children with the
 * list's own cursor, so one walk of a list at a time.
 *
 * The text form is one declaration line, the root open tag with id before
 * type, tab-indented elements and "\r\n" line ends. Nothing is escaped on
 * the way out and nothing is unescaped on the way in. */
#ifndef LIBBASE_XML_H
#define LIBBASE_XML_H

#include <stddef.h>

#include "libbase_api.h"
#include "fifo.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
    E_STAT_IDLE = 0,
    E_STAT_INUSE = 1
} STATIC_NODE_STAT_E;

typedef struct _Xmldoc {
    int xtype;                  /* 1 root, 2 child element, 0 leaf item */
    int requst_id;              /* request id (root only) */
    char type[128];             /* document type (root only) */
    char name[128];             /* element or item name */
    char source[128];           /* the one attribute value, "" if none */
    char content[1024];         /* text of a leaf item */
    FIFOH mfifolist;            /* children; NULL for a leaf item */
    STATIC_NODE_STAT_E eUseFlag; /* left at 0 */
} Xmldoc, *PXD, *pXmldoc;

/* ---- Building and releasing ---------------------------------------- */

/* A new root: kind 1, the given id, name = request and type (both cut at
 * 127 bytes), no children. NULL only when memory runs out. */
LIBBASE_API pXmldoc Xml_Allocate(char *request, int id, char *type);

/* Appends a leaf item under pxml: name and source cut at 127 bytes,
 * content at 1023; a NULL source or content stays empty. Duplicate names
 * are kept in order. The new item (owned by the tree), or NULL for a NULL
 * pxml or name, a pxml without a child list, or no memory. */
LIBBASE_API pXmldoc Xml_Add_Str(pXmldoc pxml, char *name, char *source, char *content);

/* Appends a child element (kind 2, own empty list) under pxml. The child;
 * NULL for a NULL name; NULL after printing a GBK line (empty name, creation
 * failed) for an empty name. */
LIBBASE_API pXmldoc Xml_Add_child(pXmldoc pxml, char *name, char *source);

/* Releases pxml and everything below it. NULL prints a GBK line (document
 * empty, cannot be freed). */
LIBBASE_API void Xml_Free(pXmldoc pxml);

/* A deep copy of a root (kind 1), owned by the caller; NULL for anything
 * else. */
LIBBASE_API pXmldoc Xml_Copy(pXmldoc src_xml);

/* Appends copies of src's leaf items and child elements (recursively) to
 * dest's children, in order; nodes of other kinds are skipped. */
LIBBASE_API void Xml_Copy_T(PXD dest_xml, PXD src_xml);

/* ---- Lookups among pxml's children ---------------------------------
 * A node matches when its name equals name and, where a source is given,
 * its source equals source. Index variants count matches from 0. */

/* First match of any kind (NULL source: any source), or NULL. A NULL pxml
 * prints a GBK line (document empty, no child) and gives NULL. */
LIBBASE_API pXmldoc Xml_Get_Child(pXmldoc pxml, char *name, char *source);

/* Content of the first matching leaf item (NULL source: any), pointing into
 * the tree; NULL when none matches or pxml or name is NULL. */
LIBBASE_API char *Xml_Get_Str(pXmldoc pxml, char *name, char *source);

/* Content of the index-th leaf item named name, or NULL. */
LIBBASE_API char *Xml_Get_Str_By_Index(pXmldoc pxml, char *name, int index);

/* As Xml_Get_Str_By_Index; the item's source is also copied into the
 * caller's buffer with strncpy(source, ..., len). */
LIBBASE_API char *Xml_Get_Str_Source_By_Index(pXmldoc pxml, char *name, int index, char *source,
                                              int len);

/* Number of leaf items named name; -1 for a NULL name. */
LIBBASE_API int Xml_Get_Count(pXmldoc pxml, char *name);

/* Number of child elements matching name and source; -1 if either is NULL. */
LIBBASE_API int Xml_Get_Child_Count(pXmldoc pxml, char *name, char *source);

/* Number of child elements named name; -1 for a NULL name. */
LIBBASE_API int Xml_Get_Child_Count_No_Source(pXmldoc pxml, char *name);

/* The index-th child element matching name and source; NULL when there is
 * none or name or source is NULL. */
LIBBASE_API pXmldoc Xml_Get_Child_By_Index(pXmldoc pxml, char *name, char *source, int index);

/* The index-th child element named name, any source; its source is copied
 * into the caller's buffer with strncpy(source, ..., len). NULL if none. */
LIBBASE_API pXmldoc Xml_Get_Child_Source_By_Index(pXmldoc pxml, char *name, int index,
                                                  char *source, int len);

/* ---- Changing leaf items (first match; NULL source: any source) ---- */

/* Replaces the item's content (cut at 1023 bytes). 0; -1 for a NULL pxml
 * or name, or when nothing matches. */
LIBBASE_API int Xml_Set_Str(pXmldoc pxml, char *name, char *source, char *content);

/* Removes and releases the item. 0; -1 as for Xml_Set_Str. */
LIBBASE_API int Xml_Del_Str(pXmldoc pxml, char *name, char *source);

/* Adds a leaf item holding value in decimal. 0; -1 after printing
 * "The input is error!\n" for a NULL pxml or name (the Ex form: or source),
 * or silently -1 when the item cannot be added. */
LIBBASE_API int Xml_Add_Int_Str(pXmldoc pxml, char *name, char *source, int value);
LIBBASE_API int Xml_Add_Int_Str_Ex(pXmldoc pxml, char *name, char *source, int value);

/* The item's content through atoi. -1 after "can not get <name> from
 * xml!!\n" when nothing matches, -1 after "The input is error!\n" for a
 * NULL pxml or name: a stored -1 looks the same, hence the Ex form. */
LIBBASE_API int Xml_Get_Int_Str(pXmldoc pxml, char *name, char *source);

/* As Xml_Get_Int_Str with every argument required (source included); the
 * value goes to *pi_value. 0; -1 with the same messages. */
LIBBASE_API int Xml_Get_Int_Str_Ex(pXmldoc pxml, char *name, char *source, int *pi_value);

/* ---- The document head (root fields) -------------------------------
 * The setters return 0 on success, the getters 1. Texts are cut at 127. */

/* 0; -1 if pxml or type is NULL or type is empty. */
LIBBASE_API int Xml_Set_Head_Type(pXmldoc pxml, char *type);

/* Stores id, then the type. 0; -1 for a NULL pxml, or for a NULL or empty
 * type (the id is stored all the same). */
LIBBASE_API int Xml_Set_Head(pXmldoc pxml, char *type, int id);

/* Stores id unless it is -1, type and name unless NULL. 0; -1 for NULL. */
LIBBASE_API int Xml_Set_All_Head(pXmldoc pxml, char *name, char *type, int id);

/* Copies a root's name and type out (strcpy) and its id to *id. 1; -1 for
 * a NULL name or type or a node that is not a root; a NULL pxml prints a
 * GBK line (document empty, cannot get the head) and gives -1. */
LIBBASE_API int Xml_Get_Head(pXmldoc pxml, char *name, int *id, char *type);

/* As Xml_Get_Head with strncpy bounds n_len and t_len. */
LIBBASE_API int Xml_Get_Head_Len(pXmldoc pxml, char *name, int n_len, int *id, char *type,
                                 int t_len);

/* requst_id; -1 for NULL. */
LIBBASE_API int Xml_Get_Req_Id(pXmldoc pxml);

/* Pointers to the node's name and type; NULL for NULL. */
LIBBASE_API const char *Xml_Get_Name(pXmldoc pxml);
LIBBASE_API const char *Xml_Get_Type(pXmldoc pxml);

/* ---- Decoder ---------------------------------------------------------- */

/* Parses a document, cutting buf in place (it must be writable and
 * NUL-terminated). The first line is skipped unread; the root tag must be
 * "request" or "response" with id before type; the body ends at the first
 * closing root tag. A new root owned by the caller, or NULL after printing
 * why the head was refused. Nothing in the body is reported: malformed body
 * text gives whatever elements can be cut out of it. */
LIBBASE_API pXmldoc Xml_Decode(char *buf);

/* ---- Encoder ---------------------------------------------------------- */

/* Writes the declaration with encoding "utf-8" and the tree into outbuf;
 * *buflen is the buffer's size on entry and the space left on return. A
 * text that does not fit is cut and terminated, leaving *buflen 0. 1; -1
 * with nothing written when *buflen <= 0 or an argument is NULL. */
LIBBASE_API int Xml_Encode(pXmldoc pxml, char *outbuf, int *buflen);

/* As Xml_Encode, labelling the declaration with encoding (content is not
 * converted). -1 also for a NULL or empty encoding. */
LIBBASE_API int Xml_Encode_Encoding(pXmldoc pxml, char *encoding, char *outbuf, int *buflen);

/* As Xml_Encode, converting each leaf content from GB2312 to UTF-8; a
 * content that does not convert is written unchanged. */
LIBBASE_API int Xml_Encode_UTF8(pXmldoc pxml, char *outbuf, int *buflen);

/* Formatted write at the cursor *buf with *space bytes left; both advance
 * by what is written. Once the space is used up the text is cut and
 * terminated, the cursor stops at the buffer's end (space 0) and later
 * writes write nothing. The length vsnprintf reports, or -1 (nothing
 * moves) for a NULL argument or a format error. */
LIBBASE_API int Xml_Sprintf(char **buf, int *space, const char *fmt, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 3, 4)))
#endif
    ;

/* Writes one node and its children at the cursor; floor is its nesting
 * depth (tabs in front), 0 for the root. The UTF8 form converts leaf
 * content as Xml_Encode_UTF8 does. Each walked child list is left with its
 * cursor on its last child. */
LIBBASE_API void Xml_Encode_Str(pXmldoc pxml, char **buf, int *space, int floor);
LIBBASE_API void Xml_Encode_UTF8_Str(pXmldoc pxml, char **buf, int *space, int floor);

/* Converts stInLen bytes of GB2312 at pchSrc to UTF-8 into pchDst, at most
 * stOutLen bytes (and at most 4096), without a terminator. The bytes
 * produced; -1 for NULL pointers, input that is not GB2312 or no room. */
LIBBASE_API int UTF8Encoding(char *pchSrc, char *pchDst, size_t stInLen, size_t stOutLen);

/* ---- Debugging views --------------------------------------------------
 * One line per node; children are indented one tab per level down to
 * level 5, deeper levels not at all. */

/* Prints the tree; NULL prints a GBK line (document empty, cannot print). */
LIBBASE_API void Xml_Printf(pXmldoc pxml);

/* Prints the tree below pxml from depth flag (the head line only at 0). */
LIBBASE_API void Xml_Print(pXmldoc pxml, int flag);

/* Writes the tree view at buf with *space bytes left (see Xml_Sprintf);
 * NULL writes the GBK line of Xml_Printf. */
LIBBASE_API void Xml_Sprintf_Buf(pXmldoc pxml, char *buf, int *space);

/* Writes the view below pxml from depth flag at the cursor *buf. */
LIBBASE_API void Xml_Sprintf_Buf_Info(pXmldoc pxml, int flag, char **buf, int *space);

/* Prints the encoded document (up to 2559 bytes) as "xml :<text>\n";
 * NULL prints nothing. */
LIBBASE_API void Xml_Printf_Msg(pXmldoc pXml);

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_XML_H */
