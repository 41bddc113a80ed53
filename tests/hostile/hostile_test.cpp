// Files that nobody vouches for: each gives right data or a typed exception, soon and in little memory.

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <ctime>
#include <map>

#include "doubles/CountingAllocator.h"
#include "hostile/NamedFiles.h"
#include "processes/Setting.h"

namespace Hostile {
namespace {

char gTold[100];  // the case under way

/** Numbers where something ends, and those beside them. */
vector<uint64_t> Values(const Pool& pool) {
    const uint64_t end = pool.file->length;
    vector<uint64_t> values;
    for (const uint64_t value :
         {uint64_t{0}, uint64_t{3}, uint64_t{16}, uint64_t{36}, uint64_t{48}, uint64_t{80},
          end - pool.start, end, uint64_t{0x3FFFFFE}, uint64_t{INT32_MAX}, uint64_t{1} << 32,
          uint64_t{1000000000000}, kLongest, uint64_t{1} << 63, (uint64_t{1} << 63) - pool.DataAt(),
          0 - pool.DataAt()}) {
        values.insert(values.end(), {value - 1, value, value + 1});
    }
    return values;
}

class HostileFiles : public testing::Test {
protected:
    HostileFiles() {
        stderr = std::fopen("/dev/null", "w");  // the reports of validations are thousands
        for (const int end : {SIGABRT, SIGALRM}) {
            std::signal(end,
                        [](int) { std::printf("%s\n", gTold), std::fflush(stdout), _exit(1); });
        }
    }
    ~HostileFiles() override {
        alarm(0);
        std::fclose(stderr);
        MemoryFiles::All().clear();
    }

    /** Visits the files; gives the code of the refusal, 0 for none. */
    int Try(const string& a, const string& b) {
        MemoryFiles::All().clear();
        At("a").Set(a);
        At("b").Set(b);
        const long before = TestAllocator::ResetPeak(), blocks = TestAllocator::LiveBlocks();
        const std::clock_t start = std::clock();  // a busy machine counts for nothing
        int code = -1;
        alarm(20);
        try {
            code = Visit(true);
        } catch (const std::exception& wrong) {
            ADD_FAILURE() << gTold << ": " << wrong.what();
        }
        const double seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
        const auto most = static_cast<long>(4 * (a.size() + b.size()) + (64 << 20));
        EXPECT_LT(seconds, Stride() > 1 ? 10 : 1) << gTold;
        EXPECT_LE(TestAllocator::PeakBytes() - before, most) << gTold;
        EXPECT_EQ(TestAllocator::LiveBlocks(), blocks) << gTold;
        mLongest = std::max(mLongest, seconds);
        mMost = std::max(mMost, TestAllocator::PeakBytes() - before);
        mCodes[code] += 1;
        return code;
    }
    /** With these bytes in the place of the sample's own. */
    void Put(const Pool& pool, uint64_t at, const string& bytes) {
        if (mCases++ % Stride() != 0 || HasFailure()) {
            return;
        }
        const bool second = pool.file == &mFiles[1];
        string& file = second ? mSample.b : mSample.a;
        const string own = file.substr(at, bytes.size());
        std::snprintf(gTold, sizeof gTold, "%c at %u, %u bytes, first %d", second ? 'b' : 'a',
                      static_cast<unsigned>(at), static_cast<unsigned>(bytes.size()), bytes[0]);
        file.replace(at, bytes.size(), bytes);
        Try(mSample.a, mSample.b);
        file.replace(at, own.size(), own);
    }
    void EveryValue(const Pool& pool, uint64_t from, uint64_t to) {
        for (uint64_t at = from; at < to; ++at) {
            for (unsigned value = 0; value < 256; ++value) {
                Put(pool, at, Little(value, 1));
            }
        }
    }
    void Damage(const Pool& pool) {
        EveryValue(pool, pool.start, pool.DataAt());
        vector<string> lengths = {string(16, '\0'), string(16, '\xFF'), "000000000000000/"};
        for (const uint64_t value : Values(pool)) {
            lengths.push_back(Decimal(value));
        }
        for (const string& length : lengths) {
            for (const uint64_t count : Values(pool)) {
                Put(pool, pool.start + 20, length + string(8, '\2') + Little(count, 4));
            }
        }
        for (const uint64_t text : {pool.DataAt(), pool.DataAt() + 20}) {
            EveryValue(pool, text, text + 4);
            EveryValue(pool, text + 8, text + 20);
            for (const uint64_t value : Values(pool)) {
                Put(pool, text, Little(value, 4));
                Put(pool, text + 16, Little(value, 4));
                Put(pool, text + 8, Little(value, 8) + Little(value % 3, 4));
            }
        }
    }

