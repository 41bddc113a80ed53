#ifndef OXBOW_OXBOW_RPM_REF_COUNTER_H
#define OXBOW_OXBOW_RPM_REF_COUNTER_H

#include <cstdint>

/** The block of counts that all references to one target share. Plain integers: references to one
    target belong to one thread at a time. The target lives while mStrong is above 0, the block
    while either count is. */
struct OxbowRpm_RefCounter {
    std::uint32_t mStrong;
    std::uint32_t mWeak;
};

static_assert(sizeof(OxbowRpm_RefCounter) == 8, "the block comes from the allocator's tiny entry");

#endif
