// What a stopped writer and a power cut leave, rebuilt from the writes of the workloads.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <set>
#include <unordered_set>
#include <utility>

#include "doubles/MemoryFiles.h"
#include "faults/Bench.h"

namespace {

using std::size_t;
using std::string;
using TestPlatform::Call;

constexpr size_t kPiece = 512;  // a device writes that many bytes whole or not at all
constexpr size_t kAllSubsetsUpTo = 12;
constexpr size_t kSamples = 100000;

void Apply(string& content, const Call& write, size_t count) {
    if (count != 0) {
        content.resize(std::max<size_t>(content.size(), write.position + count));
        content.replace(write.position, count, write.bytes, 0, count);
    }
}

bool WritesHeader(const Call& call) {
    return call.bytes.size() >= 80 && call.bytes.size() % 32 == 16 && call.bytes[0] == '\x89';
}

bool Creates(const Call& call) {
    return call.kind == TestPlatform::Open && call.asked == CREATE_ALWAYS;
}

class CrashStates : public testing::Test {
protected:
    ~CrashStates() override { MemoryFiles::All().clear(); }

    /** Hands each file of each workload to the action, with the calls on it and their numbers. */
    template <class Action>
    void EachHistory(Action action) {
        for (const Workload& workload : AllWorkloads()) {
            MemoryFiles::All().clear();
            for (const auto& [file, pools] : workload.mSnapshots.back()) {
                std::vector<std::pair<size_t, const Call*>> calls;
                for (const Call& call : workload.mPlain.log) {
                    if (call.path != nullptr && *call.path == PathOf(file)) {
                        calls.emplace_back(&call - workload.mPlain.log.data(), &call);
                    }
                }
                SCOPED_TRACE(string(workload.mName) + ", file " + file);
                action(workload, file, calls);
            }
        }
    }

    void Expect(const Workload& workload, const string& file, size_t sure, size_t now) {
        mChoices = workload.Expect(file, sure, now);
        mFile = file;
        mSeen.clear();
    }

    /** Opens the state both ways, unless it was there under the same expectation. */
    void Try(const string& content, bool mayRefuse) {
        const size_t hash = std::hash<string>()(content);
        mStates.insert(hash);
        if (HasFatalFailure() || !mSeen.insert(hash).second) {
            return;
        }
        for (const How how : {How::Read, How::Update}) {
            MemoryFiles::At(PathOf(mFile)).Set(content);
            const Verdict verdict = Check(mChoices, mFile, how);
            ASSERT_TRUE(verdict.found == Found::Sound ||
                        (mayRefuse && verdict.found == Found::Refused))
                << content.size() << " bytes: " << verdict.why;
            const string why = verdict.why.substr(0, verdict.why.find(':'));
            mCounts[why.empty() ? "sound" : why] += how == How::Read;
        }
    }

    void Print(const char* what) const {
        std::printf("%s: %zu workloads, %zu distinct states;", what, AllWorkloads().size(),
                    mStates.size());
        for (const auto& [outcome, count] : mCounts) {
            std::printf(" %zu %s", count, outcome.c_str());
        }
    }

    const size_t mStride = FaultStride();
    Choices mChoices;
    string mFile;
    std::unordered_set<size_t> mStates;
    std::unordered_set<size_t> mSeen;
    std::map<string, size_t> mCounts;
};

TEST_F(CrashStates, AfterAStopEverythingWrittenReadsBackUnlessItTearsAHeader) {
    EachHistory([&](const Workload& workload, const string& file, const auto& calls) {
        string content;
        for (const auto& [number, call] : calls) {
            const size_t step = workload.StepOfCall(number);
            Expect(workload, file, step, step + 1);
            const bool inCopy = workload.CopiesOver(file, step);
            const bool header = WritesHeader(*call);
            for (size_t count = 0; count < call->bytes.size(); count += mStride) {
                string state = content;
                Apply(state, *call, count);
                Try(state, inCopy || (header && count != 0));
            }
            Apply(content, *call, call->bytes.size());
            content = Creates(*call) ? "" : content;
        }
        Expect(workload, file, workload.mSnapshots.size() - 1, workload.mSnapshots.size());
        Try(content, false);
    });
    Print("stopped process");
    std::printf("\n");
    EXPECT_GE(mStates.size() * mStride, 100000u);
}

/** Between two flushes: the file before, and after each write. */
using Epoch = std::vector<string>;

string PieceOf(const string& bytes, size_t at) {
    string piece = bytes.substr(std::min(at, bytes.size()), kPiece);
    piece.resize(kPiece);
    return piece;
}

/** Each piece that changes, with its contents in turn. */
std::map<size_t, Epoch> ChangingPieces(const Epoch& epoch) {
    std::map<size_t, Epoch> pieces;
    for (size_t at = 0; at < epoch.back().size(); at += kPiece) {
        Epoch versions;
        for (const string& content : epoch) {
            versions.push_back(PieceOf(content, at));
        }
        versions.erase(std::unique(versions.begin(), versions.end()), versions.end());
        if (versions.size() > 1) {
            pieces[at] = versions;
        }
    }
    return pieces;
}

TEST_F(CrashStates, APowerCutCostsNothingThatWasFlushedUnlessAHeaderIsBeingChanged) {
    std::mt19937 random(20);
    int epochs = 0, quiet = 0;
    const auto cut = [&](const Epoch& epoch, bool changesHeader) {
        ++epochs;
        quiet += !changesHeader;
        const auto pieces = ChangingPieces(epoch);
        const bool all = pieces.size() <= kAllSubsetsUpTo;
        const size_t subsets = all ? size_t{1} << pieces.size() : 0;
        const size_t samples = all ? kSamples / 100 : kSamples;
        std::set<size_t> lengths;
        for (const string& content : epoch) {
            lengths.insert(content.size());
        }
        for (const size_t length : lengths) {
            for (size_t i = 0; i < subsets + samples; i += mStride) {
                string state = epoch.front();
                state.resize(epoch.back().size());
                size_t bits = i;
                for (const auto& [at, versions] : pieces) {
                    const size_t came = bits & 1 ? versions.size() - 1 : 0;
                    state.replace(at, kPiece,
                                  versions[i < subsets ? came : random() % versions.size()]);
                    bits >>= 1;
                }
                state.resize(length);
                Try(state, changesHeader);
            }
        }
    };
    EachHistory([&](const Workload& workload, const string& file, const auto& calls) {
        Epoch epoch(1);
        bool changesHeader = false;
        size_t sure = 0;
        for (const auto& [number, call] : calls) {
            if (call->kind == TestPlatform::Write) {
                epoch.push_back(epoch.back());
                Apply(epoch.back(), *call, call->bytes.size());
                changesHeader |= WritesHeader(*call) && epoch.back() != epoch[epoch.size() - 2];
            } else if (call->kind == TestPlatform::Flush || Creates(*call)) {
                const size_t step = workload.StepOfCall(number);
                Expect(workload, file, sure, step + 1);
                cut(epoch, std::exchange(changesHeader, false));
                epoch = {Creates(*call) ? "" : epoch.back()};
                sure = Creates(*call) ? 0 : step;
            }
        }
        Expect(workload, file, sure, workload.mSnapshots.size());
        cut(epoch, changesHeader);
    });
    Print("power cut");
    std::printf("; %d of %d spans between flushes change no header\n", quiet, epochs);
    EXPECT_GE(mStates.size() * mStride, 1000000u);
}

}  // namespace
