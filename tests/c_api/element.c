#include "libbase.h"

#include <string.h>

int c_api_element(void)
{
    static M_Body body;
    static ET et;
    struct point { int x, y; } at = {3, 4}, back = {0, 0};
    char text[] = "abc", out[8];
    unsigned int got = 0;
    int value = 0, failed = 0;

    body.len = 0;
    failed += element_add_data(&body, 7, text, 3) != 0;
    failed += element_add_integer(&body, 8, -5) != 0;
    failed += element_add_data(&body, 9, &at, sizeof at) != 0;
    failed += body.len != 3 * 8 + 3 + 4 + sizeof at;
    failed += element_get_data(&body, 7, out, sizeof out, &got) != 0 || got != 3 || memcmp(out, "abc", 3) != 0;
    failed += element_get_data_by_index(&body, 7, out, 0, sizeof out, &got) != 0;
    failed += element_get_et_count(&body, 7) != 1;
    failed += element_get_integer(&body, 8, &value) != 0 || value != -5;
    failed += element_get_struct(&body, 9, &back, sizeof back) != 0 || back.y != 4;
    et.tag = 7;
    failed += element_get_et(&body, &et) != 0 || et.body.len != 3;
    return failed;
}
