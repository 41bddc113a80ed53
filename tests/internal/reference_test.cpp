// Strong and weak references over counted targets: who lives, and which blocks of counts do.
#include "PrivateInterfaces/OxbowRpm_WeakRef.inl"

#include <OxbowPoolManager/base/mem_AllocationOperators.h>
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <set>

#include "doubles/CountingAllocator.h"

static std::set<int> gLive = {-1};  // null is one of them

TEST(Reference, TargetsAndCountsLiveAsLongAsSomebodyRefersToThem) {
    struct Target : mem_AllocationOperators {
        explicit Target(int n) : number(n) { gLive.insert(n); }
        ~Target() { EXPECT_EQ(gLive.erase(number), 1u) << "destroyed twice"; }
        const int number;
    };
    using Strong = OxbowRpm_StrongRef<Target>;
    using Weak = OxbowRpm_WeakRef<Target>;
    const long before = TestAllocator::LiveBlocks();
    for (unsigned seed = 1; seed <= 40 && !testing::Test::HasFailure(); ++seed) {
        std::mt19937 random(seed);
        struct {  // references beside the plain numbers of their targets; -1 is null
            Strong strong;
            Weak weak;
            int strongTo = -1, weakTo = -1;
        } places[6];
        const auto numberOf = [](const Strong& to) { return to.IsNull() ? -1 : to->number; };
        const auto alive = [](int number) { return gLive.count(number) != 0 ? number : -1; };
        for (int step = 0; step < 400 && !testing::Test::HasFailure(); ++step) {
            SCOPED_TRACE(testing::Message() << "seed " << seed << ", step " << step);
            auto &a = places[random() % 6], &b = places[random() % 6];
            const std::function<void()> steps[] = {
                [&] { a.strong = Strong(new Target(step)), a.strongTo = step; },
                [&] { a.strong = b.strong, a.strongTo = b.strongTo; },
                [&] { a.strongTo = alive(b.weakTo), a.strong = b.weak.GetStrongRef(); },
                [&] { a.strong.Nullify(), a.strongTo = -1; },
                [&] { a.weak = b.weak, a.weakTo = b.weakTo; },
                [&] { a.weak.Nullify(), a.weakTo = -1; },
                [&] { a.weak = b.strong, a.weakTo = b.strongTo; }};
            steps[random() % 7]();
            std::set<int> live = {-1}, counted = {-1};
            for (const auto& place : places) {
                live.insert(place.strongTo);
                counted.insert({place.strongTo, place.weakTo});
                EXPECT_EQ(numberOf(place.strong), place.strongTo);
                EXPECT_EQ(numberOf(place.weak.GetStrongRef()), alive(place.weakTo));
                EXPECT_EQ(place.weak.IsNull(), place.weakTo == -1) << "it doesn't learn of a death";
            }
            EXPECT_EQ(gLive, live);
            const auto blocks = static_cast<long>(live.size() + counted.size()) - 2;
            EXPECT_EQ(TestAllocator::LiveBlocks() - before, blocks);
        }
    }
}
