#include "doubles/TestRandom.h"

#include <OxbowPoolManager/base/FennelExcNoEntropy.h>

#include <deque>
#include <utility>

#include "base/FennelUtilsRand.h"

namespace {

std::deque<std::uint32_t> gScript;
std::uint32_t gCounter = 0;
std::uint32_t gCode = 0;
int gDraws = 0;

}  // namespace

void TestRandom::Script(const std::vector<std::uint32_t>& values) {
    gScript.assign(values.begin(), values.end());
}
void TestRandom::FailNext(std::uint32_t code) {
    gCode = code;
}
int TestRandom::Draws() {
    return gDraws;
}

std::uint32_t FennelUtilsRand() {
    ++gDraws;
    if (gCode != 0) {
        FennelExcNoEntropy(FennelSystemError(std::exchange(gCode, 0))).Throw(__FILE__, __LINE__);
    }
    if (gScript.empty()) {
        return ++gCounter * 2654435761u;
    }
    const std::uint32_t value = gScript.front();
    gScript.pop_front();
    return value;
}

void FennelUtilsInitRand(std::int64_t seed) {
    gCounter = static_cast<std::uint32_t>(seed);
}
