#include "doubles/MemoryFiles.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "doubles/Backing.h"

namespace {

using std::uint64_t;

constexpr uint64_t kGreatestPosition = INT64_MAX;

struct OpenFile {
    std::shared_ptr<MemoryFile> file;
    bool writes;
    bool denies;
    uint64_t position = 0;
};

DWORD gLastError = 0;

OpenFile& Use(HANDLE handle) {
    return *static_cast<OpenFile*>(handle);
}

/** Hands the parts of the range to the action, none across pages: place and bytes done and there.
 */
template <class Action>
void EachPage(uint64_t position, uint64_t count, Action action) {
    for (uint64_t done = 0, part; done < count; done += part) {
        part = std::min(MemoryFile::kPage - (position + done) % MemoryFile::kPage, count - done);
        action(position + done, done, part);
    }
}

DWORD CheckPath(const std::string& path, bool creates) {
    if (path == MemoryFiles::kFolder) {
        return EISDIR;
    }
    if (path.rfind('/') == std::string::npos ||
        path.substr(0, path.rfind('/')) != MemoryFiles::kFolder) {
        return ENOTDIR;
    }
    return creates || MemoryFiles::All().count(path) != 0 ? 0 : ENOENT;
}

}  // namespace

void MemoryFile::Write(uint64_t position, const char* data, uint64_t count) {
    EachPage(position, count, [&](uint64_t at, uint64_t done, uint64_t part) {
        std::memcpy(pages[at / kPage].data() + at % kPage, data + done, part);
    });
    length = count == 0 ? length : std::max(length, position + count);
}

uint64_t MemoryFile::Read(uint64_t position, char* buffer, uint64_t count) const {
    const uint64_t there = position < length ? std::min(count, length - position) : 0;
    EachPage(position, there, [&](uint64_t at, uint64_t done, uint64_t part) {
        static const std::array<char, kPage> zeros = {};
        const auto page = pages.find(at / kPage);
        const char* const bytes = (page == pages.end() ? zeros : page->second).data();
        std::memcpy(buffer + done, bytes + at % kPage, part);
    });
    return there;
}

std::string MemoryFile::Bytes() const {
    std::string bytes(length, '\0');
    Read(0, bytes.data(), length);
    return bytes;
}

void MemoryFile::Set(const std::string& bytes) {
    pages.clear();
    length = 0;
    Write(0, bytes.data(), bytes.size());
}

std::map<std::string, std::shared_ptr<MemoryFile>>& MemoryFiles::All() {
    static std::map<std::string, std::shared_ptr<MemoryFile>> files;
    return files;
}

MemoryFile& MemoryFiles::At(const std::string& path) {
    std::shared_ptr<MemoryFile>& file = All()[path];
    file = file == nullptr ? std::make_shared<MemoryFile>() : file;
    return *file;
}

HANDLE CreateFileA(const char* path, DWORD access, DWORD share, void*, DWORD disposition, DWORD,
                   void*) {
    const bool creates = disposition == CREATE_ALWAYS;
    const bool writes = creates || (access & GENERIC_WRITE) != 0;
    const bool denies = (share & FILE_SHARE_WRITE) == 0;
    gLastError = creates || disposition == OPEN_EXISTING ? CheckPath(path, creates) : EINVAL;
    if (gLastError != 0) {
        return INVALID_HANDLE_VALUE;
    }
    MemoryFile& file = MemoryFiles::At(path);
    if ((writes && file.deniers != 0) || (denies && file.writers != 0)) {
        gLastError = EBUSY;
        return INVALID_HANDLE_VALUE;
    }
    file.writers += writes;
    file.deniers += denies;
    if (creates) {
        file.Set("");
    }
    return new OpenFile{MemoryFiles::All()[path], writes, denies};
}

DWORD SetFilePointer(HANDLE handle, LONG low, LONG* high, DWORD method) {
    const uint64_t highWord = high == nullptr ? 0 : static_cast<DWORD>(*high);
    const uint64_t position = highWord << 32 | static_cast<DWORD>(low);
    gLastError = method != FILE_BEGIN || position > kGreatestPosition ? EINVAL : 0;
    if (gLastError != 0) {
        return INVALID_SET_FILE_POINTER;
    }
    Use(handle).position = position;
    return static_cast<DWORD>(low);
}

BOOL ReadFile(HANDLE handle, void* buffer, DWORD count, DWORD* got, void*) {
    OpenFile& open = Use(handle);
    *got = static_cast<DWORD>(open.file->Read(open.position, static_cast<char*>(buffer), count));
    open.position += *got;
    return 1;
}

BOOL WriteFile(HANDLE handle, const void* data, DWORD count, DWORD* written, void*) {
    OpenFile& open = Use(handle);
    if (!open.writes || count > kGreatestPosition - open.position) {
        gLastError = open.writes ? EFBIG : EBADF;
        return 0;
    }
    open.file->Write(open.position, static_cast<const char*>(data), count);
    open.position += * written = count;
    return 1;
}

BOOL FlushFileBuffers(HANDLE) {
    return 1;
}

DWORD GetFileSize(HANDLE handle, DWORD* high) {
    *high = static_cast<DWORD>(Use(handle).file->length >> 32);
    gLastError = 0;
    return static_cast<DWORD>(Use(handle).file->length & 0xFFFFFFFF);
}

BOOL CloseHandle(HANDLE handle) {
    const std::unique_ptr<OpenFile> open(&Use(handle));
    open->file->writers -= open->writes;
    open->file->deniers -= open->denies;
    return 1;
}

DWORD GetLastError() {
    return gLastError;
}
