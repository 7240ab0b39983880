#include "libbase.h"

#include <string.h>

int c_api_Ini(void)
{
    int failed = 0;
    char value[256] = "";
    LPINIVALUE ini = SetValueByKey_Start("1", "a");

    failed += ini == NULL;
    failed += SetValueByKey("two", "b", ini) != 1;
    failed += SetValueByKeyForSysOp("3", "c", ini) != 1;
    failed += GetValueByKey(value, "b", NULL, ini) != 1 || strcmp(value, "two") != 0;
    failed += GetValueByKeyLen(value, 3, "x", "default", ini) != 1 || strcmp(value, "de") != 0;
    failed += RmvKeyValue(ini, "a") != 1;
    failed += LoadIni("/nonexistent/libbase.ini") != NULL;
    ReleaseIni(ini);
    return failed;
}
