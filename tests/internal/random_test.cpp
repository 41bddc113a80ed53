// The real random source: unseeded in a parent and its forked child, then seeded.
#include "base/FennelUtilsRand.h"

#include <OxbowPoolManager/base/FennelExcNoEntropy.h>
#include <gtest/gtest.h>
#include <sys/random.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <set>

using Values = std::array<std::uint32_t, 500>;

static Values Draw() {
    Values values;
    std::generate(values.begin(), values.end(), FennelUtilsRand);
    return values;
}

static int gInterruptions = 0, gCode = 0;

/** Takes the system's place: fails on order, as often as a signal comes, or with the code. */
extern "C" int getentropy(void* buffer, std::size_t length) {
    if (gInterruptions > 0 || gCode != 0) {
        errno = gInterruptions-- > 0 ? EINTR : gCode;
        return -1;
    }
    return getrandom(buffer, length, 0) == static_cast<ssize_t>(length) ? 0 : -1;
}

TEST(Random, AFailingSystemIsRaisedAndAnInterruptedOneIsAskedAgain) {
    gInterruptions = 3;
    EXPECT_NO_THROW(FennelUtilsRand());
    gInterruptions = 2;
    gCode = ENOSYS;
    try {
        FennelUtilsRand();
        ADD_FAILURE() << "a value without any random bytes";
    } catch (const FennelExcNoEntropy& raised) {
        EXPECT_EQ(raised.SystemError().Code(), static_cast<std::uint32_t>(ENOSYS));
    }
    gCode = 0;
}

// One test, since a seed holds for the rest of the process: what comes first is unseeded.
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
