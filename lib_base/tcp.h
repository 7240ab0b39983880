/* tcp.h */
#ifndef LIBBASE_TCP_H
#define LIBBASE_TCP_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_TCP_H */
