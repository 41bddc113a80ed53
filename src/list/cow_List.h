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
    counts are then as they were before the call. Edits at the front and in the middle promise
    less, as told there. A bad index ends the process.
    T needs a copy constructor, and a destructor that doesn't raise; InsertAt, RemoveAt and ToArray
    need assignment, ToArray also a default constructor. */
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
    /** The last element, for reading; the list is not empty. */
    const T& Last() const { return *ElementAt(CheckIndex(mLength - 1)); }

    /** Adds at the front. No element moves. The value may be an element of this list. A failure
        leaves elements and length alone, but may leave a larger table with its free room in front.
     */
    cow_List& Prepend(const T& value);
    /** Gives the value the index, 0 up to Length(), and moves the elements on the shorter side one
        place outward. The value may be an element of this list. If an assignment raises, the list
        is one longer and holds one of its elements twice; otherwise as Prepend. */
    cow_List& InsertAt(int index, const T& value);
    /** Moves the elements on the shorter side one place inward; the table keeps its size. If an
        assignment raises, the list keeps its length, and holds an element twice in place of the one
        that was to go. */
    cow_List& RemoveAt(int index);
    /** The list is not empty. */
    cow_List& RemoveLast() { return RemoveAt(mLength - 1); }
    /** A copy of the last element, which is removed; the list is not empty. */
    T PopLast();

    /** Adds copies of all elements of the other list, which may be this one, at the back. */
    cow_List& AppendList(const cow_List& other);
    /** Raises the length, with copies of fill, which may be an element of this list. Changes
       nothing at all if the list is that long already. */
    cow_List& Extend(int newLength, const T& fill);
    /** Makes the list hold copies of the array's elements and no others. */
    cow_List& Assign(const T* array, int count);
    /** Copies of the elements from lo up to, not including, hi; bounds outside the list are pulled
        in. The new list shares nothing with this one, and a long one has larger pages. */
    cow_List Slice(int lo, int hi) const;
    /** Copies of all elements in an array that the caller gives back with delete[]; never null. It
        comes from the array form of new, which is the global one unless T brings its own. */
    T* ToArray(int& length) const;

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
    /** From end - 1 down to begin. */
    void DestroyRange(int begin, int end);

    /** Index of the element that the value itself is, within the range; -1 if it is none. */
    int IndexOf(const T& value, int begin, int end) const;

    /** Makes the table private. */
    void DetachTable();
    /** Makes the pages of the range, ends included, present and private; the table must be private
        already. firstIndex may be -1 if mFirst >= 1. */
    void DetachPages(int firstIndex, int lastIndex);
    /** Both in one step, which a failure undoes whole. */
    void DetachTableAndPages(int firstIndex, int lastIndex);
    /** Makes the table private, with a free position below mFirst. Moves no element. */
    void MakeFrontRoom();
    /** Element 0 or the last one comes to stand twice, and those up to the index move after it: the
        element of the index may then be overwritten. */
    void OpenGapFromFront(int index);
    void OpenGapFromBack(int index);
    void CloseGapFromFront(int index);
    void CloseGapFromBack(int index);
    /** Adds copies of source(0) up to source(count - 1) at the back. The stage has prepared no page
        yet; count is above 0. */
    template <class Source>
    void AddBack(cow_ListStage<T>& stage, int count, Source source);
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
#include "list/cow_ListEdits.inl"

#endif
