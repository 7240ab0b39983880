#include "libbase.h"

#include <string.h>

int c_api_d_element(void)
{
    ELEMENT_STREAM stream = d_element_allocate_element_stream();
    char first[] = "old", second[] = "new", out[8];
    int len = 0, failed = 0;

    failed += d_element_add_et(stream, 1, first, 3) != 0;
    failed += d_element_add_et(stream, 1, second, 3) != 0;
    failed += d_element_get_et(stream, 1, out, sizeof out, &len) != 0 || len != 3 || memcmp(out, "new", 3) != 0;
    failed += d_element_get_et_by_index(stream, 1, 1, sizeof out, out, &len) != 0 || memcmp(out, "old", 3) != 0;
    failed += d_element_get_et_point(stream, 1, &len) == NULL;
    failed += d_element_get_et_count(stream, 1) != 2;
    d_element_free_element_stream(stream);
    return failed;
}
