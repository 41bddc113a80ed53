#include "base/omi_Time.h"

#include <chrono>

// The seconds fill two words, so that the moment doesn't end in 2106.

omi_Time omi_gettimeofday() {
    using namespace std::chrono;
    const auto now = system_clock::now().time_since_epoch();
    const auto whole = static_cast<std::uint64_t>(duration_cast<seconds>(now).count());
    omi_Time time;
    time.mSecondsLow = static_cast<std::uint32_t>(whole);
    time.mSecondsHigh = static_cast<std::uint32_t>(whole >> 32);
    time.mMicroseconds =
        static_cast<std::int32_t>(duration_cast<microseconds>(now).count() % 1000000);
    return time;
}
