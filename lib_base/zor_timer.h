/* zor_timer.h */
#ifndef LIBBASE_ZOR_TIMER_H
#define LIBBASE_ZOR_TIMER_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_ZOR_TIMER_H */
