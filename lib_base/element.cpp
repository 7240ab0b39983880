// element.cpp - tagged elements in a fixed-size message body.
//
// The readers walk the caller's body in place: the used length is read once
// up front and every access is checked against it, so the walk stays inside
// the body whatever its length fields say.
#include "element.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

static_assert(sizeof(U32) == 4, "U32 is 32 bits");
static_assert(offsetof(M_Body, buf) == 4 && sizeof(M_Body) == 10004, "body layout");
static_assert(offsetof(E_Body, buf) == 4 && sizeof(E_Body) == 5004, "value layout");
static_assert(offsetof(ET, body) == 4 && sizeof(ET) == 5008, "element layout");
static_assert(offsetof(EXT_ET, body) == 4 && sizeof(EXT_ET) == 10008, "element layout");

namespace {

constexpr U32 kBodySize = sizeof(M_Body::buf);
constexpr U32 kValueMax = sizeof(E_Body::buf);
constexpr U32 kHeaderSize = 8;

// Printed texts that applications and their log readers match: they stay
// as they are, slips included. Some name a sibling of the function that
// prints them.
constexpr char kPastBody[] = "Element is out of messge, can't copy. element len=%d, messge len=%d!\n";
constexpr char kAddEtInput[] = "the input is error in element_add_et\n";          // element_add_ext_et too
constexpr char kGetEtInput[] = "the input is error in element_get_et\n";          // element_get_ext_et too
constexpr char kIntegerInput[] = "the input is error in element_get_integer\n";   // element_add_integer too
constexpr char kStructInput[] = "The input is error in funtion element_get_struct\n";

U32 load_u32(const U8 *at)
{
    U32 v;
    memcpy(&v, at, sizeof v);
    return v;
}

void store_u32(U8 *at, U32 v)
{
    memcpy(at, &v, sizeof v);
}

bool bad_body(const M_Body *md)
{
    return md == nullptr || md->len > kBodySize;
}

// A position in a body of len used bytes (len <= kBodySize).
struct Walk {
    const U8 *buf;
    U32 len;
    U32 p = 0;

    // An element header lies wholly inside the body and is not its last
    // bytes; a header ending exactly at the end is deliberately not seen.
    bool at_element() const { return p + kHeaderSize < len; }
    U32 tag() const { return load_u32(buf + p); }
    U32 value_len() const { return load_u32(buf + p + 4); }

    // Steps over the current element; false when the next one would start
    // at or past the end of the body. Computed in 64 bits so that a length
    // near 2^32 cannot wrap p back into the body.
    bool next()
    {
        uint64_t n = uint64_t{p} + kHeaderSize + value_len();
        if (n >= len)
            return false;
        p = static_cast<U32>(n);
        return true;
    }
};

enum class Seek { found, header_at_end, past_end };

// Moves w to occurrence index of tag, telling how the search ended.
Seek seek(Walk &w, U32 tag, int index)
{
    int seen = 0;
    while (w.at_element()) {
        if (w.tag() == tag && seen++ == index)
            return Seek::found;
        if (!w.next())
            return Seek::past_end;
    }
    return Seek::header_at_end;
}

// Copies the value of the element at w into vd; the results of
// element_get_data.
int copy_value(const Walk &w, void *vd, U32 vd_len, U32 *plen)
{
    U32 value_len = w.value_len();
    uint64_t end = uint64_t{w.p} + kHeaderSize + value_len;
    if (end > w.len) {
        printf(kPastBody, static_cast<int>(static_cast<U32>(end)), static_cast<int>(w.len));
        return -1;
    }
    if (value_len > vd_len) {
        printf("Element is longer than out buffer, can't copy. element len=%d, out buf len=%d!\n",
               static_cast<int>(value_len), static_cast<int>(vd_len));
        return -1;
    }
    memmove(vd, w.buf + w.p + kHeaderSize, value_len);  // vd may lie inside the body
    *plen = value_len;
    return 0;
}

int get_occurrence(M_Body *md, U32 tag, void *vd, int index, U32 vd_len, U32 *plen,
                   bool complain_past_end)
{
    if (bad_body(md) || vd == nullptr || plen == nullptr) {
        printf("The input is error!\n");
        return -2;
    }
    Walk w{md->buf, md->len};
    Seek end = seek(w, tag, index);
    if (end == Seek::found)
        return copy_value(w, vd, vd_len, plen);
    if (end == Seek::past_end && complain_past_end)
        printf("The input is error!\n");
    return -2;
}

// The ET and EXT_ET forms differ only in the size of their value area.
template <typename Element>
int add_element(M_Body *md, Element *etd)
{
    if (md == nullptr || etd == nullptr) {
        printf(kAddEtInput);
        return -1;
    }
    return element_add_data(md, etd->tag, etd->body.buf, etd->body.len);
}

template <typename Element>
int get_element(M_Body *md, Element *etd)
{
    if (md == nullptr || etd == nullptr) {
        printf(kGetEtInput);
        return -1;
    }
    etd->body.len = sizeof etd->body.buf;
    return element_get_data(md, etd->tag, etd->body.buf, sizeof etd->body.buf, &etd->body.len);
}

// Reads the first element with tag into vd, which must come out exactly
// len bytes long; prints read_failed or wrong_len otherwise.
int get_exact(M_Body *md, U32 tag, void *vd, U32 len, const char *read_failed, const char *wrong_len)
{
    U32 got = 0;
    if (element_get_data(md, tag, vd, len, &got) != 0) {
        printf("%s", read_failed);
        return -1;
    }
    if (got != len) {
        printf("%s", wrong_len);
        return -1;
    }
    return 0;
}

} // namespace

