/* hash.h */
#ifndef LIBBASE_HASH_H
#define LIBBASE_HASH_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_HASH_H */
