// xml.cpp - message documents: the tree, its decoder and its encoder.
#include "xml.h"

#include <iconv.h>

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>

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

// strncpy into a caller's buffer, skipped for a NULL buffer or no room.
void copy_out(char *dest, const char *text, int len)
{
    if (dest != nullptr && len > 0)
        strncpy(dest, text, static_cast<size_t>(len));
}

// ---- Nodes ---------------------------------------------------------------

pXmldoc new_node(int xtype, const char *name, const char *source, bool with_list)
{
    auto node = static_cast<pXmldoc>(Mem_Malloc(sizeof(Xmldoc)));
    if (node == nullptr)
        return nullptr;
    node->xtype = xtype;
    if (name != nullptr)
        set_text(node->name, name);
    if (source != nullptr)
        set_text(node->source, source);
    if (with_list && (node->mfifolist = Fifo_Allocate(1)) == nullptr) {
        Mem_Free(node);
        return nullptr;
    }
    return node;
}

// A byte-for-byte copy of node with a fresh empty child list, or with none.
pXmldoc clone(const Xmldoc *node, bool with_list)
{
    auto copy = static_cast<pXmldoc>(Mem_Malloc(sizeof(Xmldoc)));
    if (copy == nullptr)
        return nullptr;
    memcpy(copy, node, sizeof(Xmldoc));
    copy->mfifolist = nullptr;
    if (with_list && (copy->mfifolist = Fifo_Allocate(1)) == nullptr) {
        Mem_Free(copy);
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
    Mem_Free(node);
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

// As Str_Tok, but a key at the very start is cut too, giving an empty
// token (NULL) while the cursor still moves past the key.
char *Str_Tok1(char **pstr, char *key)
{
    return libbase::cut_token(pstr, key, true);
}

// The text between key1 and the next key2, as Str_Two_Tok.
char *Str_Tok2(char **pstr, char *key1, char *key2)
{
    return Str_Two_Tok(pstr, key1, key2);
}

// Cuts an element's content off at its closing tag: everything up to the
// first "</name>" (the whole rest when there is none); NULL when empty.
char *cut_content(char **cursor, const char *name)
{
    char closing[1024];
    snprintf(closing, sizeof closing, "</%s>", name);
    return Str_Tok1(cursor, closing);
}

// Decodes a run of sibling elements in text into pxml's children; depth is
// pxml's nesting level (0 for the root).
void decode_body(pXmldoc pxml, char *text, int depth)
{
    char *cursor = text;
    for (;;) {
        char *tag = Str_Two_Tok(&cursor, key("<"), key(">"));
        if (tag == nullptr)
            return;
        char *name = Str_Tok(&tag, key(" "));
        if (name == nullptr)
            return;  // "<>": nothing to name it by; the run ends here
        char *source = Str_Two_Tok(&tag, key("\""), key("\""));
        char *content = cut_content(&cursor, name);
        if (Str_Seq_Num(content, key("<")) > 1 && depth < kMaxDepth) {
            pXmldoc child = Xml_Add_child(pxml, name, source);
            if (child != nullptr)
                decode_body(child, content, depth + 1);
        } else {
            Xml_Add_Str(pxml, name, source, content);
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

void write_tabs(char **buf, int *space, int n)
{
    for (int i = 0; i < n && *space > 0; i++)
        Xml_Sprintf(buf, space, "\t");
}

// Leaf content in UTF-8 in out (zeroed, kContentSize + 1 bytes so that a
// full result stays terminated), or unchanged when it does not convert.
const char *utf8_content(char *content, char *out)
{
    memset(out, 0, kContentSize + 1);
    if (UTF8Encoding(content, out, strlen(content), kContentSize) < 1)
        snprintf(out, kContentSize, "%s", content);
    return out;
}

void write_leaf_open(pXmldoc leaf, char **buf, int *space, bool utf8)
{
    char converted[kContentSize + 1];
    const char *content = utf8 ? utf8_content(leaf->content, converted) : leaf->content;
    if (leaf->source[0] == '\0')
        Xml_Sprintf(buf, space, "<%s>%s", leaf->name, content);
    else
        Xml_Sprintf(buf, space, "<%s source=\"%s\">%s", leaf->name, leaf->source, content);
}

void encode_node(pXmldoc node, char **buf, int *space, int floor, bool utf8)
{
    if (node == nullptr)
        return;
    write_tabs(buf, space, floor);
    if (node->xtype == kRoot)
        Xml_Sprintf(buf, space, "<%s id=\"%d\" type=\"%s\">\r\n", node->name, node->requst_id,
                    node->type);
    else if (node->xtype == kLeaf)
        write_leaf_open(node, buf, space, utf8);
    else if (node->source[0] == '\0')
        Xml_Sprintf(buf, space, "<%s>\r\n", node->name);
    else
        Xml_Sprintf(buf, space, "<%s source=\"%s\">\r\n", node->name, node->source);

    // One pass over the children; the cursor then goes to the last child,
    // where a walk by index would leave it.
    FIFOH list = node->mfifolist;
    int n = 0;
    for (void *p = Fifo_Step_Get_First(list); p != nullptr; p = Fifo_Step_Next(list), n++)
        encode_node(static_cast<pXmldoc>(p), buf, space, floor + 1, utf8);
    if (n > 0)
        Fifo_Index_Get(list, n - 1);

    if (node->xtype != kRoot && node->xtype != kLeaf)
        write_tabs(buf, space, floor);
    Xml_Sprintf(buf, space, "</%s>\r\n", node->name);
}

int encode_document(pXmldoc pxml, const char *encoding, bool utf8, char *outbuf, int *buflen)
{
    if (buflen == nullptr || *buflen <= 0 || encoding == nullptr || encoding[0] == '\0' ||
        pxml == nullptr || outbuf == nullptr)
        return -1;
    char *cursor = outbuf;
    Xml_Sprintf(&cursor, buflen, "<?xml version=\"1.0\" encoding=\"%s\"?>\r\n", encoding);
    encode_node(pxml, &cursor, buflen, 0, utf8);
    return 1;
}

class Converter {
public:
    Converter() : cd_(iconv_open("UTF-8", "GB2312")) {}
    ~Converter()
    {
        if (ok())
            iconv_close(cd_);
    }
    Converter(const Converter &) = delete;
    Converter &operator=(const Converter &) = delete;

    bool ok() const { return cd_ != reinterpret_cast<iconv_t>(-1); }
    iconv_t get() const { return cd_; }

private:
    iconv_t cd_;
};

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
        set_text(root->type, type);
    return root;
}

pXmldoc Xml_Add_Str(pXmldoc pxml, char *name, char *source, char *content)
{
    if (pxml == nullptr || name == nullptr)
        return nullptr;
    pXmldoc item = new_node(kLeaf, name, source, false);
    if (item != nullptr && content != nullptr)
        set_text(item->content, content);
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
    Converter converter;
    if (!converter.ok())
        return -1;
    char out[4096];
    char *in = pchSrc, *at = out;
    size_t in_left = stInLen;
    size_t out_left = stOutLen < sizeof out ? stOutLen : sizeof out;
    if (iconv(converter.get(), &in, &in_left, &at, &out_left) == static_cast<size_t>(-1))
        return -1;
    size_t produced = static_cast<size_t>(at - out);
    memcpy(pchDst, out, produced);
    return static_cast<int>(produced);
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
