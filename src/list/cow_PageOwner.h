#ifndef OXBOW_COW_PAGE_OWNER_H
#define OXBOW_COW_PAGE_OWNER_H

#include "list/cow_ListPage.h"

#include <algorithm>
#include <new>
#include <utility>

/** Holds a page that no table holds yet, with the elements that were copied into it so far. When
    the edit it was made for fails, they go with it. */
template <class T>
class cow_PageOwner {
public:
    cow_PageOwner() = default;
    ~cow_PageOwner();
    cow_PageOwner(const cow_PageOwner&) = delete;
    cow_PageOwner& operator=(const cow_PageOwner&) = delete;

    bool HasPage() const { return mPage != nullptr; }
    void Make(int slots) { mPage = new cow_ListPage<T>(slots); }
    /** Copies the value into a slot, which adjoins those built before on either side. */
    void Build(int slot, const T& value);
    /** Gives page and elements to the caller, who puts the page into a table. */
    cow_ListPage<T>* Release();

private:
    cow_ListPage<T>* mPage = nullptr;
    /** The built slots are those from mBegin up to, not including, mEnd. */
    int mBegin = 0;
    int mEnd = 0;
};

template <class T>
cow_PageOwner<T>::~cow_PageOwner() {
    while (mEnd > mBegin) {
        mEnd -= 1;
        mPage->mElements[mEnd].~T();
    }
    delete mPage;
}

template <class T>
void cow_PageOwner<T>::Build(int slot, const T& value) {
    new (mPage->mElements + slot) T(value);
    if (mBegin == mEnd) {
        mBegin = mEnd = slot;
    }
    mBegin = std::min(mBegin, slot);
    mEnd = std::max(mEnd, slot + 1);
}

template <class T>
cow_ListPage<T>* cow_PageOwner<T>::Release() {
    mBegin = mEnd;
    return std::exchange(mPage, nullptr);
}

#endif
