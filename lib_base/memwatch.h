/* memwatch.h */
#ifndef LIBBASE_MEMWATCH_H
#define LIBBASE_MEMWATCH_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_MEMWATCH_H */
