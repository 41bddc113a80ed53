#ifndef OXBOW_OXBOW_RPM_MUTEX_H
#define OXBOW_OXBOW_RPM_MUTEX_H

#include "base/FennelMutex.h"

/** Owns one mutex of the base layer. The constructor raises std::bad_alloc. */
class OxbowRpm_Mutex {
public:
    OxbowRpm_Mutex();
    ~OxbowRpm_Mutex();
    OxbowRpm_Mutex(const OxbowRpm_Mutex&) = delete;
    OxbowRpm_Mutex& operator=(const OxbowRpm_Mutex&) = delete;

    void Lock() { mMutex->Lock(); }
    void Unlock() { mMutex->Unlock(); }

private:
    FennelMutex* mMutex;
};

/** Holds the mutex for a scope, so that an exception that leaves it releases the lock. */
class OxbowRpm_ScopedLock {
public:
    explicit OxbowRpm_ScopedLock(OxbowRpm_Mutex& mutex);
    ~OxbowRpm_ScopedLock();
    OxbowRpm_ScopedLock(const OxbowRpm_ScopedLock&) = delete;
    OxbowRpm_ScopedLock& operator=(const OxbowRpm_ScopedLock&) = delete;

private:
    OxbowRpm_Mutex* mMutex;
};

#endif
