#ifndef OXBOW_FENNEL_UTILS_RAND_H
#define OXBOW_FENNEL_UTILS_RAND_H

#include <cstdint>

/** A random value, all 32 bits in use. Until FennelUtilsInitRand has been called each value is
    drawn from the operating system, and nothing is kept between calls: a forked child never repeats
    its parent. Raises FennelExcNoEntropy when the system has none; a weaker source never takes
    its place. Safe from any thread. */
std::uint32_t FennelUtilsRand();

/** From here on the values follow from `seed`, the same for the same seed. For runs that have to be
    repeated: the values are then no longer unlike those of every other run. */
void FennelUtilsInitRand(std::int64_t seed);

#endif
