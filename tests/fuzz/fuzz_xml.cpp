// fuzz_xml.cpp - the XML decoder on any text; then every encoder into a
// buffer of exactly the size its text needs, into shorter ones and into
// none; then the decoder on what the encoders wrote.
//
// Checks beyond the sanitizers: a cut text is the start of the whole text,
// terminated; the UTF-8 encoder writes what the plain encoder writes for a
// copy whose contents were converted one by one; a copy equals its original;
// and a tree whose texts the dialect can carry decodes back from its own
// text unchanged.
#include <algorithm>
#include <climits>
#include <functional>

#include "support.h"
#include "xml.h"

namespace {

constexpr size_t kDecodeLimit = 8192;  // longest encoder text decoded again

std::vector<pXmldoc> children(pXmldoc node)
{
    std::vector<pXmldoc> out;
    int n = node->mfifolist != nullptr ? Fifo_GetCount(node->mfifolist) : 0;
    for (int i = 0; i < n; i++)
        out.push_back(static_cast<pXmldoc>(Fifo_Index_Get(node->mfifolist, i)));
    return out;
}

bool same_tree(pXmldoc a, pXmldoc b)
{
    if (a->xtype != b->xtype || strcmp(a->name, b->name) != 0 || strcmp(a->source, b->source) != 0 ||
        strcmp(a->content, b->content) != 0)
        return false;
    if (a->xtype == 1 && (a->requst_id != b->requst_id || strcmp(a->type, b->type) != 0))
        return false;
    auto ca = children(a), cb = children(b);
    return std::equal(ca.begin(), ca.end(), cb.begin(), cb.end(), same_tree);
}

bool has_any(const char *text, const char *bytes)
{
    return strpbrk(text, bytes) != nullptr;
}

// Whether node's text reads back as the same node. Nothing is escaped, so
// texts must not hold the markup bytes; a name must not close an element it
// sits in; an element without children would come back as an empty item.
bool carried(pXmldoc node, std::vector<std::string> &enclosing)
{
    if (node->xtype == 1) {
        if (has_any(node->type, "<>\""))
            return false;
    } else if (node->name[0] == '\0' || node->name[0] == '/' || has_any(node->name, " <>\"") ||
               has_any(node->source, "<>\"") || has_any(node->content, "<") ||
               std::find(enclosing.begin(), enclosing.end(), node->name) != enclosing.end()) {
        return false;
    }
    auto kids = children(node);
    if (node->xtype == 2 && kids.empty())
        return false;
    enclosing.push_back(node->name);
    bool ok = std::all_of(kids.begin(), kids.end(), [&](pXmldoc c) { return carried(c, enclosing); });
    enclosing.pop_back();
    return ok;
}

bool carried(pXmldoc doc)
{
    std::vector<std::string> enclosing;
    return carried(doc, enclosing);
}

pXmldoc decode(const std::string &text)
{
    std::vector<char> buf = c_string(text);
    return Xml_Decode(buf.data());
}

using Writer = std::function<int(char *out, int *space)>;

// The whole text write produces, from a large buffer kept for the purpose.
std::string whole_text(const Writer &write)
{
    static std::vector<char> room(1 << 20);
    for (;;) {
        int space = static_cast<int>(room.size());
        FUZZ_CHECK(write(room.data(), &space) == 1);
        if (space > 0) {
            size_t len = room.size() - static_cast<size_t>(space);
            FUZZ_CHECK(room[len] == '\0' && strlen(room.data()) == len);
            return std::string(room.data(), len);
        }
        FUZZ_CHECK(room.size() < (1u << 26));
        room.resize(room.size() * 2);
    }
}

// Runs write into buffers of exactly the text's size, one byte short, a
// third of it and none, and returns the whole text. write gives 1, or -1
// for no room. A cut text must be the start of the whole, terminated.
std::string written(const Writer &write)
{
    std::string text = whole_text(write);
    int len = static_cast<int>(text.size());
    for (int size : {len + 1, len, len / 3}) {
        if (size < 1)
            continue;
        std::vector<char> out(static_cast<size_t>(size), 'x');
        int space = size;
        FUZZ_CHECK(write(out.data(), &space) == 1);
        int kept = std::min(len, size - 1);
        FUZZ_CHECK(space == (size > len ? size - len : 0));
        FUZZ_CHECK(memcmp(out.data(), text.data(), static_cast<size_t>(kept)) == 0 && out[kept] == '\0');
    }
    for (int size : {0, -1}) {
        char untouched = 'x';
        int space = size;
        FUZZ_CHECK(write(&untouched, &space) == -1);
        FUZZ_CHECK(untouched == 'x' && space == size);
    }
    return text;
}

std::string encoded(pXmldoc doc)
{
    return whole_text([&](char *out, int *space) { return Xml_Encode(doc, out, space); });
}

// A copy of doc with every leaf's content converted as the UTF-8 encoder
// converts it; NULL when a converted content would not fit an item.
pXmldoc converted_copy(pXmldoc doc)
{
    pXmldoc copy = Xml_Copy(doc);
    std::function<bool(pXmldoc)> convert = [&](pXmldoc node) {
        for (pXmldoc c : children(node)) {
            if (c->xtype == 2 && !convert(c))
                return false;
            if (c->xtype != 0)
                continue;
            std::vector<char> in = c_string(c->content);
            std::vector<char> out(sizeof c->content + 1, '\0');
            int n = UTF8Encoding(in.data(), out.data(), strlen(c->content), sizeof c->content);
            if (n >= static_cast<int>(sizeof c->content))
                return false;
            if (n >= 1)
                memcpy(c->content, out.data(), static_cast<size_t>(n) + 1);
        }
        return true;
    };
    if (copy != nullptr && !convert(copy)) {
        Xml_Free(copy);
        return nullptr;
    }
    return copy;
}

// The three encoders, each checked against the plain one and decoded back.
void check_encoders(pXmldoc doc)
{
    std::string plain = written([&](char *out, int *space) { return Xml_Encode(doc, out, space); });
    // Under the sanitizer every substring search of the decoder costs the
    // length of the rest of the text, so a deep tree's long text would take
    // seconds; the decoder sees long texts as inputs of their own.
    if (plain.size() <= kDecodeLimit) {
        pXmldoc again = decode(plain);
        FUZZ_CHECK(again != nullptr || has_any(doc->type, "<>\""));
        FUZZ_CHECK(!carried(doc) || same_tree(doc, again));
        if (again != nullptr)
            Xml_Free(again);
    }

    // The document's type, whatever it holds, labels the declaration.
    char *label = doc->type;
    if (label[0] == '\0') {
        char untouched = 'x';
        int space = 1;
        FUZZ_CHECK(Xml_Encode_Encoding(doc, label, &untouched, &space) == -1 && untouched == 'x');
    } else {
        std::string labelled = written([&](char *out, int *space) { return Xml_Encode_Encoding(doc, label, out, space); });
        std::string head = "<?xml version=\"1.0\" encoding=\"" + std::string(label) + "\"?>\r\n";
        size_t plain_head = strlen("<?xml version=\"1.0\" encoding=\"utf-8\"?>\r\n");
        FUZZ_CHECK(labelled == head + plain.substr(plain_head));
    }

    std::string utf8 = written([&](char *out, int *space) { return Xml_Encode_UTF8(doc, out, space); });
    if (pXmldoc expected = converted_copy(doc)) {
        FUZZ_CHECK(utf8 == encoded(expected));
        Xml_Free(expected);
    }
    if (pXmldoc back = utf8.size() <= kDecodeLimit ? decode(utf8) : nullptr)
        Xml_Free(back);
}

// The debugging views, in buffers of every size and on the console.
void check_views(pXmldoc doc)
{
    written([&](char *out, int *space) {
        bool room = *space > 0;
        Xml_Sprintf_Buf(doc, out, space);
        return room ? 1 : -1;
    });
    Xml_Printf(doc);
    Xml_Printf_Msg(doc);
}

// The last match's source, through a buffer of exactly its size.
template <typename Lookup>
void check_source_copy(pXmldoc last, Lookup lookup)
{
    std::vector<char> source(strlen(last->source) + 1, 'x');
    FUZZ_CHECK(lookup(source.data(), static_cast<int>(source.size())));
    FUZZ_CHECK(strcmp(source.data(), last->source) == 0);
}

// Lookups agree with a walk of the children; a copy equals the tree, and
// takes a change and a removal of its first item.
void check_lookups(pXmldoc doc)
{
    for (pXmldoc c : children(doc)) {
        int leaves = 0, elements = 0;
        pXmldoc last = nullptr;
        for (pXmldoc d : children(doc)) {
            bool named = strcmp(d->name, c->name) == 0;
            leaves += named && d->xtype == 0;
            elements += named && d->xtype == 2;
            last = named && d->xtype == c->xtype ? d : last;
        }
        FUZZ_CHECK(Xml_Get_Count(doc, c->name) == leaves);
        FUZZ_CHECK(Xml_Get_Child_Count_No_Source(doc, c->name) == elements);
        pXmldoc first = Xml_Get_Child(doc, c->name, c->source);
        FUZZ_CHECK(first != nullptr && strcmp(first->name, c->name) == 0);
        if (c->xtype == 0)
            check_source_copy(last, [&](char *source, int len) {
                return Xml_Get_Str_Source_By_Index(doc, c->name, leaves - 1, source, len) == last->content;
            });
        else
            check_source_copy(last, [&](char *source, int len) {
                return Xml_Get_Child_Source_By_Index(doc, c->name, elements - 1, source, len) == last;
            });
    }
    std::vector<char> name(strlen(doc->name) + 1), type(strlen(doc->type) + 1);
    int id = 0;
    FUZZ_CHECK(Xml_Get_Head_Len(doc, name.data(), static_cast<int>(name.size()), &id, type.data(),
                                static_cast<int>(type.size())) == 1);
    FUZZ_CHECK(strcmp(name.data(), doc->name) == 0 && strcmp(type.data(), doc->type) == 0 && id == doc->requst_id);

    pXmldoc copy = Xml_Copy(doc);
    FUZZ_CHECK(copy != nullptr && same_tree(copy, doc));
    auto kids = children(copy);
    auto item = std::find_if(kids.begin(), kids.end(), [](pXmldoc k) { return k->xtype == 0; });
    if (item != kids.end()) {
        char *item_name = (*item)->name;
        int items = Xml_Get_Count(copy, item_name);
        char changed[] = "changed";
        FUZZ_CHECK(Xml_Set_Str(copy, item_name, nullptr, changed) == 0);
        FUZZ_CHECK(strcmp(Xml_Get_Str(copy, item_name, nullptr), changed) == 0);
        std::string kept = item_name;  // the item goes with its name
        FUZZ_CHECK(Xml_Del_Str(copy, item_name, nullptr) == 0);
        FUZZ_CHECK(Xml_Get_Count(copy, &kept[0]) == items - 1);
    }
    Xml_Free(copy);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    pXmldoc doc = decode(std::string(reinterpret_cast<const char *>(data), size));
    if (doc == nullptr)
        return 0;
    FUZZ_CHECK(doc->xtype == 1);
    FUZZ_CHECK(strcmp(doc->name, "request") == 0 || strcmp(doc->name, "response") == 0);
    check_encoders(doc);
    check_views(doc);
    check_lookups(doc);
    Xml_Free(doc);
    return 0;
}
