/* lhash.h */
#ifndef LIBBASE_LHASH_H
#define LIBBASE_LHASH_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_LHASH_H */
