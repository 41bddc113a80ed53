#include "doubles/RecordingPlatform.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <set>

// The backing, which is linked beside this.
decltype(CreateFileA) BackingCreateFileA;
decltype(SetFilePointer) BackingSetFilePointer;
decltype(ReadFile) BackingReadFile;
decltype(WriteFile) BackingWriteFile;
decltype(FlushFileBuffers) BackingFlushFileBuffers;
decltype(GetFileSize) BackingGetFileSize;
decltype(CloseHandle) BackingCloseHandle;
decltype(GetLastError) BackingGetLastError;

namespace TestPlatform {
namespace {

using std::uint64_t;

constexpr uint64_t kNoLimit = UINT64_MAX;

struct Order {
    int countdown = -1;  // calls to let through; below 0 there is no order
    DWORD code = 0;
    bool forEver = false;
    DWORD atMost = 0xFFFFFFFF;
};

struct OpenFile {
    HANDLE backing = nullptr;
    const std::string* path = nullptr;
    uint64_t position = 0;
    DWORD flushError = 0;
    bool givenUp = false;  // a close has failed
};

std::vector<Call> gLog;
Order gOrders[kKinds];
uint64_t gRoom = kNoLimit;
DWORD gTear = 0;
bool gFired = false;
DWORD gLastError = 0;
/** Handles are numbers that never come again, so that the use of a closed one is found out. */
std::map<HANDLE, OpenFile> gHandles;
std::uintptr_t gLastHandle = 0;

const std::string* Interned(const char* path) {
    static std::set<std::string> paths;
    return &*paths.insert(path).first;
}

/** Writes the call down. Gives null, with the last error set, for a handle that can't be used. */
OpenFile* Enter(Kind kind, HANDLE handle, DWORD asked = 0) {
    const auto found = gHandles.find(handle);
    const bool known = found != gHandles.end();
    gLog.push_back({kind,
                    known ? found->second.path : nullptr,
                    known ? found->second.position : 0,
                    asked,
                    0,
                    false,
                    {}});
    gLastError = EBADF;
    return known && !found->second.givenUp ? &found->second : nullptr;
}

/** Whether the call is to fail with the last error, or to move nothing if that is 0. */
bool Ordered() {
    Order& order = gOrders[gLog.back().kind];
    if (order.countdown != 0) {
        order.countdown -= order.countdown > 0;
        return false;
    }
    order.countdown -= !order.forEver;
    gLastError = order.code;
    return gFired = true;
}

bool Note(bool done) {
    gLastError = done ? 0 : BackingGetLastError();
    return gLog.back().done = done;
}

/** How many of the bytes asked for lie within the file. */
DWORD Held(const OpenFile& file, DWORD count) {
    DWORD high = 0;
    const DWORD low = BackingGetFileSize(file.backing, &high);
    const uint64_t size = uint64_t{high} << 32 | low;
    return static_cast<DWORD>(size > file.position ? std::min<uint64_t>(size - file.position, count)
                                                   : 0);
}

bool IsFull(const OpenFile& file, DWORD count) {
    const DWORD fresh = gRoom == kNoLimit ? 0 : count - Held(file, count);
    if (fresh > gRoom) {
        gLastError = ENOSPC;
        return gFired = true;
    }
    gRoom -= fresh;
    return false;
}

void Tear(const OpenFile& file, const void* data) {
    const DWORD count = std::min(Held(file, gLog.back().asked), gTear);
    LONG high = static_cast<LONG>(file.position >> 32);
    const LONG low = static_cast<LONG>(file.position & 0xFFFFFFFF);
    DWORD written = 0;
    if (count != 0 && BackingWriteFile(file.backing, data, count, &written, nullptr)) {
        gLog.back().bytes.assign(static_cast<const char*>(data), count);
        BackingSetFilePointer(file.backing, low, &high, FILE_BEGIN);
    }
}

/** One transfer of the backing, shortened or failed on order. */
template <class Transfer>
BOOL Move(OpenFile& file, DWORD* moved, Transfer transfer) {
    Call& call = gLog.back();
    const DWORD most = gOrders[call.kind].atMost;
    const DWORD part = most == kHalf ? call.asked - call.asked / 2 : std::min(call.asked, most);
    if (Ordered()) {
        call.done = gLastError == 0;
    } else if (call.kind != Write || !IsFull(file, part)) {
        Note(part == 0 || transfer(part));
    }
    file.position += call.moved = *moved;
    return call.done;
}

void Arm(Kind kind, DWORD code, int after, bool forEver) {
    gOrders[kind].countdown = after;
    gOrders[kind].code = code;
    gOrders[kind].forEver = forEver;
}

}  // namespace

void Reset() {
    gLog.clear();
    gFired = false;
    Disarm();
}

void Disarm() {
    std::fill(std::begin(gOrders), std::end(gOrders), Order());
    gRoom = kNoLimit;
    gTear = 0;
}

const std::vector<Call>& Log() {
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
        told += told.empty() ? "" : ", ";
        told += names[call.kind];
        if (call.kind == Seek || call.kind == Read || call.kind == Write) {
            told += " " + std::to_string(call.position);
        }
        if (call.kind == Read || call.kind == Write) {
            told += "+" + std::to_string(call.moved);
        }
    }
    return told;
}

