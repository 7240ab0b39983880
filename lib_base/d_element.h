/* d_element.h */
#ifndef LIBBASE_D_ELEMENT_H
#define LIBBASE_D_ELEMENT_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_D_ELEMENT_H */
