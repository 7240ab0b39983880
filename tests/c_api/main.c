/* The C view of the library: every public header compiled as C99, and a
 * call into each module. Each file beside this one defines c_api_<module>,
 * returning the number of checks that failed. */
#include "libbase.h"

#include <stdio.h>

#include "c_api_modules.h"

struct module_check {
    const char *name;
    int (*run)(void);
};

static const struct module_check modules[] = {C_API_MODULES{NULL, NULL}};

int main(void)
{
    int failures = 0;
    for (const struct module_check *m = modules; m->name != NULL; m++) {
        int failed = m->run();
        if (failed != 0)
            fprintf(stderr, "%s: %d checks failed\n", m->name, failed);
        failures += failed;
    }
    return failures == 0 ? 0 : 1;
}
