#ifndef OXBOW_FENNEL_UNICODE_STRING_H
#define OXBOW_FENNEL_UNICODE_STRING_H

#include <OxbowPoolManager/base/FennelCountedText.h>

/** A file name or other text that leaves the program, in UTF-8, taken as it is and never
    checked or converted. A class of its own, so that the kinds of text are not mistaken for one
    another. Building and assigning from bytes raise std::bad_alloc; copying raises nothing. Copies
    may live on several threads. */
class OXBOW_EXPORT FennelUnicodeString : public FennelCountedText {
public:
    FennelUnicodeString() noexcept = default;
    /** Takes terminated text; null counts as empty. */
    FennelUnicodeString(const char* text) : FennelCountedText(text) {}
    /** Takes `length` bytes as they are, zero bytes included. */
    FennelUnicodeString(const char* text, std::size_t length) : FennelCountedText(text, length) {}

    /** Takes terminated text; on failure the old value stays. */
    FennelUnicodeString& operator=(const char* text) { return *this = FennelUnicodeString(text); }

    /** A value from terminated text. */
    static FennelUnicodeString BuildFromChar(const char* text) { return FennelUnicodeString(text); }

    /** The bytes with a terminator, good until this object changes or goes. */
    const char* ConvertToChar() const noexcept { return GetBytes(); }
};

#endif
