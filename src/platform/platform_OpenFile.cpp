#include "platform/platform_OpenFile.h"

#include <sys/stat.h>
#include <unistd.h>

platform_OpenFile::~platform_OpenFile() {
    static_cast<void>(Close());
}

int platform_OpenFile::Measure(std::uint64_t& length) const {
    struct stat status;
    if (fstat(mDescriptor, &status) != 0) {
        return errno;
    }
    length = static_cast<std::uint64_t>(status.st_size);
    return 0;
}

int platform_OpenFile::CutTo(std::uint64_t length) const {
    const auto end = static_cast<off_t>(length);
    return platform_RepeatInterrupted([&] { return ftruncate(mDescriptor, end); }) == 0 ? 0 : errno;
}

// Whatever close reports, the descriptor is gone and may be another's by now: it is never closed
// twice.
int platform_OpenFile::Close() {
    const bool failed = !IsClosed() && close(mDescriptor) != 0 && errno != EINTR;
    const int code = failed ? errno : 0;
    mDescriptor = kClosed;
    CloseDirectory();
    return code;
}

void platform_OpenFile::CloseDirectory() {
    if (mDirectory != kClosed) {
        close(mDirectory);
    }
    mDirectory = kClosed;
}
