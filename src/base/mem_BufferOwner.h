#ifndef OXBOW_MEM_BUFFER_OWNER_H
#define OXBOW_MEM_BUFFER_OWNER_H

#include <OxbowPoolManager/base/mem_Functions.h>

#include <utility>

/** Holds a raw buffer for a scope, so that a failure on the way frees it. */
class mem_BufferOwner {
public:
    explicit mem_BufferOwner(void* block) : mBlock(static_cast<char*>(block)) {}
    ~mem_BufferOwner() { mem_Free(mBlock); }
    mem_BufferOwner(const mem_BufferOwner&) = delete;
    mem_BufferOwner& operator=(const mem_BufferOwner&) = delete;

    char* Bytes() const { return mBlock; }
    void Swap(mem_BufferOwner& other) { std::swap(mBlock, other.mBlock); }

private:
    char* mBlock;
};

#endif
