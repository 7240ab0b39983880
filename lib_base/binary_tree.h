/* binary_tree.h */
#ifndef LIBBASE_BINARY_TREE_H
#define LIBBASE_BINARY_TREE_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_BINARY_TREE_H */
