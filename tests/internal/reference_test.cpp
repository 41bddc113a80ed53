// Strong and weak references over counted targets: who lives, and which blocks of counts do.
#include "PrivateInterfaces/OxbowRpm_WeakRef.inl"

#include <OxbowPoolManager/base/mem_AllocationOperators.h>
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <random>
#include <set>

#include "doubles/CountingAllocator.h"

namespace {

struct Target;
using Strong = OxbowRpm_StrongRef<Target>;
using Weak = OxbowRpm_WeakRef<Target>;

std::set<int> gLive = {-1};  // null is one of them

/** Holds another target, as the library's objects do: one release can set off a chain of them. */
struct Target : mem_AllocationOperators {
    Target(int n, const Strong& s, const Weak& w) : number(n), held(s), watched(w) {
        gLive.insert(n);
    }
    ~Target() { EXPECT_EQ(gLive.erase(number), 1u) << "destroyed twice"; }

    const int number;
    const Strong held;
    const Weak watched;
};

/** Real references beside plain numbers of targets; -1 is null. */
struct Place {
    Strong strong;
    Weak weak;
    int strongTo = -1, weakTo = -1;
    int Alive() const { return gLive.count(weakTo) != 0 ? weakTo : -1; }
};

int NumberOf(const Strong& strong) {
    return strong.IsNull() ? -1 : strong->number;
}

struct Model {
    void Step() {
        Place &a = places[random() % 6], &b = places[random() % 6];
        const int fresh = static_cast<int>(links.size());
        const std::function<void()> steps[] = {
            [&] {
                links[fresh] = {b.strongTo, a.weakTo};
                a.strong = Strong(new Target(fresh, b.strong, a.weak)), a.strongTo = fresh;
            },
            [&] { a.strong = b.strong, a.strongTo = b.strongTo; },
            [&] { a.strongTo = b.Alive(), a.strong = b.weak.GetStrongRef(); },
            [&] { a.strong = Strong(), a.strongTo = -1; },
            [&] { a.strong.Nullify(), a.strongTo = -1; },
            [&] { a.weak = b.weak, a.weakTo = b.weakTo; },
            [&] { a.weak.Nullify(), a.weakTo = -1; },
            [&] { a.weak = b.strong, a.weakTo = b.strongTo; }};
        steps[random() % 8]();
    }

    void Check() const {
        std::set<int> live = {-1}, counted = {-1};
        for (const Place& place : places) {
            live.insert(place.strongTo);
            counted.insert(place.weakTo);
            EXPECT_EQ(NumberOf(place.strong), place.strongTo);
            EXPECT_EQ(place.weak.IsNull(), place.weakTo == -1) << "it doesn't learn of a death";
            const Strong strong = Weak(place.weak).GetStrongRef();
            EXPECT_EQ(NumberOf(strong), place.Alive());
            EXPECT_TRUE(strong.IsNull() || strong.Get() == place.weak.Get());
        }
        for (const auto& [number, link] : links) {  // newest first: they refer to older ones
            if (live.count(number) != 0) {
                live.insert(link.first);
                counted.insert({number, link.second});
            }
        }
        const auto blocks = static_cast<long>(live.size() + counted.size()) - 2;
        EXPECT_EQ(TestAllocator::LiveBlocks() - blocksBefore, blocks);
        EXPECT_EQ(gLive, live);
    }

    std::mt19937 random;
    const long blocksBefore = TestAllocator::LiveBlocks();
    Place places[6] = {};
    /** For each target ever made, the one that it holds and the one that it watches. */
    std::map<int, std::pair<int, int>, std::greater<int>> links = {};
};

TEST(Reference, TargetsAndCountsLiveAsLongAsSomebodyRefersToThem) {
    const long before = TestAllocator::LiveBlocks();
    for (unsigned seed = 1; seed <= 40 && !testing::Test::HasFailure(); ++seed) {
        Model model{std::mt19937(seed)};
        for (int step = 0; step < 400 && !testing::Test::HasFailure(); ++step) {
            SCOPED_TRACE(testing::Message() << "seed " << seed << ", step " << step);
            model.Step();
            model.Check();
        }
    }
    auto* const target = new Target(7, Strong(), Weak());
    TestAllocator::FailAt(1);
    EXPECT_THROW(Strong reference(target), std::bad_alloc);
    TestAllocator::Disarm();
    EXPECT_EQ(gLive.size(), 1u) << "a target that gets no counts is destroyed";
    EXPECT_EQ(TestAllocator::LiveBlocks(), before);
}

}  // namespace
