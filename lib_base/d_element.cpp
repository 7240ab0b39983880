// d_element.cpp - linked element streams.
//
// Elements and their values come straight from malloc and go back to free.
#include "d_element.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>

static_assert(offsetof(ELEMENT_ST, length) == 4, "element layout");
static_assert(offsetof(ELEMENT_ST, pvalue) == 8, "element layout");
static_assert(offsetof(ELEMENT_ST, pnext) == 8 + sizeof(void *), "element layout");
static_assert(offsetof(ELEMENT_ST, c) == 8 + 2 * sizeof(void *), "element layout");
static_assert(sizeof(ELEMENT_ST) == (sizeof(void *) == 4 ? 20 : 32), "element layout");

namespace {

// The cell an ELEMENT_STREAM points to.
ELEMENT_ST *&head_of(ELEMENT_STREAM ele_s)
{
    return *static_cast<ELEMENT_ST **>(ele_s);
}

// One element holding a copy of length bytes of value; NULL when value is
// NULL, length negative or memory short (nothing is left allocated).
ELEMENT_ST *allocte_element(int tag, int length, const void *value)
{
    if (value == nullptr || length < 0)
        return nullptr;
    auto pele = static_cast<ELEMENT_ST *>(malloc(sizeof(ELEMENT_ST)));
    if (pele == nullptr)
        return nullptr;
    // At least one byte, so that an empty value still has an address.
    pele->pvalue = malloc(length > 0 ? static_cast<size_t>(length) : 1);
    if (pele->pvalue == nullptr) {
        free(pele);
        return nullptr;
    }
    memcpy(pele->pvalue, value, static_cast<size_t>(length));
    pele->tag = tag;
    pele->length = length;
    pele->pnext = nullptr;
    pele->c = 0;
    return pele;
}

// Frees pele and every element behind it, values included.
void free_element(ELEMENT_ST *pele)
{
    while (pele != nullptr) {
        ELEMENT_ST *next = pele->pnext;
        free(pele->pvalue);
        free(pele);
        pele = next;
    }
}

// Occurrence index of tag counted from the newest, or NULL.
ELEMENT_ST *find(ELEMENT_STREAM ele_s, int tag, int index)
{
    if (ele_s == nullptr || index < 0)
        return nullptr;
    for (ELEMENT_ST *pele = head_of(ele_s); pele != nullptr; pele = pele->pnext) {
        if (pele->tag == tag && index-- == 0)
            return pele;
    }
    return nullptr;
}

int copy_out(ELEMENT_STREAM ele_s, int tag, int index, void *dest_buf, int dest_buf_len, int *element_len)
{
    if (dest_buf == nullptr || element_len == nullptr)
        return -1;
    const ELEMENT_ST *pele = find(ele_s, tag, index);
    if (pele == nullptr || pele->length > dest_buf_len)
        return -1;
    memcpy(dest_buf, pele->pvalue, static_cast<size_t>(pele->length));
    *element_len = pele->length;
    return 0;
}

} // namespace

extern "C" {

ELEMENT_STREAM d_element_allocate_element_stream(void)
{
    auto head = static_cast<ELEMENT_ST **>(malloc(sizeof(ELEMENT_ST *)));
    if (head != nullptr)
        *head = nullptr;
    return head;
}

void d_element_free_element_stream(ELEMENT_STREAM ele_s)
{
    if (ele_s == nullptr)
        return;
    free_element(head_of(ele_s));
    free(ele_s);
}

int d_element_add_et(ELEMENT_STREAM ele_s, int tag, void *value, int length)
{
    if (ele_s == nullptr)
        return -1;
    ELEMENT_ST *pele = allocte_element(tag, length, value);
    if (pele == nullptr)
        return -1;
    pele->pnext = head_of(ele_s);
    head_of(ele_s) = pele;
    return 0;
}

int d_element_get_et(ELEMENT_STREAM ele_s, int tag, void *dest_buf, int dest_buf_len, int *element_len)
{
    return copy_out(ele_s, tag, 0, dest_buf, dest_buf_len, element_len);
}

void *d_element_get_et_point(ELEMENT_STREAM ele_s, int tag, int *element_len)
{
    if (element_len == nullptr)
        return nullptr;
    const ELEMENT_ST *pele = find(ele_s, tag, 0);
    if (pele == nullptr)
        return nullptr;
    *element_len = pele->length;
    return pele->pvalue;
}

int d_element_get_et_by_index(ELEMENT_STREAM ele_s, int tag, int index, int dest_buf_len, void *dest_buf,
                              int *element_len)
{
    return copy_out(ele_s, tag, index, dest_buf, dest_buf_len, element_len);
}

int d_element_get_et_count(ELEMENT_STREAM ele_s, int tag)
{
    int count = 0;
    if (ele_s == nullptr)
        return count;
    for (const ELEMENT_ST *pele = head_of(ele_s); pele != nullptr; pele = pele->pnext)
        count += pele->tag == tag;
    return count;
}

} // extern "C"
