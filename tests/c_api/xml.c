#include "libbase.h"

#include <string.h>

int c_api_xml(void)
{
    int failed = 0;
    char request[] = "request", type[] = "login", user[] = "user", bob[] = "bob";
    char out[256], name[128], got_type[128];
    int space = (int)sizeof out, id = 0;
    pXmldoc doc = Xml_Allocate(request, 5, type), back;

    failed += doc == NULL || doc->xtype != 1;
    failed += Xml_Add_Str(doc, user, NULL, bob) == NULL;
    failed += Xml_Encode(doc, out, &space) != 1;
    failed += strstr(out, "\t<user>bob</user>\r\n") == NULL;
    back = Xml_Decode(out);
    failed += back == NULL || strcmp(Xml_Get_Str(back, user, NULL), "bob") != 0;
    failed += Xml_Get_Head(back, name, &id, got_type) != 1 || id != 5 || strcmp(got_type, "login") != 0;
    Xml_Free(back);
    Xml_Free(doc);
    return failed;
}
