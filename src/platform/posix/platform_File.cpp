#include "platform/posix/platform_File.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "platform/posix/platform_ShareMode.h"

namespace {

// Programs print to 0, 1 and 2 even if these were closed before they started. A file of ours there
// would be damaged.
int MoveAboveStandardStreams(int descriptor) {
    if (descriptor == -1 || descriptor > STDERR_FILENO) {
        return descriptor;
    }
    const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int code = errno;
    close(descriptor);
    errno = code;
    return moved;
}

// O_NONBLOCK keeps the open of a FIFO from waiting for its other end. Regular files ignore it.
int OpenPath(const char* path, int flags) {
    const int all = flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    return MoveAboveStandardStreams(
        platform_RepeatInterrupted([&] { return open(path, all, 0666); }));
}

// The folder part of a path, its last slash included; empty if the path has none, or if it is too
// long to be a path.
class FolderOf {
public:
    explicit FolderOf(const char* path) {
        const char* const slash = std::strrchr(path, '/');
        const char* const source = slash == nullptr ? "." : path;
        const std::size_t length =
            slash == nullptr ? 1 : static_cast<std::size_t>(slash - path) + 1;
        const std::size_t taken = length < sizeof mText ? length : 0;
        std::memcpy(mText, source, taken);
        mText[taken] = '\0';
    }
    const char* Text() const { return mText; }
    bool Exists() const {
        struct stat status;
        return stat(mText, &status) == 0;
    }

private:
    char mText[PATH_MAX];
};

// The system has one code for a missing file and a missing folder, and callers take the first for a
// normal case.
int OpenError(const char* path, int code) {
    switch (code) {
        case ENOENT:
            return *path != '\0' && FolderOf(path).Exists() ? ENOENT : ENOTDIR;
        case ENXIO:  // a socket, or a device that isn't there
        case ENODEV:
            return ESPIPE;
        case EAGAIN:  // another process holds a lease, and O_NONBLOCK doesn't wait for it
            return EBUSY;
        default:
            return code;
    }
}

// A write that starts at the limit on file sizes raises a signal, which by default ends the process.
bool PassesSizeLimit(std::uint64_t end) {
    struct rlimit limit;
    return getrlimit(RLIMIT_FSIZE, &limit) == 0 && end > limit.rlim_cur;
}

}  // namespace

platform_File::~platform_File() {
    static_cast<void>(Close());
}

// The file is cut and measured only under its locks: before that it may be another's, at work on
// it. A writer's descriptor reads as well, or it couldn't hold a shared lock.
int platform_File::Open(const char* path, bool writes, bool creates, bool deniesWriting) {
    int error = creates ? OpenOrCreate(path) : OpenExisting(path, writes ? O_RDWR : O_RDONLY);
    if (error == 0) {
        error = TestRegular();
    }
    if (error == 0 && (writes || deniesWriting)) {
        error = platform_ApplyShareMode(mDescriptor, writes, deniesWriting, mOthersMayWrite);
        error = error == 0 && creates ? CutTo(0) : error;
        error = error == 0 ? Measure() : error;
    }
    mSizeIsFresh = error == 0;
    return error;
}

int platform_File::OpenExisting(const char* path, int access) {
    mDescriptor = OpenPath(path, access);
    return IsClosed() ? OpenError(path, errno) : 0;
}

// Creation comes first and alone, since only O_EXCL reveals whether it was this open that made the
// file. An existing one is opened without O_CREAT, which some systems refuse for the files of
// others in a shared folder.
int platform_File::OpenOrCreate(const char* path) {
    mDescriptor = OpenPath(path, O_RDWR | O_CREAT | O_EXCL);
    if (!IsClosed()) {
        RememberFolder(path);
        return 0;
    }
    if (errno != EEXIST) {
        return OpenError(path, errno);
    }
    if (const int error = OpenExisting(path, O_RDWR); error != ENOENT) {
        return error;
    }
    // A link to a file that is not there, or a file that was removed a moment ago.
    mNameInUnknownPlace = true;
    return OpenExisting(path, O_RDWR | O_CREAT);
}

// The folder is opened now, while the path surely leads to it: the process may change its working
// directory.
void platform_File::RememberFolder(const char* path) {
    mFolder = OpenPath(FolderOf(path).Text(), O_RDONLY | O_DIRECTORY);
    mNameInUnknownPlace = mFolder == kClosed;
}

int platform_File::TestRegular() {
    struct stat status;
    if (fstat(mDescriptor, &status) != 0) {
        return errno;
    }
    if (S_ISDIR(status.st_mode)) {
        return EISDIR;
    }
    mKnownEnd = static_cast<std::uint64_t>(status.st_size);
    return S_ISREG(status.st_mode) ? 0 : ESPIPE;
}

