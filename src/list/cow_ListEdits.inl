#ifndef OXBOW_COW_LIST_EDITS_INL
#define OXBOW_COW_LIST_EDITS_INL

// The edits that stand on the representation in cow_List.inl.

#include "list/cow_ListStage.h"

#include <algorithm>
#include <cstddef>
#include <memory>

template <class T>
int cow_List<T>::IndexOf(const T& value, int begin, int end) const {
    for (int i = begin; i < end; ++i) {
        if (ElementAt(i) == std::addressof(value)) {
            return i;
        }
    }
    return -1;
}

/** All free entries come to stand in front, so that a row of Prepends moves the table once. */
template <class T>
void cow_List<T>::MakeFrontRoom() {
    const int pages = (PageSize() + mLength - 1) >> mPageShift;
    if (mFirst == 0 && pages == mTableSize) {
        Resize((pages << mPageShift) + 1);
    } else {
        DetachTable();
    }
    if (mFirst == 0) {
        std::rotate(mTable, mTable + pages, mTable + mTableSize);
        mFirst = (mTableSize - pages) << mPageShift;
    }
}

template <class T>
cow_List<T>& cow_List<T>::Prepend(const T& value) {
    MakeFrontRoom();
    cow_ListStage<T> stage(*this);
    stage.PreparePages(-1, -1, mLength);
    stage.Build(-1, value);
    stage.Begin();
    stage.Finish();
    mFirst -= 1;
    mLength += 1;
    return *this;
}

/** The new element counts before the others move: should an assignment raise, every constructed
    element is one of the list's. */
template <class T>
void cow_List<T>::OpenGapFromFront(int index) {
    MakeFrontRoom();
    cow_ListStage<T> stage(*this);
    stage.PreparePages(-1, index, mLength);
    stage.Build(-1, *ElementAt(0));
    stage.Begin();
    stage.Finish();
    mFirst -= 1;
    mLength += 1;
    for (int j = 1; j < index; ++j) {
        *ElementAt(j) = *ElementAt(j + 1);
    }
}

template <class T>
void cow_List<T>::OpenGapFromBack(int index) {
    cow_ListStage<T> stage(*this);
    stage.PrepareTable(TableSizeFor(mFirst + mLength + 1));
    stage.PreparePages(index, mLength, mLength);
    stage.Build(mLength, *ElementAt(mLength - 1));
    stage.Begin();
    stage.Finish();
    mLength += 1;
    for (int j = mLength - 2; j > index; --j) {
        *ElementAt(j) = *ElementAt(j - 1);
    }
}

template <class T>
cow_List<T>& cow_List<T>::InsertAt(int index, const T& value) {
    if (index == mLength) {
        return Append(value);
    }
    if (index == 0) {
        return Prepend(value);
    }
    CheckIndex(index);
    // A value that is itself one of the elements that move is found again where it went.
    if (index < mLength - index) {
        const int own = IndexOf(value, 0, index);
        OpenGapFromFront(index);
        *ElementAt(index) = own < 0 ? value : *ElementAt(own);
    } else {
        const int own = IndexOf(value, index, mLength);
        OpenGapFromBack(index);
        *ElementAt(index) = own < 0 ? value : *ElementAt(own + 1);
    }
    return *this;
}

template <class T>
void cow_List<T>::CloseGapFromFront(int index) {
    DetachTableAndPages(0, index);
    for (int j = index; j > 0; --j) {
        *ElementAt(j) = *ElementAt(j - 1);
    }
    DestroyAt(0);
    mFirst += 1;
    mLength -= 1;
    if (SlotOf(0) == 0) {
        DropPage(PageOf(-1));
    }
}

template <class T>
void cow_List<T>::CloseGapFromBack(int index) {
    DetachTableAndPages(index, mLength - 1);
    for (int j = index; j < mLength - 1; ++j) {
        *ElementAt(j) = *ElementAt(j + 1);
    }
    mLength -= 1;
    DestroyAt(mLength);
    if (SlotOf(mLength) == 0) {
        DropPage(PageOf(mLength));
    }
}

template <class T>
cow_List<T>& cow_List<T>::RemoveAt(int index) {
    CheckIndex(index);
    if (index < mLength - index) {
        CloseGapFromFront(index);
    } else {
        CloseGapFromBack(index);
    }
    return *this;
}

template <class T>
T cow_List<T>::PopLast() {
    T last(Last());
    RemoveLast();
    return last;
}

/** The source keeps its range while it is read, also when it is this list: the length changes last.
 */
template <class T>
cow_List<T>& cow_List<T>::AppendList(const cow_List& other) {
    if (other.mLength == 0) {
        return Resize(mLength);
    }
    cow_ListStage<T> stage(*this);
    stage.PrepareTable(TableSizeFor(mFirst + mLength + other.mLength));
    AddBack(stage, other.mLength, [&](int j) -> const T& { return other[j]; });
    return *this;
}

template <class T>
cow_List<T>& cow_List<T>::Extend(int newLength, const T& fill) {
    if (newLength > mLength) {
        cow_ListStage<T> stage(*this);
        stage.PrepareTable(TableSizeFor(mFirst + newLength));
        AddBack(stage, newLength - mLength, [&](int) -> const T& { return fill; });
    }
    return *this;
}

/** A list in use takes the place of a new one whole: the array may be of its own elements, and a
    failure leaves it as it was. */
template <class T>
cow_List<T>& cow_List<T>::Assign(const T* array, int count) {
    if (mLength > 0 || mFirst > 0) {
        cow_List fresh;
        return *this = fresh.Assign(array, count);
    }
    if (count == 0) {
        return Clear();
    }
    cow_ListStage<T> stage(*this);
    stage.PrepareTable(TableSizeFor(count));
    AddBack(stage, count, [&](int j) -> const T& { return array[j]; });
    return *this;
}

/** The result's table has its size from the hint, which is enough for every length. */
template <class T>
cow_List<T> cow_List<T>::Slice(int lo, int hi) const {
    const int end = std::min(std::max({hi, lo, 0}), mLength);
    const int begin = std::min(std::max(lo, 0), end);
    cow_List result(end - begin);
    if (begin < end) {
        cow_ListStage<T> stage(result);
        result.AddBack(stage, end - begin,
                       [&](int j) -> const T& { return *ElementAt(begin + j); });
    }
    return result;
}

template <class T>
T* cow_List<T>::ToArray(int& length) const {
    std::unique_ptr<T[]> array(new T[static_cast<std::size_t>(mLength)]);
    length = mLength;
    for (int j = 0; j < mLength; ++j) {
        array[static_cast<std::size_t>(j)] = (*this)[j];
    }
    return array.release();
}

#endif
