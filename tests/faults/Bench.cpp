#include "faults/Bench.h"

#include <OxbowPoolManager/OxbowPoolManager.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <new>
#include <random>
#include <utility>

#include "doubles/CountingAllocator.h"
#include "doubles/MemoryFiles.h"

using std::size_t;
using std::string;

namespace {

using Document = OxbowRpm_Document;

/** The UUIDs of attempts at one pool differ in the last two digits alone. */
string Name(const FennelString& uuid) {
    return string(uuid.View().substr(0, 30));
}

/** Stands before the references in the data of that pool. */
string MarkOf(const string& uuid) {
    return "<" + uuid + ">";
}

Pools ReadAll(const OxbowRpm_File& file) {
    Pools pools;
    for (unsigned i = 0; i < file.PoolCount(); ++i) {
        const OxbowRpm_Locator start = file.Pool(i).Start();
        const string uuid = Name(start.GetGUID());
        string bytes(file.Pool(i).Length(), '?');
        bytes.resize(start.Read(bytes.size(), bytes.data()));
        for (size_t at = 0; (at = bytes.find(MarkOf(uuid), at)) != string::npos;) {
            at += MarkOf(uuid).size();
            for (const size_t end = at + 24; at < end && at + 12 <= bytes.size(); at += 12) {
                OxbowRpm_BStreamReadLocator stream(start + at, 12, 64);
                OxbowRpm_Locator locator;
                locator.InternalizeImpl(stream);
                bytes.replace(at, 12, Name(locator.GetGUID()), 18, 12);
            }
        }
        bytes.resize(bytes.find_last_not_of('\0') + 1);  // what was booked need not come back
        pools[uuid] = bytes;
    }
    return pools;
}

/** Tells what the action raises, "" for nothing. */
template <class Action>
string FailureOf(Action action) try {
    try {
        action();
        return "";
    } catch (const FennelException& failure) {
        return string(failure.AsString().View());
    }
} catch (const std::bad_alloc&) {
    return "no memory";
}

struct Stop {};

/** One run of a workload. */
class Bench {
public:
    Bench(bool insists, Outcome& outcome, Workload* notes)
        : mInsists(insists), mOutcome(outcome), mNotes(notes) {}
    ~Bench() { OxbowRpm_PoolDirectory::TestForceUUID(nullptr); }

    void Run(const std::vector<string>& steps) {
        for (; mStep < steps.size() - 1; ++mStep) {
            Note();
            Step(std::istringstream(steps[mStep]));
            mOutcome.ends.push_back(TestPlatform::Log().size());
        }
        Note();
        mOutcome.finished = true;
    }
    /** As a host does after a failure that it doesn't take for one of the whole document. */
    void GoOn(bool closes) {
        for (Side& side : mSides) {
            for (auto& [name, file] : side.files) {
                FailureOf([&, &to = file] { to.Allocate(20).Write(20, string(20, '\0').data()); });
                FailureOf([&, &to = file] { closes ? to.NewPool() : void(); });
            }
            FailureOf([&] { closes&& side.document ? side.document->Close() : void(); });
        }
    }

private:
    struct Side {
        std::unique_ptr<Document> document;
        std::map<string, OxbowRpm_File> files;  // open
    };

    /** Files from "m" on belong to a second document. */
    Side& SideOf(const string& file) { return mSides[file >= "m"]; }
    OxbowRpm_File& FileOf(const string& name) { return SideOf(name).files.at(name); }

    void Step(std::istringstream step) {
        string word, name, other;
        unsigned a = 0, b = 0, c = 0;
        step >> word >> name;
        word == "append" || word == "stream" ? void(step >> other) : void();
        step >> a >> b >> c;
        const std::map<string, std::function<void()>> actions = {
            {"create", [&] { Add(name, Document::AccessCreate); }},
            {"update", [&] { Add(name, Document::AccessUpdate); }},
            {"read", [&] { Add(name, Document::AccessReadOnly); }},
            {"put", [&] { Put(FileOf(name), Fresh(a)); }},
            {"book", [&] { Do([&] { FileOf(name).Allocate(a); }); }},
            {"over",
             [&] { Do([&] { (FileOf(name).Pool(a).Start() + b).Write(c, Fresh(c).data()); }); }},
            {"pool", [&] { Do([&] { StartPool(FileOf(name)); }); }},
            {"append", [&] { Do([&] { FileOf(name).AppendPool(FileOf(other).Pool(a)); }); }},
            {"stream", [&] { Stream(FileOf(name), FileOf(other)); }},
            {"flush", [&] { Do([&] { FileOf(name).Flush(); }); }},
            {"close", [&] { Close(name); }},
            {"end", [&] { End(SideOf(name), true); }},
            {"leave", [&] { End(SideOf(name), false); }}};
        actions.at(word)();
    }

