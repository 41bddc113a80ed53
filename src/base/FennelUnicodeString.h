#ifndef OXBOW_FENNEL_UNICODE_STRING_H
#define OXBOW_FENNEL_UNICODE_STRING_H

#include <OxbowPoolManager/base/FennelCountedText.h>

/** A file name or other text that leaves the program: counted, immutable bytes in UTF-8, taken as
    they stand and never checked or converted. Copies share the bytes and may live on several
    threads. Building and assigning from bytes raise std::bad_alloc; copying raises nothing. */
class OXBOW_EXPORT FennelUnicodeString {
public:
    FennelUnicodeString() noexcept = default;
    FennelUnicodeString(const char* text) : mText(text) {}
    FennelUnicodeString(const char* text, std::size_t length) : mText(text, length) {}

    /** Takes terminated text; on failure the old value stays. */
    FennelUnicodeString& operator=(const char* text) {
        mText = FennelCountedText(text);
        return *this;
    }
    /** Takes `length` bytes, zero bytes included; on failure the old value stays. */
    void Assign(const char* text, std::size_t length) { mText = FennelCountedText(text, length); }

    static FennelUnicodeString BuildFromChar(const char* text) { return FennelUnicodeString(text); }

    /** The bytes with a terminator, good until this object changes or goes. */
    const char* ConvertToChar() const noexcept { return mText.View().data(); }
    /** The bytes, good until this object changes or goes; a terminator stands behind the last one.
    */
    std::string_view View() const noexcept { return mText.View(); }
    std::size_t GetLengthInByte() const noexcept { return mText.View().size(); }

private:
    FennelCountedText mText;
};

#endif
