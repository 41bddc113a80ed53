#ifndef OXBOW_TEST_RECORDING_PLATFORM_H
#define OXBOW_TEST_RECORDING_PLATFORM_H

#include <cstdint>
#include <string>
#include <vector>

#include "platform/platform_FileCalls.h"

/** Takes the place of the platform's file calls: passes each on to its backing, real files or files
    in memory, writes it down, and fails or shortens it on order. One thread at a time. */
namespace TestPlatform {

enum Kind { Open, Seek, Read, Write, Flush, Size, CloseFile, kKinds };

struct Call {
    Kind kind;
    const std::string* path;  // lives as long as the program
    std::uint64_t position;   // of a seek, a read or a write
    DWORD asked;              // bytes of a transfer; of an open, its disposition
    DWORD moved;
    bool done;          // false: it failed
    std::string bytes;  // what a write has put into the file, also one that failed
};

/** Forgets all calls and all orders. Handles stay open. */
void Reset();
const std::vector<Call>& Log();
int Count(Kind kind);
/** The calls as one line, such as "seek 80, write 80+100, flush". */
std::string Told();
/** Handles given out and not given back. */
int OpenHandles();

/** Of the next calls of this kind, lets `after` through and fails the one behind them, without
    passing it on. A transfer with the code 0 succeeds and moves nothing. */
void FailNext(Kind kind, DWORD code, int after = 0);
/** That call and all behind it. */
void FailFrom(Kind kind, DWORD code, int after = 0);
/** From now on transfers of this kind succeed with at most that many bytes; 0 moves none. */
void MoveAtMost(Kind kind, DWORD bytes);
constexpr DWORD kHalf = 0xFFFFFFFE;  // of what was asked, rounded up
/** Writes that need more room than that for bytes behind the end of their file fail. */
void FullAfter(std::uint64_t bytes);
/** A write that fails on order has overwritten that many bytes of what the file held at its place,
    as a real one may. */
void FailingWritesTear(DWORD bytes);
/** Forgets the orders; Fired() keeps its value. */
void Disarm();
/** Whether an order of FailNext, FailFrom or FullAfter has taken effect since Reset. */
bool Fired();

}  // namespace TestPlatform

#endif
