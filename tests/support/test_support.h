// test_support.h - what every module's tests share: capturing what the
// library prints on standard output, and a fresh temporary directory.
#pragma once

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace testing_support {

// Redirects file descriptor 1 (and the C stdout stream) into a temporary
// file until Stop() or destruction; Stop() returns every byte printed.
class StdoutCapture {
public:
    StdoutCapture()
    {
        fflush(stdout);
        char path[] = "/tmp/libbase-capture-XXXXXX";
        fd_ = mkstemp(path);
        if (fd_ < 0)
            throw std::runtime_error("mkstemp failed");
        unlink(path);
        saved_ = dup(STDOUT_FILENO);
        dup2(fd_, STDOUT_FILENO);
    }
    ~StdoutCapture() { Stop(); }
    StdoutCapture(const StdoutCapture &) = delete;
    StdoutCapture &operator=(const StdoutCapture &) = delete;

    std::string Stop()
    {
        if (saved_ < 0)
            return text_;
        fflush(stdout);
        dup2(saved_, STDOUT_FILENO);
        close(saved_);
        saved_ = -1;
        lseek(fd_, 0, SEEK_SET);
        char buf[4096];
        ssize_t n;
        while ((n = read(fd_, buf, sizeof buf)) > 0)
            text_.append(buf, static_cast<size_t>(n));
        close(fd_);
        return text_;
    }

private:
    int fd_ = -1;
    int saved_ = -1;
    std::string text_;
};

// Runs fn and returns what it printed.
template <typename Fn>
std::string Printed(Fn &&fn)
{
    StdoutCapture capture;
    fn();
    return capture.Stop();
}

// A fresh directory under the system's temporary directory, removed with
// everything in it at destruction.
class TempDir {
public:
    TempDir()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "libbase-test-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr)
            throw std::runtime_error("mkdtemp failed");
        path_ = pattern;
    }
    ~TempDir()
    {
        std::error_code ec;
        std::filesystem::remove_all(path_, ec);
    }
    TempDir(const TempDir &) = delete;
    TempDir &operator=(const TempDir &) = delete;

    const std::filesystem::path &path() const { return path_; }
    std::string file(const std::string &name) const { return (path_ / name).string(); }

private:
    std::filesystem::path path_;
};

// The local port a socket is bound to.
inline int LocalPort(int fd)
{
    sockaddr_in sa{};
    socklen_t len = sizeof sa;
    getsockname(fd, reinterpret_cast<sockaddr *>(&sa), &len);
    return ntohs(sa.sin_port);
}

inline std::string ReadFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

inline void WriteFile(const std::string &path, const std::string &bytes)
{
    std::ofstream out(path, std::ios::binary);
    out << bytes;
}

} // namespace testing_support
