#include "libbase.h"

#include <string.h>

int c_api_errorno(void)
{
    int failed = 0;
    char text[64];

    EncodeInit();
    failed += EncodeErrorNo(486, text) != 1 || strcmp(text, "486 Busy Here") != 0;
    failed += EncodeErrorNo(4001, text) != -1;
    failed += error[13].errorno != 4008 || error[14].errorno != -1;
    failed += sizeof(ERROR_CODE) != 56;
    return failed;
}
