#ifndef OXBOW_TEST_RECORDING_PLATFORM_H
#define OXBOW_TEST_RECORDING_PLATFORM_H

#include <cstdint>
#include <string>
#include <vector>

#include "platform/platform_FileCalls.h"

/** Takes the place of the platform's file calls: passes each on to the real one, writes it down,
   and fails or shortens it on order. One thread at a time. */
namespace TestPlatform {

enum Kind { Open, Seek, Read, Write, Flush, Size, CloseFile, kKinds };

struct Call {
    Kind kind;
    std::uint64_t position;  // of a seek, a read or a write
    DWORD asked;             // bytes of a transfer
    DWORD moved;
};

/** Forgets all calls and all orders. */
void Reset();
const std::vector<Call>& Log();
int Count(Kind kind);
/** The calls as one line, such as "seek 80, write 80+100, flush". */
std::string Told();
/** Of the next calls of this kind, lets `after` through and fails the one behind them, without
   passing it on. */
void FailNext(Kind kind, DWORD code, int after = 0);
/** From now on transfers of this kind succeed with at most that many bytes; 0 moves none. */
void MoveAtMost(Kind kind, DWORD bytes);

}  // namespace TestPlatform

#endif
