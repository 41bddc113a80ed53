#ifndef OXBOW_TEST_SETTING_H
#define OXBOW_TEST_SETTING_H

#include <algorithm>
#include <cstdlib>
#include <random>
#include <string>

/** The number that the environment has under this name, or else this one. */
inline unsigned Setting(const char* name, unsigned otherwise) {
    const char* const set = std::getenv(name);
    return set == nullptr ? otherwise : static_cast<unsigned>(std::stoul(set));
}
/** Every how manieth case is run. */
inline unsigned Stride() {
    return std::max(1u, Setting("OXBOW_FAULT_STRIDE", OXBOW_FAULT_STRIDE));
}
inline unsigned Seed() {
    return Setting("OXBOW_SEED", std::random_device()());
}

#endif
