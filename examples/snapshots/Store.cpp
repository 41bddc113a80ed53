#include "Store.h"

#include <OxbowPoolManager/OxbowPoolManager.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <xxhash.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "Commands.h"

namespace fs = std::filesystem;

namespace {

const std::uint64_t kHeadSize = 40;
const std::uint64_t kStreamBuffer = 64 * 1024;

bool IsMissing(const std::string& path) {
    return !fs::exists(path) || (fs::is_regular_file(path) && fs::file_size(path) == 0);
}

template <class... Numbers>
void Put(OxbowRpm_BStreamWrite& stream, Numbers... numbers) {
    for (const std::uint64_t number : {static_cast<std::uint64_t>(numbers)...}) {
        stream.Write(static_cast<std::uint32_t>(number));
        stream.Write(static_cast<std::uint32_t>(number >> 32));
    }
}

std::uint64_t GetOne(OxbowRpm_BStreamRead& stream) {
    std::uint32_t words[2] = {};
    stream.Read(words[0]);
    stream.Read(words[1]);
    return words[0] | static_cast<std::uint64_t>(words[1]) << 32;
}

template <class... Numbers>
void Get(OxbowRpm_BStreamRead& stream, Numbers&... numbers) {
    ((numbers = static_cast<Numbers>(GetOne(stream))), ...);
}

// The length of a record in the stream. This and the two functions below have to agree.
std::uint64_t SizeOf(const std::string& path, const Record& record) {
    return 8 * 8 + 4 + (path.size() + 3) / 4 * 4 + 4 + (record.target.size() + 3) / 4 * 4 + 12;
}

void Write(OxbowRpm_BStreamWrite& stream, const std::string& path, const Record& record) {
    Put(stream, record.mode, record.modified.tv_sec, record.modified.tv_nsec, record.changed.tv_sec,
        record.changed.tv_nsec, record.inode, record.size, record.checksum);
    stream.Write(path.c_str());
    stream.Write(record.target.c_str());
    record.contents.ExternalizeImpl(stream);
}

std::string Read(OxbowRpm_BStreamRead& stream, Record& record) {
    Get(stream, record.mode, record.modified.tv_sec, record.modified.tv_nsec, record.changed.tv_sec,
        record.changed.tv_nsec, record.inode, record.size, record.checksum);
    FennelString path;
    FennelString target;
    stream.Read(path);
    stream.Read(target);
    record.target = target.View();
    record.contents.InternalizeImpl(stream);
    return std::string(path.View());
}

// A store may be damaged, or made up to do harm. A record must name a place inside a folder that
// came before it; then no path leads out of the tree, and none through a link.
bool Fits(const Records& records, const std::string& path) {
    const std::size_t slash = path.rfind('/');
    const std::string name = path.substr(slash == std::string::npos ? 0 : slash + 1);
    const auto parent = records.find(slash == std::string::npos ? "" : path.substr(0, slash));
    if (records.empty() || parent == records.end() || !S_ISDIR(parent->second.mode)) {
        return records.empty() && path.empty();
    }
    return slash != 0 && !name.empty() && name != "." && name != "..";
}

// The head ends with a check on itself, so that one which a stop has cut in two doesn't count.
Head ReadHead(const OxbowRpm_Pool& pool) {
    char bytes[kHeadSize];
    if (pool.Length() < kHeadSize || pool.Start().Read(kHeadSize, bytes) < kHeadSize) {
        return Head();
    }
    Head head;
    OxbowRpm_BStreamReadBuffer stream(bytes, kHeadSize);
    Get(stream, head.records, head.recordBytes, head.takenAt, head.bytes);
    const bool sound = GetOne(stream) == XXH3_64bits(bytes, kHeadSize - 8) &&
                       head.recordBytes > 0 && head.recordBytes <= pool.Length() - kHeadSize;
    return sound ? head : Head();
}

}  // namespace

Store::Store(const std::string& folder, Access access) : mFolder(folder), mDocument("snap") {
    const fs::path contents = fs::path(folder) / "contents";
    const fs::path trees = fs::path(folder) / "trees";
    if (access == Access::Read) {
        if (IsMissing(contents) || IsMissing(trees)) {
            throw Failure("there is no snapshot store at " + folder);
        }
        // Another process may be taking a snapshot meanwhile. It finishes the contents before the
        // head, so heads are read before the contents are opened: whatever a finished head names is
        // then inside the pools seen here.
        mTrees = AddFile(trees, OxbowRpm_Document::AccessReadOnly);
        ReadHeads();
        mContents = AddFile(contents, OxbowRpm_Document::AccessReadOnly);
        return;
    }
    fs::create_directories(folder);
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        if (entry.path() != contents && entry.path() != trees) {
            throw Failure(folder + " is not a snapshot store: it holds " + entry.path().string());
        }
    }
    // Creating empties a file, so nothing may have filled it between the look at it and that: the
    // folder stays locked until both are open. From there on the library keeps other writers away.
    const OpenedFile lock = OpenToRead(folder + "/.");
    Require(lock && flock(fileno(lock.get()), LOCK_EX) == 0, folder);
    mContents = OpenOrCreate(contents);
    mTrees = OpenOrCreate(trees);
    ReadHeads();
}

