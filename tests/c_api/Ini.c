#include "libbase.h"

#include <string.h>

int c_api_Ini(void)
{
    char value[256] = "";
    LPINIVALUE ini = SetValueByKey_Start("1", "a");
    int failed = GetValueByKey(value, "a", NULL, ini) != 1 || strcmp(value, "1") != 0;

    ReleaseIni(ini);
    return failed;
}
