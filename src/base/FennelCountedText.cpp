#include <OxbowPoolManager/base/FennelCountedText.h>
#include <OxbowPoolManager/base/mem_Functions.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <new>

/** Stands in front of the text bytes in one allocation. */
struct FennelCountedText::Block {
    explicit Block(std::size_t length) : mUse(1), mLength(length) {}

    char* Text() { return reinterpret_cast<char*>(this + 1); }

    std::atomic<std::uint32_t> mUse;
    const std::size_t mLength;
};

FennelCountedText::FennelCountedText(const char* text, std::size_t length) : mBlock(nullptr) {
    if (length == 0) {
        return;
    }
    void* place = mem_OperatorNewThrow(sizeof(Block) + length + 1);
    mBlock = ::new (place) Block(length);
    std::memcpy(mBlock->Text(), text, length);
    mBlock->Text()[length] = '\0';
}

FennelCountedText::FennelCountedText(const char* text)
    : FennelCountedText(text, text == nullptr ? 0 : std::strlen(text)) {}

FennelCountedText::FennelCountedText(const FennelCountedText& other) noexcept
    : mBlock(other.mBlock) {
    if (mBlock != nullptr) {
        mBlock->mUse.fetch_add(1, std::memory_order_relaxed);
    }
}

FennelCountedText& FennelCountedText::operator=(const FennelCountedText& other) noexcept {
    // The copy takes its share first, so that assigning a text to itself is safe.
    FennelCountedText share(other);
    Block* const old = mBlock;
    mBlock = share.mBlock;
    share.mBlock = old;
    return *this;
}

FennelCountedText::~FennelCountedText() {
    Release();
}

const char* FennelCountedText::GetBytes() const noexcept {
    return mBlock == nullptr ? "" : mBlock->Text();
}

std::size_t FennelCountedText::GetLengthInByte() const noexcept {
    return mBlock == nullptr ? 0 : mBlock->mLength;
}

void FennelCountedText::Release() noexcept {
    // Acquire and release: the holder that frees the block has seen all other holders' reads of it.
    if (mBlock != nullptr && mBlock->mUse.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        mBlock->~Block();
        mem_Free(mBlock);
    }
    mBlock = nullptr;
}