// The next pool would take the place of a last pool without data, and an appended one that is cut
// short would leave no pool there at all. So no last pool is left without data.
OxbowRpm_File Store::OpenOrCreate(const std::string& path) {
    OxbowRpm_File file = AddFile(
        path, IsMissing(path) ? OxbowRpm_Document::AccessCreate : OxbowRpm_Document::AccessUpdate);
    if (file.Pool().Length() == 0) {
        file.Allocate(4).Write(4, "mark");
        file.Flush();
    }
    return file;
}

OxbowRpm_File Store::AddFile(const std::string& path, OxbowRpm_Document::AccessMode mode) try {
    if (mode != OxbowRpm_Document::AccessCreate &&
        OxbowRpm_Document::GetFileType(path.c_str()) == OxbowRpm_Document::NotPoolFile) {
        throw OxbowExcUserSigMismatch();
    }
    return mDocument.AddFile(path.c_str(), mode);
} catch (const OxbowExcUserSigMismatch&) {
    throw Failure(mFolder + " is not a snapshot store: " + path + " is a foreign file");
} catch (const OxbowExcSystemError& e) {
    const int code = static_cast<int>(e.SystemError().Code());
    throw Failure(code == EBUSY ? "another process is writing " + mFolder
                                : path + " can't be opened: " + std::strerror(code));
}

void Store::ReadHeads() {
    for (std::uint32_t pool = 1; pool < mTrees->PoolCount(); ++pool) {
        mHeads.push_back(ReadHead(mTrees->Pool(pool)));
    }
}

Records Store::ReadRecords(std::uint32_t snapshot) const {
    const std::string name = "snapshot " + std::to_string(snapshot) + " of " + mFolder;
    const Head head = snapshot - 1 < mHeads.size() ? mHeads[snapshot - 1] : Head();
    if (head.records == 0) {
        throw Failure(name + " is missing or unfinished");
    }
    Records records;
    try {
        OxbowRpm_BStreamReadLocator stream(mTrees->Pool(snapshot).Start() + kHeadSize,
                                           head.recordBytes, kStreamBuffer);
        while (records.size() < head.records) {
            Record record;
            const std::string path = Read(stream, record);
            const bool lacksContents = record.size > 0 && record.contents.IsNull();
            if (lacksContents || !Fits(records, path) || !records.emplace(path, record).second) {
                throw Failure(name + " has a damaged record: " + path);
            }
        }
    } catch (const FennelException& e) {
        throw Failure(name + " has damaged records: " + std::string(e.UserReport().View()));
    }
    return records;
}

// The contents pool comes first: the tree pool's directory names every pool that is known when it
// starts, and the records will refer to this one.
OxbowRpm_Locator Store::BeginSnapshot() {
    mContents->NewPool();
    mContents->Allocate(4).Write(4, "file");
    mTrees->NewPool();
    return mTrees->Allocate(kHeadSize);
}

void Store::FinishSnapshot(const OxbowRpm_Locator& place, const Records& records) {
    Head head;
    head.records = records.size();
    head.takenAt = static_cast<std::uint64_t>(std::time(nullptr));
    for (const auto& [path, record] : records) {
        head.recordBytes += SizeOf(path, record);
        head.bytes += record.size;
    }
    {  // A stream fills a range that was booked before, and writes what it holds when it goes.
        OxbowRpm_BStreamWriteLocator stream(mTrees->Allocate(head.recordBytes), head.recordBytes,
                                            kStreamBuffer);
        for (const auto& [path, record] : records) {
            Write(stream, path, record);
        }
    }
    mDocument.Flush();  // The head must not be there before what it refers to.
    char bytes[kHeadSize];
    OxbowRpm_BStreamWriteBuffer stream(bytes, kHeadSize);
    Put(stream, head.records, head.recordBytes, head.takenAt, head.bytes);
    Put(stream, XXH3_64bits(bytes, kHeadSize - 8));
    place.Write(kHeadSize, bytes);
    mDocument.Flush();
}

std::uint64_t AddToChecksum(std::uint64_t checksum, const char* piece, std::size_t size) {
    return XXH3_64bits_withSeed(piece, size, checksum);
}
