// internal/complain.cpp - the bad-argument trace lines of the modules.
#include "internal/complain.h"

#include <cstdio>

namespace libbase {

void trace_bad_argument(const char *module, int line, const char *func, const char *message)
{
    printf("\n[%10s line%4d]%10s()\t", module, line, func);
    printf("%s", message);
    printf("\n");
}

void trace_erro(const char *module, const char *func, int line)
{
    printf("%s %s() line %d erro\n", module, func, line);
}

void print_error_at(const char *file, int line, const char *func)
{
    printf("error [ %s:%d in %s: ]\n", file, line, func);
}

void print_error_at_spaced(const char *file, int line, const char *func)
{
    printf("error [ %s:%d in %s : ]\n", file, line, func);
}

} // namespace libbase
