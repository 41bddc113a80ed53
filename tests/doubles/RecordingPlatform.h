#ifndef OXBOW_TEST_RECORDING_PLATFORM_H
#define OXBOW_TEST_RECORDING_PLATFORM_H

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/platform_FileCalls.h"

/** Takes the place of the platform's file calls: does what platform_FileCalls.h says on files in
    memory, but for share modes, writes each call down, and fails or shortens it on order. One
    thread at a time. */
namespace TestPlatform {

enum Kind { Open, Seek, Read, Write, Flush, Size, CloseFile, kKinds };

struct Call {
    Kind kind;
    std::string path;
    std::uint64_t position;  // of a seek, a read or a write
    DWORD asked;             // bytes of a transfer; of an open, its disposition
    DWORD moved;
    std::string bytes;  // what a write has put into the file, also one that failed
};

/** A call that fails without being done. */
struct Fault {
    Kind kind = kKinds;
    DWORD code = 0;        // 0: a transfer succeeds and moves nothing
    int after = 0;         // calls of the kind that pass before
    bool forEver = false;  // all behind that one fail too
    bool full = false;     // a write fails when files would have grown by more than `after` bytes
    DWORD tear = 0;        // bytes that a failing write overwrites, but none behind the file's end
    DWORD most = UINT32_MAX;  // bytes that any transfer moves
};

inline Fault gFault;         // the order in force
inline bool gFired = false;  // whether a call has failed on order
/** Runs before each call is done, as another process would beside it. */
inline std::function<void(const Call&)> gBeside;
inline std::vector<Call>& Log() {
    static std::vector<Call> log;
    return log;
}
/** Forgets all calls and all orders. Handles stay open. */
inline void Reset() {
    Log().clear();
    gFault = Fault();
    gBeside = nullptr;
    gFired = false;
}
inline void Fail(const Fault& fault) {
    gFault = fault;
}
inline void FailNext(Kind kind, DWORD code) {
    Fail({kind, code});
}
inline int Count(Kind kind) {
    return static_cast<int>(std::count_if(Log().begin(), Log().end(),
                                          [kind](const Call& call) { return call.kind == kind; }));
}
/** The calls as one line, such as "seek 80, write 80+100, flush". */
std::string Told();
/** Handles given out and not given back. */
int OpenHandles();

}  // namespace TestPlatform

#endif
