#include "base/FennelUtilsRand.h"

#include <OxbowPoolManager/base/FennelExcNoEntropy.h>

#include <unistd.h>

#include <atomic>
#include <cerrno>

namespace {

std::atomic<bool> gSeeded{false};
std::atomic<std::uint64_t> gState{0};

std::uint32_t DrawFromSystem() {
    std::uint32_t value;
    while (getentropy(&value, sizeof value) != 0) {
        if (errno != EINTR) {
            const FennelSystemError error(static_cast<std::uint32_t>(errno));
            FennelExcNoEntropy(error).Throw(__FILE__, __LINE__);
        }
    }
    return value;
}

/** Steps a counter by an odd constant and mixes it: every state makes another value, and one atomic
    addition keeps two threads from drawing the same one. */
std::uint32_t DrawFromSeed() {
    constexpr std::uint64_t kStep = 0x9E3779B97F4A7C15u;
    std::uint64_t mixed = gState.fetch_add(kStep) + kStep;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9u;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBu;
    return static_cast<std::uint32_t>((mixed ^ (mixed >> 31)) >> 32);
}

}  // namespace

std::uint32_t FennelUtilsRand() {
    return gSeeded.load() ? DrawFromSeed() : DrawFromSystem();
}

void FennelUtilsInitRand(std::int64_t seed) {
    gState.store(static_cast<std::uint64_t>(seed));
    gSeeded.store(true);
}
