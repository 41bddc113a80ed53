#ifndef OXBOW_TEST_COUNTING_ALLOCATOR_H
#define OXBOW_TEST_COUNTING_ALLOCATOR_H

#include <atomic>
#include <climits>

/** Takes the place of the library's allocator. It counts, fails on order, and hands out blocks full
    of garbage, so that a byte which nobody set shows. Calls from other threads count too. */
struct TestAllocator {
    /** Blocks that were handed out and not given back. */
    static long LiveBlocks() { return sLiveBlocks; }
    /** The most bytes that blocks held together since ResetPeak. */
    static long PeakBytes() { return sPeak; }
    /** Gives the bytes that blocks hold now. */
    static long ResetPeak() { return sPeak = sBytes.load(); }
    /** The n-th call from now that asks for memory raises std::bad_alloc; 1 is the next. */
    static void FailAt(long n) { Arm(sCalls + n, sCalls + n); }
    /** That call and all after it raise. */
    static void FailFrom(long n) { Arm(sCalls + n, LONG_MAX); }
    /** No call raises any more. Fired() keeps its value. */
    static void Disarm() { sLastFailing = 0; }
    /** Whether a call has raised since the last FailAt or FailFrom. */
    static bool Fired() { return sFired; }

    /** For the allocator itself. */
    static void CountCall();
    static void CountBlock(int blocks, long bytes);

private:
    static void Arm(long first, long last);

    inline static std::atomic<long> sLiveBlocks{0}, sBytes{0}, sPeak{0}, sCalls{0};
    inline static std::atomic<long> sFirstFailing{0}, sLastFailing{0};
    inline static std::atomic<bool> sFired{false};
};

#endif
