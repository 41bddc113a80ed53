#ifndef OXBOW_COW_LIST_EDITS_INL
#define OXBOW_COW_LIST_EDITS_INL

// The edits and the reading operations, on the representation in cow_List.inl.

#include <algorithm>
#include <cstddef>
#include <memory>

/** Elements that are being built behind the last one. Those that don't count at the end are
    destroyed. */
template <class T>
struct cow_List<T>::Added {
    explicit Added(cow_List& list) : mList(list), mEnd(list.mLength) {}
    ~Added() { mList.DestroyRange(mList.mLength, mEnd); }
    Added(const Added&) = delete;
    Added& operator=(const Added&) = delete;

    cow_List& mList;
    int mEnd;
};

/** The source is read while the list has its old length, so it may be this list. */
template <class T>
template <class Source>
void cow_List<T>::AddBack(int count, Source source) {
    if (count <= 0) {
        return;
    }
    DetachPages(mLength, mLength + count - 1);
    Added added(*this);
    for (int j = 0; j < count; ++j) {
        ConstructAt(added.mEnd, source(j));
        added.mEnd += 1;
    }
    mLength = added.mEnd;
}

template <class T>
cow_List<T>& cow_List<T>::Append(const T& value) {
    FitTable(mLength + 1);
    DetachPages(mLength, mLength);
    ConstructAt(mLength, value);
    mLength += 1;
    return *this;
}

template <class T>
T& cow_List<T>::operator[](int i) {
    CheckIndex(i);
    DetachTable();
    DetachPages(i, i);
    return *ElementAt(i);
}

/** All free entries end up in front, so that a row of Prepends moves the table's entries once. */
template <class T>
void cow_List<T>::MakeFrontRoom() {
    const int pages = (PageSize() + mLength - 1) >> mPageShift;
    if (mFirst == 0 && pages == mTableSize) {
        Resize((pages << mPageShift) + 1);
    }
    DetachTable();
    if (mFirst == 0) {
        std::rotate(mTable, mTable + pages, mTable + mTableSize);
        mFirst = (mTableSize - pages) << mPageShift;
    }
}

template <class T>
cow_List<T>& cow_List<T>::Prepend(const T& value) {
    MakeFrontRoom();
    DetachPages(-1, -1);
    ConstructAt(-1, value);
    mFirst -= 1;
    mLength += 1;
    return *this;
}

template <class T>
const T* cow_List<T>::MoveElement(int from, int to, const T* value) {
    *ElementAt(to) = *ElementAt(from);
    return value == ElementAt(from) ? ElementAt(to) : value;
}

/** The pages are private before the first element is built twice and the list is longer: should an
    assignment fail from there on, every constructed element counts. */
template <class T>
const T* cow_List<T>::OpenGapFromFront(int index, const T* value) {
    MakeFrontRoom();
    DetachPages(-1, index);
    Prepend(*ElementAt(0));
    value = value == ElementAt(1) ? ElementAt(0) : value;
    for (int j = 1; j < index; ++j) {
        value = MoveElement(j + 1, j, value);
    }
    return value;
}

template <class T>
const T* cow_List<T>::OpenGapFromBack(int index, const T* value) {
    FitTable(mLength + 1);
    DetachPages(index, mLength);
    Append(*ElementAt(mLength - 1));
    const int last = mLength - 1;
    value = value == ElementAt(last - 1) ? ElementAt(last) : value;
    for (int j = last - 1; j > index; --j) {
        value = MoveElement(j - 1, j, value);
    }
    return value;
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
    const T* const own = std::addressof(value);
    const bool frontIsShorter = index < mLength - index;
    const T* const source =
        frontIsShorter ? OpenGapFromFront(index, own) : OpenGapFromBack(index, own);
    *ElementAt(index) = *source;
    return *this;
}

template <class T>
cow_List<T>& cow_List<T>::RemoveAt(int index) {
    CheckIndex(index);
    DetachTable();
    if (index < mLength - index) {
        DetachPages(0, index);
        for (int j = index; j > 0; --j) {
            *ElementAt(j) = *ElementAt(j - 1);
        }
        DestroyAt(0);
        mFirst += 1;
        mLength -= 1;
        if (SlotOf(0) == 0) {
            DropPage(PageOf(-1));
        }
    } else {
        DetachPages(index, mLength - 1);
        for (int j = index; j < mLength - 1; ++j) {
            *ElementAt(j) = *ElementAt(j + 1);
        }
        mLength -= 1;
        DestroyAt(mLength);
        if (SlotOf(mLength) == 0) {
            DropPage(PageOf(mLength));
        }
    }
    return *this;
}

template <class T>
T cow_List<T>::PopLast() {
    T last(Last());
    RemoveLast();
    return last;
}

template <class T>
cow_List<T>& cow_List<T>::AppendList(const cow_List& other) {
    const int count = other.mLength;
    Resize(mLength + count);
    AddBack(count, [&](int j) -> const T& { return other[j]; });
    return *this;
}

template <class T>
cow_List<T>& cow_List<T>::Extend(int newLength, const T& fill) {
    if (newLength > mLength) {
        Resize(newLength);
        AddBack(newLength - mLength, [&](int) -> const T& { return fill; });
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
    Resize(count);
    AddBack(count, [&](int j) -> const T& { return array[j]; });
    return *this;
}

/** The result's table is never resized: the hint makes it large enough. */
template <class T>
cow_List<T> cow_List<T>::Slice(int lo, int hi) const {
    const int begin = std::clamp(lo, 0, mLength);
    const int count = std::clamp(hi, begin, mLength) - begin;
    cow_List result(count);
    result.AddBack(count, [&](int j) -> const T& { return *ElementAt(begin + j); });
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
