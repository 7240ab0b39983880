#include "libbase.h"

int c_api_element(void)
{
    static M_Body body; /* starts empty: len 0 */
    static ET et = {8, {0, {0}}};
    int value = 0, failed = element_add_integer(&body, 8, -5) != 0 || body.len != 12;

    failed += element_get_integer(&body, 8, &value) != 0 || value != -5;
    return failed + (element_get_et(&body, &et) != 0 || et.body.len != sizeof value);
}
