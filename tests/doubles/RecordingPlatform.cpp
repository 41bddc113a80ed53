#include "doubles/RecordingPlatform.h"

#include <algorithm>
#include <cerrno>
#include <map>

#include "doubles/MemoryFiles.h"

namespace TestPlatform {
namespace {

using std::uint64_t;

constexpr uint64_t kGreatestPosition = INT64_MAX;
constexpr DWORD kAll = UINT32_MAX;

struct OpenFile {
    std::string path;
    bool writes = false;
    bool denies = false;
    std::shared_ptr<MemoryFile> file = nullptr;  // none once a close has failed
    uint64_t position = 0;
    DWORD flushError = 0;
};

std::vector<Call> gLog;
Fault gFault;
DWORD gMost[kKinds] = {kAll, kAll, kAll, kAll, kAll, kAll, kAll};
bool gFired = false;
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

/** Whether the call is to fail with the last error, or to move nothing if that is 0. */
bool Ordered(const OpenFile& open, DWORD asked) {
    if (gLog.back().kind != gFault.kind) {
        return false;
    }
    const int cost = gFault.full ? static_cast<int>(asked - Held(open, asked)) : 1;
    if (gFault.after >= cost) {
        gFault.after -= cost;
        return false;
    }
    gFault.kind = gFault.forEver ? gFault.kind : kKinds;
    gLastError = gFault.code;
    return gFired = true;
}

/** Writes the call down. False, with the last error set, if it is not to be done. */
bool Enter(Kind kind, const OpenFile& open, DWORD asked = 0) {
    gLog.push_back({kind, open.path, open.position, asked, 0, {}});
    const bool usable = open.file != nullptr && (kind != Write || open.writes);
    const bool tooFar = kind == Write && asked > kGreatestPosition - open.position;
    gLastError = !usable && kind != Open ? EBADF : tooFar ? EFBIG : 0;
    return gLastError == 0 && !Ordered(open, asked);
}

/** What stands against an open; 0 for nothing. */
DWORD Refusal(const OpenFile& open, bool creates) {
    if (open.path.substr(0, open.path.rfind('/')) != MemoryFiles::kFolder) {
        return ENOTDIR;
    }
    if (!creates && MemoryFiles::All().count(open.path) == 0) {
        return ENOENT;
    }
    bool denied = false;
    for (const auto& [handle, other] : gHandles) {
        denied |= other.file.get() == &MemoryFiles::At(open.path) &&
                  ((open.writes && other.denies) || (open.denies && other.writes));
    }
    return denied ? EBUSY : 0;
}

}  // namespace

void Reset() {
    gLog.clear();
    gFired = false;
    gFault = Fault();
    std::fill(std::begin(gMost), std::end(gMost), kAll);
}

std::vector<Call>& Log() {
    return gLog;
}

int Count(Kind kind) {
    return static_cast<int>(std::count_if(gLog.begin(), gLog.end(),
                                          [kind](const Call& call) { return call.kind == kind; }));
}

std::string Told() {
    static const char* const names[] = {"open", "seek", "read", "write", "flush", "size", "close"};
    std::string told;
    for (const Call& call : gLog) {
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
void Fail(const Fault& fault) {
    gFault = fault;
}
void FailNext(Kind kind, DWORD code, int after) {
    Fail({kind, code, after});
}
void MoveAtMost(Kind kind, DWORD bytes) {
    gMost[kind] = bytes;
}
bool Fired() {
    return gFired;
}

}  // namespace TestPlatform

using namespace TestPlatform;

HANDLE CreateFileA(const char* path, DWORD access, DWORD share, void*, DWORD disposition, DWORD,
                   void*) {
    const bool creates = disposition == CREATE_ALWAYS;
    OpenFile open = {path, creates || (access & GENERIC_WRITE), (share & FILE_SHARE_WRITE) == 0};
    if (!Enter(TestPlatform::Open, open, disposition) ||
        (gLastError = Refusal(open, creates)) != 0) {
        return INVALID_HANDLE_VALUE;
    }
    creates ? MemoryFiles::At(path).Set("") : void();
    open.file = MemoryFiles::All()[path];
    const HANDLE handle = reinterpret_cast<HANDLE>(++gLastHandle);
    gHandles[handle] = open;
    return handle;
}

DWORD SetFilePointer(HANDLE handle, LONG low, LONG* high, DWORD) {
    OpenFile& open = Of(handle);
    const bool goesOn = Enter(TestPlatform::Seek, open);
    const uint64_t highWord = static_cast<DWORD>(*high);
    const uint64_t position = gLog.back().position = highWord << 32 | static_cast<DWORD>(low);
    if (!goesOn || position > kGreatestPosition) {
        gLastError = goesOn ? EINVAL : gLastError;
        return INVALID_SET_FILE_POINTER;
    }
    open.position = position;
    return static_cast<DWORD>(low);
}

BOOL ReadFile(HANDLE handle, void* buffer, DWORD count, DWORD* got, void*) {
    OpenFile& open = Of(handle);
    const bool goesOn = Enter(TestPlatform::Read, open, count);
    *got = goesOn ? Held(open, std::min(count, gMost[TestPlatform::Read])) : 0;
    if (goesOn) {
        open.file->Read(open.position, static_cast<char*>(buffer), *got);
    }
    open.position += gLog.back().moved = *got;
    return gLastError == 0;
}

BOOL WriteFile(HANDLE handle, const void* data, DWORD count, DWORD* written, void*) {
    OpenFile& open = Of(handle);
    const bool goesOn = Enter(TestPlatform::Write, open, count);
    const DWORD torn = Held(open, gFault.tear);
    const DWORD part = std::min(count, goesOn ? gMost[TestPlatform::Write] : torn);
    if (part != 0) {
        gLog.back().bytes.assign(static_cast<const char*>(data), part);
        open.file->Write(open.position, gLog.back().bytes.data(), part);
    }
    *written = goesOn ? part : 0;
    open.position += gLog.back().moved = *written;
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
