// The real random source: unseeded in a parent and its forked child, then seeded.
#include "base/FennelUtilsRand.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <set>

using Values = std::array<std::uint32_t, 500>;

static Values Draw() {
    Values values;
    std::generate(values.begin(), values.end(), FennelUtilsRand);
    return values;
}

// One test, since a seed stays for good: what comes first is unseeded.
TEST(Random, ForkedChildrenDifferAndSeedsRepeat) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    Values own = Draw(), childs;
    if (child == 0) {
        _exit(write(ends[1], &own, sizeof own) != sizeof own);
    }
    ASSERT_EQ(read(ends[0], &childs, sizeof childs), static_cast<ssize_t>(sizeof childs));
    ASSERT_EQ(wait(nullptr), child);
    std::set<std::uint32_t> both(own.begin(), own.end());
    both.insert(childs.begin(), childs.end());
    EXPECT_GE(both.size(), 999u) << "chance makes one pair equal in 8600 runs; two, in 10^8";
    std::array<Values, 3> seeded;
    for (const std::size_t i : {0u, 1u, 2u}) {
        FennelUtilsInitRand(i == 2 ? 8 : 7);
        seeded[i] = Draw();
    }
    EXPECT_EQ(seeded[0], seeded[1]) << "one seed";
    EXPECT_NE(seeded[1], seeded[2]) << "two seeds";
}
