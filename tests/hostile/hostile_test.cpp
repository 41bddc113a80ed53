// Files that may hold anything: each yields right data or a typed exception, soon and in little
// memory.

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <ctime>

#include "doubles/CountingAllocator.h"
#include "faults/Counts.h"
#include "hostile/Model.h"
#include "processes/Setting.h"

/** There under a sanitizer alone. */
extern "C" void __sanitizer_set_death_callback(void (*callback)()) __attribute__((weak));

namespace Hostile {
namespace {

string With(string file, std::size_t at, const string& bytes) {
    return file.replace(at, bytes.size(), bytes);
}
/** A chain of pools that each name only themselves. */
string Pools(unsigned count) {
    string chain;
    for (unsigned i = 0; i < count; ++i) {
        chain += Pool{{string(28, 'u') + Little(i, 4)}}.Head(84) + "data";
    }
    return chain;
}

/** Their names, the codes of what is raised, and the bytes. */
vector<std::tuple<const char*, int, string>> NamedFiles(const string& a, const string& b) {
    constexpr unsigned length = 20, count = 44, text = 80, last = 120, lastText = last + 144;
    return {
        {"empty", Sound, ""},
        {"signature alone", Header, a.substr(0, 8)},
        {"header without directory", Directory, a.substr(0, 48)},
        {"data that was booked alone", Sound, a.substr(0, 80)},
        {"last header cut", Header, a.substr(0, last + 47)},
        {"zeros", Foreign, string(500, '\0')},
        {"ends of line changed", Foreign, With(a, 4, "\n\x1A\n")},
        {"version 5", Version, With(a, 8, "\5")},
        {"owner of another case", Owner, With(a, 16, "h")},
        {"reserved bytes and words", Sound, With(With(a, 9, "1234567"), 36, "12345678")},
        {"bytes behind a seal", Foreign, With(a, last + length, Decimal(184)) + string(48, 'x')},
        {"one pool four times", Sound, a.substr(0, last) + a.substr(0, last) + a + a},
        {"twin of the other file", Sound, b},
        {"first pool unsealed", Sound, With(a, length, Decimal(0))},
        {"length a byte short", Foreign, With(a, length, Decimal(119))},
        {"length of no data", Foreign, With(a, length, Decimal(80))},
        {"length inside directory", Header, With(a, length, Decimal(79))},
        {"length 10^12", Sound, With(a, length, Decimal(1000000000000))},
        {"last length 10^16 - 1", Sound, With(a, last + length, Decimal(kLongest))},
        {"last length leads back", Header, With(a, last + length, "000000000000000/")},
        {"length of zero bytes", Sound, With(a, length, string(16, '\0'))},
        {"count 0", Directory, With(a, count, Little(0, 4))},
        {"count past the end", Directory, With(a, count, Little(9, 4))},
        {"count that 32 bits lose", Directory, With(a, count, Little(1u << 27, 4))},
        {"count 2^32 - 1", Directory, With(a, count, Little(0xFFFFFFFF, 4))},
        {"pools of one UUID", Sound, With(a, last + 48, a.substr(48, 32))},
        {"UUID of the other file", Sound, With(a, 48, b.substr(48, 32))},
        {"own UUID in all entries", Sound, With(a, last + 80, string(64, '3'))},
        {"UUID of zeros", Sound, With(a, 48, string(32, '\0'))},
        {"text of -1", Sound, With(a, text, Little(0xFFFFFFFF, 4))},
        {"text of 2^31 - 1", Sound, With(a, text, Little(INT32_MAX, 4))},
        {"last text to the end", Sound, With(a, lastText, Little(40, 4))},
        {"slot behind the directory", Sound, With(a, lastText + 16, Little(3, 4))},
        {"offset -8", Sound, With(a, lastText + 8, Little(UINT64_MAX - 7, 8))},
        {"offset 2^63", Sound, With(a, lastText + 8, Little(1ull << 63, 8))},
        {"hundred pools", Sound, Pools(100)},
    };
}

string gCase;  // under way

/** Prints what is under way, and what the library has reported on it. */
void PrintCase(const char* end) {
    std::printf("%s in the case: %s, %s\nreports: %s\n", end, gCase.c_str(), gUnderWay.c_str(),
                gReports);
    std::fflush(stdout);
}
/** A crash ends the program with what it was about. */
void CatchCrashes() {
    for (const int end : {SIGABRT, SIGALRM, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGTRAP}) {
        std::signal(end, [](int found) {
            PrintCase(strsignal(found));
            _exit(1);
        });
    }
    if (__sanitizer_set_death_callback != nullptr) {
        __sanitizer_set_death_callback([] { PrintCase("a sanitizer's finding"); });
    }
}

/** What an action takes; a busy machine counts for nothing. */
template <class Action>
std::pair<double, long> CostOf(Action action) {
    const long before = TestAllocator::ResetPeak();
    const std::clock_t start = std::clock();
    action();
    return {static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC,
            TestAllocator::PeakBytes() - before};
}

/** Numbers where something ends, and those beside them. */
vector<uint64_t> Values(uint64_t start, uint64_t data, uint64_t end) {
    constexpr uint64_t big = uint64_t{1} << 63;
    vector<uint64_t> values;
    for (const uint64_t value :
         vector<uint64_t>{0, 3, 16, 36, 48, 80, end - start, end, 0x3FFFFFE, INT32_MAX, 0x100000000,
                          1000000000000, kLongest, big, big - data, 0 - data}) {
        values.insert(values.end(), {value - 1, value, value + 1});
    }
    return values;
}

class HostileFiles : public testing::Test {
protected:
    HostileFiles() { CatchCrashes(); }
    ~HostileFiles() override {
        if (HasFailure()) {
            PrintCase("a failure");
        }
    }

