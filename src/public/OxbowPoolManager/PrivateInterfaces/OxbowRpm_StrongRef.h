#ifndef OXBOW_OXBOW_RPM_STRONG_REF_H
#define OXBOW_OXBOW_RPM_STRONG_REF_H

#include <OxbowPoolManager/PrivateInterfaces/OxbowRpm_Forward.h>
#include <OxbowPoolManager/PrivateInterfaces/OxbowRpm_RefCounter.h>

template <class T>
class OXBOW_EXPORT OxbowRpm_WeakRef;

/** Keeps its target alive; when the last strong reference goes, the target is destroyed.

    Ownership: shares the target with the other strong references to it. A plain value.
    Threads: the counts are plain integers, so all references to one target belong to one thread at
    a time.
    Raises: only the constructor from a pointer allocates (std::bad_alloc; the target is then
    destroyed). A null reference must not be followed: that is a failed assertion, which ends the
    process. */
template <class T>
class OXBOW_EXPORT OxbowRpm_StrongRef {
public:
    /** The null reference. */
    OxbowRpm_StrongRef();
    /** Takes ownership; `pointer` is not null and was given to no other strong reference. */
    explicit OxbowRpm_StrongRef(T* pointer);
    /** Shares the target. */
    OxbowRpm_StrongRef(const OxbowRpm_StrongRef<T>& other);
    ~OxbowRpm_StrongRef();
    /** Lets the own target go, then shares the other's. */
    OxbowRpm_StrongRef<T>& operator=(const OxbowRpm_StrongRef<T>& other);

    /** Lets the target go and leaves a null reference. */
    void Nullify();
    /** The target, good as long as a strong reference to it. */
    T* Get() const;
    /** As Get. */
    T* operator->() const { return Get(); }
    /** True if there is no target. */
    bool IsNull() const { return mPointer == nullptr; }

private:
    friend class OxbowRpm_WeakRef<T>;

    void Acquire(T* pointer, OxbowRpm_RefCounter* counter);
    void Release();

    T* mPointer;
    OxbowRpm_RefCounter* mCounter;
};

#endif
