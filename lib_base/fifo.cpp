// fifo.cpp - the FIFO list.
#include "fifo.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include "internal/complain.h"
#include "internal/fifo_cells.h"
#include "mem.h"

static_assert(offsetof(_FIFO_M, pdata) == 0, "cell layout");
static_assert(offsetof(_FIFO_M, pNext) == sizeof(void *), "cell layout");
static_assert(sizeof(_FIFO_M) == 2 * sizeof(void *), "cell layout");
static_assert(offsetof(_FIFO, pos) == 2 * sizeof(void *), "list layout");
static_assert(offsetof(_FIFO, mcount) == 3 * sizeof(void *), "list layout");
static_assert(offsetof(_FIFO, max_count) == 3 * sizeof(void *) + 4, "list layout");
static_assert(sizeof(_FIFO) == (sizeof(void *) == 4 ? 20 : 32), "list layout");

namespace {

void trace_null_input(int line, const char *func)
{
    libbase::trace_bad_argument("fifo", line, func, "Input NULL");
}

// Cells are set field by field: a zero fill first would only cost time.
pFIFO_M new_cell(void *pdata)
{
    auto cell = static_cast<pFIFO_M>(malloc(sizeof(FIFO_M)));
    if (cell != nullptr) {
        cell->pdata = pdata;
        cell->pNext = nullptr;
    }
    return cell;
}

// Links cell in at the tail.
void link_at_tail(pFIFO list, pFIFO_M cell)
{
    if (list->tail != nullptr) {
        list->tail->pNext = cell;
        list->tail = cell;
    } else {
        list->head = list->tail = list->pos = cell;
    }
    list->mcount++;
}

// Appends a new cell holding pdata; NULL when none can be allocated.
pFIFO_M push_cell(pFIFO list, void *pdata)
{
    pFIFO_M cell = new_cell(pdata);
    if (cell != nullptr)
        link_at_tail(list, cell);
    return cell;
}

// One cell fewer; an emptied list forgets head, tail and cursor.
void count_down(pFIFO list)
{
    if (list->mcount > 0)
        list->mcount--;
    if (list->mcount == 0)
        list->head = list->tail = list->pos = nullptr;
}

// The cell at index, or NULL when the walk runs past the tail.
pFIFO_M cell_at(pFIFO list, int index)
{
    pFIFO_M cell = list->head;
    for (int i = 0; cell != nullptr && i < index; i++)
        cell = cell->pNext;
    return cell;
}

// A fixed text, kept on purpose: Fifo_FreeEx prints it too, naming Fifo_Free.
constexpr char kFreeNullInput[] = "Fifo_Free Input NULL\n";

int drain(FIFOH mfifo, bool free_payloads)
{
    if (mfifo == nullptr) {
        printf(kFreeNullInput);
        return -1;
    }
    void *pdata;
    while ((pdata = Fifo_Pull(mfifo)) != nullptr) {
        if (free_payloads)
            Mem_Free(pdata);
    }
    // A NULL payload stopped the draining: release the cells behind it
    // without touching their payloads.
    auto list = static_cast<pFIFO>(mfifo);
    for (pFIFO_M cell = list->head, next; cell != nullptr; cell = next) {
        next = cell->pNext;
        free(cell);
    }
    Mem_Free(list);
    return 1;
}

} // namespace

