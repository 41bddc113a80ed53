#ifndef OXBOW_COW_LIST_ITERATOR_H
#define OXBOW_COW_LIST_ITERATOR_H

#include "list/cow_List.h"

/** Walks a share of a list, so that the walk sees the list as it stood when the iterator was made,
    whatever the list does meanwhile. The share keeps the elements alive until the iterator goes;
    while it lasts, the list's next change copies the table. A walk costs no allocation and one
    table lookup a page.

    Use: for (cow_ListIterator<T> it(list); it.More(); it.Next()) ... it.Current() ...
    Threads: that of the list. Raises nothing. */
template <class T>
class cow_ListIterator {
public:
    /** Stands on the first element. */
    explicit cow_ListIterator(const cow_List<T>& list)
        : mList(list), mEnd(list.mFirst + list.mLength), mPageSize(list.PageSize()) {
        Start();
    }

    /** Goes back to the first element; may be called at any time. */
    cow_ListIterator& Start();
    cow_ListIterator& Next();

    /** The end of the walk: mCursor doesn't tell it, for it stays set within the last page. */
    bool More() const { return mPosition < mEnd; }
    /** Only while More(). The element may be one that other lists share. */
    T& Current() { return mCursor[mSlot]; }
    /** Logical index of the current element, in the numbering of the share. */
    int Index() const { return mPosition - mList.mFirst; }

private:
    /** The elements of the current position's page, null from the end on. */
    T* PageElements() const;

    /** The iterator's own share; everything is read through it alone. */
    cow_List<T> mList;
    /** Elements of the current page. */
    T* mCursor;
    /** Position behind the last element. */
    int mEnd;
    int mPageSize;
    /** Current position, no logical index. */
    int mPosition;
    /** Slot of mPosition in its page. */
    int mSlot;
};

template <class T>
T* cow_ListIterator<T>::PageElements() const {
    return More() ? mList.mTable[mPosition >> mList.mPageShift]->mElements : nullptr;
}

template <class T>
cow_ListIterator<T>& cow_ListIterator<T>::Start() {
    mPosition = mList.mFirst;
    mSlot = mList.SlotOf(0);
    mCursor = PageElements();
    return *this;
}

template <class T>
cow_ListIterator<T>& cow_ListIterator<T>::Next() {
    mSlot += 1;
    mPosition += 1;
    if (mSlot == mPageSize) {
        mSlot = 0;
        mCursor = PageElements();
    }
    return *this;
}

#endif
