#ifndef OXBOW_COW_LIST_H
#define OXBOW_COW_LIST_H

#include <memory>

#include "list/cow_ListPage.h"

template <class T>
class cow_ListIterator;

/** The library's sequence type: an indexable list of values. A copy costs six fields and one count,
    and the list grows at both ends without moving its elements.

    Elements live in pages of 1 << mPageShift slots, which are reached through a page table. Table
    and pages carry use counts. An edit first makes the table private, then the pages that it
    writes, then builds the elements, and changes the length last. While a table's count is above 1
    no edit writes to the table; a page is written in place only while its own count and that of its
    table are 1.

    Logical index: 0 up to Length(), what callers use. Position: mFirst + index, the place in the
    row of slots that the table spans. Both are signed 32-bit numbers without overflow checks.

    Owner and life: a value; copies are independent of one another. An element keeps its address
    while the list grows, unless its page is shared when it is written.
    Threads: lists and iterators that share a table or a page are used by one thread at a time. The
    counts are plain, and reading through an iterator or a copy writes them too.
    Requires: T has a copy constructor, and a destructor that doesn't raise; for InsertAt, RemoveAt
    and ToArray also assignment, and for ToArray a default constructor. Indices are valid: a bad one
    ends the process by abort().
    Raises: std::bad_alloc, and what T's copy operations raise. Destruction, assignment of a list,
    and truncation to 0 of a list that shares nothing never raise.
    Leaves, after a failed edit: this list and all that share with it with the length and the values
    that they had, and no leak; the table may be larger, and pages may be private. InsertAt and
    RemoveAt leave less when an assignment raises, as described there. */
template <class T>
class cow_List {
public:
    cow_List();
    /** The hint is the expected length. From 256 on it makes larger pages, so that 8 to 16 of them
        hold that many elements. */
    explicit cow_List(int sizeHint) : cow_List() { Initialize(sizeHint); }
    /** Shares the table: no allocation, no element copied. */
    cow_List(const cow_List& other) noexcept { ShareTableOf(other); }
    /** Destroys the elements of those pages that no other table holds: page by page upward, each
        from its last element to its first. */
    ~cow_List() { GiveUpTable(); }
    cow_List& operator=(const cow_List& other) noexcept;

    int Length() const { return mLength; }

    /** Adds at the back. The value may be an element of this list. */
    cow_List& Append(const T& value);
    /** Read access; shares stay. */
    const T& operator[](int i) const { return *ElementAt(CheckIndex(i)); }
    /** Write access: makes the table and the page of i private, on every use. The reference must
        not outlive the list's next edit or its next copy, which would see what is written through
        it. */
    T& operator[](int i);
    /** The last element, for reading. Requires a list that is not empty. */
    const T& Last() const { return *ElementAt(CheckIndex(mLength - 1)); }

    /** Adds at the front, and moves no element. The value may be an element of this list. */
    cow_List& Prepend(const T& value);
    /** Adds an element with this index, 0 up to and including Length(), and moves those on the
        shorter side of it outward by one. The value may be an element of this list.
        Leaves, when an assignment raises: a list that is longer by one and holds one of its
        elements twice. */
    cow_List& InsertAt(int index, const T& value);
    /** Removes an element, and moves those on the shorter side of it inward by one. The table keeps
        its size.
        Leaves, when an assignment raises: a list of the old length that holds another element twice
        in place of one of its own. */
    cow_List& RemoveAt(int index);
    /** Requires a list that is not empty. */
    cow_List& RemoveLast() { return RemoveAt(mLength - 1); }
    /** Removes the last element and returns a copy of it. Requires a list that is not empty. */
    T PopLast();

    /** Adds copies of all elements of the other list, which may be this one, at the back. */
    cow_List& AppendList(const cow_List& other);
    /** Raises the length with copies of fill, which may be an element of this list. Does nothing to
        a list that is as long already. */
    cow_List& Extend(int newLength, const T& fill);
    /** Replaces all elements by copies of the array's, which may be elements of this list. */
    cow_List& Assign(const T* array, int count);
    /** Returns copies of the elements from lo up to, not including, hi; bounds outside the list
        count as its ends. The result shares nothing with this list, and has larger pages if it is
        long. */
    cow_List Slice(int lo, int hi) const;
    /** Returns copies of all elements in a new array, never null, which the caller frees by
        delete[]; sets length to their number. The array comes from the global operator new[],
        unless T has its own. */
    T* ToArray(int& length) const;