extern "C" {

FIFOH Fifo_Allocate(int max)
{
    auto list = static_cast<pFIFO>(Mem_Malloc(sizeof(_FIFO)));
    if (list == nullptr) {
        printf("Alloc memery fail in funtion Fifo_Allocate.\n");
        return nullptr;
    }
    list->max_count = max;
    return list;
}

int Fifo_Free(FIFOH mfifo)
{
    return drain(mfifo, true);
}

int Fifo_FreeEx(FIFOH mfifo)
{
    return drain(mfifo, false);
}

int Fifo_GetCount(FIFOH mfifo)
{
    return mfifo == nullptr ? -1 : static_cast<pFIFO>(mfifo)->mcount;
}

int Fifo_GetMaxCount(FIFOH mfifo)
{
    return mfifo == nullptr ? -1 : static_cast<pFIFO>(mfifo)->max_count;
}

int Fifo_Add(FIFOH mfifo, void *pdata)
{
    if (mfifo == nullptr) {
        trace_null_input(__LINE__, "Fifo_Add");
        return -1;
    }
    auto list = static_cast<pFIFO>(mfifo);
    pFIFO_M cell = new_cell(pdata);
    if (cell == nullptr)
        return -1;
    cell->pNext = list->head;
    if (list->head == nullptr)
        list->tail = cell;
    list->head = list->pos = cell;
    list->mcount++;
    return 1;
}

int Fifo_Push(FIFOH mfifo, void *pdata)
{
    if (mfifo == nullptr) {
        trace_null_input(__LINE__, "Fifo_Push");
        return -1;
    }
    auto list = static_cast<pFIFO>(mfifo);
    return push_cell(list, pdata) == nullptr ? -1 : list->mcount;
}

void *Fifo_Pull(FIFOH mfifo)
{
    if (mfifo == nullptr) {
        printf("Fifo_Pull Input NULL\n");
        return nullptr;
    }
    pFIFO_M cell = libbase::fifo_cells::unlink_head(mfifo);
    if (cell == nullptr)
        return nullptr;
    void *pdata = cell->pdata;
    free(cell);
    return pdata;
}

void *Fifo_Step_Get_First(FIFOH mfifo)
{
    if (mfifo == nullptr)
        return nullptr;
    auto list = static_cast<pFIFO>(mfifo);
    if (list->head == nullptr)
        return nullptr;
    list->pos = list->head;
    return list->pos->pdata;
}

void *Fifo_Step_Get_Now(FIFOH mfifo)
{
    if (mfifo == nullptr)
        return nullptr;
    auto list = static_cast<pFIFO>(mfifo);
    return list->pos == nullptr ? nullptr : list->pos->pdata;
}

void *Fifo_Step_Next(FIFOH mfifo)
{
    if (mfifo == nullptr)
        return nullptr;
    auto list = static_cast<pFIFO>(mfifo);
    list->pos = list->pos == nullptr ? nullptr : list->pos->pNext;
    return list->pos == nullptr ? nullptr : list->pos->pdata;
}

void *Fifo_Step_Del_Now(FIFOH mfifo)
{
    if (mfifo == nullptr)
        return nullptr;
    auto list = static_cast<pFIFO>(mfifo);
    pFIFO_M cell = list->pos;
    if (cell == nullptr)
        return nullptr;
    if (cell == list->head) {
        list->head = list->pos = cell->pNext;
    } else {
        pFIFO_M pred = list->head;
        while (pred != nullptr && pred->pNext != cell)
            pred = pred->pNext;
        if (pred == nullptr)
            return nullptr;
        pred->pNext = list->pos = cell->pNext;
        if (cell == list->tail)
            list->tail = pred;
    }
    count_down(list);
    void *pdata = cell->pdata;
    free(cell);
    return pdata;
}

void *Fifo_Index_Get(FIFOH mfifo, int index)
{
    if (mfifo == nullptr)
        return nullptr;
    auto list = static_cast<pFIFO>(mfifo);
    if (list->head == nullptr)
        return nullptr;
    pFIFO_M cell = index < 0 ? nullptr : cell_at(list, index);
    if (cell == nullptr) {
        printf("\xBC\xEC\xB2\xE9\xB6\xD3\xC1\xD0\xC6\xAB\xD2\xC6\xC1\xBF\n");
        return nullptr;
    }
    list->pos = cell;
    return cell->pdata;
}

void *Fifo_Index_Del(FIFOH mfifo, int index)
{
    if (mfifo == nullptr)
        return nullptr;
    auto list = static_cast<pFIFO>(mfifo);
    list->pos = nullptr;
    if (list->head == nullptr)
        return nullptr;
    if (index <= 0)
        return Fifo_Pull(mfifo);
    pFIFO_M pred = cell_at(list, index - 1);
    if (pred == nullptr || pred->pNext == nullptr)
        return nullptr;
    pFIFO_M cell = pred->pNext;
    pred->pNext = cell->pNext;
    if (list->mcount > 0)
        list->mcount--;
    if (cell == list->tail)
        list->tail = pred;
    void *pdata = cell->pdata;
    free(cell);
    return pdata;
}

int Fifo_Index_Insert(FIFOH mfifo, int index, void *pdata)
{
    if (mfifo == nullptr)
        return -1;
    if (index <= 0)
        return Fifo_Add(mfifo, pdata);
    auto list = static_cast<pFIFO>(mfifo);
    pFIFO_M pred = cell_at(list, index - 1);
    if (pred == nullptr)
        return -1;
    if (pred == list->tail)
        return Fifo_Push(mfifo, pdata);
    pFIFO_M cell = new_cell(pdata);
    if (cell == nullptr)
        return -1;
    cell->pNext = pred->pNext;
    pred->pNext = cell;
    list->mcount++;
    return 0;
}

int Fifo_Insert_Afternow(FIFOH mfifo, void *pdata)
{
    if (mfifo == nullptr) {
        libbase::trace_erro("fifo", "Fifo_Insert_Afternow", __LINE__);
        return -1;
    }
    auto list = static_cast<pFIFO>(mfifo);
    if (list->pos == nullptr || list->pos->pNext == nullptr) {
        Fifo_Push(mfifo, pdata);
        return 1;
    }
    pFIFO_M cell = new_cell(pdata);
    if (cell != nullptr) {
        cell->pNext = list->pos->pNext;
        list->pos->pNext = cell;
        list->mcount++;
    }
    return 1;
}

} // extern "C"

