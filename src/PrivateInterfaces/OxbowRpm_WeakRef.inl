#ifndef OXBOW_OXBOW_RPM_WEAK_REF_INL
#define OXBOW_OXBOW_RPM_WEAK_REF_INL

#include <OxbowPoolManager/PrivateInterfaces/OxbowRpm_WeakRef.h>

#include "PrivateInterfaces/OxbowRpm_StrongRef.inl"

#include <cstdlib>

template <class T>
OxbowRpm_WeakRef<T>::OxbowRpm_WeakRef() : mPointer(nullptr), mCounter(nullptr) {}

template <class T>
OxbowRpm_WeakRef<T>::OxbowRpm_WeakRef(const OxbowRpm_WeakRef<T>& other)
    : mPointer(nullptr), mCounter(nullptr) {
    Acquire(other.mPointer, other.mCounter);
}

template <class T>
OxbowRpm_WeakRef<T>::OxbowRpm_WeakRef(const OxbowRpm_StrongRef<T>& other)
    : mPointer(nullptr), mCounter(nullptr) {
    Acquire(other.mPointer, other.mCounter);
}

template <class T>
OxbowRpm_WeakRef<T>::~OxbowRpm_WeakRef() {
    Release();
}

template <class T>
OxbowRpm_WeakRef<T>& OxbowRpm_WeakRef<T>::operator=(const OxbowRpm_WeakRef<T>& other) {
    if (this != &other) {
        Release();
        Acquire(other.mPointer, other.mCounter);
    }
    return *this;
}

template <class T>
OxbowRpm_WeakRef<T>& OxbowRpm_WeakRef<T>::operator=(const OxbowRpm_StrongRef<T>& other) {
    Release();
    Acquire(other.mPointer, other.mCounter);
    return *this;
}

template <class T>
void OxbowRpm_WeakRef<T>::Nullify() {
    Release();
    mPointer = nullptr;
    mCounter = nullptr;
}

template <class T>
T* OxbowRpm_WeakRef<T>::Get() const {
    OxbowASSERT(mPointer && mCounter);
    if (mCounter->mStrong == 0) {
        std::abort();
    }
    return mPointer;
}

template <class T>
T* OxbowRpm_WeakRef<T>::operator->() const {
    return Get();
}

template <class T>
OxbowRpm_StrongRef<T> OxbowRpm_WeakRef<T>::GetStrongRef() const {
    OxbowRpm_StrongRef<T> strong;
    if (mCounter != nullptr && mCounter->mStrong != 0) {
        strong.Acquire(mPointer, mCounter);
    }
    return strong;
}

template <class T>
void OxbowRpm_WeakRef<T>::Acquire(T* pointer, OxbowRpm_RefCounter* counter) {
    mPointer = pointer;
    mCounter = counter;
    OxbowASSERT((mPointer && mCounter) || (!mPointer && !mCounter));
    if (mCounter != nullptr) {
        ++mCounter->mWeak;
    }
}

template <class T>
void OxbowRpm_WeakRef<T>::Release() {
    OxbowASSERT((mPointer && mCounter) || (!mPointer && !mCounter));
    if (mCounter == nullptr) {
        return;
    }
    --mCounter->mWeak;
    if (mCounter->mWeak == 0 && mCounter->mStrong == 0) {
        mem_Free(mCounter);
        mCounter = nullptr;
    }
}

#endif
