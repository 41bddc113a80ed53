#ifndef OXBOW_TEST_WRITER_H
#define OXBOW_TEST_WRITER_H

#include <array>
#include <atomic>
#include <optional>
#include <random>
#include <vector>

#include "internal/TestFolder.h"

using Document = OxbowRpm_Document;

/** A seeded random user of two files that refer to each other and take in pools of a third, and a
    plain model of them. Its choices depend on seed and model alone: whoever knows how many
    operations had returned when a writer stopped goes the same way without a document. */
class Writer {
public:
    using Names = std::array<FennelUnicodeString, 3>;  // the two, and the source of copies
    /** Operations begun and returned; another process may look on. */
    struct Progress {
        std::atomic<unsigned> begun{0}, returned{0};
    };
    static unsigned Seed() {
        const char* set = std::getenv("OXBOW_SEED");
        return set == nullptr ? std::random_device()() : static_cast<unsigned>(std::stoul(set));
    }
    /** The pools that are copied; their directories often cross the pages that the system writes. */
    static void MakeSource(const FennelUnicodeString& name) {
        Document document("proc");
        OxbowRpm_File file = document.AddFile(name, Document::AccessCreate);
        OxbowRpm_Locator last;
        for (std::uint32_t k = 0; k < kSources; ++k, file.NewPool()) {
            last = Store(file, kSourceId + k, k > kFirst ? last : OxbowRpm_Locator());
        }
    }
    /** Without a progress to report there is no document either, only the model. */
    Writer(const Names& names, unsigned seed, Progress* progress)
        : mNames(names), mRandom(seed), mProgress(progress) {
        if (progress != nullptr) {
            mFrom.emplace("proc");
            mSource.push_back(mFrom->AddFile(names[2], Document::AccessReadOnly));
            Open(mDocument.emplace("proc"), mFiles, Document::AccessCreate);
        }
    }
    void Steps(unsigned count) {
        for (; count != 0; --count, mFile = kNone) {
            Choose();
            mProgress != nullptr ? Do() : void();
            Note();
        }
    }
    /** The first half of a step: which operation it is. */
    void Choose() {
        static constexpr Kind kKinds[] = {kPut, kPut, kPut, kPut, kStart, kStart, kCopy};
        mKind = Draw(20) == 0 ? kReopen : kKinds[Draw(std::size(kKinds))];
        mKind = mKind == kCopy && mNextSource == kSources ? kPut : mKind;
        mFile = mKind == kReopen ? kNone : Draw(2);
        const std::size_t known = mKind == kReopen ? 0 : mPools[mFile].back().known;
        mTarget = known == 0 ? mRecords.size() : Draw(known);
    }
    /** Whether the operation under way writes a header where there was none. */
    bool WritesHeader() const { return mFile != kNone && mKind != kPut; }
    /** Opens the files and compares; with AccessUpdate each gets a pool more. False if one can't be
        opened any more. */
    bool Verify(Document::AccessMode mode, std::size_t more = 0) const {
        Document document("proc");
        Files files;
        try {
            Open(document, files, mode);
        } catch (const FennelException& failure) {
            const int code = failure.GetCode();
            EXPECT_TRUE(code == 5 || code == 6 || code == 9) << "code " << code;
            return false;
        }
        for (std::size_t f = 0; f < kNone; ++f) {
            const std::size_t found = files[f].PoolCount(), known = mPools[f].size();
            const bool touched = f == mFile, empty = mPools[f].back().length == 0;
            EXPECT_TRUE(found + (touched && empty) >= known && found <= known + touched + more);
            for (std::uint32_t i = 0; i < std::min(found, known); ++i) {
                const std::uint64_t length = files[f].Pool(i).Length(),
                                    wanted = mPools[f][i].length;
                const bool grows = touched && i + 1 == known && (mKind != kStart || wanted == 0);
                EXPECT_TRUE(length == wanted || (length > wanted && (grows || mFailed)));
            }
            mode == Document::AccessUpdate ? files[f].NewPool() : void();
        }
        for (const Record& record : mRecords) {
            OxbowRpm_BStreamReadLocator stream(At(files, record), 12, 64);
            OxbowRpm_Locator target;
            target.InternalizeImpl(stream);
            const bool whole = Holds(At(files, record) + 12, record.id);
            EXPECT_TRUE(whole && Holds(target + 12, record.target)) << record.id;
        }
        return true;
    }
    /** The least that is true of files that don't open. */
    void VerifyIn(const std::string& bytes) const {
        for (const Record& record : mRecords) {
            EXPECT_NE(bytes.find(Data(record.id)), bytes.npos) << record.id;
        }
    }
    void OpenAgain() {
        mFiles.clear();
        mDocument.emplace("proc");
        Open(*mDocument, mFiles, Document::AccessUpdate);
    }
    /** After a failed step, which can have left bytes in the last pool, part of a copy among them,
        or taken away an empty one. */
    void StartNewPools() {
        mNextSource = kSources;
        mFailed = true;
        for (mFile = 0; mFile < kNone; ++mFile) {
            mFiles[mFile].NewPool();
            mPools[mFile].resize(mFiles[mFile].PoolCount());
            mPools[mFile].back() = {0, mRecords.size()};
        }
    }

private:
    using Files = std::vector<OxbowRpm_File>;
    enum Kind { kPut, kStart, kCopy, kReopen };
    struct ModelPool {
        std::uint64_t length;  // of the data
        std::size_t known;     // how many records it can refer to: those that were there before it
    };
    struct Record {  // a reference, to itself or another, and data that its number tells
        std::size_t file, pool;
        std::uint64_t offset, id, target;
    };
    static constexpr std::size_t kNone = 2;
    static constexpr std::uint32_t kSources = 64, kFirst = 24, kSourceId = 1u << 20;
    /** Copies are longer than any header: no rest of a dropped one is left behind them. */
    static std::size_t Size(std::uint64_t id) {
        const std::size_t some = (id + 7) * 2654435761u % (id % 8 == 0 ? 9001 : 601) + 4;
        return id < kSourceId ? some : id % 16 == 13 ? 280000 : 8000 + id % 64 * 25;
    }
    static std::string Data(std::uint64_t id) {
        std::string bytes(Size(id), '\0');
        std::generate(bytes.begin(), bytes.end(), std::minstd_rand(static_cast<unsigned>(id + 1)));
        return bytes;
    }
    static OxbowRpm_Locator Store(OxbowRpm_File& file, std::uint64_t id,
                                  const OxbowRpm_Locator& target) {
        const std::string data = Data(id);
        const OxbowRpm_Locator place = file.Allocate(12 + data.size());
        (place + 12).Write(data.size(), data.data());
        OxbowRpm_BStreamWriteLocator stream(place, 12, 64);
        (target.IsNull() ? place : target).ExternalizeImpl(stream);
        return place;
    }
    static bool Holds(const OxbowRpm_Locator& place, std::uint64_t id) {
        std::string data = Data(id), bytes(data.size(), '\0');
        return place.Read(data.size(), bytes.data()) == data.size() && bytes == data;
    }
    static OxbowRpm_Locator At(const Files& files, const Record& record) {
        return files[record.file].Pool(static_cast<std::uint32_t>(record.pool)).Start() +
               record.offset;
    }
    void Open(Document& document, Files& files, Document::AccessMode mode) const {
        files.push_back(document.AddFile(mNames[0], mode));
        files.push_back(document.AddFile(mNames[1], mode));
    }
    std::size_t Draw(std::size_t below) { return mRandom() % below; }

