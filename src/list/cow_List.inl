#ifndef OXBOW_COW_LIST_INL
#define OXBOW_COW_LIST_INL

#include "list/cow_ListStage.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

template <class T>
int* cow_List<T>::NewUseCount() {
    return new (mem_OperatorNewTinyThrow(sizeof(int))) int(1);
}

template <class T>
cow_ListPage<T>** cow_List<T>::NewTable(int size) {
    if (size == 0) {
        return nullptr;
    }
    const auto entries = static_cast<std::size_t>(size);
    Page** table = static_cast<Page**>(mem_Malloc(entries * sizeof(Page*)));
    std::fill_n(table, entries, nullptr);
    return table;
}

/** Page size and page count come from the exponent and the mantissa of the hint as an IEEE 754
    single: no loop, and a hint that is rounded down is covered by the step of extra entries. */
template <class T>
void cow_List<T>::Initialize(int sizeHint) {
    static_assert(sizeof(float) == sizeof(std::int32_t), "the hint is read off a single");
    SetEmpty();
    if (sizeHint != 0) {
        const float single = static_cast<float>(sizeHint);
        std::int32_t bits;
        std::memcpy(&bits, &single, sizeof bits);
        const int pageShift = (bits >> 23) - 130;
        if (pageShift > mPageShift) {
            mTableSize = ((bits & 0x7fffff) + 0x8fffff) >> 20;
            mPageShift = pageShift;
        }
        mTableSize += TableStep;
    }
    // No destructor runs for a half-made list, so the count needs an owner while the table is got.
    std::unique_ptr<int, void (*)(void*)> use(NewUseCount(), mem_Free);
    mTable = NewTable(mTableSize);
    mTableUse = use.release();
}

template <class T>
void cow_List<T>::SetEmpty() {
    mLength = 0;
    mTableSize = 0;
    mPageShift = DefaultPageShift;
    mFirst = 0;
    mTableUse = nullptr;
    mTable = nullptr;
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

/** The last holder destroys what only this table held; any other leaves the table to the rest. */
template <class T>
void cow_List<T>::GiveUpTable() {
    *mTableUse -= 1;
    if (*mTableUse == 0) {
        Resize(0);
        mem_Free(mTableUse);
    }
    SetEmpty();
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
int cow_List<T>::LiveEnd(int k, int length) const {
    return std::min((k << mPageShift) - mFirst + PageSize(), length);
}

template <class T>
int cow_List<T>::TableSizeFor(int end) const {
    const int stepShift = mPageShift + TableStepShift;
    return (((1 << stepShift) + end - 1) >> stepShift) << TableStepShift;
}

template <class T>
void cow_List<T>::ConstructAt(int i, const T& value) {
    new (ElementAt(i)) T(value);
}

template <class T>
void cow_List<T>::DestroyRange(int begin, int end) {
    for (int i = end - 1; i >= begin; --i) {
        DestroyAt(i);
    }
}

template <class T>
void cow_List<T>::DetachTable() {
    cow_ListStage<T> stage(*this);
    stage.PrepareTable(mTableSize);
    stage.Begin();
    stage.Finish();
}

template <class T>
void cow_List<T>::DetachPages(int firstIndex, int lastIndex) {
    cow_ListStage<T> stage(*this);
    stage.PreparePages(firstIndex, lastIndex, mLength);
    stage.Begin();
    stage.Finish();
}

template <class T>
void cow_List<T>::DetachTableAndPages(int firstIndex, int lastIndex) {
    cow_ListStage<T> stage(*this);
    stage.PrepareTable(mTableSize);
    stage.PreparePages(firstIndex, lastIndex, mLength);
    stage.Begin();
    stage.Finish();
}

template <class T>
template <class Source>
void cow_List<T>::AddBack(cow_ListStage<T>& stage, int count, Source source) {
    stage.PreparePages(mLength, mLength + count - 1, mLength);
    for (int j = 0; j < count; ++j) {
        stage.Build(mLength + j, source(j));
    }
    stage.Begin();
    stage.Finish();
    mLength += count;
}

template <class T>
cow_List<T>& cow_List<T>::Append(const T& value) {
    cow_ListStage<T> stage(*this);
    stage.PrepareTable(TableSizeFor(mFirst + mLength + 1));
    AddBack(stage, 1, [&](int) -> const T& { return value; });
    return *this;
}

template <class T>
T& cow_List<T>::operator[](int i) {
    CheckIndex(i);
    DetachTableAndPages(i, i);
    return *ElementAt(i);
}

template <class T>
cow_List<T>& cow_List<T>::Resize(int newLength) {
    const bool hadElements = mLength > 0;
    const bool truncates = newLength < mLength;
    const int end = newLength == 0 ? 0 : newLength + mFirst;
    const int pagesNeeded = (PageSize() + end - 1) >> mPageShift;
    const bool cutsPage = truncates && end < pagesNeeded << mPageShift;

    cow_ListStage<T> stage(*this);
    stage.PrepareTable(TableSizeFor(end));
    if (cutsPage) {
        // If the last kept page is shared, this makes the shorter copy that takes its place.
        stage.PreparePages(newLength - 1, newLength - 1, newLength);
    }
    stage.Begin();
    if (truncates || newLength == 0) {
        DropPages(pagesNeeded);
    }
    if (cutsPage && !stage.RenewsPage(newLength - 1)) {
        DestroyRange(newLength, LiveEnd(pagesNeeded - 1, mLength));
    }
    stage.Finish();

    mLength = std::min(mLength, newLength);
    if (newLength == 0) {
        mFirst = 0;
        // An empty list keeps the page size that its hint gave it.
        mPageShift = hadElements ? DefaultPageShift : mPageShift;
    }
    return *this;
}

template <class T>
void cow_List<T>::DropPages(int firstPage) {
    for (int k = firstPage; k < mTableSize; ++k) {
        if (mTable[k] != nullptr) {
            DropPage(k);
        }
    }
}

template <class T>
void cow_List<T>::DropPage(int k) {
    Page* page = mTable[k];
    page->mUse -= 1;
    if (page->mUse == 0) {
        DestroyRange(LiveBegin(k), LiveEnd(k, mLength));
        delete page;
    }
    mTable[k] = nullptr;
}

#endif
