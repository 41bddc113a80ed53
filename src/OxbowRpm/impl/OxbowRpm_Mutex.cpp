#include "OxbowRpm/impl/OxbowRpm_Mutex.h"

// The lock is made through the base layer, which knows what the threads of this platform need.

OxbowRpm_Mutex::OxbowRpm_Mutex() : mMutex(FennelThreadingModel::newMutex()) {}

OxbowRpm_Mutex::~OxbowRpm_Mutex() {
    if (mMutex != nullptr) {
        delete mMutex;
        mMutex = nullptr;
    }
}

OxbowRpm_ScopedLock::OxbowRpm_ScopedLock(OxbowRpm_Mutex& mutex) : mMutex(&mutex) {
    mMutex->Lock();
}

OxbowRpm_ScopedLock::~OxbowRpm_ScopedLock() {
    if (mMutex != nullptr) {
        mMutex->Unlock();
        mMutex = nullptr;
    }
}
