#ifndef OXBOW_FENNEL_STRING_H
#define OXBOW_FENNEL_STRING_H

#include <OxbowPoolManager/base/FennelCountedText.h>

/** A text of the library, in UTF-8, taken as it is and never checked or converted. A class of
    its own, so that the kinds of text are not mistaken for one another. Building and assigning from
    bytes raise std::bad_alloc; copying raises nothing. Copies may live on several threads. */
class OXBOW_EXPORT FennelString : public FennelCountedText {
public:
    FennelString() noexcept = default;
    /** Takes terminated text; null counts as empty. */
    FennelString(const char* text) : FennelCountedText(text) {}
    /** Takes `length` bytes as they are, zero bytes included. */
    FennelString(const char* text, std::size_t length) : FennelCountedText(text, length) {}

    /** Takes terminated text; on failure the old value stays. */
    FennelString& operator=(const char* text) { return *this = FennelString(text); }
};

#endif
