// xml.cpp - message documents: the tree, its decoder and its encoder.
#include "xml.h"

#include <iconv.h>

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "internal/kept_blocks.h"
#include "internal/token.h"
#include "mem.h"
#include "str.h"

static_assert(sizeof(STATIC_NODE_STAT_E) == 4, "node layout");
static_assert(offsetof(_Xmldoc, requst_id) == 4, "node layout");
static_assert(offsetof(_Xmldoc, type) == 8, "node layout");
static_assert(offsetof(_Xmldoc, name) == 136, "node layout");
static_assert(offsetof(_Xmldoc, source) == 264, "node layout");
static_assert(offsetof(_Xmldoc, content) == 392, "node layout");
static_assert(offsetof(_Xmldoc, mfifolist) == 1416, "node layout");
static_assert(offsetof(_Xmldoc, eUseFlag) == 1416 + sizeof(void *), "node layout");
static_assert(sizeof(_Xmldoc) == (sizeof(void *) == 4 ? 1424 : 1432), "node layout");

namespace {

// Node kinds (xtype).
constexpr int kLeaf = 0;
constexpr int kRoot = 1;
constexpr int kChild = 2;

// Child elements nested deeper than this below the root are kept as leaf
// items holding their raw text: it bounds the decoder's stack and the time
// any text can cost it.
constexpr int kMaxDepth = 64;

constexpr size_t kContentSize = sizeof(Xmldoc::content);

// "<" tried as the start of an element's closing tag before a full search.
constexpr int kQuickTries = 8;

// Messages, GBK-encoded.
constexpr char kEmptyName[] = "\xD4\xF6\xBC\xD3XML\xCA\xB1\xA3\xACname\xD7\xD6\xB6\xCE\xCE\xAA\xBF\xD5"
                              "\xA3\xAC\xB4\xB4\xBD\xA8\xCA\xA7\xB0\xDC\n";
constexpr char kFreeEmpty[] = "XML\xCE\xAA\xBF\xD5\xA3\xAC\xCE\xDE\xB7\xA8\xCA\xCD\xB7\xC5\n";
constexpr char kChildEmpty[] = "XML\xCE\xAA\xBF\xD5\xB2\xBB\xC4\xDC\xBB\xF1\xC8\xA1\xD7\xD3\xBD\xDA\xB5\xE3\n";
constexpr char kHeadEmpty[] = "XML\xCE\xAA\xBF\xD5\xA3\xAC\xCE\xDE\xB7\xA8\xBB\xF1\xC8\xA1\xCD\xB7\xC4\xDA\xC8\xDD\n";
constexpr char kPrintEmpty[] = "XML\xCE\xAA\xBF\xD5\xA3\xAC\xCE\xDE\xB7\xA8\xB4\xF2\xD3\xA1\n";
constexpr char kNoLineEnd[] = "Xml r n \xB2\xBB\xB4\xE6\xD4\xDA\n";
constexpr char kNoRootTag[] = "Xml < > \xB2\xBB\xB4\xE6\xD4\xDA\n";
constexpr char kBadRoot[] = "response request \xB2\xBB\xB4\xE6\xD4\xDA\n";
constexpr char kNoId[] = "id \xB2\xBB\xB4\xE6\xD4\xDA\n";
constexpr char kNoIdValue[] = "id \xD7\xD6\xB6\xCE\xC4\xDA\xC8\xDD\xB2\xBB\xB4\xE6\xD4\xDA\n";
constexpr char kNoType[] = "type \xB2\xBB\xB4\xE6\xD4\xDA\n";
constexpr char kNoTypeValue[] = "type \xD7\xD6\xB6\xCE\xC4\xDA\xC8\xDD\xB2\xBB\xB4\xE6\xD4\xDA\n";
constexpr char kInputError[] = "The input is error!\n";

void say(const char *message)
{
    fputs(message, stdout);
}

// The tokenisers take their keys as char *; they never write to them.
char *key(const char *text)
{
    return const_cast<char *>(text);
}

// Clears field and copies text in, cut to the field's size minus one.
template <size_t N>
void set_text(char (&field)[N], const char *text)
{
    strncpy(field, text, N - 1);
    field[N - 1] = '\0';
}

// Copies text into a field of a fresh, zero-filled node, cut to the
// field's size minus one: the bytes behind it are zero already.
template <size_t N>
void fill_text(char (&field)[N], const char *text)
{
    memcpy(field, text, strnlen(text, N - 1));
}

// strncpy into a caller's buffer, skipped for a NULL buffer or no room.
void copy_out(char *dest, const char *text, int len)
{
    if (dest != nullptr && len > 0)
        strncpy(dest, text, static_cast<size_t>(len));
}

// ---- Node memory ---------------------------------------------------------
// A node is too large for the allocator's fast path, and documents come and
// go in bursts: each thread keeps released nodes for its next ones.

thread_local libbase::KeptBlocks kept_nodes;

// A zero-filled node, as from Mem_Malloc.
pXmldoc alloc_node()
{
    void *node = kept_nodes.take(sizeof(Xmldoc));
    if (node == nullptr)
        return static_cast<pXmldoc>(Mem_Malloc(sizeof(Xmldoc)));
    memset(node, 0, sizeof(Xmldoc));
    return static_cast<pXmldoc>(node);
}

void free_node(pXmldoc node)
{
    kept_nodes.keep(node);
}

// ---- Nodes ---------------------------------------------------------------

pXmldoc new_node(int xtype, const char *name, const char *source, bool with_list)
{
    pXmldoc node = alloc_node();
    if (node == nullptr)
        return nullptr;
    node->xtype = xtype;
    if (name != nullptr)
        fill_text(node->name, name);
    if (source != nullptr)
        fill_text(node->source, source);
    if (with_list && (node->mfifolist = Fifo_Allocate(1)) == nullptr) {
        free_node(node);
        return nullptr;
    }
    return node;
}

// A byte-for-byte copy of node with a fresh empty child list, or with none.
pXmldoc clone(const Xmldoc *node, bool with_list)
{
    pXmldoc copy = alloc_node();
    if (copy == nullptr)
        return nullptr;
    memcpy(copy, node, sizeof(Xmldoc));
    copy->mfifolist = nullptr;
    if (with_list && (copy->mfifolist = Fifo_Allocate(1)) == nullptr) {
        free_node(copy);
        return nullptr;
    }
    return copy;
}

// Post-order release of node and everything below it.
void release(pXmldoc node)
{
    if (node->mfifolist != nullptr) {
        void *child;
        while ((child = Fifo_Pull(node->mfifolist)) != nullptr)
            release(static_cast<pXmldoc>(child));
        Fifo_FreeEx(node->mfifolist);
    }
    free_node(node);
}

// Links node as parent's last child; a node that cannot be linked (no node,
// no parent list, no memory) is released and NULL returned.
pXmldoc append(pXmldoc parent, pXmldoc node)
{
    if (node == nullptr)
        return nullptr;
    if (parent == nullptr || Fifo_Push(parent->mfifolist, node) < 0) {
        release(node);
        return nullptr;
    }
    return node;
}

// ---- Lookups -------------------------------------------------------------

constexpr int kAnyKind = -1;

struct Filter {
    const char *name;
    const char *source;  // NULL: any source
    int xtype;           // kAnyKind: any kind
};

bool matches(const Xmldoc *node, const Filter &f)
{
    return (f.xtype == kAnyKind || node->xtype == f.xtype) && strcmp(node->name, f.name) == 0 &&
           (f.source == nullptr || strcmp(node->source, f.source) == 0);
}

// The index-th child of pxml passing f, walking with the list's cursor,
// which stays on the match. NULL when there is none.
pXmldoc find(pXmldoc pxml, const Filter &f, int index = 0)
{
    if (pxml == nullptr || f.name == nullptr || index < 0)
        return nullptr;
    FIFOH list = pxml->mfifolist;
    for (void *p = Fifo_Step_Get_First(list); p != nullptr; p = Fifo_Step_Next(list)) {
        auto node = static_cast<pXmldoc>(p);
        if (matches(node, f) && index-- == 0)
            return node;
    }
    return nullptr;
}

int count(pXmldoc pxml, const Filter &f)
{
    if (pxml == nullptr || f.name == nullptr)
        return -1;
    int n = 0;
    FIFOH list = pxml->mfifolist;
    for (void *p = Fifo_Step_Get_First(list); p != nullptr; p = Fifo_Step_Next(list))
        n += matches(static_cast<pXmldoc>(p), f);
    return n;
}

int add_int(pXmldoc pxml, char *name, char *source, int value)
{
    char text[20];
    snprintf(text, sizeof text, "%d", value);
    return Xml_Add_Str(pxml, name, source, text) != nullptr ? 0 : -1;
}

// Stores the first matching item's value in *value: 0, or -1 after the
// message when nothing matches.
int get_int(pXmldoc pxml, char *name, char *source, int *value)
{
    char *text = Xml_Get_Str(pxml, name, source);
    if (text == nullptr) {
        printf("can not get %s from xml!!\n", name);
        return -1;
    }
    *value = Str_Atoi(text);
    return 0;
}

// Whether the head getters may copy pxml's head out: a root and both
// buffers given. A NULL pxml prints its message.
bool head_readable(pXmldoc pxml, const char *name, const char *type)
{
    if (pxml == nullptr) {
        say(kHeadEmpty);
        return false;
    }
    return name != nullptr && type != nullptr && pxml->xtype == kRoot;
}

// ---- Decoding ------------------------------------------------------------

// The text between key1 and the next key2, as Str_Two_Tok.
char *Str_Tok2(char **pstr, char *key1, char *key2)
{
    return Str_Two_Tok(pstr, key1, key2);
}

// Str_Two_Tok for one-character keys: the text between open and the next
// close, cut there, the cursor behind it; NULL, nothing moved, when either
// is missing.
char *cut_between(char **cursor, char open, char close)
{
    char *start = strchr(*cursor, open);
    if (start == nullptr)
        return nullptr;
    char *end = strchr(++start, close);
    if (end == nullptr)
        return nullptr;
    *end = '\0';
    *cursor = end + 1;
    return start;
}

// An element's content.
struct Content {
    char *text;   // NULL when empty
    bool nested;  // holds a "<": a run of elements of its own
};

// Cuts an element's content off at its closing tag: everything up to the
// first "</name>" (the whole rest when there is none), the cursor behind the
// tag. The closing tag is cut to 1023 bytes, ">" going first.
Content cut_content(char **cursor, const char *name)
{
    char closing[1024];
    memcpy(closing, "</", 2);
    size_t n = strnlen(name, sizeof closing - 3);
    memcpy(closing + 2, name, n);
    if (n + 3 < sizeof closing)
        closing[2 + n++] = '>';
    size_t closing_len = n + 2;
    closing[closing_len] = '\0';

    // The closing tag starts at one of the "<"; the first tells whether the
    // content holds one. Past a few of them strstr takes over, which stays
    // linear however often the text repeats the start of the tag.
    char *text = *cursor;
    char *first = strchrnul(text, '<');
    char *hit = first;
    for (int tries = 0; *hit != '\0' && strncmp(hit, closing, closing_len) != 0; tries++) {
        if (tries == kQuickTries) {
            char *found = strstr(hit + 1, closing);
            hit = found != nullptr ? found : hit + strlen(hit);
            break;
        }
        hit = strchrnul(hit + 1, '<');
    }
    if (*hit == '\0') {
        *cursor = hit;
    } else {
        *hit = '\0';
        *cursor = hit + closing_len;
    }
    return {text[0] != '\0' ? text : nullptr, first != hit};
}

// Decodes a run of sibling elements in text into pxml's children; depth is
// pxml's nesting level (0 for the root).
void decode_body(pXmldoc pxml, char *text, int depth)
{
    char *cursor = text;
    if (cursor == nullptr)
        return;
    for (;;) {
        char *tag = cut_between(&cursor, '<', '>');
        if (tag == nullptr)
            return;
        char *name = libbase::cut_token(&tag, " ", false);
        if (name == nullptr)
            return;  // "<>": nothing to name it by; the run ends here
        char *source = cut_between(&tag, '"', '"');
        Content content = cut_content(&cursor, name);
        if (content.nested && depth < kMaxDepth) {
            pXmldoc child = Xml_Add_child(pxml, name, source);
            if (child != nullptr)
                decode_body(child, content.text, depth + 1);
        } else {
            Xml_Add_Str(pxml, name, source, content.text);
        }
    }
}

// The texts of the root tag.
struct Head {
    char *root, *id, *type;
};

// text, or NULL after printing message when there is none.
char *require(char *text, const char *message)
{
    if (text == nullptr)
        say(message);
    return text;
}

char *known_root(char *name)
{
    bool known = name != nullptr && (strcmp(name, "response") == 0 || strcmp(name, "request") == 0);
    return known ? name : nullptr;
}

// Cuts the root tag off *cursor into head; false after printing what is
// missing. The attribute names are plain substrings, id before type.
bool read_head(char **cursor, Head *head)
{
    char *tag, *attrs;
    return (tag = require(Str_Tok2(cursor, key("<"), key(">")), kNoRootTag)) != nullptr &&
           (head->root = require(known_root(Str_Tok(&tag, key(" "))), kBadRoot)) != nullptr &&
           (attrs = require(Str_Tok(&tag, key("id")), kNoId)) != nullptr &&
           (head->id = require(Str_Tok2(&attrs, key("\""), key("\"")), kNoIdValue)) != nullptr &&
           require(Str_Tok(&attrs, key("type")), kNoType) != nullptr &&
           (head->type = require(Str_Tok2(&attrs, key("\""), key("\"")), kNoTypeValue)) != nullptr;
}

// ---- Encoding ------------------------------------------------------------

// Writes n bytes at the cursor as Xml_Sprintf writes a formatted text: as
// much as fits, always terminated; a cut text leaves the cursor at the
// buffer's end with no space.
void put(char **buf, int *space, const char *text, size_t n)
{
    if (*space <= 0)
        return;
    auto room = static_cast<size_t>(*space);
    bool cut = n >= room;
    if (cut)
        n = room - 1;
    memcpy(*buf, text, n);
    (*buf)[n] = '\0';
    size_t step = cut ? room : n;
    *buf += step;
    *space -= static_cast<int>(step);
}

void put(char **buf, int *space, const char *text)
{
    put(buf, space, text, strlen(text));
}

void put_int(char **buf, int *space, int value)
{
    char text[12];
    char *at = text + sizeof text;
    unsigned magnitude = value < 0 ? 0u - static_cast<unsigned>(value) : static_cast<unsigned>(value);
    do
        *--at = static_cast<char>('0' + magnitude % 10);
    while ((magnitude /= 10) != 0);
    if (value < 0)
        *--at = '-';
    put(buf, space, at, static_cast<size_t>(text + sizeof text - at));
}

void write_tabs(char **buf, int *space, int n)
{
    static const char tabs[] = "\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t";
    for (; n > 0 && *space > 0; n -= 16)
        put(buf, space, tabs, n < 16 ? static_cast<size_t>(n) : 16);
}

// The GB2312 to UTF-8 converter of this thread, opened on first use (and
// again after a failed open); iconv_t(-1) when it cannot be opened.
iconv_t gb2312_to_utf8()
{
    struct Converter {
        iconv_t cd = reinterpret_cast<iconv_t>(-1);
        ~Converter()
        {
            if (cd != reinterpret_cast<iconv_t>(-1))
                iconv_close(cd);
        }
    };
    static thread_local Converter converter;
    if (converter.cd == reinterpret_cast<iconv_t>(-1))
        converter.cd = iconv_open("UTF-8", "GB2312");
    return converter.cd;
}

// Converts in_len bytes of GB2312 into at most out_len bytes of UTF-8 at
// out: the bytes produced, or -1 when the text does not convert or fit.
int to_utf8(char *in, size_t in_len, char *out, size_t out_len)
{
    iconv_t cd = gb2312_to_utf8();
    if (cd == reinterpret_cast<iconv_t>(-1))
        return -1;
    iconv(cd, nullptr, nullptr, nullptr, nullptr);  // a failure may have left a state behind
    char *at = out;
    if (iconv(cd, &in, &in_len, &at, &out_len) == static_cast<size_t>(-1))
        return -1;
    return static_cast<int>(at - out);
}

void write_leaf(const Xmldoc *leaf, char **buf, int *space, bool utf8)
{
    char converted[kContentSize];
    const char *content = leaf->content;
    size_t len = strlen(content);
    if (utf8) {
        int produced = to_utf8(const_cast<char *>(content), len, converted, sizeof converted);
        if (produced >= 1) {
            content = converted;
            len = strnlen(converted, static_cast<size_t>(produced));
        }
    }
    put(buf, space, "<");
    put(buf, space, leaf->name);
    if (leaf->source[0] != '\0') {
        put(buf, space, " source=\"");
        put(buf, space, leaf->source);
        put(buf, space, "\"");
    }
    put(buf, space, ">");
    put(buf, space, content, len);
}

void write_open_tag(const Xmldoc *node, char **buf, int *space)
{
    put(buf, space, "<");
    put(buf, space, node->name);
    if (node->xtype == kRoot) {
        put(buf, space, " id=\"");
        put_int(buf, space, node->requst_id);
        put(buf, space, "\" type=\"");
        put(buf, space, node->type);
        put(buf, space, "\"");
    } else if (node->source[0] != '\0') {
        put(buf, space, " source=\"");
        put(buf, space, node->source);
        put(buf, space, "\"");
    }
    put(buf, space, ">\r\n");
}

void encode_node(pXmldoc node, char **buf, int *space, int floor, bool utf8)
{
    if (node == nullptr)
        return;
    write_tabs(buf, space, floor);
    if (node->xtype == kLeaf)
        write_leaf(node, buf, space, utf8);
    else
        write_open_tag(node, buf, space);

    // Children in order, by count: the cursor ends on the last one, where a
    // walk by index leaves it.
    FIFOH list = node->mfifolist;
    int n = Fifo_GetCount(list);  // -1 for a leaf: no list
    for (int i = 0; i < n; i++) {
        auto child = static_cast<pXmldoc>(i == 0 ? Fifo_Step_Get_First(list) : Fifo_Step_Next(list));
        encode_node(child, buf, space, floor + 1, utf8);
    }

    if (node->xtype != kRoot && node->xtype != kLeaf)
        write_tabs(buf, space, floor);
    put(buf, space, "</");
    put(buf, space, node->name);
    put(buf, space, ">\r\n");
}

int encode_document(pXmldoc pxml, const char *encoding, bool utf8, char *outbuf, int *buflen)
{
    if (buflen == nullptr || *buflen <= 0 || encoding == nullptr || encoding[0] == '\0' ||
        pxml == nullptr || outbuf == nullptr)
        return -1;
    char *cursor = outbuf;
    put(&cursor, buflen, "<?xml version=\"1.0\" encoding=\"");
    put(&cursor, buflen, encoding);
    put(&cursor, buflen, "\"?>\r\n");
    encode_node(pxml, &cursor, buflen, 0, utf8);
    return 1;
}

// ---- Debugging views -----------------------------------------------------

// Tabs in front of a line at depth; none beyond depth 5.
const char *indent(int depth)
{
    static constexpr const char *tabs[] = {"", "\t", "\t\t", "\t\t\t", "\t\t\t\t", "\t\t\t\t\t"};
    return depth >= 1 && depth <= 5 ? tabs[depth] : "";
}

} // namespace

