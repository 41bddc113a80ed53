#ifndef OXBOW_OXBOW_RPM_WEAK_REF_H
#define OXBOW_OXBOW_RPM_WEAK_REF_H

#include <OxbowPoolManager/PrivateInterfaces/OxbowRpm_StrongRef.h>

/** Sees its target without keeping it alive. It doesn't learn that the target has gone: IsNull()
    says only whether it refers to anything at all.

    Ownership: none of the target; the block of counts lives as long as any reference.
    Threads: as OxbowRpm_StrongRef.
    Raises: nothing here allocates or raises. Following a null reference is a failed assertion,
    following one whose target has gone calls abort: both are limits that the owner must respect. */
template <class T>
class OXBOW_EXPORT OxbowRpm_WeakRef {
public:
    /** The null reference. */
    OxbowRpm_WeakRef();
    /** Sees the same target. */
    OxbowRpm_WeakRef(const OxbowRpm_WeakRef<T>& other);
    /** Sees the same target. */
    OxbowRpm_WeakRef(const OxbowRpm_StrongRef<T>& other);
    ~OxbowRpm_WeakRef();
    /** Sees the other's target from now on. */
    OxbowRpm_WeakRef<T>& operator=(const OxbowRpm_WeakRef<T>& other);
    /** Sees the other's target from now on. */
    OxbowRpm_WeakRef<T>& operator=(const OxbowRpm_StrongRef<T>& other);

    /** Leaves a null reference. */
    void Nullify();
    /** The target, which must be alive. */
    T* Get() const;
    /** As Get. */
    T* operator->() const;
    /** True if it refers to nothing, living or gone. */
    bool IsNull() const { return mPointer == nullptr; }
    /** A strong reference to the target, null if there is none or it has gone. Of use inside the
        library alone, which doesn't export it. */
    OxbowRpm_StrongRef<T> GetStrongRef() const;

private:
    void Acquire(T* pointer, OxbowRpm_RefCounter* counter);
    void Release();

    T* mPointer;
    OxbowRpm_RefCounter* mCounter;
};

#endif