namespace libbase::fifo_cells {

pFIFO_M append(FIFOH list, void *pdata)
{
    return list == nullptr ? nullptr : push_cell(static_cast<pFIFO>(list), pdata);
}

int append_cell(FIFOH list, pFIFO_M cell, void *pdata)
{
    cell->pdata = pdata;
    cell->pNext = nullptr;
    link_at_tail(static_cast<pFIFO>(list), cell);
    return static_cast<pFIFO>(list)->mcount;
}

pFIFO_M unlink_head(FIFOH mfifo)
{
    auto list = static_cast<pFIFO>(mfifo);
    pFIFO_M cell = list->head;
    if (cell == nullptr)
        return nullptr;
    list->head = list->pos = cell->pNext;
    count_down(list);
    return cell;
}

void replace_payload(pFIFO_M cell, void *pdata)
{
    cell->pdata = pdata;
}

int unlink_every(FIFOH mfifo, const void *pdata)
{
    if (mfifo == nullptr)
        return 0;
    auto list = static_cast<pFIFO>(mfifo);
    int unlinked = 0;
    pFIFO_M kept = nullptr; // the last cell kept so far
    for (pFIFO_M cell = list->head, next; cell != nullptr; cell = next) {
        next = cell->pNext;
        if (cell->pdata != pdata) {
            kept = cell;
            continue;
        }
        (kept == nullptr ? list->head : kept->pNext) = next;
        if (list->tail == cell)
            list->tail = kept;
        if (list->pos == cell)
            list->pos = next;
        count_down(list);
        Mem_Free(cell);
        unlinked++;
    }
    return unlinked;
}

void visit(FIFOH list, void (*visit)(void *payload, void *context), void *context)
{
    if (list == nullptr)
        return;
    for (pFIFO_M cell = static_cast<pFIFO>(list)->head; cell != nullptr; cell = cell->pNext)
        visit(cell->pdata, context);
}

bool place_cursor_on(FIFOH list, const void *pdata)
{
    for (void *p = Fifo_Step_Get_First(list); p != nullptr; p = Fifo_Step_Next(list)) {
        if (p == pdata)
            return true;
    }
    return false;
}

} // namespace libbase::fifo_cells
