#include "platform/platform_Flushing.h"

#include <unistd.h>

namespace {

int SyncDirectory(platform_OpenFile& file) {
    // EINVAL: directories of this file system are not synced by hand.
    if (platform_RepeatInterrupted([&] { return fsync(file.mDirectory); }) != 0 &&
        errno != EINVAL) {
        return errno;
    }
    file.CloseDirectory();
    return 0;
}

int SyncName(platform_OpenFile& file) {
    if (file.mDirectory != platform_OpenFile::kClosed) {
        return SyncDirectory(file);
    }
    if (file.mNameInUnknownPlace &&
        platform_RepeatInterrupted([&] { return syncfs(file.mDescriptor); }) != 0) {
        return errno;
    }
    file.mNameInUnknownPlace = false;
    return 0;
}

int Sync(platform_OpenFile& file) {
    if (platform_RepeatInterrupted([&] { return fdatasync(file.mDescriptor); }) != 0) {
        return errno;
    }
    return SyncName(file);
}

}  // namespace

int platform_Flush(platform_OpenFile& file) {
    // After a failure the system drops the pages it couldn't write and forgets them, so a later
    // success would be a lie.
    if (file.mFlushError == 0) {
        file.mFlushError = Sync(file);
    }
    return file.mFlushError;
}
