/* timer.h */
#ifndef LIBBASE_TIMER_H
#define LIBBASE_TIMER_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_TIMER_H */
