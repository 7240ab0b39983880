/* message.h */
#ifndef LIBBASE_MESSAGE_H
#define LIBBASE_MESSAGE_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_MESSAGE_H */
