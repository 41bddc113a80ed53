#ifndef OXBOW_COW_LIST_H
#define OXBOW_COW_LIST_H

#include "list/cow_ListPage.h"

template <class T>
class cow_ListStage;
template <class T>
class cow_ListIterator;

/** The library's sequence type: an indexable list of values whose copies cost six fields and one
    count, and which grows without moving its elements.

    Elements live in pages of 1 << mPageShift slots, reached through a page table. Table and pages
    carry use counts and are copied when a list that shares them is about to change them: first the
    table, then the pages that the change touches. With a table count above 1 nobody writes to the
    table; a page is changed in place only while its own count and that of its table are 1.

    Logical index: 0 up to Length(), what callers use. Position: mFirst + index, the place in the
    row of slots that the table spans. All of these are signed 32-bit, without overflow checks.

    Owner and life: a value; copies are independent of one another. An element's address stays good
    while the list grows, as long as its page is not shared.
    Threads: none inside. The counts are plain, so all sharers, iterators included, stay on one
    thread.
    Raises: std::bad_alloc, and what T's copy constructor raises; the list, its sharers and all
    counts are then as they were before the call. A bad index ends the process.
    T needs a copy constructor, and a destructor that doesn't raise. */
template <class T>
class cow_List {
public:
    cow_List() { Initialize(0); }
    /** The hint is the expected length; from 256 on it makes larger pages, 8 to 16 of them. */
    explicit cow_List(int sizeHint) { Initialize(sizeHint); }
    /** Shares the table: no allocation, no element copied. */
    cow_List(const cow_List& other) noexcept { ShareTableOf(other); }
    /** Destroys the elements of those pages that no other table holds: whole pages in ascending
        order, each from its last element to its first. */
    ~cow_List() { GiveUpTable(); }
    cow_List& operator=(const cow_List& other) noexcept;

    int Length() const { return mLength; }

    /** Adds at the back. The value may be an element of this list. */
    cow_List& Append(const T& value);
    /** Read access: no share is touched. */
    const T& operator[](int i) const { return *ElementAt(CheckIndex(i)); }
    /** Write access: makes the table and the page of i private, on every use. The reference must
        not outlive the next edit or the next copy of the list: a sharer would see what is written
        through it. */
    T& operator[](int i);

    /** Truncates to newLength, and fits the table to it. Never raises the length: above it, this
        sizes the table only. Truncation to 0 makes the list as good as new. Takes newLength >= 0.
        An unshared list truncated to 0 allocates nothing, so that this can't fail. */
    cow_List& Resize(int newLength);
    cow_List& Clear() { return Resize(0); }
    /** Makes the page of i present and private. The caller holds the table alone. */
    void DetachPage(int i) { DetachPages(i, i); }

private:
    friend class cow_ListStage<T>;
    friend class cow_ListIterator<T>;
    /** Reads and sets the representation. */
    friend struct cow_ListPeer;

    using Page = cow_ListPage<T>;

    static constexpr int DefaultPageShift = 4;
    /** The table's length is kept a multiple of this. */
    static constexpr int TableStepShift = 4;
    static constexpr int TableStep = 1 << TableStepShift;

    static int* NewUseCount();
    /** A zeroed table; null for a size of 0. */
    static Page** NewTable(int size);

    void Initialize(int sizeHint);
    void SetEmpty();
    void ShareTableOf(const cow_List& other);
    void GiveUpTable();

    [[noreturn]] void RaiseOutOfRange(int index) const;
    int CheckIndex(int i) const;

    // Of all these the caller passes indices that are valid, or one beside a valid one.
    int PageSize() const { return 1 << mPageShift; }
    int PageOf(int i) const { return (mFirst + i) >> mPageShift; }
    int SlotOf(int i) const { return mFirst + i - (PageOf(i) << mPageShift); }
    /** The page in entry k, null also where the table is too short. */
    Page* PageAt(int k) const { return k < mTableSize ? mTable[k] : nullptr; }
    /** Logical index of page k's first live element. */
    int LiveBegin(int k) const;
    /** Logical index behind page k's last live element, if the list had this length. */
    int LiveEnd(int k, int length) const;
    /** The number of table entries for positions below end. */
    int TableSizeFor(int end) const;

    /** Unchecked; the page is present. */
    T* ElementAt(int i) { return mTable[PageOf(i)]->mElements + SlotOf(i); }
    const T* ElementAt(int i) const { return mTable[PageOf(i)]->mElements + SlotOf(i); }
    /** Into a raw slot of a present page. */
    void ConstructAt(int i, const T& value);
    void DestroyAt(int i) { ElementAt(i)->~T(); }
    /** Lowest first, all within one page; nothing for a count of 0 or less. */
    void ConstructRange(const T* source, int i, int count);
    /** From end - 1 down to begin. */
    void DestroyRange(int begin, int end);

    /** Makes the table private. */
    void DetachTable();
    /** Makes the pages of the range, ends included, present and private; the table must be private
        already. firstIndex may be -1 if mFirst >= 1. */
    void DetachPages(int firstIndex, int lastIndex);
    /** Takes the pages from entry firstPage on out of the table, and destroys those that no other
        holds. */
    void DropPages(int firstPage);
    void DropPage(int k);

    int mLength;
    /** Number of entries in mTable. */
    int mTableSize;
    /** log2 of the page size. It doesn't grow with the list: a long list has a long table. */
    int mPageShift;
    /** Position of element 0; 0 in a list that has only grown at the back. */
    int mFirst;
    /** Number of lists that hold the table, in a block of its own. All have equal fields. */
    int* mTableUse;
    /** Null while there are no entries. A null entry: no page is there. */
    Page** mTable;
};

#include "list/cow_List.inl"

#endif
