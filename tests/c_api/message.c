#include "libbase.h"

#include <string.h>

int c_api_message(void)
{
    int failed = 0;
    char body[] = "hello", out[MESSAGE_BUF_SIZE];
    int src = -1, code = -1, len = -1;

    Message_Init(3);
    failed += Message_Post(2, 1, 42, body, (int)sizeof body) != -5;
    failed += Message_Get(2, &src, &code, out, &len) != 1;
    failed += src != 1 || code != 42 || len != (int)sizeof body || strcmp(out, "hello") != 0;
    failed += Message_Get(2, &src, &code, out, &len) != 0;
    failed += Message_Post(3, 1, 42, body, 1) != -1;
    return failed;
}
