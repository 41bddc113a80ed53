#ifndef OXBOW_COW_LIST_ITERATOR_H
#define OXBOW_COW_LIST_ITERATOR_H

#include "list/cow_List.h"

/** Walks a share of a list: it shows the list as it was when the iterator was made, whatever
    happens to the list meanwhile. The elements live at least until the iterator is destroyed; until
    then the list's next change copies the table. A walk allocates nothing and looks into the table
    once a page.

    Use: for (cow_ListIterator<T> it(list); it.More(); it.Next()) ... it.Current() ...
    Threads: those of the list; making and destroying an iterator writes a count that it shares.
    Raises: nothing. */
template <class T>
class cow_ListIterator {
public:
    /** Starts at the first element. */
    explicit cow_ListIterator(const cow_List<T>& list)
        : mList(list), mEnd(list.mFirst + list.mLength), mPageSize(list.PageSize()) {
        Start();
    }

    /** Returns to the first element; may be called at any time. */
    cow_ListIterator& Start();
    /** Requires More(). */
    cow_ListIterator& Next();

    bool More() const { return mPosition < mEnd; }
    /** Requires More(). Other lists may share the element. */
    T& Current() { return mCursor[mSlot]; }
    /** Logical index of the current element in the list as it was. */
    int Index() const { return mPosition - mList.mFirst; }

private:
    T* PageElements() const;

    /** The iterator's own share; everything is read through it alone. */
    cow_List<T> mList;
    /** Elements of the current page; null at the end of a list that fills its last page. */
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
