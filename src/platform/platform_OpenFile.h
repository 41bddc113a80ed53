#ifndef OXBOW_PLATFORM_OPENFILE_H
#define OXBOW_PLATFORM_OPENFILE_H

#include <sys/types.h>

#include <cerrno>
#include <cstdint>
#include <limits>

static_assert(sizeof(off_t) == 8, "positions need 64 bits");

inline constexpr off_t platform_kGreatestPosition = std::numeric_limits<off_t>::max();

// A signal handler without SA_RESTART must not make a call of ours fail.
template <typename Call>
auto platform_RepeatInterrupted(Call call) {
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}

// What a handle points to. Operations give 0 or an errno value.
struct platform_OpenFile {
    platform_OpenFile() = default;
    platform_OpenFile(const platform_OpenFile&) = delete;
    platform_OpenFile& operator=(const platform_OpenFile&) = delete;
    ~platform_OpenFile();

    bool IsClosed() const { return mDescriptor == kClosed; }
    int Measure(std::uint64_t& length) const;
    int CutTo(std::uint64_t length) const;
    // Gives up both descriptors, whatever the system reports.
    int Close();
    void CloseDirectory();

    static constexpr int kClosed = -1;

    int mDescriptor = kClosed;
    // Of a file made by this handle, until its name is on the device; the second tells of one whose
    // directory couldn't be had.
    int mDirectory = kClosed;
    bool mNameInUnknownPlace = false;
    // False only when locks keep them from it.
    bool mOthersMayWrite = true;
    // The code of the first flush that failed.
    int mFlushError = 0;
    std::uint64_t mPosition = 0;
    // The length that a failed write goes back to.
    std::uint64_t mKnownEnd = 0;
};

#endif
