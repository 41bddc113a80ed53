#include "faults/Bench.h"

#include <OxbowPoolManager/OxbowPoolManager.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <new>
#include <sstream>
#include <stdexcept>
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

/** Stands before each reference in the data of that pool. */
string MarkOf(const string& uuid) {
    return "<" + uuid + ">";
}

Pools ReadAll(const OxbowRpm_File& file) {
    Pools pools;
    for (unsigned i = 0; i < file.PoolCount(); ++i) {
        const OxbowRpm_Locator start = file.Pool(i).Start();
        string bytes(file.Pool(i).Length(), '?');
        bytes.resize(start.Read(bytes.size(), bytes.data()));
        const string uuid = Name(start.GetGUID());
        for (size_t at = 0; (at = bytes.find(MarkOf(uuid), at)) != string::npos;) {
            at += MarkOf(uuid).size();
            if (bytes.size() - at >= 12) {
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

/** The exception on its way. */
string CurrentFailure() {
    try {
        throw;
    } catch (const FennelException& failure) {
        return Told(failure);
    } catch (const std::bad_alloc&) {
        return "no memory";
    }
}

class Bench {
public:
    Bench(bool insists, Workload* notes) : mInsists(insists), mNotes(notes) {}
    ~Bench() { OxbowRpm_PoolDirectory::TestForceUUID(nullptr); }

    void Run(const string& steps, Outcome& outcome) {
        std::istringstream words(steps);
        try {
            for (string word, name; words >> word >> name; ++mStep) {
                Note(word + " " + name);
                Step(word, name, words);
                outcome.ends.push_back(TestPlatform::Log().size());
            }
            Note("");
            outcome.finished = true;
        } catch (...) {
            mFailure = mFailure.empty() ? CurrentFailure() : mFailure;
        }
        outcome.failure = mFailure;
    }
    /** As a host does after a failure that it doesn't take for one of the whole document. */
    void GoOn(bool closes) {
        for (Side& side : mSides) {
            for (auto& entry : side.files) {
                Attempt([&] { entry.second.Allocate(20).Write(20, string(20, '\0').data()); });
                Attempt([&] { closes ? entry.second.NewPool() : void(); });
            }
            Attempt([&] { !closes || !side.document ? void() : side.document->Close(); });
        }
    }

private:
    struct Side {
        std::unique_ptr<Document> document;
        std::map<string, OxbowRpm_File> files;  // open
    };

    /** The words of the workloads. Files from "m" on belong to a second document. */
    void Step(const string& word, const string& name, std::istringstream& rest) {
        std::unique_ptr<Document>& document = mSides[name >= "m"].document;
        std::map<string, OxbowRpm_File>& files = mSides[name >= "m"].files;
        const auto found = files.find(name);
        OxbowRpm_File* const file = found == files.end() ? nullptr : &found->second;
        size_t size = 0, at = 0;
        unsigned pool = 0;
        string target;
        if (word == "create") {
            Add(name, Document::AccessCreate);
        } else if (word == "update") {
            Add(name, Document::AccessUpdate);
        } else if (word == "read") {
            Add(name, Document::AccessReadOnly);
            Do([&] { ReadAll(files.at(name)); });
        } else if (word == "put" && rest >> size) {  // behind the data
            OxbowRpm_Locator place;
            Do([&] { place = file->Allocate(size); });
            Do([&, bytes = Fresh(size)] { place.Write(size, bytes.data()); });
        } else if (word == "book" && rest >> size) {  // without writing
            Do([&] { file->Allocate(size); });
        } else if (word == "over" && rest >> pool >> at >> size) {
            Do([&, bytes = Fresh(size)] {
                (file->Pool(pool).Start() + at).Write(size, bytes.data());
            });
        } else if (word == "pool") {
            Do([&, count = file->PoolCount()] {
                try {
                    ForceUUID();
                    file->NewPool();
                } catch (const std::bad_alloc&) {  // leaves the chain as it was
                    file->PoolCount() == count ? throw : throw std::logic_error("a pool is gone");
                }
            });
        } else if (word == "append" && rest >> target >> pool) {
            Do([&] { file->AppendPool(mSides[target >= "m"].files.at(target).Pool(pool)); });
        } else if (word == "stream" && rest >> target) {
            Stream(*file, mSides[target >= "m"].files.at(target));
        } else if (word == "flush") {
            Do([&] { file->Flush(); });
        } else if (word == "close") {
            Do([&] { document->Close(*file); });
            files.erase(name);
        } else if (word == "end") {  // closes the document; not repeated
            files.clear();
            Do([&] { document == nullptr ? void() : std::exchange(document, nullptr)->Close(); });
        } else if (word == "leave") {  // doesn't
            files.clear();
            document.reset();
        } else {
            std::abort();  // a slip of the workload
        }
    }

    template <class Action>
    static void Attempt(Action action) {
        try {
            action();
        } catch (const FennelException&) {
        } catch (const std::bad_alloc&) {
        }
    }
    template <class Action>
    void Do(Action action) {
        try {
            action();
            return;
        } catch (...) {
            if (!mInsists || !mFailure.empty()) {
                throw;
            }
            mFailure = CurrentFailure();
        }
        action();
    }
    void ForceUUID() {
        std::snprintf(mUUID, sizeof mUUID, "%030u%02u", mStep, ++mAttempts % 100);
        OxbowRpm_PoolDirectory::TestForceUUID(mUUID);
    }
    void Add(const string& name, Document::AccessMode mode) {
        Side& side = mSides[name >= "m"];
        Do([&] {
            if (side.document == nullptr) {
                side.document = std::make_unique<Document>("TEST");
            }
            ForceUUID();
            side.files.insert_or_assign(name, side.document->AddFile(PathOf(name).c_str(), mode));
        });
    }
    /** Bytes as no other step writes them. */
    string Fresh(size_t size) const {
        string bytes(size, '\0');
        std::uint32_t state = (mStep + 1) * 2654435761u;
        for (char& byte : bytes) {
            state = state * 1664525u + 1013904223u;
            byte = static_cast<char>('A' + (state >> 27));
        }
        return bytes;
    }
    /** References to the last pools of the two files. */
    void Stream(OxbowRpm_File& file, const OxbowRpm_File& target) {
        OxbowRpm_Locator place;
        string mark;
        Do([&] { mark = MarkOf(Name(file.Pool().GetGUID())); });
        Do([&] { place = file.Allocate(2 * mark.size() + 24); });
        Do([&] {
            OxbowRpm_BStreamWriteLocator stream(place, 2 * mark.size() + 24, 40);
            stream.WriteBlock(mark.data(), static_cast<std::uint32_t>(mark.size()));
            (file.Start() + 5).ExternalizeImpl(stream);
            stream.WriteBlock(mark.data(), static_cast<std::uint32_t>(mark.size()));
            target.Start().ExternalizeImpl(stream);
        });
    }
    /** What all files give back before the step, for others to be held against. */
    void Note(const string& words) {
        if (mNotes == nullptr) {
            return;
        }
        mNotes->mSnapshots.emplace_back();
        mNotes->mWords.push_back(words);
        for (const auto& [path, file] : MemoryFiles::All()) {
            const string name = path.substr(PathOf("").size());
            mNotes->mSnapshots.back()[name] =
                ReadAll(Document("TEST").AddFile(path.c_str(), Document::AccessReadOnly));
        }
    }

    bool mInsists;
    Workload* mNotes;
    string mFailure;
    unsigned mStep = 0;
    unsigned mAttempts = 0;
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
        if (!AllHave(choices, uuid)) {
            continue;
        }
        if (pool == pools.end() || pool->second.size() < bytes.size()) {
            return pool == pools.end() ? "a pool is missing" : "a pool is short";
        }
        for (size_t i = 0; i < bytes.size(); ++i) {
            const char found = pool->second[i];
            if (bytes[i] != found &&
                std::none_of(choices.begin(), choices.end(), [&, &id = uuid](const Pools& other) {
                    return other.at(id).size() <= i || other.at(id)[i] == found;
                })) {
                return "other bytes";
            }
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
    static const string names =
        "OxbowExcCorruptHeader OxbowExcNotOxbowFile OxbowExcCorruptDirectory "
        "OxbowExcUserSigMismatch OxbowExcNeedUpgrade";
    return names.find(told.substr(0, told.find(':'))) != string::npos;
}

}  // namespace

string PathOf(const string& file) {
    return string(MemoryFiles::kFolder) + "/" + file;
}

unsigned FaultStride() {
    const char* const stride = std::getenv("OXBOW_FAULT_STRIDE");
    return stride == nullptr ? OXBOW_FAULT_STRIDE : static_cast<unsigned>(std::atoi(stride));
}

Verdict Check(const Choices& choices, const string& file, How how) {
    TestPlatform::Reset();
    try {
        Document document("TEST");
        OxbowRpm_File opened =
            document.AddFile(PathOf(file).c_str(),
                             how == How::Read ? Document::AccessReadOnly : Document::AccessUpdate);
        const bool wrote = how == How::Read && TestPlatform::Count(TestPlatform::Write) != 0;
        const string why = wrote ? "reading wrote" : Compare(ReadAll(opened), choices);
        if (!why.empty() || how != How::UpdateAndAdd) {
            return {why.empty() ? Found::Sound : Found::Wrong, why};
        }
        opened.PoolCount() == 0 ? opened.NewPool() : void();
        opened.Allocate(64).Write(64, string(64, '\0').data());
        opened.NewPool();
        document.Close();
    } catch (const FennelException& failure) {
        const string told = Told(failure);
        const bool holds = HoldsAll(MemoryFiles::At(PathOf(file)).Bytes(), choices);
        return {IsOfHeaderChecks(told) && holds ? Found::Refused : Found::Wrong, told};
    }
    return Check(choices, file, How::Read);
}

Workload::Workload(const string& name, const string& steps) : mName(name), mSteps(steps) {
    for (Workload* const notes : {this, static_cast<Workload*>(nullptr)}) {
        MemoryFiles::All().clear();
        TestPlatform::Reset();
        mPlain = Run(Leaves, notes);  // the second, since to look takes calls of its own
        mPlain.finished ? void() : std::abort();
    }
}

Outcome Workload::Run(Ending ending, Workload* notes) const {
    Outcome outcome;
    {
        Bench bench(ending == Insists, notes);
        bench.Run(mSteps, outcome);
        if (ending != Insists && !outcome.finished) {
            bench.GoOn(ending == Closes);
        }
    }
    TestPlatform::Disarm();
    TestAllocator::Disarm();
    outcome.log = TestPlatform::Log();
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
    return mWords[steps] == "append " + file &&
           std::any_of(choices.front().begin(), choices.front().end(),
                       [&](const auto& pool) { return !AllHave(choices, pool.first); });
}

const std::vector<Workload>& AllWorkloads() {
    static std::vector<Workload> all;
    std::ifstream file(all.empty() ? OXBOW_WORKLOADS : "");
    string name, steps, rest;
    while (std::getline(file, name) && std::getline(file, steps, ';')) {
        std::replace(steps.begin(), steps.end(), ',', ' ');
        all.emplace_back(name, steps);
        std::getline(file, rest);
    }
    return all;
}
