/* Ini.h */
#ifndef LIBBASE_INI_H
#define LIBBASE_INI_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_INI_H */
