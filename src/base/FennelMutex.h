#ifndef OXBOW_FENNEL_MUTEX_H
#define OXBOW_FENNEL_MUTEX_H

#include <OxbowPoolManager/base/mem_AllocationOperators.h>

/** A lock behind an interface, so that who owns one need not know what it is made of. A thread
    never takes one twice. */
class FennelMutex : public mem_AllocationOperators {
public:
    virtual ~FennelMutex();
    virtual void Lock() = 0;
    virtual void Unlock() = 0;
};

/** Makes the locks that fit the program's threads. */
class FennelThreadingModel {
public:
    /** The caller owns the mutex and deletes it. Raises std::bad_alloc. */
    static FennelMutex* newMutex();
};

#endif
