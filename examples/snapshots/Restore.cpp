#include <OxbowPoolManager/OxbowExceptions.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <functional>

#include "Commands.h"
#include "Store.h"

namespace fs = std::filesystem;

namespace {

using Sink = std::function<void(const char* piece, std::size_t size)>;

// Hands a file's stored bytes on, piece by piece. A locator's read isn't bounded by the pool, so
// what comes is held against the record's size and checksum; Failure is raised, maybe behind the
// last piece, if they don't fit.
void ReadContents(const Record& record, const Sink& sink) try {
    std::vector<char> piece(std::min<std::uint64_t>(kPiece, record.size));
    std::uint64_t checksum = 0;
    for (std::uint64_t done = 0; done < record.size; done += piece.size()) {
        piece.resize(std::min<std::uint64_t>(kPiece, record.size - done));
        if (record.contents.IsNull() ||
            (record.contents + done).Read(piece.size(), piece.data()) < piece.size()) {
            throw Failure("the stored contents are cut short");
        }
        checksum = AddToChecksum(checksum, piece.data(), piece.size());
        sink(piece.data(), piece.size());
        AddProgress(piece.size());
    }
    if (checksum != record.checksum) {
        throw Failure("the stored contents are damaged: the checksum differs");
    }
} catch (const FennelException& e) {
    throw Failure("the stored contents can't be read: " + std::string(e.UserReport().View()));
}

void SetModeAndTime(const Record& record, const std::string& path) {
    const timespec times[2] = {{0, UTIME_OMIT}, record.modified};
    Require(S_ISLNK(record.mode) || chmod(path.c_str(), record.mode & 07777) == 0, path);
    Require(utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW) == 0, path);
}

void RestoreFile(const Record& record, const std::string& path) {
    const OpenedFile file(std::fopen(path.c_str(), "wbx"), std::fclose);
    Require(file != nullptr, path);
    ReadContents(record, [&](const char* piece, std::size_t size) {
        Require(std::fwrite(piece, 1, size, file.get()) == size, path);
    });
    Require(std::fflush(file.get()) == 0, path);
}

// A folder's mode and time come later, when nothing more is written into it. A file whose bytes
// don't hold is reported and left out.
bool RestoreEntry(const Record& record, const std::string& path) try {
    if (S_ISDIR(record.mode)) {
        return fs::create_directory(path);
    }
    S_ISLNK(record.mode) ? fs::create_symlink(record.target, path) : RestoreFile(record, path);
    SetModeAndTime(record, path);
    return true;
} catch (const Failure& failure) {
    Note(path + ": " + failure.what());
    fs::remove(path);
    return false;
}

// Reads the stored bytes to their end in any case: they are verified, too.
bool HasContents(const Record& record, const std::string& path) {
    const OpenedFile file = OpenToRead(path);
    bool same = true;
    std::vector<char> present(std::min<std::uint64_t>(kPiece, record.size));
    ReadContents(record, [&](const char* piece, std::size_t size) {
        same = same && std::fread(present.data(), 1, size, file.get()) == size &&
               std::memcmp(piece, present.data(), size) == 0;
    });
    return same && std::fgetc(file.get()) == EOF;
}

// What differs between a record and what is at the path; empty if nothing does.
std::string Difference(const Record& record, const std::string& path) try {
    struct stat info = {};
    Require(lstat(path.c_str(), &info) == 0, path);
    const timespec& time = info.st_mtim;
    std::string what = record.mode == info.st_mode ? "" : " has another mode";
    if (record.modified.tv_sec != time.tv_sec || record.modified.tv_nsec != time.tv_nsec) {
        what += " has another time of change";
    }
    if (S_ISLNK(record.mode) && record.target != fs::read_symlink(path)) {
        what += " leads elsewhere";
    }
    if (S_ISREG(record.mode) && !HasContents(record, path)) {
        what += " has other contents";
    }
    return what;
} catch (const std::runtime_error& e) {
    return std::string(": ") + e.what();
}

}  // namespace

int Restore(const std::string& storeFolder, std::uint32_t snapshot, const std::string& directory) {
    const Store store(storeFolder, Store::Access::Read);
    const Records records = store.ReadRecords(snapshot);
    const fs::path target = fs::weakly_canonical(fs::absolute(directory));
    const fs::path below = target.lexically_relative(fs::canonical(storeFolder));
    if (*below.begin() != ".." || (fs::exists(directory) && !fs::is_empty(directory))) {
        throw Failure(directory + " is not empty, or lies in the store");
    }
    fs::create_directories(directory);
    umask(077);  // No other user looks into a file before it has its own mode.
    StartProgress("restoring", store.Heads()[snapshot - 1].bytes);
    std::size_t restored = 0;
    for (const auto& [path, record] : records) {
        restored += path.empty() || RestoreEntry(record, directory + "/" + path) ? 1 : 0;
    }
    for (auto entry = records.rbegin(); entry != records.rend(); ++entry) {
        if (S_ISDIR(entry->second.mode)) {
            SetModeAndTime(entry->second, directory + "/" + entry->first);
        }
    }
    EndProgress();
    std::printf("restored %zu of %zu entries\n", restored, records.size());
    return restored == records.size() ? 0 : 1;
}

int Verify(const std::string& storeFolder, std::uint32_t snapshot, const std::string& directory) {
    const Store store(storeFolder, Store::Access::Read);
    const Records records = store.ReadRecords(snapshot);
    if (!fs::is_directory(directory)) {
        throw Failure(directory + " is no directory");
    }
    StartProgress("verifying", store.Heads()[snapshot - 1].bytes);
    std::size_t differences = 0;
    const auto tell = [&](const std::string& path, const std::string& what) {
        Note(path + what);
        ++differences;
    };
    for (const auto& [path, record] : records) {
        const std::string what = Difference(record, directory + "/" + path);
        what.empty() ? void() : tell(directory + "/" + path, what);
    }
    const auto listed = fs::directory_options::skip_permission_denied;
    for (fs::recursive_directory_iterator i(directory, listed), end; i != end; ++i) {
        const std::string path = i->path().lexically_relative(directory).string();
        if (fs::is_directory(i->symlink_status()) && fs::equivalent(i->path(), storeFolder)) {
            i.disable_recursion_pending();
        } else if (records.count(path) == 0 && !fs::is_other(i->symlink_status())) {
            tell(i->path().string(), " is not in the snapshot");
        }
    }
    EndProgress();
    std::printf("%zu entries, %zu differences\n", records.size(), differences);
    return differences == 0 ? 0 : 1;
}
