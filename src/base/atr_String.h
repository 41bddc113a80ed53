#ifndef OXBOW_ATR_STRING_H
#define OXBOW_ATR_STRING_H

#include <OxbowPoolManager/base/FennelCountedText.h>

/** The text of a report: what an exception says of itself. Counted, immutable bytes; copies share
    them and may live on several threads. Building from bytes raises std::bad_alloc; copying raises
    nothing. */
class OXBOW_EXPORT atr_String {
public:
    atr_String() noexcept = default;
    atr_String(const char* text) : mText(text) {}
    atr_String(const char* text, std::size_t length) : mText(text, length) {}

    /** Takes terminated text; on failure the old value stays. */
    atr_String& operator=(const char* text) {
        mText = FennelCountedText(text);
        return *this;
    }
    /** Takes `length` bytes, zero bytes included; on failure the old value stays. */
    void Assign(const char* text, std::size_t length) { mText = FennelCountedText(text, length); }

    /** The bytes, good until this object changes or goes; a terminator stands behind the last one.
    */
    std::string_view View() const noexcept { return mText.View(); }
    std::size_t GetLengthInByte() const noexcept { return mText.View().size(); }

private:
    FennelCountedText mText;
};

#endif
