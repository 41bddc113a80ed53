#ifndef OXBOW_TEST_COUNTING_ALLOCATOR_H
#define OXBOW_TEST_COUNTING_ALLOCATOR_H

#include <climits>

/** Takes the place of the library's allocator. It counts, fails on order, and hands out blocks full
    of garbage, so that a byte which was never set shows. One thread at a time. */
struct TestAllocator {
    /** Blocks that were handed out and not given back. */
    static long LiveBlocks() { return sLiveBlocks; }
    /** The most bytes that blocks held together since ResetPeak. */
    static long PeakBytes() { return sPeak; }
    /** Returns the bytes that blocks hold now. */
    static long ResetPeak() { return sPeak = sBytes; }
    /** The n-th call from now that asks for memory raises std::bad_alloc, for ever also all after
        it; 1 is the next. */
    static void FailAt(long n, bool forEver = false) {
        sFired = false;
        sFirstFailing = sCalls + n;
        sLastFailing = forEver ? LONG_MAX : sFirstFailing;
    }
    /** No call raises any more. Fired() keeps its value. */
    static void Disarm() { sLastFailing = 0; }
    /** Whether a call has raised since the last FailAt. */
    static bool Fired() { return sFired; }

    /** For the allocator itself. */
    inline static long sLiveBlocks = 0, sBytes = 0, sPeak = 0, sCalls = 0;
    inline static long sFirstFailing = 0, sLastFailing = 0;
    inline static bool sFired = false;
};

#endif
