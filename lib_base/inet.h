/* inet.h */
#ifndef LIBBASE_INET_H
#define LIBBASE_INET_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_INET_H */
