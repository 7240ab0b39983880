// kept_blocks.h - released malloc blocks kept per thread for the next ones.
#ifndef LIBBASE_INTERNAL_KEPT_BLOCKS_H
#define LIBBASE_INTERNAL_KEPT_BLOCKS_H

#include <malloc.h>

#include <cstddef>
#include <cstdlib>

namespace libbase {

// Blocks of one kind released on this thread, kept for the next ones when
// the allocator's fast path would not keep them (too large, or of too many
// sizes). At most kCount blocks and kBytes bytes are kept. They stay
// ordinary malloc blocks, so whoever ends up with one may free it. Declare
// one per kind as a thread_local: what it keeps is freed when the thread
// ends, and blocks released after that are freed at once.
class KeptBlocks {
public:
    KeptBlocks() = default;
    KeptBlocks(const KeptBlocks &) = delete;
    KeptBlocks &operator=(const KeptBlocks &) = delete;
    ~KeptBlocks()
    {
        closed_ = true;
        while (count_ > 0)
            free(blocks_[--count_].block);
    }

    // A kept block of at least size bytes, its contents undefined; NULL
    // when none is kept.
    void *take(size_t size)
    {
        for (int i = count_ - 1; i >= 0; i--) {
            if (blocks_[i].size >= size) {
                void *block = blocks_[i].block;
                bytes_ -= blocks_[i].size;
                blocks_[i] = blocks_[--count_];
                return block;
            }
        }
        return nullptr;
    }

    // Keeps block for a later take, or frees it when there is no room.
    void keep(void *block)
    {
        size_t size = malloc_usable_size(block);
        if (closed_ || count_ == kCount || size > kBytes - bytes_) {
            free(block);
            return;
        }
        blocks_[count_++] = {block, size};
        bytes_ += size;
    }

private:
    static constexpr int kCount = 32;
    static constexpr size_t kBytes = 64 * 1024;

    struct Kept {
        void *block;
        size_t size;  // usable bytes
    };
    Kept blocks_[kCount];
    int count_ = 0;
    size_t bytes_ = 0;
    bool closed_ = false;
};

} // namespace libbase

#endif
