/* xml.h */
#ifndef LIBBASE_XML_H
#define LIBBASE_XML_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_XML_H */
