/* tlog.h */
#ifndef LIBBASE_TLOG_H
#define LIBBASE_TLOG_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_TLOG_H */
