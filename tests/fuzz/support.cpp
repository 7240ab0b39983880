// support.cpp - set-up shared by every harness, in both the libFuzzer
// binaries and the corpus replays.
#include <cstdint>
#include <cstdio>

// The library reports on standard output; at thousands of runs a second that
// is only noise, so it goes nowhere. libFuzzer and the sanitizers write to
// standard error.
extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    if (freopen("/dev/null", "w", stdout) == nullptr)
        perror("/dev/null");
    return 0;
}
