#ifndef OXBOW_TEST_RECORDING_PLATFORM_H
#define OXBOW_TEST_RECORDING_PLATFORM_H

#include <cstdint>
#include <string>
#include <vector>

#include "platform/platform_FileCalls.h"

/** Takes the place of the platform's file calls: does what platform_FileCalls.h tells on files in
    memory, writes each call down, and fails or shortens it on order. One thread at a time. */
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
};

/** Forgets all calls and all orders. Handles stay open. */
void Reset();
std::vector<Call>& Log();
int Count(Kind kind);
/** The calls as one line, such as "seek 80, write 80+100, flush". */
std::string Told();
/** Handles given out and not given back. */
int OpenHandles();

/** Takes the place of an earlier order of this sort. */
void Fail(const Fault& fault);
void FailNext(Kind kind, DWORD code, int after = 0);
/** From now on transfers of this kind succeed with at most that many bytes; 0 moves none. */
void MoveAtMost(Kind kind, DWORD bytes);
/** Whether a call has failed on order since Reset. */
bool Fired();

}  // namespace TestPlatform

#endif
