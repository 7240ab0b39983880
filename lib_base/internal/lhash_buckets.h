// internal/lhash_buckets.h - the buckets of a list-bucket hash table, for
// the event timer service, which keeps each of its bucket cells and sweeps
// buckets itself. Private to the library: never installed.
#pragma once

#ifndef __cplusplus
#error "lhash_buckets.h is internal C++"
#endif

#include "lhash.h"

namespace libbase::lhash_buckets {

// The number of buckets (the mask + 1); 0 for a NULL table.
unsigned count(ZOR_HASH_FIFO table);

// The index of the key's bucket; a key is klen bytes, or a NUL-terminated
// string when klen is -1.
unsigned index_of(ZOR_HASH_FIFO table, const void *key, int klen);

// The list of bucket index; NULL for a NULL table, an index out of range or
// a missing bucket.
FIFOH at(ZOR_HASH_FIFO table, unsigned index);

} // namespace libbase::lhash_buckets
