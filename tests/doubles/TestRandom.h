#ifndef OXBOW_TEST_TEST_RANDOM_H
#define OXBOW_TEST_TEST_RANDOM_H

#include <cstdint>
#include <vector>

/** Takes the place of the random source: values that never repeat, or those ordered. */
namespace TestRandom {

/** The next draws give these values. */
void Script(const std::vector<std::uint32_t>& values);
/** The next draw raises FennelExcNoEntropy with that code. */
void FailNext(std::uint32_t code);
/** Draws so far. */
int Draws();

}  // namespace TestRandom

#endif