int platform_File::Measure() {
    struct stat status;
    if (fstat(mDescriptor, &status) != 0) {
        return errno;
    }
    mKnownEnd = static_cast<std::uint64_t>(status.st_size);
    return 0;
}

int platform_File::CutTo(std::uint64_t length) {
    const auto end = static_cast<off_t>(length);
    return platform_RepeatInterrupted([&] { return ftruncate(mDescriptor, end); }) == 0 ? 0 : errno;
}

int platform_File::Read(void* buffer, std::uint32_t count, std::uint32_t& got) {
    // The system refuses a range that ends past the greatest position; here it is simply past the
    // end of the file.
    const auto position = static_cast<off_t>(mPosition);
    const auto wanted =
        static_cast<std::size_t>(std::min<off_t>(count, platform_kGreatestPosition - position));
    const ssize_t result =
        platform_RepeatInterrupted([&] { return pread(mDescriptor, buffer, wanted, position); });
    if (result < 0) {
        return errno;
    }
    got = static_cast<std::uint32_t>(result);
    mPosition += got;
    return 0;
}

int platform_File::Write(const void* data, std::uint32_t count) {
    if (const int error = mOthersMayWrite ? Measure() : 0; error != 0) {
        return error;
    }
    mSizeIsFresh = false;
    const std::uint64_t end = mPosition + count;
    if (end > mKnownEnd && PassesSizeLimit(end)) {
        return EFBIG;
    }
    if (const int error = WriteOver(data, count, mKnownEnd); error != 0) {
        TakeBack(count, mKnownEnd);
        return error;
    }
    mPosition = end;
    mKnownEnd = std::max(mKnownEnd, end);
    return 0;
}

int platform_File::WriteOver(const void* data, std::uint32_t count, std::uint64_t knownEnd) {
    const std::uint64_t before = knownEnd - std::min(knownEnd, mPosition);
    const auto inside = static_cast<std::uint32_t>(std::min<std::uint64_t>(before, count));
    const int error = WriteRange(data, inside, count);
    return error == 0 ? WriteRange(data, 0, inside) : error;
}

int platform_File::WriteRange(const void* data, std::uint32_t begin, std::uint32_t end) {
    while (begin < end) {
        const char* const source = static_cast<const char*>(data) + begin;
        const auto position = static_cast<off_t>(mPosition + begin);
        const ssize_t written = platform_RepeatInterrupted(
            [&] { return pwrite(mDescriptor, source, end - begin, position); });
        if (written <= 0) {
            return written == 0 ? EIO : errno;
        }
        begin += static_cast<std::uint32_t>(written);
        // A limit inside the file: the rest of the range would start at it.
        if (begin < end && PassesSizeLimit(mPosition + end)) {
            return EFBIG;
        }
    }
    return 0;
}

// A file that reaches farther than this write could was made longer by another, and is left alone.
void platform_File::TakeBack(std::uint32_t count, std::uint64_t knownEnd) {
    if (Measure() == 0 && mKnownEnd > knownEnd && mKnownEnd <= mPosition + count) {
        CutTo(knownEnd);
        mKnownEnd = knownEnd;
    }
}

int platform_File::Flush() {
    // After a failure the system drops the pages that it couldn't write and forgets them, so that a
    // later success would be a lie.
    if (mFlushError == 0) {
        const bool synced = platform_RepeatInterrupted([&] { return fdatasync(mDescriptor); }) == 0;
        mFlushError = synced ? SyncName() : errno;
    }
    return mFlushError;
}

int platform_File::SyncName() {
    if (mFolder != kClosed) {
        // EINVAL: folders of this file system are not synced by hand.
        if (platform_RepeatInterrupted([&] { return fsync(mFolder); }) != 0 && errno != EINVAL) {
            return errno;
        }
        CloseFolder();
    }
    if (mNameInUnknownPlace &&
        platform_RepeatInterrupted([&] { return syncfs(mDescriptor); }) != 0) {
        return errno;
    }
    mNameInUnknownPlace = false;
    return 0;
}

int platform_File::Size(std::uint64_t& length) {
    const int error = mSizeIsFresh ? 0 : Measure();
    mSizeIsFresh = false;
    length = mKnownEnd;
    return error;
}

// Whatever close reports, the descriptor is gone and may be another's by now: it is never closed
// twice.
int platform_File::Close() {
    const bool failed = !IsClosed() && close(mDescriptor) != 0 && errno != EINTR;
    const int code = failed ? errno : 0;
    mDescriptor = kClosed;
    CloseFolder();
    return code;
}

void platform_File::CloseFolder() {
    if (mFolder != kClosed) {
        close(mFolder);
    }
    mFolder = kClosed;
}
