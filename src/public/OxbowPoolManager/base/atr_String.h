#ifndef OXBOW_ATR_STRING_H
#define OXBOW_ATR_STRING_H

#include <OxbowPoolManager/base/FennelCountedText.h>

/** The text of a report: what an exception says of itself, in UTF-8, taken as it is and never
    checked or converted. A class of its own, so that the kinds of text are not mistaken for one
    another. Building and assigning from bytes raise std::bad_alloc; copying raises nothing. Copies
    may live on several threads. */
class OXBOW_EXPORT atr_String : public FennelCountedText {
public:
    atr_String() noexcept = default;
    /** Takes terminated text; null counts as empty. */
    atr_String(const char* text) : FennelCountedText(text) {}
    /** Takes `length` bytes as they are, zero bytes included. */
    atr_String(const char* text, std::size_t length) : FennelCountedText(text, length) {}

    /** Takes terminated text; on failure the old value stays. */
    atr_String& operator=(const char* text) { return *this = atr_String(text); }
};

#endif