    Sample mSample;
    MemoryFile mFiles[2];
    std::map<int, int> mCodes;
    double mLongest = 0;
    long mMost = 0;
    unsigned mCases = 0;
};

TEST_F(HostileFiles, GiveRightDataOrATypedException) {
    vector<string> uuids;
    for (const Named& named : NamedFiles()) {
        std::snprintf(gTold, sizeof gTold, "%s", named.name);
        EXPECT_EQ(Try(named.a, named.b.empty() ? mSample.b : named.b), named.code) << named.name;
        vector<Pool> chain;
        mFiles[0].Set(named.a);
        Parse(mFiles[0], chain, uuids);
        EXPECT_EQ(chain.size(), named.pools) << named.name;
    }
    for (std::size_t cut = 0; cut < mSample.a.size(); ++cut) {
        std::snprintf(gTold, sizeof gTold, "cut to %u", static_cast<unsigned>(cut));
        Try(mSample.a.substr(0, cut), mSample.b);
        Try(mSample.a, mSample.b.substr(0, cut));
    }
    vector<Pool> pools;
    mFiles[0].Set(mSample.a);
    mFiles[1].Set(mSample.b);
    Parse(mFiles[0], pools, uuids);
    Parse(mFiles[1], pools, uuids);
    for (const Pool& pool : pools) {
        Damage(pool);
    }
    const char* const classes[] = {"CorruptHeader", "NotOxbowFile", "NeedUpgrade",
                                   "UserSigMismatch", "CorruptDirectory"};
    int files = 0;
    string refused;
    for (const auto& [code, count] : mCodes) {
        files += count;
        refused += code < Header ? "" : " " + std::to_string(count) + " " + classes[code - Header];
    }
    std::printf("hostile files: %d files, %d opened, %d refused with%s; at most %.0f ms, %ld KiB\n",
                files, mCodes[Sound], files - mCodes[Sound], refused.c_str(), 1000 * mLongest,
                mMost / 1024);
}

/** A document with many pools is outside of the promise; this is what one costs. */
TEST_F(HostileFiles, ManyPoolsCostTheSquareOfTheirNumber) {
    for (unsigned count = 500; count <= (Stride() > 1 ? 1000 : 2000); count *= 2) {
        At("many").Set(Pools(mSample.a, count));
        const long before = TestAllocator::ResetPeak();
        const std::clock_t start = std::clock();
        OxbowRpm_Document document(kOwner);
        const OxbowRpm_File file = document.AddFile(PathOf("many").c_str(), kRead);
        EXPECT_EQ(file.PoolCount(), count);
        std::printf("many pools: %u opened in %.2f s with %ld KiB\n", count,
                    static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC,
                    (TestAllocator::PeakBytes() - before) / 1024);
    }
}

/** Two documents at random, which copy each other's pools. */
TEST_F(HostileFiles, OfOnesOwnHoldEveryByteThatTheModelHas) {
    const unsigned first = Seed(), runs = 12;
    for (unsigned seed = first; seed != first + runs && !HasFailure(); ++seed) {
        MemoryFiles::All().clear();
        std::mt19937 random(seed);
        Model models[] = {Model(kUpdate), Model(kUpdate)};
        try {
            for (const unsigned i : {0u, 1u}) {
                At(i == 0 ? "a" : "b").Set("");
                models[i].Add(i == 0 ? "a" : "b");
                models[i].Do(Model::kNewPool, 0, 0, models[i]);
            }
            for (int step = 0; step < 200; ++step) {
                const unsigned long which = random() % 2, x = random() % 1000, y = random() % 500;
                models[which].Do(static_cast<unsigned>(random()), x, y, models[1 - which]);
                models[which].ReadAll();
            }
        } catch (const std::exception& wrong) {
            ADD_FAILURE() << wrong.what() << ", OXBOW_SEED=" << seed;
        }
    }
    std::printf("model: %u runs of 200 operations (seed %u)\n", runs, first);
}

}  // namespace
}  // namespace Hostile
