#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <filesystem>
#include <set>
#include <system_error>
#include <tuple>

#include "Commands.h"
#include "Store.h"

namespace fs = std::filesystem;

namespace {

// For the progress bar alone: what can't be looked at is left out.
std::uint64_t BytesBelow(const std::string& root) {
    std::uint64_t total = 0;
    std::error_code error;
    for (fs::recursive_directory_iterator i(root, error), end; i != end; i.increment(error)) {
        const bool file = fs::is_regular_file(i->symlink_status(error));
        const std::uintmax_t size = file ? i->file_size(error) : 0;
        total += error ? 0 : size;
    }
    return total;
}

// What shows that a file is as it was.
auto StampOf(const Record& r) {
    return std::make_tuple(r.mode, r.inode, r.size, r.modified.tv_sec, r.modified.tv_nsec,
                           r.changed.tv_sec, r.changed.tv_nsec);
}

/** The UUID of a pool, or of a locator's pool. */
template <class PoolOrLocator>
std::string IdOf(const PoolOrLocator& value) {
    return std::string(value.GetGUID().View());
}

std::set<std::string> PoolsOf(const OxbowRpm_File& file) {
    std::set<std::string> pools;
    for (std::uint32_t i = 0; i < file.PoolCount(); ++i) {
        pools.insert(IdOf(file.Pool(i)));
    }
    return pools;
}

/** One run of `take`. */
class Taker {
public:
    Taker(const std::string& storeFolder, const std::string& root);
    void Add(const std::string& path);
    int Finish();

private:
    bool FindUnchanged(const std::string& path, Record& record) const;
    void StoreContents(const std::string& path, Record& record);

    Store mStore;
    std::string mStoreFolder;
    std::string mRoot;
    timespec mStart = {};
    Records mPrevious;
    std::set<std::string> mPools;
    OxbowRpm_Locator mHead;
    Records mRecords;
    std::vector<char> mPiece = std::vector<char>(kPiece);
    std::map<std::uint32_t, std::size_t> mCount;  // By the kind of the entry.
    std::uint64_t mBytes = 0;
    std::uint64_t mStored = 0;
    std::size_t mStoredFiles = 0;
    bool mComplete = true;
};

Taker::Taker(const std::string& storeFolder, const std::string& root)
    : mStore(storeFolder, Store::Access::Write),
      mStoreFolder(storeFolder),
      mRoot(root),
      mPools(PoolsOf(mStore.Contents())) {
    // The kernel stamps changes with a clock that moves every few milliseconds. The wait
    // takes it past mStart: a file stamped no later bears another stamp after any later change.
    clock_gettime(CLOCK_REALTIME_COARSE, &mStart);
    usleep(20000);
    for (std::size_t last = mStore.Heads().size(); last > 0 && mPrevious.empty(); --last) {
        try {
            mPrevious = mStore.ReadRecords(static_cast<std::uint32_t>(last));
        } catch (const Failure& failure) {
            Note(failure.what());
        }
    }
    mHead = mStore.BeginSnapshot();
}

// An entry may vanish while we work, which is no failure of the take, or be closed to us, which is
// one. Either way the rest is taken.
void Taker::Add(const std::string& path) try {
    const std::string full = mRoot + "/" + path;
    struct stat info = {};
    Require(lstat(full.c_str(), &info) == 0, full);
    Record record;
    record.mode = info.st_mode;
    record.inode = info.st_ino;
    record.modified = info.st_mtim;
    record.changed = info.st_ctim;
    if (S_ISREG(info.st_mode)) {
        record.size = static_cast<std::uint64_t>(info.st_size);
        FindUnchanged(path, record) ? AddProgress(record.size) : StoreContents(full, record);
    } else if (S_ISLNK(info.st_mode)) {
        record.target = fs::read_symlink(full).string();
    } else if (!S_ISDIR(info.st_mode)) {
        return Note("skipped, neither file nor directory nor link: " + full);
    } else if (fs::equivalent(full, mStoreFolder)) {
        return;
    }
    mRecords.emplace(path, record);
    mBytes += record.size;
    ++mCount[record.mode & S_IFMT];
    if (S_ISDIR(info.st_mode)) {
        for (const fs::directory_entry& entry : fs::directory_iterator(full)) {
            Add((path / entry.path().filename()).string());
        }
    }
} catch (const std::system_error& e) {
    Note(std::string("skipped ") + e.what());
    mComplete = mComplete && e.code().value() == ENOENT;
}

// The record of an unchanged file leads into the pool of an earlier snapshot.
bool Taker::FindUnchanged(const std::string& path, Record& record) const {
    const auto then = mPrevious.find(path);
    if (then == mPrevious.end() || StampOf(then->second) != StampOf(record) ||
        (record.size > 0 && mPools.count(IdOf(then->second.contents)) == 0)) {
        return false;
    }
    record = then->second;
    return true;
}

// The record gets size and checksum of the bytes that were there to read. Nothing else books ranges
// in this pool, so the pieces lie end to end, and the first one's place is the file's.
void Taker::StoreContents(const std::string& path, Record& record) {
    const OpenedFile file = OpenToRead(path);
    if (std::tie(record.changed.tv_sec, record.changed.tv_nsec) >
        std::tie(mStart.tv_sec, mStart.tv_nsec)) {
        record.changed = {};  // It may change again under the same stamp: read it next time.
    }
    record.size = 0;
    while (const std::size_t count = std::fread(mPiece.data(), 1, kPiece, file.get())) {
        const OxbowRpm_Locator place = mStore.Contents().Allocate(count);
        place.Write(count, mPiece.data());
        record.contents = record.size == 0 ? place : record.contents;
        record.checksum = AddToChecksum(record.checksum, mPiece.data(), count);
        record.size += count;
        AddProgress(count);
    }
    Require(std::ferror(file.get()) == 0, path);
    mStored += record.size;
    ++mStoredFiles;
}

int Taker::Finish() {
    mStore.FinishSnapshot(mHead, mRecords);
    EndProgress();
    std::printf("snapshot %u: %zu files, %zu directories, %zu links\n",
                mStore.Trees().PoolCount() - 1, mCount[S_IFREG], mCount[S_IFDIR], mCount[S_IFLNK]);
    std::printf("stored %" PRIu64 " bytes in %zu files\n", mStored, mStoredFiles);
    std::printf("reused %" PRIu64 " bytes in %zu files\n", mBytes - mStored,
                mCount[S_IFREG] - mStoredFiles);
    return mComplete ? 0 : 1;
}

}  // namespace

