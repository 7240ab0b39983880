#include "libbase.h"

#include <string.h>

int c_api_xml(void)
{
    char request[] = "request", type[] = "login", user[] = "user", bob[] = "bob", out[256] = "";
    int space = (int)sizeof out;
    pXmldoc doc = Xml_Allocate(request, 5, type);
    int failed = doc == NULL || doc->requst_id != 5 || Xml_Add_Str(doc, user, NULL, bob) == NULL;

    failed += Xml_Encode(doc, out, &space) != 1 || strstr(out, "\t<user>bob</user>\r\n") == NULL;
    Xml_Free(doc);
    return failed;
}
