#ifndef OXBOW_TEST_TEST_RANDOM_H
#define OXBOW_TEST_TEST_RANDOM_H

#include <cstdint>
#include <deque>

/** Takes the place of the random source: values that never repeat, or those ordered. */
struct TestRandom {
    /** The next draws give these values. */
    static void Script(const std::deque<std::uint32_t>& values) { sScript = values; }
    /** The next draw raises FennelExcNoEntropy with that code. */
    static void FailNext(std::uint32_t code) { sCode = code; }
    /** Draws so far. */
    static int Draws() { return sDraws; }

    /** For the source itself. */
    inline static std::deque<std::uint32_t> sScript;
    inline static std::uint32_t sCounter = 0, sCode = 0;
    inline static int sDraws = 0;
};

#endif
