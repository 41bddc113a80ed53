#ifndef OXBOW_TEST_BENCH_H
#define OXBOW_TEST_BENCH_H

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "doubles/RecordingPlatform.h"

/** What a file gives back: by the UUIDs of its pools their bytes, and in the place of stored
    references what they lead to. */
using Pools = std::map<std::string, std::string>;
/** What a file may give back: everything of the first, unless one of the others has it otherwise. */
using Choices = std::vector<Pools>;

enum class How { Read, Update, UpdateAndAdd };
/** Opens the file. Gives the exception of the header checks that refuses it, with every byte of the
    first choice in place, or "" if it is sound. Anything else fails the test. */
std::string Check(const Choices& choices, const std::string& file, How how, bool mayRefuse);

/** How a host goes on after a failure: it writes more and leaves; it writes more, starts pools and
    closes; or it does the failed operation once more and then the rest. */
enum Ending { Leaves, Closes, Insists, kEndings };
struct Outcome {
    bool finished = false;
    std::vector<std::size_t> ends;  // of the steps done, in calls
    std::string failure;            // the first exception, told
};

/** A workload, and how it goes when nothing fails. */
struct Workload {
    Workload(const std::string& name, std::istringstream steps);
    /** Runs it with the orders that the doubles have got. */
    Outcome Run(Ending ending, Workload* notes = nullptr) const;
    std::size_t StepOfCall(std::size_t call) const;
    /** With the steps up to `sure` done, and those up to `now` begun. */
    Choices Expect(const std::string& file, std::size_t sure, std::size_t now) const;
    /** Whether the step behind these copies a pool over one without data. */
    bool CopiesOver(const std::string& file, std::size_t steps) const;

    std::string mName;
    std::vector<std::string> mSteps;                       // and an empty one
    std::vector<std::map<std::string, Pools>> mSnapshots;  // of all files, before each
    Outcome mPlain;
    std::vector<TestPlatform::Call> mLog;  // of the calls
};
/** Those of workloads.txt. */
const std::vector<Workload>& AllWorkloads();

std::string PathOf(const std::string& file);
/** Every how manieth case is run: what OXBOW_FAULT_STRIDE says in the environment, or the build. */
unsigned FaultStride();

#endif
