#include "doubles/TestRandom.h"

#include <OxbowPoolManager/base/FennelExcNoEntropy.h>

#include <utility>

#include "base/FennelUtilsRand.h"

std::uint32_t FennelUtilsRand() {
    ++TestRandom::sDraws;
    if (TestRandom::sCode != 0) {
        const FennelSystemError code(std::exchange(TestRandom::sCode, 0));
        FennelExcNoEntropy(code).Throw(__FILE__, __LINE__);
    }
    if (TestRandom::sScript.empty()) {
        TestRandom::sScript = {++TestRandom::sCounter * 2654435761u};
    }
    const std::uint32_t value = TestRandom::sScript.front();
    TestRandom::sScript.pop_front();
    return value;
}

void FennelUtilsInitRand(std::int64_t seed) {
    TestRandom::sCounter = static_cast<std::uint32_t>(seed);
}
