// internal/hash_rule.h - how both hash tables pick their size and a key's
// bucket: the size argument names a mask, and the bucket is the key's
// times-33 hash under that mask. Private to the library: never installed.
#pragma once

#ifndef __cplusplus
#error "hash_rule.h is internal C++"
#endif

#include <cstdint>

namespace libbase::hash_rule {

// The masks a table may be made with; 9 is kept although it is not one
// less than a power of two.
constexpr uint32_t kMasks[] = {9, 15, 31, 63, 127, 255, 511, 1023, 2047, 4095, 8191, 16383};
constexpr uint32_t kDefaultMask = 15;

// The mask of a size argument: itself when it is one of kMasks, else 15.
inline uint32_t mask_for(int size)
{
    for (uint32_t mask : kMasks) {
        if (static_cast<uint32_t>(size) == mask)
            return mask;
    }
    return kDefaultMask;
}

// The times-33 hash, from 0, in 32-bit arithmetic, of klen bytes, or up to
// the NUL when klen is -1. Any other negative length, or a NULL key, hashes
// nothing.
inline uint32_t times33(const void *key, int klen)
{
    uint32_t hash = 0;
    auto byte = static_cast<const unsigned char *>(key);
    if (byte == nullptr)
        return hash;
    if (klen == -1) {
        for (; *byte != 0; byte++)
            hash = hash * 33 + *byte;
        return hash;
    }
    for (; klen > 0; klen--)
        hash = hash * 33 + *byte++;
    return hash;
}

// The bucket of a key in a table with the given mask.
inline uint32_t bucket_index(uint32_t mask, const void *key, int klen)
{
    return times33(key, klen) & mask;
}

} // namespace libbase::hash_rule
