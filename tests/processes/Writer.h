#ifndef OXBOW_TEST_WRITER_H
#define OXBOW_TEST_WRITER_H

#include <array>
#include <atomic>
#include <optional>
#include <vector>

#include "internal/TestFolder.h"
#include "processes/Setting.h"

using Document = OxbowRpm_Document;

/** A seeded random user of two files that refer to each other and take in pools of a third. Two with
    one seed do the same, so one shows what another, which was stopped, had done. */
class Writer {
public:
    using Names = std::array<FennelUnicodeString, 3>;  // the two, and the source of copies
    /** Of all pools of the two files: what the first reference leads to, and the data. */
    using Contents = std::array<std::vector<std::string>, 2>;
    /** Operations begun and returned; another process may look on. */
    struct Progress {
        std::atomic<unsigned> begun{0}, returned{0};
    };

    /** The pools that are copied; their directories often cross the pages that the system writes. */
    static void MakeSource(const FennelUnicodeString& name) {
        Document document("proc");
        OxbowRpm_File file = document.AddFile(name, Document::AccessCreate);
        for (unsigned k = 0; k < kSources; ++k, file.NewPool()) {
            Store(file, k % 16 == 13 ? 280000 : 8000 + k * 25, file.Pool(k - (k > kFirst)).Start());
        }
    }
    Writer(const Names& names, unsigned seed, Progress& progress)
        : mNames(names), mRandom(seed), mProgress(progress) {
        mSource.push_back(mFrom.AddFile(names[2], Document::AccessReadOnly));
        Open(*mDocument, names, mFiles, Document::AccessCreate);
    }
    void Steps(unsigned count) {
        for (; count != 0; --count) {
            const std::size_t kind = Draw(140);
            ++mProgress.begun;
            kind < 7 ? Reopen(kind) : Grow(mFiles[Draw(2)], kind % 7);
            ++mProgress.returned;
        }
    }
    /** Whether the last step writes a header where there was none. */
    bool WritesHeader() const { return mHeader; }
    void OpenAgain() {
        mFiles.clear();
        Open(mDocument.emplace("proc"), mNames, mFiles, Document::AccessUpdate);
    }
    /** After a failed step, which can have left bytes in the last pool, part of a copy among them,
        or taken away an empty one. */
    void StartNewPools() {
        mNextSource = kSources;
        mFiles[0].NewPool();
        mFiles[1].NewPool();
    }
    /** Opens the files and reads them; with AccessUpdate each gets a pool more. */
    static Contents Read(const Names& names, Document::AccessMode mode = Document::AccessReadOnly) {
        Document document("proc");
        Files files;
        Contents contents;
        Open(document, names, files, mode);
        for (std::size_t f = 0; f < 2; ++f) {
            mode == Document::AccessUpdate ? files[f].NewPool() : void();
            for (unsigned k = 0; k < files[f].PoolCount(); ++k) {
                contents[f].push_back(ReadPool(files[f].Pool(k)));
            }
        }
        return contents;
    }
    /** Whether everything is still there; a last pool without data may be gone. */
    static bool Keeps(const Contents& found, const Contents& before) {
        bool keeps = true;
        for (std::size_t f = 0; f < 2; ++f) {
            for (std::size_t k = 0; k < before[f].size(); ++k) {
                const std::string& data = before[f][k];
                keeps &= data.empty() ||
                         (k < found[f].size() && found[f][k].compare(0, data.size(), data) == 0);
            }
        }
        return keeps;
    }

private:
    using Files = std::vector<OxbowRpm_File>;
    static constexpr unsigned kSources = 64, kFirst = 24;

    static void Open(Document& document, const Names& names, Files& files,
                     Document::AccessMode mode) {
        files.push_back(document.AddFile(names[0], mode));
        files.push_back(document.AddFile(names[1], mode));
    }
    static void Store(OxbowRpm_File& file, std::size_t size, const OxbowRpm_Locator& target) {
        std::string data(size, '\0');
        std::generate(data.begin(), data.end(), std::minstd_rand(static_cast<unsigned>(size)));
        const OxbowRpm_Locator place = file.Allocate(12 + size);
        (place + 12).Write(size, data.data());
        OxbowRpm_BStreamWriteLocator stream(place, 12, 64);
        try {
            target.ExternalizeImpl(stream);
        } catch (const OxbowExcCantExternalizeLoc&) {  // younger than this pool: stored are zeros
        }
    }
    static std::string ReadPool(const OxbowRpm_Pool& pool) {
        std::string data(pool.Length() == 0 ? 0 : 8 + pool.Length(), '?');
        try {
            OxbowRpm_BStreamReadLocator stream(pool.Start(), 12, 64);
            OxbowRpm_Locator target;
            target.InternalizeImpl(stream);
            if (!target.IsNull()) {
                (target + 12).Read(std::min<std::size_t>(8, data.size()), data.data());
            }
        } catch (const FennelException&) {  // whose pool has no data, or came only in part
        }
        data.resize(data.empty() ? 0 : 8 + pool.Start().Read(data.size() - 8, data.data() + 8));
        return data;
    }
    std::size_t Draw(std::size_t below) { return mRandom() % below; }

    void Reopen(std::size_t kind) {
        mHeader = false;
        kind == 0 ? mDocument->Close() : kind == 1 ? mDocument->Flush() : void();
        OpenAgain();
    }
    void Grow(OxbowRpm_File& file, std::size_t kind) {
        mHeader = kind > 3;
        if (kind == 6 && mNextSource < kSources) {  // longer than any header that it may overwrite
            return static_cast<void>(file.AppendPool(mSource[0].Pool(mNextSource++)));
        }
        if (mHeader) {
            return file.NewPool();
        }
        const OxbowRpm_File& to = mFiles[Draw(2)];
        const OxbowRpm_Pool pool = to.Pool(static_cast<unsigned>(Draw(to.PoolCount())));
        const bool stays = pool.Length() != 0;  // else the next one takes its place
        Store(file, 20 + Draw(Draw(8) == 0 ? 9001 : 601), stays ? pool.Start() : file.Start());
    }

    const Names mNames;
    std::mt19937 mRandom;
    Progress& mProgress;
    Document mFrom{"proc"};
    std::optional<Document> mDocument{std::in_place, "proc"};
    Files mSource, mFiles;
    unsigned mNextSource = kFirst;
    bool mHeader = false;
};

#endif
