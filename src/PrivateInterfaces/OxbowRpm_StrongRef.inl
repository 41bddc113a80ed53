#ifndef OXBOW_OXBOW_RPM_STRONG_REF_INL
#define OXBOW_OXBOW_RPM_STRONG_REF_INL

// The bodies stay inside the library: each instance is made once, in the source where its target is
// a complete class, and everybody else links to it.

#include <OxbowPoolManager/PrivateInterfaces/OxbowRpm_StrongRef.h>
#include <OxbowPoolManager/base/OxbowRpm_Assert.h>
#include <OxbowPoolManager/base/mem_Functions.h>

/** Destroys a target that could not be given its counts, so that the caller has nothing to clean
    up. */
template <class T>
class OxbowRpm_TargetOwner {
public:
    explicit OxbowRpm_TargetOwner(T* pointer) : mPointer(pointer) {}
    ~OxbowRpm_TargetOwner() { Destroy(mPointer); }
    OxbowRpm_TargetOwner(const OxbowRpm_TargetOwner&) = delete;
    OxbowRpm_TargetOwner& operator=(const OxbowRpm_TargetOwner&) = delete;

    void Dismiss() { mPointer = nullptr; }

    static void Destroy(T* pointer) {
        if (pointer != nullptr) {
            pointer->~T();
            mem_Free(pointer);
        }
    }

private:
    T* mPointer;
};

template <class T>
OxbowRpm_StrongRef<T>::OxbowRpm_StrongRef() : mPointer(nullptr), mCounter(nullptr) {}

template <class T>
OxbowRpm_StrongRef<T>::OxbowRpm_StrongRef(T* pointer) : mPointer(nullptr), mCounter(nullptr) {
    OxbowRpm_TargetOwner<T> owner(pointer);
    auto* counter =
        static_cast<OxbowRpm_RefCounter*>(mem_OperatorNewTinyThrow(sizeof(OxbowRpm_RefCounter)));
    owner.Dismiss();
    counter->mStrong = 0;
    counter->mWeak = 0;
    Acquire(pointer, counter);
}

template <class T>
OxbowRpm_StrongRef<T>::OxbowRpm_StrongRef(const OxbowRpm_StrongRef<T>& other)
    : mPointer(nullptr), mCounter(nullptr) {
    Acquire(other.mPointer, other.mCounter);
}

template <class T>
OxbowRpm_StrongRef<T>::~OxbowRpm_StrongRef() {
    Release();
}

template <class T>
OxbowRpm_StrongRef<T>& OxbowRpm_StrongRef<T>::operator=(const OxbowRpm_StrongRef<T>& other) {
    if (this != &other) {
        Release();
        Acquire(other.mPointer, other.mCounter);
    }
    return *this;
}

template <class T>
void OxbowRpm_StrongRef<T>::Nullify() {
    Release();
    mPointer = nullptr;
    mCounter = nullptr;
}

template <class T>
T* OxbowRpm_StrongRef<T>::Get() const {
    OxbowASSERT(mPointer && mCounter);
    return mPointer;
}

template <class T>
void OxbowRpm_StrongRef<T>::Acquire(T* pointer, OxbowRpm_RefCounter* counter) {
    mPointer = pointer;
    mCounter = counter;
    OxbowASSERT((mPointer && mCounter) || (!mPointer && !mCounter));
    if (mCounter != nullptr) {
        ++mCounter->mStrong;
    }
}

template <class T>
void OxbowRpm_StrongRef<T>::Release() {
    OxbowASSERT((mPointer && mCounter) || (!mPointer && !mCounter));
    if (mCounter == nullptr || --mCounter->mStrong != 0) {
        return;
    }
    OxbowRpm_TargetOwner<T>::Destroy(mPointer);
    mPointer = nullptr;
    // Read after the target has gone: what it held may have been the last weak references to
    // others, but never one to itself.
    if (mCounter->mWeak == 0) {
        mem_Free(mCounter);
    }
    mCounter = nullptr;
}

#endif
