// The share modes, on locks of open file descriptions: unlike a process's locks they work between
// two opens of one process, and closing another open of the file doesn't drop them.
#include "platform/posix/platform_ShareLocks.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdint>

namespace {

// The lock bytes, where no data can lie. A writer holds the first, an open that denies writing the
// second. Both locks are shared, so that an open never conflicts with its own kind; a conflict
// shows when each tests the other's byte.
constexpr off_t kWritesByte = INT64_MAX - 2;
constexpr off_t kDeniesWritingByte = INT64_MAX - 1;

int CallLock(int descriptor, int command, short type, off_t position) {
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = position;
    lock.l_len = 1;
    int result = fcntl(descriptor, command, &lock);
    while (result != 0 && errno == EINTR) {
        result = fcntl(descriptor, command, &lock);
    }
    if (result == 0) {
        return command == F_OFD_GETLK && lock.l_type != F_UNLCK ? EBUSY : 0;
    }
    if (errno == EAGAIN || errno == EACCES) {
        return EBUSY;
    }
    const bool noLocks =
        errno == EINVAL || errno == ENOLCK || errno == ENOSYS || errno == EOPNOTSUPP;
    return noLocks ? platform_kNoLocks : errno;
}

int Hold(int descriptor, off_t position) {
    return CallLock(descriptor, F_OFD_SETLK, F_RDLCK, position);
}

// An exclusive lock would conflict with any that another open holds; one's own never counts.
int TestFree(int descriptor, off_t position) {
    return CallLock(descriptor, F_OFD_GETLK, F_WRLCK, position);
}

}  // namespace

// Every open takes its locks before it tests those of the others, so that of two at the same time
// at least one sees the other.
int platform_TakeShareLocks(int descriptor, bool writes, bool deniesWriting) {
    int error = writes ? Hold(descriptor, kWritesByte) : 0;
    if (error == 0 && deniesWriting) {
        error = Hold(descriptor, kDeniesWritingByte);
    }
    if (error == 0 && writes) {
        error = TestFree(descriptor, kDeniesWritingByte);
    }
    if (error == 0 && deniesWriting) {
        error = TestFree(descriptor, kWritesByte);
    }
    return error;
}