int Take(const std::string& storeFolder, const std::string& directory) {
    std::error_code missing;
    if (!fs::is_directory(directory) || fs::equivalent(directory, storeFolder, missing)) {
        throw Failure(directory + " is no directory, or the store itself");
    }
    StartProgress("taking", BytesBelow(directory));
    Taker taker(storeFolder, directory);
    taker.Add("");
    return taker.Finish();
}

// Copies pools as they are: records find their contents by UUID, wherever these lie in the other
// file. Contents reach the device before the first tree is begun, so a tree that is there can be
// relied on, and a push that was stopped goes on with the first pool that isn't.
int Push(const std::string& store, const std::string& otherStore) {
    Store source(store, Store::Access::Read);
    Store target(otherStore, Store::Access::Write);
    std::set<std::string> there = PoolsOf(target.Trees());
    there.merge(PoolsOf(target.Contents()));
    std::vector<OxbowRpm_Pool> snapshots;
    std::set<std::string> named = {""};
    for (std::uint32_t i = 1; i <= source.Heads().size(); ++i) {
        const OxbowRpm_Pool pool = source.Trees().Pool(i);
        if (source.Heads()[i - 1].records > 0 && there.count(IdOf(pool)) == 0) {
            snapshots.push_back(pool);
            for (const auto& entry : source.ReadRecords(i)) {
                named.insert(entry.second.size == 0 ? "" : IdOf(entry.second.contents));
            }
        }
    }
    StartProgress("pushing", fs::file_size(store + "/contents"));
    for (std::uint32_t i = 0; i < source.Contents().PoolCount(); ++i) {
        const OxbowRpm_Pool pool = source.Contents().Pool(i);
        if (named.erase(IdOf(pool)) > 0 && there.count(IdOf(pool)) == 0) {
            target.Contents().AppendPool(pool);
        }
        AddProgress(pool.Length());
    }
    if (named.size() > 1) {
        throw Failure(store + " lacks contents that its snapshots name");
    }
    target.Contents().Flush();
    for (const OxbowRpm_Pool& pool : snapshots) {
        target.Trees().AppendPool(pool);
    }
    target.Trees().Flush();
    EndProgress();
    std::printf("%zu snapshots pushed\n", snapshots.size());
    return 0;
}
