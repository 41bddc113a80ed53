// The copy-on-write list: what its edits touch, and random edits against std::vector.
#include "internal/ListWorld.h"

#include <gtest/gtest.h>

#include <climits>
#include <csignal>
#include <random>

namespace {

TEST(List, ActsAsAVectorWhileItSharesAndIsSoundAfterFailedEdits) {
    std::random_device chosen;
    for (const unsigned seed : {1u, 2u, 3u, 4u, 5u, 6u, chosen(), chosen(), chosen(), chosen()}) {
        cow_ListPeer lists{std::mt19937(seed)};
        ASSERT_NO_THROW(lists.Run(4000)) << "seed " << seed;
        EXPECT_GT(lists.faults, 300);
    }
}

#define DO(...) [](List& l, [[maybe_unused]] const Tracked& x) { l.__VA_ARGS__; }

TEST(List, EditsTakeTheShorterSideCopyItsPagesAloneAndFitTheTable) {
    const struct {
        unsigned sharers;
        int first, length;
        void (*edit)(List&, const Tracked&);
        Ints shape, log;
    } cases[] = {
        {0, 0, 0, DO(operator=(List(255))), {0, 16, 4, 0}, {}},
        {0, 0, 0, DO(operator=(List(INT_MIN))), {0, 16, 4, 0}, {}},
        {0, 0, 0, DO(operator=(List(256))), {0, 24, 5, 0}, {}},
        {0, 0, 0, DO(operator=(List(257))), {0, 25, 5, 0}, {}},
        {0, 0, 0, DO(operator=(List(511))), {0, 32, 5, 0}, {}},
        {0, 0, 0, DO(operator=(List(16777217))), {0, 24, 21, 0}, {}},
        {0, 0, 0, DO(operator=(List(256)).Clear()), {0, 0, 5, 0}, {}},
        {0, 2, 40, DO(Clear()), {0, 0, 4, 0}, {D + 14, D + 1, D + 30, D + 15, D + 40, D + 31}},
        {0, 2, 18, DO(Resize(5)), {5, 16, 4, 2}, {D + 18, D + 6}},
        {1, 2, 18, DO(Resize(5)), {5, 16, 4, 2}, {1, 5}},
        {1, 0, 260, DO(Resize(256)), {256, 16, 4, 0}, {}},
        {0, 0, 20, DO(Resize(300).AppendList(List())), {20, 16, 4, 0}, {}},
        {1, 0, 40, DO(operator[](20)), {40, 16, 4, 0}, {17, 32}},
        {1, 0, 256, DO(Append(x)), {257, 32, 4, 0}, {99, 99}},
        {1, 0, 0, DO(InsertAt(0, x)), {1, 16, 4, 0}, {99, 99}},
        {1, 0, 0, DO(Prepend(x)), {1, 16, 4, 255}, {99, 99}},
        {1, 0, 20, DO(Prepend(x).Resize(34)), {21, 32, 4, 223}, {99, 99}},
        {1, 0, 256, DO(Prepend(x)), {257, 32, 4, 255}, {99, 99}},
        {1, 5, 20, DO(Prepend(x)), {21, 16, 4, 4}, {1, 11, 99, 99}},
        {1, 0, 40, DO(InsertAt(17, x)), {41, 16, 4, 207}, {1, 32, 1, 1, -2, -17, -99, -99}},
        {1, 0, 40, DO(InsertAt(20, x)), {41, 16, 4, 0}, {17, 40, 40, 40, -39, -21, -99, -99}},
        {1, 0, 40, DO(RemoveAt(17)), {39, 16, 4, 1}, {1, 32, -17, -1, D + 1, D + 1}},
        {1, 0, 40, DO(RemoveAt(20)), {39, 16, 4, 0}, {17, 40, -22, -40, D + 40, D + 40}},
        {0, 0, 1, DO(RemoveAt(0)), {0, 16, 4, 1}, {D + 1, D + 1}},
        {0, 3, 0, DO(Assign(&x, 1)), {1, 16, 4, 0}, {99, 99}},
    };
    for (const auto& c : cases) {
        List list;
        for (int i = -c.first; i < c.length; ++i) {
            list.Append(i + 1);
        }
        for (int i = 0; i < c.first; ++i) {
            list.RemoveAt(0);
        }
        const std::vector<List> copies(c.sharers, list);
        const Tracked x(99);
        Tracked::log.clear();
        c.edit(list, x);
        EXPECT_EQ(cow_ListPeer::ShapeOf(list), c.shape) << "case " << &c - cases;
        EXPECT_EQ(Tracked::log, c.log) << "case " << &c - cases;
    }
}

TEST(ListDeathTest, IndexOutsideTheListEndsTheProcessInSilence) {
    const auto aborted = testing::KilledBySignal(SIGABRT);
    cow_List<int> list;
    list.Extend(16, 0);
    for (const int i : {-1, 16, INT_MIN, INT_MAX}) {
        EXPECT_EXIT(list[i], aborted, "^$") << i;
        EXPECT_EXIT(list.InsertAt(i == 16 ? 17 : i, 0), aborted, "^$") << i;
        EXPECT_EXIT(list.RemoveAt(i), aborted, "^$") << i;
    }
    EXPECT_EXIT(list.Clear().Last(), aborted, "^$");
}

}  // namespace
