#include "platform/posix/platform_ShareMode.h"

#include <fcntl.h>

#include "platform/posix/platform_File.h"

namespace {

// The lock bytes, where no data can lie. A writer holds the first, an open that denies writing the
// second. Both hold them shared, so that they never conflict with their own kind; a conflict shows
// when each tests the other's byte.
constexpr off_t kWritesByte = platform_kGreatestPosition - 2;
constexpr off_t kDeniesWritingByte = platform_kGreatestPosition - 1;

// In the place of an error code: the file system has no such locks.
constexpr int kNoLocks = -1;

// The locks belong to the open file: they end with it or its process, and not when another open of
// the path is closed.
int CallLock(int descriptor, int command, struct flock& lock) {
    if (platform_RepeatInterrupted([&] { return fcntl(descriptor, command, &lock); }) == 0) {
        return 0;
    }
    switch (errno) {
        case EAGAIN:
        case EACCES:
            return EBUSY;
        case EINVAL:
        case ENOLCK:
        case ENOSYS:
        case EOPNOTSUPP:
            return kNoLocks;
        default:
            return errno;
    }
}

struct flock LockOn(off_t position, short type) {
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = position;
    lock.l_len = 1;
    return lock;
}

int Hold(int descriptor, off_t position) {
    struct flock lock = LockOn(position, F_RDLCK);
    return CallLock(descriptor, F_OFD_SETLK, lock);
}

// An exclusive lock would conflict with any that another open holds; one's own never counts.
int TestFree(int descriptor, off_t position) {
    struct flock lock = LockOn(position, F_WRLCK);
    const int error = CallLock(descriptor, F_OFD_GETLK, lock);
    return error == 0 && lock.l_type != F_UNLCK ? EBUSY : error;
}

// Every open takes its locks before it tests those of the others, so that of two at one time at
// least one sees the other.
int HoldThenTest(int descriptor, bool writes, bool denies) {
    int error = writes ? Hold(descriptor, kWritesByte) : 0;
    if (error == 0 && denies) {
        error = Hold(descriptor, kDeniesWritingByte);
    }
    if (error == 0 && writes) {
        error = TestFree(descriptor, kDeniesWritingByte);
    }
    if (error == 0 && denies) {
        error = TestFree(descriptor, kWritesByte);
    }
    return error;
}

}  // namespace

int platform_ApplyShareMode(int descriptor, bool writes, bool denies, bool& othersMayWrite) {
    const int error = HoldThenTest(descriptor, writes, denies);
    othersMayWrite = !denies || error == kNoLocks;
    return error == kNoLocks ? 0 : error;
}
