// errorno.cpp - the table of call-release cause texts.
#include "errorno.h"

#include <cstddef>

#include "mem.h"
#include "str.h"

static_assert(offsetof(ERROR_CODE, errorcode) == 4, "entry layout");
static_assert(sizeof(ERROR_CODE) == 56, "entry layout");

namespace {

constexpr int kEntries = 100;
constexpr int kTextMax = 49;

struct Cause {
    int number;
    const char *text;
};

// The causes in table order. Numbers 8, 14 and 400 carry device texts
// whose leading code differs from the number; the trailing blanks of the
// last three texts belong to them.
constexpr Cause kCauses[] = {
    {486, "486 Busy Here"},
    {404, "404 Not Found"},
    {403, "403 Forbidden"},
    {408, "408 Request Timeout"},
    {480, "480 Temporarily Unavailable"},
    {488, "488 Not Acceptable Here"},
    {8, "4001 normal"},
    {14, "4002 cancel"},
    {400, "4003 called unregister"},
    {4004, "4004 calling unregister"},
    {4005, "4005 called owe"},
    {4006, "4006 calling owe "},
    {4007, "4007 no answer "},
    {4008, "4008 calling not found "},
};

} // namespace

extern "C" {

ERROR_CODE error[kEntries];

void EncodeInit(void)
{
    for (ERROR_CODE &entry : error) {
        entry.errorno = -1;
        Mem_Set(entry.errorcode, 0, sizeof entry.errorcode);
    }
    int i = 0;
    for (const Cause &cause : kCauses) {
        error[i].errorno = cause.number;
        Str_N_Copy(error[i].errorcode, const_cast<char *>(cause.text), kTextMax);
        i++;
    }
}

int EncodeErrorNo(int errorno, char *errorcode)
{
    if (errorno < 0)
        return -1;
    for (ERROR_CODE &entry : error) {
        if (entry.errorno == errorno) {
            Mem_Memcpy(errorcode, entry.errorcode, kTextMax);
            return 1;
        }
    }
    return -1;
}

} // extern "C"