    /** Truncates to newLength, which is 0 or more, and fits the table to it. Never raises the
        length: above it this only makes room in the table. Truncation to 0 also resets first
        position and page size to those of a new list. */
    cow_List& Resize(int newLength);
    cow_List& Clear() { return Resize(0); }
    /** Makes the page of i present and private. Requires a table that no other list shares. */
    void DetachPage(int i) { DetachPages(i, i); }

private:
    friend class cow_ListIterator<T>;
    /** Reads and sets the representation. */
    friend struct cow_ListPeer;

    using Page = cow_ListPage<T>;
    struct FreeBlock {
        void operator()(void* block) const noexcept { mem_Free(block); }
    };
    using TableOwner = std::unique_ptr<Page*[], FreeBlock>;
    struct Added;

    static constexpr int kDefaultPageShift = 4;
    /** The table's length is a multiple of 1 << kTableStepShift, but for a size hint's. */
    static constexpr int kTableStepShift = 4;

    /** A zeroed table; null for a size of 0. */
    static TableOwner NewTable(int size);

    void Initialize(int sizeHint);
    void ShareTableOf(const cow_List& other);
    void GiveUpTable();

    [[noreturn]] void RaiseOutOfRange(int index) const;
    int CheckIndex(int i) const;

    // Indices from here on are not checked: valid ones, or one beside a valid one where a slot is
    // meant rather than an element.
    int PageSize() const { return 1 << mPageShift; }
    int PageOf(int i) const { return (mFirst + i) >> mPageShift; }
    int SlotOf(int i) const { return mFirst + i - (PageOf(i) << mPageShift); }
    /** Logical index of page k's first element. Not below LiveEnd(k) in a page without any. */
    int LiveBegin(int k) const;
    /** Logical index behind page k's last element. */
    int LiveEnd(int k) const;
    /** The number of table entries for positions below end. */
    int TableSizeFor(int end) const;

    /** The page is present. */
    T* ElementAt(int i) { return mTable[PageOf(i)]->mElements + SlotOf(i); }
    const T* ElementAt(int i) const { return mTable[PageOf(i)]->mElements + SlotOf(i); }
    /** Into a raw slot of a present page. */
    void ConstructAt(int i, const T& value) { new (ElementAt(i)) T(value); }
    void DestroyAt(int i) { ElementAt(i)->~T(); }
    /** From end - 1 down to begin. */
    void DestroyRange(int begin, int end);

    /** Makes the table private. */
    void DetachTable();
    void CopyTable();
    /** Makes the table private and fits it to a length that is not below mLength. */
    void FitTable(int length);
    /** Does nothing to a table that is as large already. */
    void GrowTable(int size);
    /** Makes the pages of the range, both ends included, present and private; the table is private
        already. firstIndex may be -1 if mFirst is above 0. */
    void DetachPages(int firstIndex, int lastIndex);
    /** Puts a new page into entry k, with copies of the old page's elements below endIndex. */
    void RenewPage(int k, int endIndex);
    /** Takes a page out of the table, and destroys it and its elements if no other table holds it.
     */
    void DropPage(int k);
    /** All pages from entry first on. Beside those that a truncation drops, these may be empty ones
        of a failed edit. */
    void DropPages(int first);

    /** Adds copies of source(0) up to source(count - 1) at the back; the table has room for them.
     */
    template <class Source>
    void AddBack(int count, Source source);
    /** Makes the table private, with a free position below mFirst. Moves no element. */
    void MakeFrontRoom();
    /** Makes the list longer by one and moves elements, so that the one of index may be
        overwritten. Returns where the value is now: it moves if it is one of these elements. */
    const T* OpenGapFromFront(int index, const T* value);
    const T* OpenGapFromBack(int index, const T* value);
    /** Assigns element from to element to. Returns where the value is now. */
    const T* MoveElement(int from, int to, const T* value);

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