    /** Visits the files; returns the code of the refusal, 0 for none. */
    int Try(const string& told, const string& a, const string& b) {
        gCase = told;
        int code = 0;
        alarm(20);
        const auto [took, most] = CostOf([&] { Visit(kRead, a, b), code = Visit(kUpdate, a, b); });
        alarm(0);
        EXPECT_LT(took, 1) << told;
        EXPECT_LE(most, static_cast<long>(4 * (a.size() + b.size()) + (64 << 20))) << told;
        mLongest = std::max(mLongest, took);
        mMost = std::max(mMost, most);
        mCodes[code] += 1;
        return code;
    }
    /** With these bytes in the place of the sample's own. */
    void Put(const string& file, uint64_t at, const string& bytes) {
        if (mCases++ % Stride() != 0 || HasFailure()) {
            return;
        }
        const bool first = &file == &mSample.a;
        const string damaged = With(file, at, bytes);
        Try((first ? "a at " : "b at ") + std::to_string(at) + testing::PrintToString(bytes),
            first ? damaged : mSample.a, first ? mSample.b : damaged);
    }
    void Damage(const string& file, uint64_t start, uint64_t data) {
        for (uint64_t at = start; at < data + 40; ++at) {
            for (unsigned value = 0; value < 256; ++value) {
                Put(file, at, Little(value, 1));
            }
        }
        const vector<uint64_t> values = Values(start, data, file.size());
        vector<string> lengths = {string(16, '\0'), string(16, '\xFF'), "000000000000000/"};
        std::transform(values.begin(), values.end(), std::back_inserter(lengths), Decimal);
        for (const uint64_t value : values) {
            for (const string& length : lengths) {
                Put(file, start + 20, length + string(8, '\2') + Little(value, 4));
            }
            for (const uint64_t text : {data, data + 20}) {
                Put(file, text, Little(value, 4));
                Put(file, text + 16, Little(value, 4));
                Put(file, text + 8, Little(value, 8) + Little(value % 3, 4));
            }
        }
    }

    const Sample mSample;
    std::map<int, int> mCodes;
    double mLongest = 0;
    long mMost = 0;
    unsigned mCases = 0;
};

TEST_F(HostileFiles, GiveRightDataOrATypedException) {
    for (const auto& [name, code, file] : NamedFiles(mSample.a, mSample.b)) {
        EXPECT_EQ(Try(name, file, mSample.b), code) << name;
    }
    for (unsigned cut = 0; cut < mSample.a.size(); ++cut) {
        Try("a cut to " + std::to_string(cut), mSample.a.substr(0, cut), mSample.b);
        Try("b cut to " + std::to_string(cut), mSample.a, mSample.b.substr(0, cut));
    }
    Damage(mSample.a, 0, 80);
    Damage(mSample.a, 120, 264);
    Damage(mSample.b, 0, 112);
    const char* const classes[] = {"CorruptHeader", "NotOxbowFile", "NeedUpgrade",
                                   "UserSigMismatch", "CorruptDirectory"};
    int files = 0;
    string refused;
    for (const auto& [code, count] : mCodes) {
        files += count;
        HoldCount(code == Sound ? "hostile files: opened"
                                : string("hostile files: OxbowExc") + classes[code - Header],
                  count);
        refused += code < Header ? "" : " " + std::to_string(count) + " " + classes[code - Header];
    }
    HoldCount("hostile files", files);
    std::printf("hostile files: %d files, %d opened, %d refused with%s; at most %.0f ms, %ld KiB\n",
                files, mCodes[Sound], files - mCodes[Sound], refused.c_str(), 1000 * mLongest,
                mMost / 1024);
}

/** A document with many pools is outside of the promise; this is what one costs. */
TEST_F(HostileFiles, ManyPoolsCostTheSquareOfTheirNumber) {
    for (unsigned count = 500; count <= (Stride() > 1 ? 1000 : 2000); count *= 2) {
        SetFiles(Pools(count), "");
        const auto [seconds, bytes] = CostOf([&] {
            OxbowRpm_Document document(kOwner);
            EXPECT_EQ(document.AddFile(kA, kRead).PoolCount(), count);
        });
        std::printf("many pools: %u opened in %.2f s with %ld KiB\n", count, seconds, bytes / 1024);
    }
}

TEST_F(HostileFiles, OfOnesOwnHoldEveryByteThatTheModelHas) {
    const unsigned first = Seed(), runs = 12;
    for (unsigned seed = first; seed != first + runs && !HasFailure(); ++seed) {
        gCase = "OXBOW_SEED=" + std::to_string(seed);
        vector<unsigned char> steps(3 * 200);
        std::generate(steps.begin(), steps.end(), std::mt19937(seed));
        Operate("", "", steps);
    }
    std::printf("model: %u runs of 200 operations (seed %u)\n", runs, first);
}

}  // namespace
}  // namespace Hostile
