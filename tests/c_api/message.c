#include "libbase.h"

int c_api_message(void)
{
    char body[] = "hi", out[MESSAGE_BUF_SIZE];
    int src = -1, code = -1, len = -1;

    Message_Init(3);
    return Message_Post(2, 1, 42, body, 3) != -5 || Message_Get(2, &src, &code, out, &len) != 1
           || src != 1 || code != 42 || len != 3;
}
