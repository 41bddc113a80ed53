#include "doubles/RecordingPlatform.h"

#include <cerrno>
#include <map>

#include "doubles/MemoryFiles.h"

namespace TestPlatform {
namespace {

using std::uint64_t;

struct OpenFile {
    std::string path;
    bool writes = false;
    std::shared_ptr<MemoryFile> file = nullptr;  // none once a close has failed
    uint64_t position = 0;
    DWORD flushError = 0;
};

DWORD gLastError = 0;
/** Handles are numbers that never come again, so that the use of a closed one is found out. */
std::map<HANDLE, OpenFile> gHandles;
std::uintptr_t gLastHandle = 0;

OpenFile& Of(HANDLE handle) {
    static OpenFile none;
    const auto found = gHandles.find(handle);
    return found == gHandles.end() ? none : found->second;
}

/** How many of that many bytes the file holds at its position. */
DWORD Held(const OpenFile& open, DWORD count) {
    const uint64_t length = open.file == nullptr ? 0 : open.file->length;
    return static_cast<DWORD>(std::min<uint64_t>(length - std::min(length, open.position), count));
}

/** Writes the call down. False if it is not to be done: it fails with the last error, or moves
    nothing if that is 0. */
bool Enter(Kind kind, const OpenFile& open, DWORD asked = 0) {
    Log().push_back({kind, open.path, open.position, asked, 0, {}});
    if (gBeside != nullptr) {
        gBeside(Log().back());
    }
    const bool usable = kind == Open || (open.file != nullptr && (kind != Write || open.writes));
    gLastError = usable ? 0 : EBADF;
    if (gLastError != 0 || kind != gFault.kind) {
        return gLastError == 0;
    }
    const int cost = gFault.full ? static_cast<int>(asked - Held(open, asked)) : 1;
    if (gFault.after >= cost) {
        gFault.after -= cost;
        return true;
    }
    gFault.kind = gFault.forEver ? gFault.kind : kKinds;
    gLastError = gFault.code;
    gFired = true;
    return false;
}

}  // namespace

std::string Told() {
    static const char* const names[] = {"open", "seek", "read", "write", "flush", "size", "close"};
    std::string told;
    for (const Call& call : Log()) {
        const bool moves = call.kind == Read || call.kind == Write;
        told += (told.empty() ? "" : ", ") + std::string(names[call.kind]);
        told += moves || call.kind == Seek ? " " + std::to_string(call.position) : "";
        told += moves ? "+" + std::to_string(call.moved) : "";
    }
    return told;
}

int OpenHandles() {
    return static_cast<int>(gHandles.size());
}

}  // namespace TestPlatform

using namespace TestPlatform;

HANDLE CreateFileA(const char* path, DWORD access, DWORD, void*, DWORD disposition, DWORD, void*) {
    const bool creates = disposition == CREATE_ALWAYS;
    OpenFile open = {path, creates || (access & GENERIC_WRITE)};
    if (Enter(TestPlatform::Open, open, disposition)) {
        const bool inFolder = open.path.substr(0, open.path.rfind('/')) == MemoryFiles::kFolder;
        const bool there = creates || MemoryFiles::All().count(path) != 0;
        gLastError = !inFolder ? ENOTDIR : !there ? ENOENT : 0;
    }
    if (gLastError != 0) {
        return INVALID_HANDLE_VALUE;
    }
    if (creates) {
        MemoryFiles::At(path).Set("");
    }
    open.file = MemoryFiles::All()[path];
    const HANDLE handle = reinterpret_cast<HANDLE>(++gLastHandle);
    gHandles[handle] = open;
    return handle;
}

DWORD SetFilePointer(HANDLE handle, LONG low, LONG* high, DWORD) {
    OpenFile& open = Of(handle);
    const bool goesOn = Enter(TestPlatform::Seek, open);
    const uint64_t highWord = static_cast<DWORD>(*high);
    const uint64_t position = Log().back().position = highWord << 32 | static_cast<DWORD>(low);
    if (!goesOn || position > INT64_MAX) {
        gLastError = goesOn ? EINVAL : gLastError;
        return INVALID_SET_FILE_POINTER;
    }
    open.position = position;
    return static_cast<DWORD>(low);
}

BOOL ReadFile(HANDLE handle, void* buffer, DWORD count, DWORD* got, void*) {
    OpenFile& open = Of(handle);
    const bool goesOn = Enter(TestPlatform::Read, open, count);
    *got = goesOn ? Held(open, std::min(count, gFault.most)) : 0;
    if (goesOn) {
        open.file->Read(open.position, static_cast<char*>(buffer), *got);
    }
    open.position += Log().back().moved = *got;
    return gLastError == 0;
}

BOOL WriteFile(HANDLE handle, const void* data, DWORD count, DWORD* written, void*) {
    OpenFile& open = Of(handle);
    const bool goesOn = Enter(TestPlatform::Write, open, count);
    const DWORD torn = Held(open, gFault.tear);
    const DWORD part = std::min(count, goesOn ? gFault.most : torn);
    if (part != 0) {
        Log().back().bytes.assign(static_cast<const char*>(data), part);
        open.file->Write(open.position, Log().back().bytes.data(), part);
    }
    *written = goesOn ? part : 0;
    open.position += Log().back().moved = *written;
    return gLastError == 0;
}

BOOL FlushFileBuffers(HANDLE handle) {
    OpenFile& open = Of(handle);
    Enter(TestPlatform::Flush, open);
    open.flushError = open.flushError == 0 ? gLastError : open.flushError;
    gLastError = open.flushError;
    return gLastError == 0;
}

DWORD GetFileSize(HANDLE handle, DWORD* high) {
    const OpenFile& open = Of(handle);
    if (!Enter(TestPlatform::Size, open)) {
        return INVALID_FILE_SIZE;
    }
    *high = static_cast<DWORD>(open.file->length >> 32);
    return static_cast<DWORD>(open.file->length & 0xFFFFFFFF);
}

BOOL CloseHandle(HANDLE handle) {
    OpenFile& open = Of(handle);
    const bool givenUp = open.file == nullptr;
    if (Enter(TestPlatform::CloseFile, open) || givenUp) {
        return gHandles.erase(handle) != 0;
    }
    open.file = nullptr;  // the handle is good for one more call
    return 0;
}

DWORD GetLastError() {
    return gLastError;
}
