#include "libbase.h"

#include <string.h>

int c_api_inet(void)
{
    char text[16];

    return Net_Htonl(Net_Htonl(0x12345678u)) != 0x12345678u
           || Net_Int_To_Addr((int)Net_Addr_To_Int("10.1.2.3"), text) != 1 || strcmp(text, "10.1.2.3") != 0;
}
