#ifndef OXBOW_TEST_WRITER_H
#define OXBOW_TEST_WRITER_H

#include <atomic>
#include <optional>
#include <vector>

#include "internal/TestFolder.h"
#include "processes/Setting.h"

using Document = OxbowRpm_Document;

/** A seeded random user of a file. Two with one seed do the same, so one shows what another, which
    was stopped, had done. */
class Writer {
public:
    /** The data of each pool that has any, which only the last one may lack. */
    using Contents = std::vector<std::string>;
    /** Operations begun and returned; another process may look on. */
    struct Progress {
        std::atomic<unsigned> begun{0}, returned{0};
    };

    Writer(const FennelUnicodeString& name, unsigned seed, Progress& progress)
        : mName(name), mRandom(seed), mProgress(progress) {}
    void Steps(unsigned count) {
        for (; count != 0; --count) {
            const auto kind = mRandom() % 140;
            ++mProgress.begun;
            mHeader = kind >= 80;
            kind == 0 ? mDocument->Flush() : kind < 7 ? OpenAgain() : mHeader ? NewPools() : Grow();
            ++mProgress.returned;
        }
    }
    /** Whether the last step writes a header where there was none. */
    bool WritesHeader() const { return mHeader; }
    void OpenAgain() { mFile = mDocument.emplace("proc").AddFile(mName, Document::AccessUpdate); }
    /** Each takes the place of the one before, with a longer header. A failed step can have taken
        away the last one without data, so this is how to go on. */
    void NewPools() {
        for (auto count = 1 + mRandom() % 8; count != 0; --count) {
            mFile.NewPool();
        }
    }
    /** Opens the file and reads it; with AccessUpdate it gets a pool more. */
    static Contents Read(const FennelUnicodeString& name,
                         Document::AccessMode mode = Document::AccessReadOnly) {
        Document document("proc");
        OxbowRpm_File file = document.AddFile(name, mode);
        if (mode == Document::AccessUpdate) {
            file.NewPool();
        }
        Contents contents;
        for (unsigned k = 0; k < file.PoolCount(); ++k) {
            std::string data(file.Pool(k).Length(), '?');
            data.resize(file.Pool(k).Start().Read(data.size(), data.data()));
            if (!data.empty()) {
                contents.push_back(data);
            }
        }
        return contents;
    }
    /** Whether everything is still there. */
    static bool Keeps(const Contents& found, const Contents& before) {
        const auto goesOn = [](const auto& was, const auto& is) { return is.rfind(was, 0) == 0; };
        return found.size() >= before.size() &&
               std::equal(before.begin(), before.end(), found.begin(), goesOn);
    }

private:
    void Grow() {
        std::string data(20 + mRandom() % (mRandom() % 8 == 0 ? 9001 : 601), '\0');
        std::generate(data.begin(), data.end(), [this] { return static_cast<char>(mRandom()); });
        mFile.Allocate(data.size()).Write(data.size(), data.data());
    }

    const FennelUnicodeString mName;
    std::mt19937 mRandom;
    Progress& mProgress;
    std::optional<Document> mDocument{std::in_place, "proc"};
    OxbowRpm_File mFile = mDocument->AddFile(mName, Document::AccessCreate);
    bool mHeader = false;
};

#endif
