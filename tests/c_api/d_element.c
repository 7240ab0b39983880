#include "libbase.h"

int c_api_d_element(void)
{
    ELEMENT_STREAM stream = d_element_allocate_element_stream();
    int len = 0, failed = d_element_add_et(stream, 1, "new", 3) != 0;
    const ELEMENT_ST *newest = failed ? NULL : *(ELEMENT_ST **)stream; /* the head cell */

    failed += newest == NULL || newest->tag != 1 || d_element_get_et_point(stream, 1, &len) != newest->pvalue;
    d_element_free_element_stream(stream);
    return failed;
}
