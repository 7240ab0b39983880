// kept_blocks.h - released malloc blocks kept per thread for the next ones.
#ifndef LIBBASE_INTERNAL_KEPT_BLOCKS_H
#define LIBBASE_INTERNAL_KEPT_BLOCKS_H

#include <malloc.h>

#include <cstddef>
#include <cstdlib>
#include <new>

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

// Released blocks all of one size (list cells, say) kept on this thread
// for the next ones: at most kCount, linked through their first bytes.
// Like KeptBlocks, they stay ordinary malloc blocks; declare one per size
// as a thread_local.
template <size_t Size>
class KeptSameSize {
public:
    KeptSameSize() = default;
    KeptSameSize(const KeptSameSize &) = delete;
    KeptSameSize &operator=(const KeptSameSize &) = delete;
    ~KeptSameSize()
    {
        closed_ = true;
        while (first_ != nullptr)
            free(take());
    }

    // A kept block, else a new one from malloc (NULL when there is no
    // memory); its contents undefined.
    void *take()
    {
        if (first_ == nullptr)
            return malloc(Size);
        Link *block = first_;
        first_ = block->next;
        count_--;
        return block;
    }

    // Keeps block (one of Size bytes from malloc) for a later take, or
    // frees it when there is no room.
    void keep(void *block)
    {
        if (closed_ || count_ == kCount) {
            free(block);
            return;
        }
        first_ = new (block) Link{first_};
        count_++;
    }

private:
    static_assert(Size >= sizeof(void *), "a kept block holds a link");
    static constexpr int kCount = 256;

    struct Link {
        Link *next;
    };
    Link *first_ = nullptr;
    int count_ = 0;
    bool closed_ = false;
};

} // namespace libbase

#endif
