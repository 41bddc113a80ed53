#ifndef OXBOW_COW_LIST_PAGE_H
#define OXBOW_COW_LIST_PAGE_H

#include <OxbowPoolManager/base/mem_Functions.h>

#include <cstddef>

/** One page of a cow_List: raw room for a fixed number of elements, and the number of page tables
    that hold it. A page neither constructs nor destroys elements: only the lists know which of its
    slots are live, and they destroy those before they delete the page. */
template <class T>
class cow_ListPage {
public:
    explicit cow_ListPage(int slots)
        : mUse(1),
          mElements(static_cast<T*>(mem_Malloc(static_cast<std::size_t>(slots) * sizeof(T)))) {
        static_assert(alignof(T) <= alignof(std::max_align_t), "mem_Malloc aligns no further");
    }
    ~cow_ListPage() { mem_Free(mElements); }
    cow_ListPage(const cow_ListPage&) = delete;
    cow_ListPage& operator=(const cow_ListPage&) = delete;

    static void* operator new(std::size_t size) { return mem_OperatorNewTinyThrow(size); }
    static void operator delete(void* block) noexcept { mem_Free(block); }

    /** Number of page tables, not of lists: a table that several lists share counts once. */
    int mUse;
    /** The slots. */
    T* mElements;
};

#endif
