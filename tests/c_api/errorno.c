#include "libbase.h"

#include <string.h>

int c_api_errorno(void)
{
    char text[64];

    EncodeInit();
    return EncodeErrorNo(486, text) != 1 || strcmp(text, "486 Busy Here") != 0
           || error[13].errorno != 4008 || error[14].errorno != -1 || sizeof(ERROR_CODE) != 56;
}
