// The real random source: unseeded in a parent and its forked child, then seeded.
#include "base/FennelUtilsRand.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <set>
#include <vector>

namespace {

std::vector<std::uint32_t> Draw(std::int64_t seed = 0) {
    std::vector<std::uint32_t> values(500);
    seed != 0 ? FennelUtilsInitRand(seed) : void();
    std::generate(values.begin(), values.end(), FennelUtilsRand);
    return values;
}

// One test, since a seed stays for good: what comes first is unseeded.
TEST(Random, ForkedChildrenDifferAndSeedsRepeat) {
    std::vector<std::uint32_t> both = Draw(), childs(500);
    constexpr auto kBytes = static_cast<ssize_t>(500 * sizeof(std::uint32_t));
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    both = Draw();
    if (child == 0) {
        _exit(write(ends[1], both.data(), kBytes) != kBytes);
    }
    ASSERT_TRUE(read(ends[0], childs.data(), kBytes) == kBytes && wait(nullptr) == child);
    both.insert(both.end(), childs.begin(), childs.end());
    // Chance makes one pair equal in 8600 runs; two pairs, in 10^8.
    EXPECT_GE(std::set<std::uint32_t>(both.begin(), both.end()).size(), 999u);
    const std::vector<std::uint32_t> seven = Draw(7);
    EXPECT_EQ(Draw(7), seven);
    EXPECT_NE(Draw(8), seven);
    EXPECT_EQ(std::set<std::uint32_t>(seven.begin(), seven.end()).size(), 500u);
}

}  // namespace
