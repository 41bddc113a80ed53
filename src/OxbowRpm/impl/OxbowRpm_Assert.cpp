#include <OxbowPoolManager/OxbowExceptions.h>
#include <OxbowPoolManager/base/OxbowRpm_Assert.h>

#include <cstdio>

void OxbowRpm_Assert::ReportAssertionFailure(const char* expression, const char* file, int line) {
    std::fprintf(stderr, "OxbowASSERT failed: %s\n %s ( %d )\n", expression, file, line);
    std::fprintf(stderr,
                 "Put Stop in OxbowRpm_Assert::ReportAssertionFailure to find occurrence\n");
    std::fflush(stderr);
}

void OxbowRpm_Assert::ReportValidationFailure(const char* expression, const char* file, int line) {
    std::fprintf(stderr, "OxbowVALIDATE failed: %s\n %s ( %d )\n", expression, file, line);
    std::fprintf(stderr,
                 "Put Stop in OxbowRpm_Assert::ReportValidationFailure to find occurrence\n");
    std::fflush(stderr);
    // The exception names this place; the report names the one that failed.
    OxbowExcValidationFailure().Throw(__FILE__, __LINE__);
}
