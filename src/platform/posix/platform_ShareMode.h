#ifndef OXBOW_PLATFORM_POSIX_SHAREMODE_H
#define OXBOW_PLATFORM_POSIX_SHAREMODE_H

// Takes what an open of the file requires, with locks that belong to it: EBUSY when another open
// conflicts with it. Where the file system has no such locks, opening goes on without, and others
// may write.
int platform_ApplyShareMode(int descriptor, bool writes, bool denies, bool& othersMayWrite);

#endif
