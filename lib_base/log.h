/* log.h */
#ifndef LIBBASE_LOG_H
#define LIBBASE_LOG_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_LOG_H */
