#ifndef OXBOW_PLATFORM_SHARELOCKS_H
#define OXBOW_PLATFORM_SHARELOCKS_H

// In the place of an error code: the file system has no locks of this kind.
inline constexpr int platform_kNoLocks = -1;

// Takes the locks that state what an open does and denies, and tests them against those of all
// others. They end when the descriptor is closed. Returns 0, EBUSY when another open
// conflicts with this one, platform_kNoLocks, or an errno value. Requires a descriptor that can be read.
int platform_TakeShareLocks(int descriptor, bool writes, bool deniesWriting);

#endif
