#ifndef OXBOW_TEST_COUNTING_ALLOCATOR_H
#define OXBOW_TEST_COUNTING_ALLOCATOR_H

/** Takes the place of the library's allocator. It counts, fails on order, and hands out blocks full
   of garbage, so that a byte which nobody set shows. Calls from other threads count too. */
namespace TestAllocator {

/** Blocks that were handed out and not given back. */
long LiveBlocks();
/** The most bytes that blocks held together since ResetPeak. A large block that is handed out zeroed
    counts what its user touched, when it is given back. */
long PeakBytes();
/** Gives the bytes that blocks hold now. */
long ResetPeak();
/** Calls that asked for memory, failed ones included. */
long Calls();
/** The n-th such call from now raises std::bad_alloc; 1 is the next. */
void FailAt(long n);
/** That call and all after it raise. */
void FailFrom(long n);
/** No call raises any more. Fired() keeps its value. */
void Disarm();
/** Whether a call has raised since the last FailAt or FailFrom. */
bool Fired();

}  // namespace TestAllocator

#endif