int OpenHandles() {
    return static_cast<int>(gHandles.size());
}
void FailNext(Kind kind, DWORD code, int after) {
    Arm(kind, code, after, false);
}
void FailFrom(Kind kind, DWORD code, int after) {
    Arm(kind, code, after, true);
}
void MoveAtMost(Kind kind, DWORD bytes) {
    gOrders[kind].atMost = bytes;
}
void FullAfter(std::uint64_t bytes) {
    gRoom = bytes;
}
void FailingWritesTear(DWORD bytes) {
    gTear = bytes;
}
bool Fired() {
    return gFired;
}

}  // namespace TestPlatform

using namespace TestPlatform;

HANDLE CreateFileA(const char* path, DWORD access, DWORD share, void* security, DWORD disposition,
                   DWORD flags, void* templateFile) {
    Enter(TestPlatform::Open, nullptr, disposition);
    gLog.back().path = Interned(path);
    if (Ordered()) {
        return INVALID_HANDLE_VALUE;
    }
    const HANDLE backing =
        BackingCreateFileA(path, access, share, security, disposition, flags, templateFile);
    if (!Note(backing != INVALID_HANDLE_VALUE)) {
        return INVALID_HANDLE_VALUE;
    }
    const HANDLE handle = reinterpret_cast<HANDLE>(++gLastHandle);
    gHandles[handle].backing = backing;
    gHandles[handle].path = gLog.back().path;
    return handle;
}

DWORD SetFilePointer(HANDLE handle, LONG low, LONG* high, DWORD method) {
    OpenFile* const file = Enter(TestPlatform::Seek, handle);
    const uint64_t highWord = high == nullptr ? 0 : static_cast<DWORD>(*high);
    const uint64_t position = highWord << 32 | static_cast<DWORD>(low);
    gLog.back().position = position;
    if (file == nullptr || Ordered()) {
        return INVALID_SET_FILE_POINTER;
    }
    const DWORD result = BackingSetFilePointer(file->backing, low, high, method);
    if (Note(result != INVALID_SET_FILE_POINTER || BackingGetLastError() == 0)) {
        file->position = position;
    }
    return result;
}

BOOL ReadFile(HANDLE handle, void* buffer, DWORD count, DWORD* got, void* overlapped) {
    *got = 0;
    OpenFile* const file = Enter(TestPlatform::Read, handle, count);
    return file != nullptr && Move(*file, got, [&](DWORD part) {
               return BackingReadFile(file->backing, buffer, part, got, overlapped) != 0;
           });
}

BOOL WriteFile(HANDLE handle, const void* data, DWORD count, DWORD* written, void* overlapped) {
    *written = 0;
    OpenFile* const file = Enter(TestPlatform::Write, handle, count);
    if (file == nullptr) {
        return 0;
    }
    const BOOL done = Move(*file, written, [&](DWORD part) {
        return BackingWriteFile(file->backing, data, part, written, overlapped) != 0;
    });
    gLog.back().bytes.assign(static_cast<const char*>(data), *written);
    if (!done) {
        Tear(*file, data);
    }
    return done;
}

BOOL FlushFileBuffers(HANDLE handle) {
    OpenFile* const file = Enter(TestPlatform::Flush, handle);
    if (file == nullptr) {
        return 0;
    }
    if (file->flushError == 0 && (Ordered() || !Note(BackingFlushFileBuffers(file->backing)))) {
        file->flushError = gLastError;
    }
    gLastError = file->flushError;
    return gLog.back().done;
}

DWORD GetFileSize(HANDLE handle, DWORD* high) {
    OpenFile* const file = Enter(TestPlatform::Size, handle);
    if (file == nullptr || Ordered()) {
        return INVALID_FILE_SIZE;
    }
    const DWORD result = BackingGetFileSize(file->backing, high);
    Note(result != INVALID_FILE_SIZE || BackingGetLastError() == 0);
    return result;
}

BOOL CloseHandle(HANDLE handle) {
    // One that is told to fail gives the file up all the same; the handle is good for one more call.
    OpenFile* const file = Enter(TestPlatform::CloseFile, handle);
    if (file == nullptr) {
        return gHandles.erase(handle) != 0;
    }
    const bool told = Ordered();
    const DWORD code = gLastError;
    file->givenUp = told || !Note(BackingCloseHandle(file->backing) != 0);
    if (!file->givenUp) {
        gHandles.erase(handle);
        return 1;
    }
    if (told) {
        BackingCloseHandle(file->backing);
        gLastError = code;
    }
    return 0;
}

DWORD GetLastError() {
    return gLastError;
}
