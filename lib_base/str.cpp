// str.cpp - byte-string utilities.
#include "str.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "internal/token.h"

namespace {

constexpr size_t kFoldLimit = 999;  // bytes compared by the case-insensitive compares

bool empty_key(const char *key)
{
    return key == nullptr || key[0] == '\0';
}

// Copies at most kFoldLimit bytes of src into a zeroed buffer, upper-cased.
void fold_upper(char (&buf)[kFoldLimit + 1], const char *src)
{
    memset(buf, 0, sizeof buf);
    for (size_t i = 0; i < kFoldLimit && src[i] != '\0'; i++) {
        char c = src[i];
        buf[i] = (c >= 'a' && c <= 'z') ? static_cast<char>(c - 32) : c;
    }
}

int address_as_int(const char *p)
{
    return static_cast<int>(reinterpret_cast<uintptr_t>(p));
}

} // namespace

extern "C" {

char *Str_Tok(char **pstr, char *key)
{
    return libbase::cut_token(pstr, key, false);
}

char *Str_Two_Tok(char **pstr, char *key1, char *key2)
{
    if (pstr == nullptr || *pstr == nullptr || empty_key(key1) || empty_key(key2))
        return nullptr;
    char *start = strstr(*pstr, key1);
    if (start == nullptr)
        return nullptr;
    start += strlen(key1);
    char *end = strstr(start, key2);
    if (end == nullptr)
        return nullptr;
    *end = '\0';
    *pstr = end + strlen(key2);
    return start;
}

int Str_Seq_Num(char *str, char *key)
{
    if (str == nullptr || empty_key(key) || str[0] == '\0')
        return 0;
    int count = 0;
    size_t step = strlen(key);
    for (const char *p = strstr(str, key); p != nullptr; p = strstr(p + step, key))
        count++;
    return count + 1;
}

int Str_Uppercase(char *str)
{
    if (str == nullptr)
        return -1;
    for (; *str != '\0'; str++) {
        if (*str >= 'a' && *str <= 'z')
            *str = static_cast<char>(*str - 32);
    }
    return 0;
}

int Str_Cmp(char *str1, char *str2)
{
    return str1 == nullptr || str2 == nullptr ? -1 : strcmp(str1, str2);
}

int Str_N_Cmp(char *str1, char *str2, int len)
{
    if (str1 == nullptr || str2 == nullptr)
        return -1;
    return len <= 0 ? 0 : strncmp(str1, str2, static_cast<size_t>(len));
}

int Str_Cmp_NoCase(char *str1, char *str2)
{
    if (str1 == nullptr || str2 == nullptr)
        return -1;
    char a[kFoldLimit + 1], b[kFoldLimit + 1];
    fold_upper(a, str1);
    fold_upper(b, str2);
    return strcmp(a, b);
}

int Str_N_Cmp_NoCase(char *str1, char *str2, int len)
{
    if (str1 == nullptr || str2 == nullptr)
        return -1;
    if (len <= 0)
        return 0;
    char a[kFoldLimit + 1], b[kFoldLimit + 1];
    fold_upper(a, str1);
    fold_upper(b, str2);
    return strncmp(a, b, static_cast<size_t>(len));
}

int Str_Copy(char *dest, char *src)
{
    if (dest == nullptr || src == nullptr)
        return -1;
    return address_as_int(strcpy(dest, src));
}

int Str_N_Copy(char *dest, char *src, int len)
{
    if (dest == nullptr || src == nullptr)
        return -1;
    return address_as_int(len > 0 ? strncpy(dest, src, static_cast<size_t>(len)) : dest);
}

int Str_N_Cat(char *dest, char *src, int len)
{
    if (dest == nullptr || src == nullptr)
        return -1;
    return address_as_int(len > 0 ? strncat(dest, src, static_cast<size_t>(len)) : dest);
}

int Str_Len(char *str)
{
    return str == nullptr ? -1 : static_cast<int>(strlen(str));
}

int Str_Atoi(char *str)
{
    return str == nullptr ? -1 : atoi(str);
}

long Str_Atol(char *str)
{
    return str == nullptr ? -1 : atol(str);
}

char *Str_Alloc(char *str)
{
    if (str == nullptr)
        return nullptr;
    size_t size = strlen(str) + 1;
    auto copy = static_cast<char *>(malloc(size));
    if (copy != nullptr)
        memcpy(copy, str, size);
    return copy;
}

} // extern "C"