extern "C" {

int element_add_data(M_Body *md, unsigned int tag, void *vd, unsigned int len)
{
    if (bad_body(md) || vd == nullptr || len > kValueMax) {
        printf("The input is error in element_add_data!\n");
        return -2;
    }
    if (md->len + len + kHeaderSize > kBodySize) {
        printf("There is no enough Msg buf in element_add_data,add element fail!\n");
        return -1;
    }
    U8 *at = md->buf + md->len;
    store_u32(at, tag);
    store_u32(at + 4, len);
    memmove(at + kHeaderSize, vd, len);  // vd may lie inside the body
    md->len += len + kHeaderSize;
    return 0;
}

int element_get_data(M_Body *md, unsigned int tag, void *vd, unsigned int vd_len, unsigned int *plen)
{
    return get_occurrence(md, tag, vd, 0, vd_len, plen, false);
}

int element_get_data_by_index(M_Body *md, unsigned int tag, void *vd, int index, unsigned int vd_len,
                              unsigned int *plen)
{
    return get_occurrence(md, tag, vd, index, vd_len, plen, true);
}

int element_get_et_count(M_Body *md, unsigned int tag)
{
    if (bad_body(md)) {
        printf("The input is error!\n");
        return -2;
    }
    int count = 0;
    Walk w{md->buf, md->len};
    while (w.at_element()) {
        if (w.tag() == tag)
            count++;
        if (!w.next())
            break;
    }
    return count;
}

int element_add_et(M_Body *md, ET *etd)
{
    return add_element(md, etd);
}

int element_get_et(M_Body *md, ET *etd)
{
    return get_element(md, etd);
}

int element_add_ext_et(M_Body *md, EXT_ET *etd)
{
    return add_element(md, etd);
}

int element_get_ext_et(M_Body *md, EXT_ET *etd)
{
    return get_element(md, etd);
}

int element_add_integer(M_Body *md, unsigned int tag, int value)
{
    if (md == nullptr) {
        printf(kIntegerInput);
        return -1;
    }
    return element_add_data(md, tag, &value, sizeof value);
}

int element_get_integer(M_Body *md, unsigned int tag, int *pvalue)
{
    if (md == nullptr || pvalue == nullptr) {
        printf(kIntegerInput);
        return -1;
    }
    return get_exact(md, tag, pvalue, sizeof *pvalue, "get et error in element_get_integer\n",
                     "get et success,but is not int type! in element_get_integer\n");
}

int element_get_struct(M_Body *md, unsigned int tag, void *vd, unsigned int len)
{
    if (md == nullptr || vd == nullptr) {
        printf(kStructInput);
        return -1;
    }
    return get_exact(md, tag, vd, len, "get et error in element_get_struct\n",
                     "get et success,but len is error! in element_get_struct\n");
}

} // extern "C"
