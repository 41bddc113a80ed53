#ifndef OXBOW_PLATFORM_POSIX_FILE_H
#define OXBOW_PLATFORM_POSIX_FILE_H

#include <sys/types.h>

#include <cerrno>
#include <cstdint>
#include <limits>

static_assert(sizeof(off_t) == 8, "positions need 64 bits");

inline constexpr off_t platform_kGreatestPosition = std::numeric_limits<off_t>::max();

// Repeats a call that a signal handler without SA_RESTART has interrupted.
template <typename Call>
auto platform_RepeatInterrupted(Call call) {
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}

// What a handle points to: one open file and its position. Operations return 0 or an errno value.
//
// The rule of writing: a failed call leaves the file's length, and a header that the file held. What
// lies behind the known end is written first, since only that can lack room, and is cut off again
// when it fails; only then bytes inside the file are replaced. Half of a new pool header behind the
// end, or over an old header, would end the file for its readers.
class platform_File {
public:
    platform_File() = default;
    ~platform_File();
    platform_File(const platform_File&) = delete;
    platform_File& operator=(const platform_File&) = delete;

    // Opens the regular file at the path, and cuts it to length 0 if it `creates`. A refused open
    // has not touched the file's content.
    int Open(const char* path, bool writes, bool creates, bool deniesWriting);
    // Reads at the position and moves it by `got`, which is 0 at the end of the file.
    int Read(void* buffer, std::uint32_t count, std::uint32_t& got);
    // Writes at the position and moves it by `count`, or leaves it.
    int Write(const void* data, std::uint32_t count);
    // Returns when the bytes are on the device, and the name if this handle made the file. Once
    // failed, it returns that code forever.
    int Flush();
    // What opening has measured answers the first call.
    int Size(std::uint64_t& length);
    // Gives up the descriptors, whatever the system reports; closing again succeeds.
    int Close();

    bool IsClosed() const { return mDescriptor == kClosed; }
    // At most platform_kGreatestPosition; it may lie past the end of the file.
    void Seek(std::uint64_t position) { mPosition = position; }

private:
    static constexpr int kClosed = -1;

    int OpenExisting(const char* path, int access);
    int OpenOrCreate(const char* path);
    void RememberFolder(const char* path);
    int TestRegular();
    int Measure();
    int CutTo(std::uint64_t length);

    int WriteOver(const void* data, std::uint32_t count, std::uint64_t knownEnd);
    int WriteRange(const void* data, std::uint32_t begin, std::uint32_t end);
    void TakeBack(std::uint32_t count, std::uint64_t knownEnd);

    int SyncName();
    void CloseFolder();

    int mDescriptor = kClosed;
    // The folder of a file that this handle made, until its name is on the device; and whether such
    // a folder could not be opened.
    int mFolder = kClosed;
    bool mNameInUnknownPlace = false;
    bool mOthersMayWrite = true;
    bool mSizeIsFresh = false;
    // The code of the first flush that failed.
    int mFlushError = 0;
    std::uint64_t mPosition = 0;
    // The length when it was last measured or written past.
    std::uint64_t mKnownEnd = 0;
};

#endif