    /** Behind the data. */
    void Put(OxbowRpm_File& file, const string& bytes) {
        OxbowRpm_Locator place;
        Do([&] { place = file.Allocate(bytes.size()); });
        Do([&] { place.Write(bytes.size(), bytes.data()); });
    }
    void Close(const string& name) {
        Do([&] { SideOf(name).document->Close(FileOf(name)); });
        SideOf(name).files.erase(name);
    }
    /** To close a document is not repeated. */
    void End(Side& side, bool closes) {
        side.files.clear();
        Do([&] {
            const auto document = std::exchange(side.document, nullptr);
            document&& closes ? document->Close() : void();
        });
    }

    template <class Action>
    void Do(Action action) {
        string failure = FailureOf(action);
        if (!failure.empty() && mOutcome.failure.empty()) {
            mOutcome.failure = failure;
            failure = mInsists ? FailureOf(action) : failure;
        }
        failure.empty() ? void() : throw Stop();
    }
    void ForceUUID() {
        std::snprintf(mUUID, sizeof mUUID, "%030u%02u", mStep, ++mAttempts % 100);
        OxbowRpm_PoolDirectory::TestForceUUID(mUUID);
    }
    void Add(const string& name, Document::AccessMode mode) {
        Side& side = SideOf(name);
        Do([&] {
            side.document ? void() : void(side.document = std::make_unique<Document>("TEST"));
            ForceUUID();
            side.files.insert_or_assign(name, side.document->AddFile(PathOf(name).c_str(), mode));
        });
        Do([&] { mode == Document::AccessReadOnly ? void(ReadAll(FileOf(name))) : void(); });
    }
    void StartPool(OxbowRpm_File& file) try {
        mCount = file.PoolCount();
        ForceUUID();
        file.NewPool();
    } catch (const std::bad_alloc&) {
        EXPECT_EQ(file.PoolCount(), mCount) << "a lack of memory leaves the chain as it was";
        throw;
    }
    /** Bytes as no other step writes them. */
    string Fresh(size_t size) const {
        string bytes(size, '\0');
        std::minstd_rand random(mStep + 1);
        std::generate(bytes.begin(), bytes.end(),
                      [&] { return "ABCDEFGHIJKLMNOP"[random() % 16]; });
        return bytes;
    }
    /** References to the last pools of the two files. */
    void Stream(OxbowRpm_File& file, const OxbowRpm_File& target) {
        OxbowRpm_Locator place;
        string mark;
        Do([&] { mark = MarkOf(Name(file.Pool().GetGUID())); });
        Do([&] { place = file.Allocate(mark.size() + 24); });
        Do([&] {
            OxbowRpm_BStreamWriteLocator stream(place, mark.size() + 24, 40);
            stream.WriteBlock(mark.data(), static_cast<std::uint32_t>(mark.size()));
            (file.Start() + 5).ExternalizeImpl(stream);
            target.Start().ExternalizeImpl(stream);
        });
    }
    /** What all files give back before the step, for others to be held against. */
    void Note() {
        if (mNotes == nullptr) {
            return;
        }
        const std::vector<TestPlatform::Call> log = TestPlatform::Log();
        auto& snapshot = mNotes->mSnapshots.emplace_back();
        for (const auto& [path, file] : MemoryFiles::All()) {
            snapshot[path.substr(PathOf("").size())] =
                ReadAll(Document("TEST").AddFile(path.c_str(), Document::AccessReadOnly));
        }
        TestPlatform::Log() = log;
    }

