/* tcp_fc_cut.h */
#ifndef LIBBASE_TCP_FC_CUT_H
#define LIBBASE_TCP_FC_CUT_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_TCP_FC_CUT_H */
