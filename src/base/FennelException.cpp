#include <OxbowPoolManager/base/FennelException.h>
#include <OxbowPoolManager/base/FennelSystemError.h>

#include <cstdio>
#include <cstdlib>

FennelSystemError::FennelSystemError(std::uint32_t code) noexcept : mCode(code), mDetail(nullptr) {}

FennelSystemError::~FennelSystemError() = default;

FennelException::FennelException() noexcept : mFile(nullptr), mLine(0) {}

FennelException::~FennelException() = default;

atr_String FennelException::DeveloperReport() const {
    // An exception's own text holds a file name of at most 1023 bytes beside fixed words.
    char text[1536];
    const atr_String own = AsString();
    std::snprintf(text, sizeof text, "%.1280s [code %d, %.128s:%d]", own.GetBytes(), GetCode(),
                  mFile == nullptr ? "not raised" : mFile, static_cast<int>(mLine));
    return atr_String(text);
}

atr_String FennelException::UserReport() const {
    return AsString();
}

void FennelException::Throw(const char* file, int line) {
    mFile = file;
    mLine = line;
    Propagate();
    std::abort();  // not reached: every class of the family raises itself there
}
