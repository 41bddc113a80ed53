#ifndef OXBOW_OXBOW_RPM_WEAK_REF_H
#define OXBOW_OXBOW_RPM_WEAK_REF_H

#include <OxbowPoolManager/PrivateInterfaces/OxbowRpm_StrongRef.h>

/** Sees its target without keeping it alive. It doesn't learn that the target has gone: IsNull()
    tells only whether it refers to anything at all.
    Threads: as OxbowRpm_StrongRef.
    Failure: nothing here allocates or raises. Following a null reference is a failed assertion,
    following one whose target has gone calls abort: both are limits that the owner must respect. */
template <class T>
class OXBOW_EXPORT OxbowRpm_WeakRef {
public:
    OxbowRpm_WeakRef();
    OxbowRpm_WeakRef(const OxbowRpm_WeakRef<T>& other);
    OxbowRpm_WeakRef(const OxbowRpm_StrongRef<T>& other);
    ~OxbowRpm_WeakRef();
    OxbowRpm_WeakRef<T>& operator=(const OxbowRpm_WeakRef<T>& other);
    OxbowRpm_WeakRef<T>& operator=(const OxbowRpm_StrongRef<T>& other);

    void Nullify();
    T* Get() const;
    T* operator->() const;
    bool IsNull() const { return mPointer == nullptr; }
    /** A strong reference to the target, null if there is none or it has gone. */
    OxbowRpm_StrongRef<T> GetStrongRef() const;

private:
    void Acquire(T* pointer, OxbowRpm_RefCounter* counter);
    void Release();

    T* mPointer;
    OxbowRpm_RefCounter* mCounter;
};

#endif
