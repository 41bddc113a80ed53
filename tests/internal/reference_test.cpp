// Strong and weak references over counted targets: who lives, and which blocks of counts do.
#include "PrivateInterfaces/OxbowRpm_WeakRef.inl"

#include <OxbowPoolManager/base/mem_AllocationOperators.h>
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <set>

#include "doubles/CountingAllocator.h"

namespace {

std::set<int> gLive = {-1};  // null is one of them

struct Target : mem_AllocationOperators {
    explicit Target(int n) : number(n) { gLive.insert(n); }
    ~Target() { EXPECT_EQ(gLive.erase(number), 1u) << "destroyed twice"; }
    const int number;
};
using Strong = OxbowRpm_StrongRef<Target>;
using Weak = OxbowRpm_WeakRef<Target>;

/** Real references beside plain numbers of targets; -1 is null. */
struct Place {
    Strong strong;
    Weak weak;
    int strongTo = -1, weakTo = -1;
    int Alive() const { return gLive.count(weakTo) != 0 ? weakTo : -1; }
};

void Check(const Place (&places)[6], long blocksBefore) {
    std::set<int> live = {-1}, counted = {-1};
    for (const Place& place : places) {
        live.insert(place.strongTo);
        counted.insert({place.strongTo, place.weakTo});
        EXPECT_EQ(place.strong.IsNull() ? -1 : place.strong->number, place.strongTo);
        EXPECT_EQ(place.weak.IsNull(), place.weakTo == -1) << "it doesn't learn of a death";
        const Strong strong = Weak(place.weak).GetStrongRef();
        EXPECT_EQ(strong.IsNull() ? -1 : strong->number, place.Alive());
        EXPECT_TRUE(strong.IsNull() || strong.Get() == place.weak.Get());
    }
    EXPECT_EQ(gLive, live);
    const auto blocks = static_cast<long>(live.size() + counted.size()) - 2;
    EXPECT_EQ(TestAllocator::LiveBlocks() - blocksBefore, blocks);
}

TEST(Reference, TargetsAndCountsLiveAsLongAsSomebodyRefersToThem) {
    const long before = TestAllocator::LiveBlocks();
    for (unsigned seed = 1; seed <= 40 && !testing::Test::HasFailure(); ++seed) {
        std::mt19937 random(seed);
        Place places[6] = {};
        for (int step = 0; step < 400 && !testing::Test::HasFailure(); ++step) {
            SCOPED_TRACE(testing::Message() << "seed " << seed << ", step " << step);
            Place &a = places[random() % 6], &b = places[random() % 6];
            const std::function<void()> steps[] = {
                [&] { a.strong = Strong(new Target(step)), a.strongTo = step; },
                [&] { a.strong = b.strong, a.strongTo = b.strongTo; },
                [&] { a.strongTo = b.Alive(), a.strong = b.weak.GetStrongRef(); },
                [&] { a.strong = Strong(), a.strongTo = -1; },
                [&] { a.strong.Nullify(), a.strongTo = -1; },
                [&] { a.weak = b.weak, a.weakTo = b.weakTo; },
                [&] { a.weak.Nullify(), a.weakTo = -1; },
                [&] { a.weak = b.strong, a.weakTo = b.strongTo; }};
            steps[random() % 8]();
            Check(places, before);
        }
    }
    auto* const target = new Target(7);
    TestAllocator::FailAt(1);
    EXPECT_THROW(Strong reference(target), std::bad_alloc);
    TestAllocator::Disarm();
    EXPECT_EQ(gLive.size(), 1u) << "a target that gets no counts is destroyed";
    EXPECT_EQ(TestAllocator::LiveBlocks(), before);
}

}  // namespace
