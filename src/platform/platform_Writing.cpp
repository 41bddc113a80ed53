#include "platform/platform_Writing.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>

namespace {

// At the limit on file sizes the next call would raise a signal that by default ends the process,
// and the half that is written already would stay.
bool IsAtSizeLimit(std::uint64_t position) {
    struct rlimit limit;
    return getrlimit(RLIMIT_FSIZE, &limit) == 0 && position >= limit.rlim_cur;
}

int WriteRange(const platform_OpenFile& file, const void* data, std::uint32_t done,
               std::uint32_t count) {
    while (done < count) {
        const char* const source = static_cast<const char*>(data) + done;
        const auto position = static_cast<off_t>(file.mPosition + done);
        const ssize_t written = platform_RepeatInterrupted(
            [&] { return pwrite(file.mDescriptor, source, count - done, position); });
        if (written <= 0) {
            return written == 0 ? EIO : errno;
        }
        done += static_cast<std::uint32_t>(written);
        if (done < count && IsAtSizeLimit(file.mPosition + done)) {
            return EFBIG;
        }
    }
    return 0;
}

// What lies behind the known end goes first: only that can lack room, and a failure there has not
// touched the bytes before it. A new header over half of an old one would end the file for its
// readers.
int WriteAll(const platform_OpenFile& file, const void* data, std::uint32_t count) {
    const std::uint64_t before = file.mKnownEnd - std::min(file.mKnownEnd, file.mPosition);
    const std::uint32_t inside = static_cast<std::uint32_t>(std::min<std::uint64_t>(before, count));
    const int error = WriteRange(file, data, inside, count);
    return error == 0 ? WriteRange(file, data, 0, inside) : error;
}

// Cuts off what a failed write of `count` bytes has put behind the known end: half of a pool header
// there would end the file for its readers. A file that reaches farther than this write could was
// made longer by another, and is left alone.
void TakeBack(const platform_OpenFile& file, std::uint32_t count) {
    std::uint64_t length = 0;
    if (file.Measure(length) == 0 && length > file.mKnownEnd && length <= file.mPosition + count) {
        file.CutTo(file.mKnownEnd);
    }
}

}  // namespace

int platform_Write(platform_OpenFile& file, const void* data, std::uint32_t count) {
    if (const int error = file.mOthersMayWrite ? file.Measure(file.mKnownEnd) : 0; error != 0) {
        return error;
    }
    const int error = WriteAll(file, data, count);
    if (error != 0) {
        TakeBack(file, count);
        return error;
    }
    file.mKnownEnd = std::max(file.mKnownEnd, file.mPosition + count);
    return 0;
}