    bool mInsists;
    Outcome& mOutcome;
    Workload* mNotes;
    unsigned mStep = 0;
    unsigned mAttempts = 0;
    unsigned mCount = 0;  // of the pools, before a new one
    char mUUID[64] = {};
    Side mSides[2];
};

bool AllHave(const Choices& choices, const string& uuid) {
    return std::all_of(choices.begin(), choices.end(),
                       [&](const Pools& pools) { return pools.count(uuid) != 0; });
}

string Compare(const Pools& pools, const Choices& choices) {
    for (const auto& [uuid, bytes] : choices.front()) {
        const auto pool = pools.find(uuid);
        const bool there = pool != pools.end() && pool->second.size() >= bytes.size();
        for (size_t i = 0; there && i < bytes.size(); ++i) {
            const auto allows = [&, &id = uuid](const Pools& other) {
                return other.count(id) == 0 || other.at(id).size() <= i ||
                       other.at(id)[i] == pool->second[i];
            };
            if (bytes[i] != pool->second[i] &&
                std::none_of(choices.begin(), choices.end(), allows)) {
                return "other bytes";
            }
        }
        if (!there && AllHave(choices, uuid)) {
            return "a pool is missing or short";
        }
    }
    return "";
}

/** Up to their first reference the pools stand somewhere in the file. */
bool HoldsAll(const string& file, const Choices& choices) {
    const Pools& last = choices.back();
    return std::all_of(choices.front().begin(), choices.front().end(), [&](const auto& pool) {
        const auto& [uuid, bytes] = pool;
        return !AllHave(choices, uuid) || last.at(uuid).rfind(bytes, 0) != 0 ||
               file.find(bytes.substr(0, bytes.find(MarkOf(uuid)))) != string::npos;
    });
}

bool IsOfHeaderChecks(const string& told) {
    return string(
               "OxbowExcCorruptHeader OxbowExcNotOxbowFile OxbowExcCorruptDirectory "
               "OxbowExcUserSigMismatch OxbowExcNeedUpgrade")
               .find(told.substr(0, told.find(':'))) != string::npos;
}

}  // namespace

string PathOf(const string& file) {
    return string(MemoryFiles::kFolder) + "/" + file;
}

unsigned FaultStride() {
    const char* const stride = std::getenv("OXBOW_FAULT_STRIDE");
    return stride == nullptr ? OXBOW_FAULT_STRIDE : static_cast<unsigned>(std::atoi(stride));
}

string Check(const Choices& choices, const string& file, How how, bool mayRefuse) {
    TestPlatform::Reset();
    const string failure = FailureOf([&] {
        Document document("TEST");
        OxbowRpm_File opened =
            document.AddFile(PathOf(file).c_str(),
                             how == How::Read ? Document::AccessReadOnly : Document::AccessUpdate);
        EXPECT_EQ(Compare(ReadAll(opened), choices), "") << file;
        if (how == How::UpdateAndAdd) {
            opened.PoolCount() == 0 ? opened.NewPool() : void();
            opened.Allocate(64).Write(64, string(64, '\0').data());
            opened.NewPool();
            document.Close();
        }
    });
    EXPECT_TRUE(how != How::Read || TestPlatform::Count(TestPlatform::Write) == 0);
    if (how == How::UpdateAndAdd && failure.empty()) {
        return Check(choices, file, How::Read, false);
    }
    EXPECT_TRUE(failure.empty() || (mayRefuse && IsOfHeaderChecks(failure) &&
                                    HoldsAll(MemoryFiles::At(PathOf(file)).Bytes(), choices)))
        << file << ": " << failure;
    return failure;
}

Workload::Workload(const string& name, std::istringstream steps) : mName(name) {
    for (string step; std::getline(steps >> std::ws, step, ',');) {
        mSteps.push_back(step);
    }
    mSteps.push_back("");
    MemoryFiles::All().clear();
    TestPlatform::Reset();
    mPlain = Run(Leaves, this);
    mLog = TestPlatform::Log();
    EXPECT_TRUE(mPlain.finished) << mName;
}

Outcome Workload::Run(Ending ending, Workload* notes) const {
    Outcome outcome;
    {
        Bench bench(ending == Insists, outcome, notes);
        try {
            bench.Run(mSteps);
        } catch (const Stop&) {
            ending == Insists ? void() : bench.GoOn(ending == Closes);
        }
    }
    TestAllocator::Disarm();
    return outcome;
}

size_t Workload::StepOfCall(size_t call) const {
    const std::vector<size_t>& ends = mPlain.ends;
    return static_cast<size_t>(std::upper_bound(ends.begin(), ends.end(), call) - ends.begin());
}

Choices Workload::Expect(const string& file, size_t sure, size_t now) const {
    Choices choices;
    for (size_t i = sure; i <= std::min(now, mSnapshots.size() - 1); ++i) {
        const auto pools = mSnapshots[i].find(file);
        choices.push_back(pools == mSnapshots[i].end() ? Pools() : pools->second);
    }
    return choices;
}

bool Workload::CopiesOver(const string& file, size_t steps) const {
    const Choices choices = Expect(file, steps, steps + 1);
    return mSteps[steps].rfind("append " + file, 0) == 0 &&
           std::any_of(choices.front().begin(), choices.front().end(),
                       [&](const auto& pool) { return !AllHave(choices, pool.first); });
}

const std::vector<Workload>& AllWorkloads() {
    static std::vector<Workload> all;
    std::ifstream file(all.empty() ? OXBOW_WORKLOADS : "");
    string name, steps;
    while (std::getline(file >> std::ws, name) && std::getline(file, steps, ';')) {
        all.emplace_back(name, std::istringstream(steps));
    }
    return all;
}
