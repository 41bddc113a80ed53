// The copy-on-write list: what each edit leaves and touches, and random edits against std::vector.
#include "internal/ListWorld.h"

#include <gtest/gtest.h>

#include <climits>
#include <csignal>
#include <random>

#include "OxbowRpm/impl/OxbowRpm_PoolMapItem.h"

// All of the list for each element type of the library, which itself uses a part of it.
template class cow_List<int>;
template class cow_List<OxbowRpm_StrongRef<OxbowRpm_FileImpl>>;
template class cow_List<OxbowRpm_StrongRef<OxbowRpm_PoolImpl>>;
template class cow_List<OxbowRpm_PoolMapItem>;

namespace {

using IntList = cow_List<int>;

IntList ListOf(const Ints& values) {
    return IntList().Assign(values.data(), static_cast<int>(values.size()));
}

Ints ValuesOf(const IntList& list) {
    Ints values;
    for (cow_ListIterator<int> it(list); it.More(); it.Next()) {
        values.push_back(it.Current());
    }
    return values;
}

// A call on the list l, and how it reads. x is 99.
#define EDIT(...) #__VA_ARGS__, [](auto& l, [[maybe_unused]] const auto& x) { l.__VA_ARGS__; }

TEST(List, HoldsWhatEachEditLeaves) {
    static const int two[] = {7, 8};
    const struct {
        const char* name;
        void (*edit)(IntList&, const int&);
        Ints expected;
    } cases[] = {
        {EDIT(Append(x)), {10, 20, 30, 99}},
        {EDIT(Append(l.Last())), {10, 20, 30, 30}},
        {EDIT(Prepend(x)), {99, 10, 20, 30}},
        {EDIT(InsertAt(0, x)), {99, 10, 20, 30}},
        {EDIT(InsertAt(1, x)), {10, 99, 20, 30}},
        {EDIT(InsertAt(2, x)), {10, 20, 99, 30}},
        {EDIT(InsertAt(3, x)), {10, 20, 30, 99}},
        {EDIT(operator[](1) = x), {10, 99, 30}},
        {EDIT(RemoveAt(0)), {20, 30}},
        {EDIT(RemoveAt(1)), {10, 30}},
        {EDIT(RemoveAt(2)), {10, 20}},
        {EDIT(RemoveLast()), {10, 20}},
        {EDIT(Prepend(l.PopLast())), {30, 10, 20}},
        {EDIT(Resize(1)), {10}},
        {EDIT(Resize(500)), {10, 20, 30}},
        {EDIT(Clear()), {}},
        {EDIT(Extend(5, x)), {10, 20, 30, 99, 99}},
        {EDIT(Extend(2, x)), {10, 20, 30}},
        {EDIT(AppendList(ListOf({7, 8}))), {10, 20, 30, 7, 8}},
        {EDIT(AppendList(l)), {10, 20, 30, 10, 20, 30}},
        {EDIT(AppendList(IntList())), {10, 20, 30}},
        {EDIT(Assign(two, 2)), {7, 8}},
        {EDIT(Assign(two, 0)), {}},
        {EDIT(Assign(&l[1], 2)), {20, 30}},
        {EDIT(operator=(ListOf({7, 8}))), {7, 8}},
        {EDIT(operator=(l)), {10, 20, 30}},
        {EDIT(operator=(l.Slice(-5, 2))), {10, 20}},
        {EDIT(operator=(l.Slice(1, 100))), {20, 30}},
        {EDIT(operator=(l.Slice(2, 2))), {}},
        {EDIT(operator=(l.Slice(2, 0))), {}},
        {EDIT(operator=(l.Slice(100, 200))), {}},
    };
    for (const auto& c : cases) {
        IntList list = ListOf({10, 20, 30});
        c.edit(list, 99);
        EXPECT_EQ(ValuesOf(list), c.expected) << c.name;
    }
}

TEST(List, CopiesIntoArraysAndWalksFromTheStartAgain) {
    int length = -1;
    const std::unique_ptr<int[]> none(IntList().ToArray(length));
    EXPECT_NE(none, nullptr);
    EXPECT_EQ(length, 0);
    const std::unique_ptr<int[]> array(ListOf({10, 20, 30}).ToArray(length));
    EXPECT_EQ(Ints(array.get(), array.get() + length), Ints({10, 20, 30}));
    cow_ListIterator<int> walk(ListOf({10, 20, 30}));
    EXPECT_EQ(walk.Next().Current(), 20);
    EXPECT_EQ(walk.Start().Current(), 10);
    EXPECT_EQ(walk.Index(), 0);
}

TEST(List, CopiesAreIndependentOfOneAnother) {
    const auto change = [](IntList& list) {
        list.Append(1).Prepend(2).RemoveAt(4).InsertAt(20, 3).Resize(18)[17] = 4;
    };
    IntList list = ListOf(Ints(40, 7)), copy(list);
    change(list);
    EXPECT_EQ(ValuesOf(copy), Ints(40, 7));
    const Ints changed = ValuesOf(list);
    change(copy);
    copy.Clear();
    EXPECT_EQ(ValuesOf(list), changed);
}

TEST(List, KeepsAnElementInPlaceUntilItsSharedPageIsDetached) {
    IntList list = ListOf(Ints(40, 7));
    const IntList& reader = list;
    const int* const first = &reader[0];
    for (int i = 0; i < 600; ++i) {
        list.Append(i).Prepend(i);
    }
    EXPECT_EQ(&reader[600], first);
    const IntList copy(list);
    list.Append(1);
    list.DetachPage(640);
    EXPECT_EQ(&reader[600], first);
    list.DetachPage(600);
    EXPECT_NE(&reader[600], first);
    EXPECT_EQ(&copy[600], first);
    EXPECT_EQ(reader[600], 7);
}

TEST(List, TruncatesToNothingWithoutMemoryIfItSharesNothing) {
    IntList list(300);
    list.Extend(700, 1).Prepend(2);
    TestAllocator::FailAt(1, true);
    list.Clear();
    TestAllocator::Disarm();
    EXPECT_FALSE(TestAllocator::Fired());
}

TEST(List, ActsAsAVectorWhileItIsSharedAndWalkedAlsoAfterFailedEdits) {
    std::random_device chosen;
    for (const unsigned seed : {1u, 2u, 3u, 4u, 5u, 6u, chosen(), chosen(), chosen(), chosen()}) {
        for (const bool failing : {false, true}) {
            ListWorld lists(std::mt19937(seed), failing);
            ASSERT_NO_THROW(lists.Run(4000)) << "seed " << seed << ", failing " << failing;
            EXPECT_EQ(lists.Faults() > 300, failing) << "seed " << seed;
        }
    }
}

TEST(List, ChoosesPageSizeAndTableByTheHint) {
    const struct {
        int hint;
        const char* shape;
    } cases[] = {{0, "0 from 0, 0 x 16"},      {1, "0 from 0, 16 x 16"},
                 {255, "0 from 0, 16 x 16"},   {INT_MIN, "0 from 0, 16 x 16"},
                 {256, "0 from 0, 24 x 32"},   {257, "0 from 0, 25 x 32"},
                 {511, "0 from 0, 32 x 32"},   {512, "0 from 0, 24 x 64"},
                 {5000, "0 from 0, 26 x 512"}, {16777217, "0 from 0, 24 x 2097152"}};
    for (const auto& c : cases) {
        EXPECT_EQ(cow_ListPeer::ShapeOf(List(c.hint)), c.shape) << "hint " << c.hint;
    }
    List slice = List().Extend(301, 1).Slice(1, 301);
    EXPECT_EQ(cow_ListPeer::ShapeOf(slice), "300 from 0, 26 x 32");
    EXPECT_EQ(cow_ListPeer::ShapeOf(slice.Append(1)), "301 from 0, 16 x 32");
}

// The list holds 1 up to its length, and others have been removed before them.
TEST(List, MovesTheShorterSideCopiesItsPagesAloneAndFitsTheTable) {
    const struct {
        const char* name;
        void (*edit)(List&, const Tracked&);
        unsigned sharers;
        int removed, length;
        const char *shape, *log;
    } cases[] = {
        {EDIT(operator=(List(256)).Clear()), 0, 0, 0, "0 from 0, 0 x 32", ""},
        {EDIT(operator=(List(256)).Append(x).Clear()), 0, 0, 0, "0 from 0, 0 x 16",
         "copy 99, destroy 99"},
        {EDIT(Clear()), 0, 2, 40, "0 from 0, 0 x 16",
         "destroy 14..1, destroy 30..15, destroy 40..31"},
        {EDIT(Clear()), 0, 3, 0, "0 from 0, 0 x 16", ""},
        {EDIT(Resize(5)), 0, 2, 40, "5 from 2, 16 x 16",
         "destroy 30..15, destroy 40..31, destroy 14..6"},
        {EDIT(Resize(5)), 1, 2, 18, "5 from 2, 16 x 16", "copy 1..5"},
        {EDIT(Resize(256)), 1, 0, 260, "256 from 0, 16 x 16", ""},
        {EDIT(Resize(300).AppendList(List())), 0, 0, 20, "20 from 0, 16 x 16", ""},
        {EDIT(operator[](20)), 1, 0, 40, "40 from 0, 16 x 16", "copy 17..32"},
        {EDIT(Append(x)), 1, 0, 256, "257 from 0, 32 x 16", "copy 99"},
        {EDIT(InsertAt(0, x)), 1, 0, 0, "1 from 0, 16 x 16", "copy 99"},
        {EDIT(Prepend(x)), 1, 0, 0, "1 from 255, 16 x 16", "copy 99"},
        {EDIT(Prepend(x).Resize(34)), 1, 0, 20, "21 from 223, 32 x 16", "copy 99"},
        {EDIT(Prepend(x)), 1, 0, 256, "257 from 255, 32 x 16", "copy 99"},
        {EDIT(Prepend(x)), 1, 5, 20, "21 from 4, 16 x 16", "copy 1..11, copy 99"},
        {EDIT(InsertAt(17, x)), 1, 0, 40, "41 from 207, 16 x 16",
         "copy 1..32, copy 1, assign 2..17, assign 99"},
        {EDIT(InsertAt(20, x)), 1, 0, 40, "41 from 0, 16 x 16",
         "copy 17..40, copy 40, assign 39..21, assign 99"},
        {EDIT(RemoveAt(17)), 1, 0, 40, "39 from 1, 16 x 16", "copy 1..32, assign 17..1, destroy 1"},
        {EDIT(RemoveAt(20)), 1, 0, 40, "39 from 0, 16 x 16",
         "copy 17..40, assign 22..40, destroy 40"},
        {EDIT(RemoveAt(0)), 0, 0, 1, "0 from 1, 16 x 16", "destroy 1"},
        {EDIT(Assign(&x, 1)), 0, 3, 0, "1 from 0, 16 x 16", "copy 99"},
    };
    for (const auto& c : cases) {
        List list;
        for (int i = -c.removed; i < c.length; ++i) {
            list.Append(i + 1);
        }
        for (int i = 0; i < c.removed; ++i) {
            list.RemoveAt(0);
        }
        const std::vector<List> copies(c.sharers, list);
        const Tracked x(99);
        Tracked::TakeLog();
        c.edit(list, x);
        EXPECT_EQ(Tracked::TakeLog(), c.log) << c.name << " of " << c.length;
        EXPECT_EQ(cow_ListPeer::ShapeOf(list), c.shape) << c.name << " of " << c.length;
    }
}

TEST(ListDeathTest, IndexOutsideTheListEndsTheProcessInSilence) {
    const auto aborted = testing::KilledBySignal(SIGABRT);
    IntList list = ListOf(Ints(16, 0));
    for (const int i : {-1, 16, INT_MIN, INT_MAX}) {
        EXPECT_EXIT(list[i], aborted, "^$") << i;
        EXPECT_EXIT(std::as_const(list)[i], aborted, "^$") << i;
        EXPECT_EXIT(list.InsertAt(i == 16 ? 17 : i, 0), aborted, "^$") << i;
        EXPECT_EXIT(list.RemoveAt(i), aborted, "^$") << i;
    }
    EXPECT_EXIT(list.Clear().Last(), aborted, "^$");
    EXPECT_EXIT(list.Clear().PopLast(), aborted, "^$");
    EXPECT_EXIT(list.Clear().RemoveLast(), aborted, "^$");
}

}  // namespace
