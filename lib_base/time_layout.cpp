// time_layout.cpp - the layouts of the public records that hold a struct
// timeval, pinned for the device and for the build machine.
//
// The width of time_t decides them. On 32-bit ARM a build follows the C
// library's default, a 32-bit time_t and an 8-byte timeval, unless it is made
// with LIBBASE_TIME64 (_TIME_BITS=64): a 64-bit time_t and a 16-byte timeval
// aligned to 8 bytes, which moves every later field and changes the sizes.
// An application built with the other width than the library allocates these
// records too small or too large and finds their fields at other offsets.
#include <cstddef>
#include <ctime>

#include "zor_timer.h"

namespace {

struct ServiceLayout {
    size_t oldtime, nowtime, delaytime, totaldelaytime, size;
};
struct TimerLayout {
    size_t time, timer_str, jiffer, hash, size;
};

#if defined(__x86_64__)
constexpr ServiceLayout kService{24, 40, 56, 72, 80};
constexpr TimerLayout kTimer{16, 32, 84, 100, 104};
#define LIBBASE_LAYOUT_PINNED 1
#elif defined(__arm__)
constexpr bool kTime64 = sizeof(time_t) == 8;
constexpr ServiceLayout kService = kTime64 ? ServiceLayout{16, 32, 48, 56, 64} : ServiceLayout{16, 24, 32, 40, 44};
constexpr TimerLayout kTimer = kTime64 ? TimerLayout{8, 24, 76, 92, 96} : TimerLayout{8, 16, 68, 84, 88};
#define LIBBASE_LAYOUT_PINNED 1
#endif

#ifdef LIBBASE_LAYOUT_PINNED
static_assert(offsetof(TIMER_LIST, oldtime) == kService.oldtime, "TIMER_LIST layout");
static_assert(offsetof(TIMER_LIST, nowtime) == kService.nowtime, "TIMER_LIST layout");
static_assert(offsetof(TIMER_LIST, delaytime) == kService.delaytime, "TIMER_LIST layout");
static_assert(offsetof(TIMER_LIST, totaldelaytime) == kService.totaldelaytime, "TIMER_LIST layout");
static_assert(sizeof(TIMER_LIST) == kService.size, "TIMER_LIST layout");
static_assert(offsetof(TIMER_ELEMENT, time) == kTimer.time, "TIMER_ELEMENT layout");
static_assert(offsetof(TIMER_ELEMENT, timer_str) == kTimer.timer_str, "TIMER_ELEMENT layout");
static_assert(offsetof(TIMER_ELEMENT, jiffer) == kTimer.jiffer, "TIMER_ELEMENT layout");
static_assert(offsetof(TIMER_ELEMENT, hash) == kTimer.hash, "TIMER_ELEMENT layout");
static_assert(sizeof(TIMER_ELEMENT) == kTimer.size, "TIMER_ELEMENT layout");
#endif

} // namespace
