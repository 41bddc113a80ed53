#ifndef OXBOW_OXBOW_RPM_REF_COUNTER_H
#define OXBOW_OXBOW_RPM_REF_COUNTER_H

#include <cstdint>

/** The block of counts that all references to one target share. The target lives while mStrong is
    above 0, the block while either count is; the last reference frees it.
    Threads: plain integers, so references to one target belong to one thread at a time. */
struct OxbowRpm_RefCounter {
    /** Strong references to the target. */
    std::uint32_t mStrong;
    /** Weak references to the target. */
    std::uint32_t mWeak;
};

static_assert(sizeof(OxbowRpm_RefCounter) == 8, "the block comes from the allocator's tiny entry");

#endif
