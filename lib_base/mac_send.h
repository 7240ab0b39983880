/* mac_send.h */
#ifndef LIBBASE_MAC_SEND_H
#define LIBBASE_MAC_SEND_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_MAC_SEND_H */
