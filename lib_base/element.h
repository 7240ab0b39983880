/* element.h */
#ifndef LIBBASE_ELEMENT_H
#define LIBBASE_ELEMENT_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_ELEMENT_H */
