#ifndef OXBOW_COW_LIST_STAGE_H
#define OXBOW_COW_LIST_STAGE_H

#include "list/cow_List.h"
#include "list/cow_PageOwner.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>

/** One edit of a list, in two halves. The Prepare operations get all blocks and make all copies
    that the edit needs, and leave the list, its sharers and every count alone; if one of them
    fails, this object frees what was got. Begin and Finish then change the list. Begin's growth of
    a private table is the last step that can fail and the first that changes anything.

    Order of use: PrepareTable, PreparePages, Build, Begin, (the caller drops pages), Finish. The
    list's mLength and mFirst keep their old values until Finish has returned. */
template <class T>
class cow_ListStage {
public:
    explicit cow_ListStage(cow_List<T>& list) : mList(list), mNewSize(list.mTableSize) {}
    ~cow_ListStage();
    cow_ListStage(const cow_ListStage&) = delete;
    cow_ListStage& operator=(const cow_ListStage&) = delete;

    /** The table is to be private and to have newSize entries. Without this call it stays as it is,
        and the caller answers for its being private. */
    void PrepareTable(int newSize);
    /** The pages of the logical range are to be present and private. Copies of shared pages get
        their live elements below liveEnd. Called once at most. */
    void PreparePages(int firstIndex, int lastIndex, int liveEnd);
    /** Copies the value to where index i will be, in a prepared page or a raw slot of the present
        one. Several calls go upward, without gaps. */
    void Build(int i, const T& value);
    /** Whether a prepared page will take the place of the page of index i. */
    bool RenewsPage(int i) const;

    void Begin();
    void Finish();

private:
    using Page = cow_ListPage<T>;

    bool NeedsPage(int k) const;
    void MakeRoomForOwners(int count);
    void CopyPage(int k, int liveEnd);
    void LeaveSharedTable();
    void GrowTable();
    void ShrinkTable();
    cow_PageOwner<T>& OwnerOf(int k) const { return mOwners[k - mFirstPage]; }

    cow_List<T>& mList;
    bool mLeavesTable = false;
    int mNewSize;
    int* mNewUse = nullptr;
    Page** mNewTable = nullptr;
    int mFirstPage = 0;
    int mPageCount = 0;
    /** The raw slots of the list's own pages that Build has filled, as indices. */
    int mRawBegin = 0;
    int mRawEnd = 0;
    /** Edits of one page, nearly all of them, need no block for their owner. */
    cow_PageOwner<T> mSingleOwner;
    cow_PageOwner<T>* mOwners = &mSingleOwner;
};

template <class T>
cow_ListStage<T>::~cow_ListStage() {
    mList.DestroyRange(mRawBegin, mRawEnd);
    mem_Free(mNewUse);
    mem_Realloc(mNewTable, 0);
    if (mOwners != &mSingleOwner) {
        std::destroy_n(mOwners, mPageCount);
        mem_Free(mOwners);
    }
}

template <class T>
void cow_ListStage<T>::PrepareTable(int newSize) {
    mLeavesTable = *mList.mTableUse > 1;
    mNewSize = newSize;
    if (mLeavesTable) {
        mNewUse = cow_List<T>::NewUseCount();
    }
    // A private table that shrinks gets its smaller block now: taking entries off in place could
    // fail after elements have gone.
    if (mLeavesTable || newSize < mList.mTableSize) {
        mNewTable = cow_List<T>::NewTable(newSize);
    }
}

template <class T>
void cow_ListStage<T>::PreparePages(int firstIndex, int lastIndex, int liveEnd) {
    mFirstPage = mList.PageOf(firstIndex);
    const int count = mList.PageOf(lastIndex) - mFirstPage + 1;
    if (count > 1) {
        MakeRoomForOwners(count);
    }
    mPageCount = std::max(count, 0);
    for (int k = mFirstPage; k < mFirstPage + mPageCount; ++k) {
        if (NeedsPage(k)) {
            CopyPage(k, liveEnd);
        }
    }
}

template <class T>
void cow_ListStage<T>::MakeRoomForOwners(int count) {
    void* block = mem_Malloc(static_cast<std::size_t>(count) * sizeof(cow_PageOwner<T>));
    mOwners = static_cast<cow_PageOwner<T>*>(block);
    std::uninitialized_default_construct_n(mOwners, count);
}

/** A page of a table that the list leaves stays with the other holders, whatever its own count
    says. */
template <class T>
bool cow_ListStage<T>::NeedsPage(int k) const {
    const Page* page = mList.PageAt(k);
    return page == nullptr || mLeavesTable || page->mUse > 1;
}

template <class T>
void cow_ListStage<T>::CopyPage(int k, int liveEnd) {
    cow_PageOwner<T>& owner = OwnerOf(k);
    owner.Make(mList.PageSize());
    const int end = mList.LiveEnd(k, liveEnd);
    for (int i = mList.LiveBegin(k); i < end; ++i) {
        owner.Build(mList.SlotOf(i), *mList.ElementAt(i));
    }
}

template <class T>
void cow_ListStage<T>::Build(int i, const T& value) {
    if (RenewsPage(i)) {
        OwnerOf(mList.PageOf(i)).Build(mList.SlotOf(i), value);
    } else {
        mList.ConstructAt(i, value);
        mRawBegin = mRawBegin == mRawEnd ? i : mRawBegin;
        mRawEnd = i + 1;
    }
}

template <class T>
bool cow_ListStage<T>::RenewsPage(int i) const {
    const int k = mList.PageOf(i);
    return k >= mFirstPage && k < mFirstPage + mPageCount && OwnerOf(k).HasPage();
}

template <class T>
void cow_ListStage<T>::Begin() {
    if (mLeavesTable) {
        LeaveSharedTable();
    } else if (mNewSize > mList.mTableSize) {
        GrowTable();
    }
}

template <class T>
void cow_ListStage<T>::LeaveSharedTable() {
    const int kept = std::min(mNewSize, mList.mTableSize);
    for (int k = 0; k < kept; ++k) {
        mNewTable[k] = mList.mTable[k];
        if (mNewTable[k] != nullptr) {
            mNewTable[k]->mUse += 1;
        }
    }
    *mList.mTableUse -= 1;
    mList.mTableUse = std::exchange(mNewUse, nullptr);
    mList.mTable = std::exchange(mNewTable, nullptr);
    mList.mTableSize = mNewSize;
}

template <class T>
void cow_ListStage<T>::GrowTable() {
    const std::size_t bytes = static_cast<std::size_t>(mNewSize) * sizeof(Page*);
    mList.mTable = static_cast<Page**>(mem_Realloc(mList.mTable, bytes));
    std::fill(mList.mTable + mList.mTableSize, mList.mTable + mNewSize, nullptr);
    mList.mTableSize = mNewSize;
}

template <class T>
void cow_ListStage<T>::ShrinkTable() {
    std::copy_n(mList.mTable, mNewSize, mNewTable);
    mem_Realloc(mList.mTable, 0);
    mList.mTable = std::exchange(mNewTable, nullptr);
    mList.mTableSize = mNewSize;
}

template <class T>
void cow_ListStage<T>::Finish() {
    mRawEnd = mRawBegin;
    if (mNewSize < mList.mTableSize) {
        ShrinkTable();
    }
    for (int k = mFirstPage; k < mFirstPage + mPageCount; ++k) {
        if (OwnerOf(k).HasPage()) {
            Page*& entry = mList.mTable[k];
            if (entry != nullptr) {
                entry->mUse -= 1;
            }
            entry = OwnerOf(k).Release();
        }
    }
}

#endif