extern "C" {

// ---- Building and releasing ----------------------------------------------

pXmldoc Xml_Allocate(char *request, int id, char *type)
{
    pXmldoc root = new_node(kRoot, request, nullptr, true);
    if (root == nullptr)
        return nullptr;
    root->requst_id = id;
    if (type != nullptr)
        fill_text(root->type, type);
    return root;
}

pXmldoc Xml_Add_Str(pXmldoc pxml, char *name, char *source, char *content)
{
    if (pxml == nullptr || name == nullptr)
        return nullptr;
    pXmldoc item = new_node(kLeaf, name, source, false);
    if (item != nullptr && content != nullptr)
        fill_text(item->content, content);
    return append(pxml, item);
}

pXmldoc Xml_Add_child(pXmldoc pxml, char *name, char *source)
{
    if (name == nullptr)
        return nullptr;
    if (name[0] == '\0') {
        say(kEmptyName);
        return nullptr;
    }
    if (pxml == nullptr)
        return nullptr;
    return append(pxml, new_node(kChild, name, source, true));
}

void Xml_Free(pXmldoc pxml)
{
    if (pxml == nullptr) {
        say(kFreeEmpty);
        return;
    }
    release(pxml);
}

pXmldoc Xml_Copy(pXmldoc src_xml)
{
    if (src_xml == nullptr || src_xml->xtype != kRoot)
        return nullptr;
    pXmldoc copy = clone(src_xml, true);
    if (copy != nullptr)
        Xml_Copy_T(copy, src_xml);
    return copy;
}

void Xml_Copy_T(PXD dest_xml, PXD src_xml)
{
    if (dest_xml == nullptr || src_xml == nullptr)
        return;
    FIFOH list = src_xml->mfifolist;
    for (void *p = Fifo_Step_Get_First(list); p != nullptr; p = Fifo_Step_Next(list)) {
        auto child = static_cast<pXmldoc>(p);
        if (child->xtype != kLeaf && child->xtype != kChild)
            continue;
        pXmldoc copy = append(dest_xml, clone(child, child->xtype == kChild));
        if (copy != nullptr && child->xtype == kChild)
            Xml_Copy_T(copy, child);
    }
}

// ---- Lookups -------------------------------------------------------------

pXmldoc Xml_Get_Child(pXmldoc pxml, char *name, char *source)
{
    if (pxml == nullptr) {
        say(kChildEmpty);
        return nullptr;
    }
    return find(pxml, {name, source, kAnyKind});
}

char *Xml_Get_Str(pXmldoc pxml, char *name, char *source)
{
    pXmldoc item = find(pxml, {name, source, kLeaf});
    return item != nullptr ? item->content : nullptr;
}

char *Xml_Get_Str_By_Index(pXmldoc pxml, char *name, int index)
{
    pXmldoc item = find(pxml, {name, nullptr, kLeaf}, index);
    return item != nullptr ? item->content : nullptr;
}

char *Xml_Get_Str_Source_By_Index(pXmldoc pxml, char *name, int index, char *source, int len)
{
    pXmldoc item = find(pxml, {name, nullptr, kLeaf}, index);
    if (item == nullptr)
        return nullptr;
    copy_out(source, item->source, len);
    return item->content;
}

int Xml_Get_Count(pXmldoc pxml, char *name)
{
    return count(pxml, {name, nullptr, kLeaf});
}

int Xml_Get_Child_Count(pXmldoc pxml, char *name, char *source)
{
    return source == nullptr ? -1 : count(pxml, {name, source, kChild});
}

int Xml_Get_Child_Count_No_Source(pXmldoc pxml, char *name)
{
    return count(pxml, {name, nullptr, kChild});
}

pXmldoc Xml_Get_Child_By_Index(pXmldoc pxml, char *name, char *source, int index)
{
    return source == nullptr ? nullptr : find(pxml, {name, source, kChild}, index);
}

pXmldoc Xml_Get_Child_Source_By_Index(pXmldoc pxml, char *name, int index, char *source, int len)
{
    pXmldoc child = find(pxml, {name, nullptr, kChild}, index);
    if (child != nullptr)
        copy_out(source, child->source, len);
    return child;
}

// ---- Changing leaf items -------------------------------------------------

int Xml_Set_Str(pXmldoc pxml, char *name, char *source, char *content)
{
    pXmldoc item = find(pxml, {name, source, kLeaf});
    if (item == nullptr)
        return -1;
    set_text(item->content, content != nullptr ? content : "");
    return 0;
}

int Xml_Del_Str(pXmldoc pxml, char *name, char *source)
{
    pXmldoc item = find(pxml, {name, source, kLeaf});
    if (item == nullptr)
        return -1;
    Fifo_Step_Del_Now(pxml->mfifolist);
    release(item);
    return 0;
}

int Xml_Add_Int_Str(pXmldoc pxml, char *name, char *source, int value)
{
    if (pxml == nullptr || name == nullptr) {
        say(kInputError);
        return -1;
    }
    return add_int(pxml, name, source, value);
}

int Xml_Add_Int_Str_Ex(pXmldoc pxml, char *name, char *source, int value)
{
    if (pxml == nullptr || name == nullptr || source == nullptr) {
        say(kInputError);
        return -1;
    }
    return add_int(pxml, name, source, value);
}

int Xml_Get_Int_Str(pXmldoc pxml, char *name, char *source)
{
    if (pxml == nullptr || name == nullptr) {
        say(kInputError);
        return -1;
    }
    int value = -1;
    get_int(pxml, name, source, &value);
    return value;
}

int Xml_Get_Int_Str_Ex(pXmldoc pxml, char *name, char *source, int *pi_value)
{
    if (pxml == nullptr || name == nullptr || source == nullptr || pi_value == nullptr) {
        say(kInputError);
        return -1;
    }
    return get_int(pxml, name, source, pi_value);
}

// ---- The document head ---------------------------------------------------

int Xml_Set_Head_Type(pXmldoc pxml, char *type)
{
    if (pxml == nullptr || type == nullptr || type[0] == '\0')
        return -1;
    set_text(pxml->type, type);
    return 0;
}

int Xml_Set_Head(pXmldoc pxml, char *type, int id)
{
    if (pxml == nullptr)
        return -1;
    pxml->requst_id = id;
    return Xml_Set_Head_Type(pxml, type);
}

int Xml_Set_All_Head(pXmldoc pxml, char *name, char *type, int id)
{
    if (pxml == nullptr)
        return -1;
    if (id != -1)
        pxml->requst_id = id;
    if (type != nullptr)
        set_text(pxml->type, type);
    if (name != nullptr)
        set_text(pxml->name, name);
    return 0;
}

int Xml_Get_Head(pXmldoc pxml, char *name, int *id, char *type)
{
    if (!head_readable(pxml, name, type))
        return -1;
    strcpy(name, pxml->name);
    strcpy(type, pxml->type);
    if (id != nullptr)
        *id = pxml->requst_id;
    return 1;
}

int Xml_Get_Head_Len(pXmldoc pxml, char *name, int n_len, int *id, char *type, int t_len)
{
    if (!head_readable(pxml, name, type))
        return -1;
    copy_out(name, pxml->name, n_len);
    copy_out(type, pxml->type, t_len);
    if (id != nullptr)
        *id = pxml->requst_id;
    return 1;
}

int Xml_Get_Req_Id(pXmldoc pxml)
{
    return pxml != nullptr ? pxml->requst_id : -1;
}

const char *Xml_Get_Name(pXmldoc pxml)
{
    return pxml != nullptr ? pxml->name : nullptr;
}

const char *Xml_Get_Type(pXmldoc pxml)
{
    return pxml != nullptr ? pxml->type : nullptr;
}

// ---- Decoder -------------------------------------------------------------

pXmldoc Xml_Decode(char *buf)
{
    char *cursor = require(buf != nullptr ? strstr(buf, "\r\n") : nullptr, kNoLineEnd);
    if (cursor == nullptr)
        return nullptr;
    cursor += 2;  // the first line is never read
    Head head;
    if (!read_head(&cursor, &head))
        return nullptr;
    pXmldoc doc = Xml_Allocate(head.root, Str_Atoi(head.id), head.type);
    if (doc == nullptr)
        return nullptr;
    // The body ends at the first closing root tag. An empty body leaves the
    // closing tag itself to be read as an element named "/request".
    char closing[1000];
    snprintf(closing, sizeof closing, "</%s>", head.root);
    decode_body(doc, Str_Tok(&cursor, closing), 0);
    return doc;
}

// ---- Encoder -------------------------------------------------------------

int Xml_Encode(pXmldoc pxml, char *outbuf, int *buflen)
{
    return encode_document(pxml, "utf-8", false, outbuf, buflen);
}

int Xml_Encode_Encoding(pXmldoc pxml, char *encoding, char *outbuf, int *buflen)
{
    return encode_document(pxml, encoding, false, outbuf, buflen);
}

int Xml_Encode_UTF8(pXmldoc pxml, char *outbuf, int *buflen)
{
    return encode_document(pxml, "utf-8", true, outbuf, buflen);
}

int Xml_Sprintf(char **buf, int *space, const char *fmt, ...)
{
    if (buf == nullptr || *buf == nullptr || space == nullptr || fmt == nullptr)
        return -1;
    int room = *space > 0 ? *space : 0;
    va_list args;
    va_start(args, fmt);
    int n = vsnprintf(*buf, static_cast<size_t>(room), fmt, args);
    va_end(args);
    if (n < 0)
        return -1;
    // A cut text leaves the cursor at the buffer's end, behind the terminator.
    int step = n < room ? n : room;
    *buf += step;
    *space -= step;
    return n;
}

void Xml_Encode_Str(pXmldoc pxml, char **buf, int *space, int floor)
{
    if (buf != nullptr && *buf != nullptr && space != nullptr)
        encode_node(pxml, buf, space, floor, false);
}

void Xml_Encode_UTF8_Str(pXmldoc pxml, char **buf, int *space, int floor)
{
    if (buf != nullptr && *buf != nullptr && space != nullptr)
        encode_node(pxml, buf, space, floor, true);
}

int UTF8Encoding(char *pchSrc, char *pchDst, size_t stInLen, size_t stOutLen)
{
    if (pchSrc == nullptr || pchDst == nullptr)
        return -1;
    // Through a buffer of our own: a failed conversion leaves pchDst as it was.
    char out[4096];
    int produced = to_utf8(pchSrc, stInLen, out, stOutLen < sizeof out ? stOutLen : sizeof out);
    if (produced > 0)
        memcpy(pchDst, out, static_cast<size_t>(produced));
    return produced;
}

// ---- Debugging views -----------------------------------------------------

void Xml_Printf(pXmldoc pxml)
{
    if (pxml == nullptr)
        say(kPrintEmpty);
    else
        Xml_Print(pxml, 0);
}

void Xml_Print(pXmldoc pxml, int flag)
{
    if (pxml == nullptr)
        return;
    if (flag == 0)
        printf("xml:\n node type = [ %d ] id = [ %d ] name = [ %s ] src = [ %s ] type = [ %s ]\n",
               pxml->xtype, pxml->requst_id, pxml->name, pxml->source, pxml->type);
    int depth = flag + 1;
    FIFOH list = pxml->mfifolist;
    for (void *p = Fifo_Step_Get_First(list); p != nullptr; p = Fifo_Step_Next(list)) {
        auto child = static_cast<pXmldoc>(p);
        printf("%snode type = [ %d ] id = [ %d ] name = [ %s ] src = [ %s ] con=[ %s ]\n",
               indent(depth), child->xtype, child->requst_id, child->name, child->source,
               child->content);
        if (child->xtype == kChild)
            Xml_Print(child, depth);
    }
}

void Xml_Sprintf_Buf(pXmldoc pxml, char *buf, int *space)
{
    if (pxml == nullptr)
        Xml_Sprintf(&buf, space, "%s", kPrintEmpty);
    else
        Xml_Sprintf_Buf_Info(pxml, 0, &buf, space);
}

void Xml_Sprintf_Buf_Info(pXmldoc pxml, int flag, char **buf, int *space)
{
    if (pxml == nullptr)
        return;
    if (flag == 0)
        Xml_Sprintf(buf, space, "HEAD : id = [ %d ] name = [ %s ] type = [ %s ]\n", pxml->requst_id,
                    pxml->name, pxml->type);
    int depth = flag + 1;
    FIFOH list = pxml->mfifolist;
    for (void *p = Fifo_Step_Get_First(list); p != nullptr; p = Fifo_Step_Next(list)) {
        auto child = static_cast<pXmldoc>(p);
        Xml_Sprintf(buf, space, "%s", indent(depth));
        if (child->xtype == kChild) {
            Xml_Sprintf(buf, space, "CHILD : name = [ %s ] source = [ %s ]\n", child->name,
                        child->source);
            Xml_Sprintf_Buf_Info(child, depth, buf, space);
        } else if (child->xtype == kLeaf) {
            Xml_Sprintf(buf, space, "POINT : name = [ %s ] content = [ %s ]\n", child->name,
                        child->content);
        }
    }
}

void Xml_Printf_Msg(pXmldoc pXml)
{
    if (pXml == nullptr)
        return;
    char text[2560] = {};
    int space = sizeof text;
    Xml_Encode(pXml, text, &space);
    printf("xml :%s\n", text);
}

} // extern "C"
