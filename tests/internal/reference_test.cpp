// Strong and weak references over counted targets: who lives, and which blocks of counts do.
#include "PrivateInterfaces/OxbowRpm_WeakRef.inl"

#include <OxbowPoolManager/base/mem_AllocationOperators.h>

#include <gtest/gtest.h>

#include <array>
#include <new>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "doubles/CountingAllocator.h"

namespace {

/** Holds another target, as the library's objects do: one release can set off a chain of them. */
class Target : public mem_AllocationOperators {
public:
    Target(int number, const OxbowRpm_StrongRef<Target>& held,
           const OxbowRpm_WeakRef<Target>& watched)
        : mNumber(number), mHeld(held), mWatched(watched) {
        sLive.insert(number);
    }
    ~Target() { EXPECT_EQ(sLive.erase(mNumber), 1u) << "destroyed twice"; }
    Target(const Target&) = delete;
    Target& operator=(const Target&) = delete;

    int Number() const { return mNumber; }

    static inline std::set<int> sLive;

private:
    const int mNumber;
    const OxbowRpm_StrongRef<Target> mHeld;
    const OxbowRpm_WeakRef<Target> mWatched;
};

using Strong = OxbowRpm_StrongRef<Target>;
using Weak = OxbowRpm_WeakRef<Target>;

/** Real references beside plain numbers of targets; -1 is null. */
class Model {
public:
    static constexpr int kPlaces = 6;

    explicit Model(unsigned seed) : mRandom(seed), mBlocksBefore(TestAllocator::LiveBlocks()) {
        mStrongTo.fill(-1);
        mWeakTo.fill(-1);
    }

    void Step() {
        const auto a = Draw(kPlaces);
        const auto b = Draw(kPlaces);
        switch (Draw(9)) {
            case 0:
                mLinks.emplace_back(mStrongTo[b], mWeakTo[a]);
                return SetStrong(a, Strong(new Target(Newest(), mStrong[b], mWeak[a])), Newest());
            case 1:
                return SetStrong(a, mStrong[b], mStrongTo[b]);
            case 2:
                return SetStrong(a, mWeak[b].GetStrongRef(), Live(mWeakTo[b]) ? mWeakTo[b] : -1);
            case 3:
                return SetStrong(a, Strong(), -1);
            case 4:
                mStrong[a].Nullify();
                return SetStrong(a, mStrong[a], -1);
            case 5:
                return SetWeak(a, mWeak[b], mWeakTo[b]);
            case 6:
                mWeak[a].Nullify();
                return SetWeak(a, mWeak[a], -1);
            default:
                return SetWeak(a, mStrong[b], mStrongTo[b]);
        }
    }

    void Check() {
        std::set<int> live(mStrongTo.begin(), mStrongTo.end());
        std::set<int> counted(mWeakTo.begin(), mWeakTo.end());
        for (int target = Newest(); target >= 0; --target) {  // it refers to older ones only
            if (live.count(target) != 0) {
                const auto& [held, watched] = mLinks[static_cast<std::size_t>(target)];
                live.insert(held);
                counted.insert({target, watched});
            }
        }
        live.erase(-1);
        counted.erase(-1);
        EXPECT_EQ(Target::sLive, live);
        EXPECT_EQ(TestAllocator::LiveBlocks() - mBlocksBefore,
                  static_cast<long>(live.size() + counted.size()));
        for (std::size_t i = 0; i < kPlaces; ++i) {
            EXPECT_EQ(mStrong[i].IsNull() ? -1 : mStrong[i]->Number(), mStrongTo[i]);
            EXPECT_EQ(mWeak[i].IsNull(), mWeakTo[i] == -1) << "it doesn't learn of a death";
            const Strong strong = Weak(mWeak[i]).GetStrongRef();
            EXPECT_EQ(strong.IsNull() ? -1 : strong->Number(), Live(mWeakTo[i]) ? mWeakTo[i] : -1);
            EXPECT_TRUE(strong.IsNull() || strong.Get() == mWeak[i].Get());
        }
    }

private:
    using Places = std::array<int, kPlaces>;

    void SetStrong(std::size_t place, const Strong& value, int target) {
        mStrong[place] = value;
        mStrongTo[place] = target;
    }
    template <class Reference>
    void SetWeak(std::size_t place, const Reference& value, int target) {
        mWeak[place] = value;
        mWeakTo[place] = target;
    }
    int Newest() const { return static_cast<int>(mLinks.size()) - 1; }
    std::size_t Draw(unsigned limit) { return mRandom() % limit; }
    static bool Live(int target) { return Target::sLive.count(target) != 0; }

    std::mt19937 mRandom;
    const long mBlocksBefore;
    Strong mStrong[kPlaces];
    Weak mWeak[kPlaces];
    Places mStrongTo, mWeakTo;
    /** For each target ever made, the one that it holds and the one that it watches. */
    std::vector<std::pair<int, int>> mLinks;
};

TEST(Reference, TargetsAndCountsLiveAsLongAsSomebodyRefersToThem) {
    const long before = TestAllocator::LiveBlocks();
    for (unsigned seed = 1; seed <= 40 && !testing::Test::HasFailure(); ++seed) {
        Model model(seed);
        for (int step = 0; step < 400 && !testing::Test::HasFailure(); ++step) {
            SCOPED_TRACE("seed " + std::to_string(seed) + ", step " + std::to_string(step));
            model.Step();
            model.Check();
        }
    }
    EXPECT_TRUE(Target::sLive.empty());
    EXPECT_EQ(TestAllocator::LiveBlocks(), before);
}

TEST(Reference, TargetThatGetsNoCountsIsDestroyed) {
    const long before = TestAllocator::LiveBlocks();
    auto* const target = new Target(7, Strong(), Weak());
    TestAllocator::FailAt(1);
    EXPECT_THROW(Strong reference(target), std::bad_alloc);
    TestAllocator::Disarm();
    EXPECT_TRUE(Target::sLive.empty());
    EXPECT_EQ(TestAllocator::LiveBlocks(), before);
}

}  // namespace
