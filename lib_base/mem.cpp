// mem.cpp - allocation wrappers and the library's version text.
#include "mem.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C" {

void *Mem_Malloc(int size)
{
    if (size <= 0) {
        printf("Mem Malloc wrong size\n");
        return nullptr;
    }
    void *block = malloc(static_cast<size_t>(size));
    // Hides the block's origin from the compiler, which would otherwise fuse
    // the two calls into calloc: that takes the allocator's slow path even
    // for the small blocks its per-thread cache would hand out at once.
    asm volatile("" : "+r"(block));
    if (block != nullptr)
        memset(block, 0, static_cast<size_t>(size));
    return block;
}

void *Mem_Set(void *s, int c, int size)
{
    if (s == nullptr) {
        printf("Mem set failed , NULL point \n");
        return nullptr;
    }
    if (size > 0)
        memset(s, c, static_cast<size_t>(size));
    return s;
}

int Mem_Memcmp(void *s1, void *s2, int n)
{
    if (s1 == nullptr || s2 == nullptr) {
        printf("Mem cmp failed , NULL point \n");
        return -1;
    }
    return n > 0 ? memcmp(s1, s2, static_cast<size_t>(n)) : 0;
}

void *Mem_Memcpy(void *dest, void *src, int n)
{
    if (dest == nullptr || src == nullptr) {
        printf("Mem copy failed , NULL point \n");
        return nullptr;
    }
    if (n > 0)
        memcpy(dest, src, static_cast<size_t>(n));
    return dest;
}

void Mem_Free(void *ptr)
{
    if (ptr == nullptr) {
        printf("Mem_Free failed , NULL point \n");
        return;
    }
    free(ptr);
}

char *LibBase_GetLibVersion(void)
{
    static char version[128];
    memset(version, 0, sizeof version);
    snprintf(version, sizeof version - 1, "%s; %s %s", "libbase_R1.1.4", __DATE__, __TIME__);
    return version;
}

} // extern "C"
