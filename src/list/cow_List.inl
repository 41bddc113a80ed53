#ifndef OXBOW_COW_LIST_INL
#define OXBOW_COW_LIST_INL

// The representation of a list: table, pages, use counts, and the operations that every edit uses.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

template <class T>
typename cow_List<T>::TableOwner cow_List<T>::NewTable(int size) {
    if (size == 0) {
        return nullptr;
    }
    const auto entries = static_cast<std::size_t>(size);
    TableOwner table(static_cast<Page**>(mem_Malloc(entries * sizeof(Page*))));
    std::fill_n(table.get(), entries, nullptr);
    return table;
}

template <class T>
cow_List<T>::cow_List()
    : mLength(0),
      mTableSize(0),
      mPageShift(kDefaultPageShift),
      mFirst(0),
      mTableUse(new (mem_OperatorNewTinyThrow(sizeof(int))) int(1)),
      mTable(nullptr) {}

/** Page size and page count come from the exponent and the mantissa of the hint as an IEEE 754
    single. A hint that the conversion rounds down is covered by the extra entries. */
template <class T>
void cow_List<T>::Initialize(int sizeHint) {
    static_assert(sizeof(float) == sizeof(std::int32_t), "the hint is read as a single");
    if (sizeHint == 0) {
        return;
    }
    const float single = static_cast<float>(sizeHint);
    std::int32_t bits;
    std::memcpy(&bits, &single, sizeof bits);
    int size = 1 << kTableStepShift;
    const int pageShift = (bits >> 23) - 130;
    if (pageShift > mPageShift) {
        size += ((bits & 0x7fffff) + 0x8fffff) >> 20;
        mPageShift = pageShift;
    }
    mTable = NewTable(size).release();
    mTableSize = size;
}

template <class T>
void cow_List<T>::ShareTableOf(const cow_List& other) {
    mLength = other.mLength;
    mTableSize = other.mTableSize;
    mPageShift = other.mPageShift;
    mFirst = other.mFirst;
    mTableUse = other.mTableUse;
    mTable = other.mTable;
    *mTableUse += 1;
}

/** The last holder destroys what only this table held. */
template <class T>
void cow_List<T>::GiveUpTable() {
    *mTableUse -= 1;
    if (*mTableUse == 0) {
        Resize(0);
        mem_Free(mTableUse);
    }
}

template <class T>
cow_List<T>& cow_List<T>::operator=(const cow_List& other) noexcept {
    if (this != &other) {
        GiveUpTable();
        ShareTableOf(other);
    }
    return *this;
}

template <class T>
void cow_List<T>::RaiseOutOfRange(int) const {
    std::abort();
}

template <class T>
int cow_List<T>::CheckIndex(int i) const {
    if (i < 0 || i >= mLength) {
        RaiseOutOfRange(i);
    }
    return i;
}

template <class T>
int cow_List<T>::LiveBegin(int k) const {
    return std::max((k << mPageShift) - mFirst, 0);
}

template <class T>
int cow_List<T>::LiveEnd(int k) const {
    return std::min(((k + 1) << mPageShift) - mFirst, mLength);
}

template <class T>
int cow_List<T>::TableSizeFor(int end) const {
    const int stepShift = mPageShift + kTableStepShift;
    return (((1 << stepShift) + end - 1) >> stepShift) << kTableStepShift;
}

template <class T>
void cow_List<T>::DestroyRange(int begin, int end) {
    for (int i = end - 1; i >= begin; --i) {
        DestroyAt(i);
    }
}

template <class T>
void cow_List<T>::DetachTable() {
    if (*mTableUse > 1) {
        CopyTable();
    }
}

template <class T>
void cow_List<T>::CopyTable() {
    // This list gets the new blocks; the other one has the share of the old ones, and gives it up.
    cow_List other;
    other.mTable = NewTable(mTableSize).release();
    for (int k = 0; k < mTableSize; ++k) {
        other.mTable[k] = mTable[k];
        if (mTable[k] != nullptr) {
            mTable[k]->mUse += 1;
        }
    }
    std::swap(mTable, other.mTable);
    std::swap(mTableUse, other.mTableUse);
}

template <class T>
void cow_List<T>::FitTable(int length) {
    if (*mTableUse > 1 || TableSizeFor(mFirst + length) != mTableSize) {
        Resize(length);
    }
}

template <class T>
void cow_List<T>::GrowTable(int size) {
    if (size > mTableSize) {
        const std::size_t bytes = static_cast<std::size_t>(size) * sizeof(Page*);
        mTable = static_cast<Page**>(mem_Realloc(mTable, bytes));
        std::fill(mTable + mTableSize, mTable + size, nullptr);
        mTableSize = size;
    }
}

template <class T>
void cow_List<T>::DetachPages(int firstIndex, int lastIndex) {
    for (int k = PageOf(firstIndex); k <= PageOf(lastIndex); ++k) {
        if (mTable[k] == nullptr || mTable[k]->mUse > 1) {
            RenewPage(k, mLength);
        }
    }
}

template <class T>
void cow_List<T>::RenewPage(int k, int endIndex) {
    std::unique_ptr<Page> page(new Page(PageSize()));
    Page* const old = mTable[k];
    if (old != nullptr) {
        const int begin = LiveBegin(k);
        const int count = std::min(LiveEnd(k), endIndex) - begin;
        const T* const source = old->mElements + SlotOf(begin);
        std::uninitialized_copy_n(source, std::max(count, 0), page->mElements + SlotOf(begin));
        old->mUse -= 1;
    }
    mTable[k] = page.release();
}

template <class T>
void cow_List<T>::DropPage(int k) {
    Page* const page = mTable[k];
    page->mUse -= 1;
    if (page->mUse == 0) {
        DestroyRange(LiveBegin(k), LiveEnd(k));
        delete page;
    }
    mTable[k] = nullptr;
}

template <class T>
void cow_List<T>::DropPages(int first) {
    for (int k = first; k < mTableSize; ++k) {
        if (mTable[k] != nullptr) {
            DropPage(k);
        }
    }
}

template <class T>
cow_List<T>& cow_List<T>::Resize(int newLength) {
    const int end = newLength == 0 ? 0 : mFirst + newLength;
    const int pages = (PageSize() + end - 1) >> mPageShift;
    const int size = TableSizeFor(end);

    // What can fail comes first; so a table that shrinks gets a new block before elements go.
    DetachTable();
    GrowTable(size);
    TableOwner smaller = NewTable(size < mTableSize ? size : 0);
    int liveEnd = LiveEnd(pages - 1);
    if (newLength < liveEnd && mTable[pages - 1]->mUse > 1) {
        RenewPage(pages - 1, newLength);
        liveEnd = newLength;
    }

    DropPages(pages);
    DestroyRange(newLength, liveEnd);
    if (size < mTableSize) {
        std::copy_n(mTable, size, smaller.get());
        mem_Free(std::exchange(mTable, smaller.release()));
        mTableSize = size;
    }

    if (newLength == 0) {
        mFirst = 0;
        // An empty list keeps the page size that its hint chose.
        mPageShift = mLength > 0 ? kDefaultPageShift : mPageShift;
    }
    mLength = std::min(mLength, newLength);
    return *this;
}

#endif
