#ifndef OXBOW_FENNEL_SYSTEM_ERROR_H
#define OXBOW_FENNEL_SYSTEM_ERROR_H

#include <OxbowPoolManager/base/Oxbow_Export.h>

#include <cstdint>

/** The platform's own number for a failure; on POSIX an errno value. A plain value, safe from any
    thread; raises nothing. */
class OXBOW_EXPORT FennelSystemError {
public:
    /** Keeps the code. */
    explicit FennelSystemError(std::uint32_t code) noexcept;
    FennelSystemError(const FennelSystemError&) noexcept = default;
    FennelSystemError& operator=(const FennelSystemError&) noexcept = default;
    ~FennelSystemError();

    /** The number itself. */
    std::uint32_t Code() const noexcept { return mCode; }

private:
    std::uint32_t mCode;
    /** Keeps the value's shape for platforms that hang a text on their codes; null here. */
    [[maybe_unused]] const void* mDetail;
};

#endif
