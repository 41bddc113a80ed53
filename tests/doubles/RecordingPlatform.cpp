#include "doubles/RecordingPlatform.h"

#include <algorithm>
#include <map>

// The real calls under other names, in this very source.
#define CreateFileA RealCreateFileA
#define SetFilePointer RealSetFilePointer
#define ReadFile RealReadFile
#define WriteFile RealWriteFile
#define FlushFileBuffers RealFlushFileBuffers
#define GetFileSize RealGetFileSize
#define CloseHandle RealCloseHandle
#define GetLastError RealGetLastError
DWORD RealGetLastError();
HANDLE RealCreateFileA(const char*, DWORD, DWORD, void*, DWORD, DWORD, void*);
DWORD RealSetFilePointer(HANDLE, LONG, LONG*, DWORD);
BOOL RealReadFile(HANDLE, void*, DWORD, DWORD*, void*);
BOOL RealWriteFile(HANDLE, const void*, DWORD, DWORD*, void*);
BOOL RealFlushFileBuffers(HANDLE);
DWORD RealGetFileSize(HANDLE, DWORD*);
BOOL RealCloseHandle(HANDLE);
#include "../../src/platform/platform_FileCalls.cpp"
#undef CreateFileA
#undef SetFilePointer
#undef ReadFile
#undef WriteFile
#undef FlushFileBuffers
#undef GetFileSize
#undef CloseHandle
#undef GetLastError

namespace TestPlatform {
namespace {

struct Order {
    int countdown = -1;  // calls to let through; below 0 there is no order
    DWORD code = 0;
    DWORD atMost = 0xFFFFFFFF;
};

std::vector<Call> gLog;
Order gOrders[kKinds];
std::map<HANDLE, std::uint64_t> gPositions;
DWORD gForcedError = 0;

/** Writes the call down; true if it is to fail. */
bool Enter(Kind kind, std::uint64_t position = 0, DWORD asked = 0) {
    gLog.push_back({kind, position, asked, 0});
    gForcedError = 0;
    Order& order = gOrders[kind];
    if (order.countdown < 0 || order.countdown-- > 0) {
        return false;
    }
    gForcedError = order.code;
    return true;
}

template <class Transfer>
BOOL Move(Kind kind, HANDLE file, DWORD asked, DWORD* moved, Transfer transfer) {
    if (Enter(kind, gPositions[file], asked)) {
        return 0;
    }
    const DWORD count = std::min(asked, gOrders[kind].atMost);
    *moved = 0;
    if (count != 0 && !transfer(count)) {
        return 0;
    }
    gLog.back().moved = *moved;
    gPositions[file] += *moved;
    return 1;
}

}  // namespace

void Reset() {
    gLog.clear();
    for (Order& order : gOrders) {
        order = Order();
    }
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

void FailNext(Kind kind, DWORD code, int after) {
    gOrders[kind].countdown = after;
    gOrders[kind].code = code;
}

void MoveAtMost(Kind kind, DWORD bytes) {
    gOrders[kind].atMost = bytes;
}

}  // namespace TestPlatform

using namespace TestPlatform;

HANDLE CreateFileA(const char* path, DWORD access, DWORD share, void* security, DWORD disposition,
                   DWORD flags, void* templateFile) {
    if (Enter(TestPlatform::Open)) {
        return INVALID_HANDLE_VALUE;
    }
    const HANDLE file =
        RealCreateFileA(path, access, share, security, disposition, flags, templateFile);
    gPositions[file] = 0;
    return file;
}

DWORD SetFilePointer(HANDLE file, LONG low, LONG* high, DWORD method) {
    const std::uint64_t position = static_cast<std::uint64_t>(static_cast<std::uint32_t>(*high))
                                       << 32 |
                                   static_cast<std::uint32_t>(low);
    if (Enter(TestPlatform::Seek, position)) {
        return INVALID_SET_FILE_POINTER;
    }
    const DWORD result = RealSetFilePointer(file, low, high, method);
    if (result != INVALID_SET_FILE_POINTER || RealGetLastError() == 0) {
        gPositions[file] = position;
    }
    return result;
}

BOOL ReadFile(HANDLE file, void* buffer, DWORD count, DWORD* got, void* overlapped) {
    return Move(TestPlatform::Read, file, count, got,
                [&](DWORD part) { return RealReadFile(file, buffer, part, got, overlapped); });
}

BOOL WriteFile(HANDLE file, const void* data, DWORD count, DWORD* written, void* overlapped) {
    return Move(TestPlatform::Write, file, count, written,
                [&](DWORD part) { return RealWriteFile(file, data, part, written, overlapped); });
}

BOOL FlushFileBuffers(HANDLE file) {
    return Enter(TestPlatform::Flush) ? 0 : RealFlushFileBuffers(file);
}

DWORD GetFileSize(HANDLE file, DWORD* high) {
    return Enter(TestPlatform::Size) ? INVALID_FILE_SIZE : RealGetFileSize(file, high);
}

BOOL CloseHandle(HANDLE file) {
    // One that is told to fail is passed on by the second call, the owner's last.
    if (Enter(TestPlatform::CloseFile)) {
        return 0;
    }
    return RealCloseHandle(file);
}

DWORD GetLastError() {
    return gForcedError != 0 ? gForcedError : RealGetLastError();
}
