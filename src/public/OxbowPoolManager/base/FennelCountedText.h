#ifndef OXBOW_FENNEL_COUNTED_TEXT_H
#define OXBOW_FENNEL_COUNTED_TEXT_H

#include <OxbowPoolManager/base/Oxbow_Export.h>

#include <cstddef>
#include <string_view>

/** The shared body of the string classes: immutable bytes with a use count and a terminator behind
    them. An empty text holds no block.

    Ownership: a plain value; copies share one block, which goes with the last of them.
    Threads: the count is atomic, so copies of one text may live on several threads, though one
    object belongs to one thread at a time.
    Raises: std::bad_alloc when made from bytes, nothing when copied.
    Units: bytes. */
class OXBOW_EXPORT FennelCountedText {
public:
    /** The empty text. */
    FennelCountedText() noexcept : mBlock(nullptr) {}
    /** Takes `length` bytes as they are, zero bytes included. */
    FennelCountedText(const char* text, std::size_t length);
    /** Takes the bytes before the terminator; null counts as empty. */
    explicit FennelCountedText(const char* text);
    /** Shares the block. */
    FennelCountedText(const FennelCountedText& other) noexcept;
    /** Shares the other's block. */
    FennelCountedText& operator=(const FennelCountedText& other) noexcept;
    ~FennelCountedText();

    /** Takes `length` bytes, zero bytes included; on failure the old value stays. */
    void Assign(const char* text, std::size_t length) { *this = FennelCountedText(text, length); }

    /** The bytes, valid until this object changes or is destroyed, with a terminator behind the last
        one. */
    const char* GetBytes() const noexcept;
    /** Without the terminator. */
    std::size_t GetLengthInByte() const noexcept;
    /** Both as a view. Inline, since the layout of a view differs between standard libraries. */
    std::string_view View() const noexcept { return {GetBytes(), GetLengthInByte()}; }

private:
    struct Block;

    void Release() noexcept;

    Block* mBlock;
};

#endif