    void Do() {
        const std::uint64_t next = mRecords.size();
        ++mProgress->begun;
        if (mKind == kReopen) {
            next % 64 == 0 ? mDocument->Close() : void();
            next % 64 == 1 ? mDocument->Flush() : void();
            OpenAgain();
        } else if (mKind == kPut) {
            Store(mFiles[mFile], next,
                  mTarget == next ? OxbowRpm_Locator() : At(mFiles, mRecords[mTarget]));
        } else if (mKind == kStart) {
            mFiles[mFile].NewPool();
        } else {
            mFiles[mFile].AppendPool(mSource[0].Pool(mNextSource));
        }
        ++mProgress->returned;
    }
    void Note() {
        const std::uint64_t next = mRecords.size();
        std::uint64_t id = next, target = mTarget == next ? next : mRecords[mTarget].id;
        if (mKind == kCopy) {
            id = kSourceId + mNextSource;
            target = mNextSource++ == kFirst ? id : id - 1;
        }
        if (mKind == kStart || mKind == kCopy) {  // in the place of a last one without data
            mPools[mFile].resize(mPools[mFile].size() + (mPools[mFile].back().length != 0));
            mPools[mFile].back() = {0, mKind == kCopy ? 0 : next};
        }
        if (mKind == kPut || mKind == kCopy) {
            ModelPool& pool = mPools[mFile].back();
            mRecords.push_back({mFile, mPools[mFile].size() - 1, pool.length, id, target});
            pool.length += 12 + Size(id);
        }
    }
    const Names mNames;
    std::mt19937 mRandom;
    Progress* const mProgress;
    std::optional<Document> mFrom, mDocument;
    Files mSource, mFiles;
    std::vector<ModelPool> mPools[2] = {{{0, 0}}, {{0, 0}}};
    std::vector<Record> mRecords;
    std::uint32_t mNextSource = kFirst;
    // The step under way: its kind, the one file that it changes, the record that it refers to.
    Kind mKind = kStart;
    bool mFailed = false;
    std::size_t mFile = kNone, mTarget = 0;
};

#endif
