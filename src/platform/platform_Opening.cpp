#include "platform/platform_Opening.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "platform/platform_ShareMode.h"

namespace {

// Programs print to 0, 1 and 2 even when these were closed before they started. A file of ours
// there would be damaged.
int MoveAboveStandardStreams(int descriptor) {
    if (descriptor == platform_OpenFile::kClosed || descriptor > STDERR_FILENO) {
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

// Writes the directory part of `path` into `directory`, its last slash included. False when it
// doesn't fit.
bool DirectoryOf(const char* path, char (&directory)[PATH_MAX]) {
    const char* const slash = std::strrchr(path, '/');
    const char* const source = slash == nullptr ? "." : path;
    const std::size_t length = slash == nullptr ? 1 : static_cast<std::size_t>(slash - path) + 1;
    if (length >= sizeof directory) {
        return false;
    }
    std::memcpy(directory, source, length);
    directory[length] = '\0';
    return true;
}

bool DirectoryExists(const char* path) {
    char directory[PATH_MAX];
    struct stat status;
    return DirectoryOf(path, directory) && stat(directory, &status) == 0;
}

// The system gives one code for a missing file and a missing directory, and callers take the first
// for a normal case.
int OpenError(const char* path, int code) {
    switch (code) {
        case ENOENT:
            return *path != '\0' && DirectoryExists(path) ? ENOENT : ENOTDIR;
        case ENXIO:  // a socket, or a device that isn't there
        case ENODEV:
            return ESPIPE;
        case EAGAIN:  // another process holds a lease, and O_NONBLOCK doesn't wait for it
            return EBUSY;
        default:
            return code;
    }
}

int OpenExisting(platform_OpenFile& file, const char* path, int access) {
    file.mDescriptor = OpenPath(path, access);
    return file.mDescriptor == platform_OpenFile::kClosed ? OpenError(path, errno) : 0;
}

// The directory is opened now, while the path surely leads to it: the process may change its
// working directory.
void RememberDirectory(platform_OpenFile& file, const char* path) {
    char directory[PATH_MAX];
    if (DirectoryOf(path, directory)) {
        file.mDirectory = OpenPath(directory, O_RDONLY | O_DIRECTORY);
    }
    file.mNameInUnknownPlace = file.mDirectory == platform_OpenFile::kClosed;
}

// Creation comes first and alone, since only O_EXCL tells whether it was this open that made the
// file. An existing one is opened without O_CREAT, which some systems refuse for the files of
// others in a shared directory.
int OpenOrCreate(platform_OpenFile& file, const char* path) {
    file.mDescriptor = OpenPath(path, O_RDWR | O_CREAT | O_EXCL);
    if (file.mDescriptor != platform_OpenFile::kClosed) {
        RememberDirectory(file, path);
        return 0;
    }
    if (errno != EEXIST) {
        return OpenError(path, errno);
    }
    if (const int error = OpenExisting(file, path, O_RDWR); error != ENOENT) {
        return error;
    }
    // A link to a file that is not there, or a file that went away a moment ago.
    file.mNameInUnknownPlace = true;
    return OpenExisting(file, path, O_RDWR | O_CREAT);
}

int TestRegular(const platform_OpenFile& file) {
    struct stat status;
    if (fstat(file.mDescriptor, &status) != 0) {
        return errno;
    }
    if (S_ISDIR(status.st_mode)) {
        return EISDIR;
    }
    return S_ISREG(status.st_mode) ? 0 : ESPIPE;
}

}  // namespace

// The file is cut and measured only under its locks: before that it may be another's, at work on
// it. A writer's descriptor reads as well, or it couldn't hold a shared lock.
int platform_OpenAt(platform_OpenFile& file, const char* path, DWORD access, DWORD share,
                    DWORD disposition) {
    const bool creates = disposition == CREATE_ALWAYS;
    if (!creates && disposition != OPEN_EXISTING) {
        return EINVAL;
    }
    const bool writes = creates || (access & GENERIC_WRITE) != 0;
    int error =
        creates ? OpenOrCreate(file, path) : OpenExisting(file, path, writes ? O_RDWR : O_RDONLY);
    if (error == 0) {
        error = TestRegular(file);
    }
    if (error == 0) {
        error = platform_ApplyShareMode(file, writes, (share & FILE_SHARE_WRITE) == 0);
    }
    if (error == 0 && creates) {
        error = file.CutTo(0);
    }
    return error == 0 ? file.Measure(file.mKnownEnd) : error;
}
