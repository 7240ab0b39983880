// support.h - what the fuzz harnesses share: typed values taken off the
// input, exact-size copies for the library to work on, and checks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

// Takes values off the front of a fuzz input. Past the end it gives zeros
// and empty strings, so every input is a whole run.
class Input {
public:
    Input(const uint8_t *data, size_t size) : p_(data), left_(size) {}

    size_t left() const { return left_; }
    uint32_t u8() { return static_cast<uint32_t>(take(1)); }
    uint32_t u16() { return static_cast<uint32_t>(take(2)); }
    uint32_t u32() { return static_cast<uint32_t>(take(4)); }
    int i32() { return static_cast<int>(u32()); }
    bool flag() { return (u8() & 1) != 0; }

    // Up to n bytes.
    std::string bytes(size_t n)
    {
        n = n < left_ ? n : left_;
        std::string s(reinterpret_cast<const char *>(p_), n);
        p_ += n;
        left_ -= n;
        return s;
    }
    // A string of 0 to max bytes, its length taken first.
    std::string text(size_t max) { return bytes(u16() % (max + 1)); }
    std::string rest() { return bytes(left_); }

private:
    uint64_t take(size_t n)
    {
        uint64_t v = 0;
        for (size_t i = 0; i < n && left_ > 0; i++, left_--)
            v |= uint64_t{*p_++} << (8 * i);
        return v;
    }

    const uint8_t *p_;
    size_t left_;
};

// A heap copy of s with a terminating NUL and not a byte more, so that the
// sanitizer sees any access past the terminator. A NUL inside s ends the
// text there, as it would for any caller.
inline std::vector<char> c_string(const std::string &s)
{
    std::vector<char> v(s.size() + 1, '\0');
    memcpy(v.data(), s.data(), s.size());
    return v;
}

// The text of a NUL-terminated buffer, as a string.
inline std::string text_of(const char *s)
{
    return s == nullptr ? std::string() : std::string(s);
}

// A failed check is a finding: the run stops with the place and the text.
#define FUZZ_CHECK(cond)                                                                   \
    do {                                                                                   \
        if (!(cond)) {                                                                     \
            fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond);       \
            abort();                                                                       \
        }                                                                                  \
    } while (0)
