#ifndef OXBOW_OXBOW_RPM_ASSERT_H
#define OXBOW_OXBOW_RPM_ASSERT_H

#include <OxbowPoolManager/base/Oxbow_Export.h>

/** \file
    The two kinds of check. A host may use them, too; no kind of build leaves them out. */

/** The reporters behind the two kinds of check. Each writes three lines to stderr: the condition,
    the place, and where to set a breakpoint.
    Ownership: none, static members only; the texts are the caller's.
    Threads: safe from any; they take no lock, so two threads that fail at once may mix lines. */
class OXBOW_EXPORT OxbowRpm_Assert {
public:
    /** Prints the report and returns; the macro then stops the process. */
    static void ReportAssertionFailure(const char* expression, const char* file, int line);
    /** Prints the report and raises OxbowExcValidationFailure. */
    [[noreturn]] static void ReportValidationFailure(const char* expression, const char* file,
                                                     int line);
};

/** Ends the process at the failing place itself, with its stack as it was for the debugger. */
#if defined(__GNUC__)
#define OXBOW_STOP() __builtin_trap()
#else
#include <cstdlib>
#define OXBOW_STOP() std::abort()
#endif

/** The forms that take the condition and its text apart, for a text that would not compile cleanly.
*/
#define OXBOW_ASSERT_TEXT(condition, text)                                       \
    do {                                                                         \
        if (!(condition)) {                                                      \
            OxbowRpm_Assert::ReportAssertionFailure((text), __FILE__, __LINE__); \
            OXBOW_STOP();                                                        \
        }                                                                        \
    } while (false)
/** The same for a validation. */
#define OXBOW_VALIDATE_TEXT(condition, text)                                      \
    do {                                                                          \
        if (!(condition)) {                                                       \
            OxbowRpm_Assert::ReportValidationFailure((text), __FILE__, __LINE__); \
        }                                                                         \
    } while (false)

/** A contract between the library's parts or with its caller: a failure ends the process. */
#define OxbowASSERT(condition) OXBOW_ASSERT_TEXT(condition, #condition)
/** A number that comes from a caller or from stored data: a failure raises
    OxbowExcValidationFailure. */
#define OxbowVALIDATE(condition) OXBOW_VALIDATE_TEXT(condition, #condition)

#endif
