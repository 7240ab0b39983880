/* udp.h */
#ifndef LIBBASE_UDP_H
#define LIBBASE_UDP_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_UDP_H */
