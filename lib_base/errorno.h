/* errorno.h */
#ifndef LIBBASE_ERRORNO_H
#define LIBBASE_ERRORNO_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_ERRORNO_H */
