// internal/fd.h - a descriptor closed when it goes out of scope.
// Private to the library: never installed.
#pragma once

#include <unistd.h>

namespace libbase {

class Fd {
public:
    explicit Fd(int fd) : fd_(fd) {}
    ~Fd()
    {
        if (fd_ >= 0)
            close(fd_);
    }
    Fd(const Fd &) = delete;
    Fd &operator=(const Fd &) = delete;
    bool ok() const { return fd_ >= 0; }
    int get() const { return fd_; }

private:
    int fd_;
};

} // namespace libbase
