// The copy-on-write list against std::vector: every element, block and use count accounted for.
#include "list/cow_List.h"

#include "doubles/CountingAllocator.h"
#include "list/cow_ListIterator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <csignal>
#include <functional>
#include <map>
#include <memory>
#include <new>
#include <random>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

struct cow_ListPeer {
    template <class List>
    static auto Fields(List& l) {
        return std::tie(l.mLength, l.mTableSize, l.mPageShift, l.mFirst, l.mTableUse, l.mTable);
    }
};

namespace {

using Ints = std::vector<int>;
constexpr int A = 10000, D = 20000;  // in the log: an assignment, a destruction

/** An element whose copies can fail, which knows all live ones, and which logs what it does: its
    value for a copy, A or D plus the value otherwise. */
struct Tracked {
    Tracked(int from = 0) : value(from) {
        mem_Free(mem_Malloc(1));
        EXPECT_TRUE(live.insert(this).second) << "constructed over a live element";
    }
    Tracked(const Tracked& other) : Tracked(static_cast<int>(other)) { log.push_back(value); }
    ~Tracked() {
        EXPECT_EQ(live.erase(this), 1u) << "destroyed what is no live element";
        log.push_back(D + value);
    }
    Tracked& operator=(const Tracked& other) {
        mem_Free(mem_Malloc(1));
        log.push_back(A + (value = other));
        return *this;
    }
    operator int() const {
        EXPECT_EQ(live.count(this), 1u) << "used a raw slot";
        return value;
    }
    int value;
    static inline std::set<const Tracked*> live;
    static inline Ints log;
};

using List = cow_List<Tracked>;

/** Read by index and by iterator. */
Ints ValuesOf(const List& list) {
    Ints values;
    for (cow_ListIterator<Tracked> it(list); it.More(); it.Next()) {
        EXPECT_EQ(it.Index(), static_cast<int>(values.size()));
        EXPECT_EQ(&list[it.Index()], &it.Current());
        values.push_back(it.Current());
    }
    return values;
}

/** Length, table size, page shift, first position. */
Ints ShapeOf(const List& list) {
    const auto [length, size, shift, first, use, table] = cow_ListPeer::Fields(list);
    return {length, size, shift, first};
}

/** An empty list; small pages bring all edges near. */
List Empty(int hint, int first, int shiftChange) {
    List list(hint);
    std::get<2>(cow_ListPeer::Fields(list)) += shiftChange;
    for (; first > 0; --first) {
        list.Append(0).RemoveAt(0);
    }
    return list;
}

struct Pair {
    List list;
    Ints model;
};

/** Lists that share with one another, and a vector beside each. */
struct World {
    World(unsigned seed, const List& start) : random(seed), pairs(5, Pair{start, {}}) {}

    template <class Edit>
    bool FailsAt(long n, Edit edit) {
        TestAllocator::FailAt(n);
        try {
            edit();
        } catch (const std::bad_alloc&) {
        }
        TestAllocator::Disarm();
        return TestAllocator::Fired() && ++faults > 0;
    }

    /** Does the edit, after it has failed at each of its allocations and element copies; each
        failure leaves all as it was, but for an edit that assigns elements. */
    template <class Edit>
    void Do(Edit edit, Pair* moved = nullptr) {
        const auto before = Check();
        for (long n = 1; FailsAt(n, edit); ++n) {
            moved != nullptr ? Mend(*moved) : void();
            EXPECT_TRUE(moved != nullptr || Check() == before) << "failed at allocation " << n;
        }
    }
    /** A failed assignment leaves a sound list, which may hold an element twice. Mends it for the
        next try. */
    void Mend(Pair& a) {
        const Ints before = std::exchange(a.model, ValuesOf(a.list));
        Check();
        const int length = a.list.Length(), wanted = static_cast<int>(before.size());
        EXPECT_TRUE(length == wanted || length == wanted + 1);
        for (int i = 0; a.model != before && i < wanted; ++i) {
            a.list.Resize(wanted)[i] = before.begin()[i];
        }
        a.model = before;
    }

    /** Holds values, every use count and the number of blocks. Returns what a failed edit leaves as
        it is: each list's shape, the use counts' places. */
    std::pair<std::vector<Ints>, std::map<const int*, int>> Check() const {
        std::vector<Ints> shapes;
        std::map<const int*, int> holders;
        long missing = 0;
        for (const Pair& pair : pairs) {
            EXPECT_EQ(ValuesOf(pair.list), pair.model);
            shapes.push_back(ShapeOf(pair.list));
            const auto [length, size, shift, first, use, table] = cow_ListPeer::Fields(pair.list);
            const bool isNew = ++holders[use] == 1;
            missing += isNew && table == nullptr;
            for (int k = 0; isNew && k < size; ++k) {
                table[k] != nullptr ? ++holders[&table[k]->mUse] : 0;
            }
        }
        for (const auto& [use, count] : holders) {
            EXPECT_EQ(*use, count);
        }
        const auto blocks = 2 * static_cast<long>(holders.size());  // each with a table or elements
        EXPECT_EQ(TestAllocator::LiveBlocks(), blocks - missing);
        return {shapes, holders};
    }

    int Below(int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); }

    void Step() {
        if (Below(8) == 0) {  // which list changes, where, and whether it mostly grows
            which = random() % 4, side = Below(4), grows = Below(5) > 1;
        }
        Pair &a = pairs[which], &b = pairs[random() % 5];  // the last one stays as it was made
        List& list = a.list;
        const List &self = list, &from = b.list;
        const Ints other = b.model;
        const int length = list.Length(), count = from.Length(), end = length + grows;
        const int lo = Below(count + 1), hi = Below(count + 10), more = Below(20) - 3;
        const int cut = length - Below(std::min(length, 40) + 1), own = Below(3 * length + 1);
        const int at = end == 0 || side == 1 ? 0 : side == 0 ? end - 1 : Below(end);
        spare = own < length ? a.model.begin()[own] : Below(1000);
        std::unique_ptr<Tracked[]> array;
        const struct {
            std::function<void()> edit, model;
            bool moves = false;
        } edits[] = {
            {[&] { list.InsertAt(at, own < length ? self[own] : spare); },
             [&] { a.model.insert(a.model.begin() + at, spare); }, at < length},
            {[&] { list.RemoveAt(at); }, [&] { a.model.erase(a.model.begin() + at); },
             at < length - 1},
            {[&] { EXPECT_EQ(list.PopLast() + 0, a.model.back()); }, [&] { a.model.pop_back(); }},
            {[&] { list[at]; }, [&] { list[at] = a.model.begin()[at] = more; }},
            {[&] { list.Extend(length + more, own < length ? self[own] : spare); },
             [&] {
                 a.model.resize(static_cast<unsigned>(std::max(length, length + more)), spare);
             }},
            {[&] { list.Resize(cut); },
             [&] { a.model.erase(a.model.begin() + cut, a.model.end()); }},
            {[&] { list.Resize(length + 6 * lo); }, [] {}},
            {[&] { list = from.Slice(lo, hi); },
             [&] { a.model.assign(other.data() + lo, other.data() + std::clamp(hi, lo, count)); }},
            {[&] { array.reset(from.ToArray(taken)), list.Assign(array.get(), taken); },
             [&] {
                 EXPECT_NE(array, nullptr);
                 a.model = other;
             }},
            {[&] { list = from; }, [&] { a.model = other; }},
            {[&] { list.AppendList(from); },
             [&] { a.model.insert(a.model.end(), other.begin(), other.end()); }}};
        // The first four need an element there; the last one must not double for ever.
        const int least = at < length ? 0 : 4, most = length + count < 150 ? 11 : 10;
        const int any = least + Below(most - least);
        const auto& step = edits[Below(4) == 0 ? any : grows || length == 0 ? 0 : 1];
        Do(step.edit, step.moves ? &a : nullptr);
        step.model();
    }

    Tracked spare;
    std::mt19937 random;
    std::vector<Pair> pairs;
    bool grows = true;
    int side = 0, taken = 0, faults = 0;
    std::size_t which = 0;
};

TEST(List, ActsAsAVectorWhileItSharesAndIsSoundAfterFailedEdits) {
    const int configs[][3] = {{0, 0, -3}, {300, 0, 0}, {0, 21, 0}, {0, 3, -2}, {0, 0, 0}};
    for (const unsigned seed : {1u, std::random_device()()}) {
        for (const auto& [hint, first, shift] : configs) {
            SCOPED_TRACE(testing::Message() << "seed " << seed << ", " << hint << ' ' << first);
            World world(seed, Empty(hint, first, shift));
            for (int steps = 600; steps > 0 && !HasFailure(); --steps) {
                world.Step();
            }
            world.Check();
            EXPECT_GT(world.faults, 100);
            world.pairs.clear();
            world.Check();
            EXPECT_EQ(Tracked::live.size(), 1u) << "elements are left";
        }
    }
}

TEST(List, HintSetsPageAndTableSize) {
    const int cases[][3] = {{0, 4, 0},        {1, 4, 16},    {255, 4, 16},
                            {INT_MIN, 4, 16}, {256, 5, 24},  {257, 5, 25},
                            {511, 5, 32},     {5000, 9, 26}, {16777217, 21, 24}};
    for (const auto& [hint, shift, size] : cases) {
        List list(hint);
        EXPECT_EQ(ShapeOf(list), (Ints{0, size, shift, 0})) << hint;
        EXPECT_EQ(ShapeOf(list.Append(7).Clear()), (Ints{0, 0, 4, 0}));
    }
}

/** The integers from one end to the other, both included, plus a constant. */
Ints Row(int from, int to, int plus = 0) {
    Ints row(static_cast<std::size_t>(std::abs(from - to) + 1));
    std::generate(row.begin(), row.end(),
                  [&, up = from < to] { return plus + (up ? from++ : from--); });
    return row;
}
Ints operator+(Ints a, const Ints& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

#define DO(...) [](List& l, [[maybe_unused]] const Tracked& x) { l.__VA_ARGS__; }

TEST(List, EditsWorkOnTheShorterSideAndCopyItsPagesAlone) {
    const struct {
        int length;
        void (*edit)(List&, const Tracked&);
        Ints shape;
        Ints copied;     // with its page, by a list that shares
        Ints done = {};  // by any list
        Ints gone = {};  // with its page, in a list that doesn't share
        int first = 0;
    } cases[] = {
        {40, DO(Clear()), {0, 0, 4, 0}, {}, {}, Row(15, 0, D) + Row(31, 16, D) + Row(39, 32, D)},
        {18, DO(Resize(5)), {5, 16, 4, 2}, Row(0, 4), {}, Row(17, 14, D) + Row(13, 5, D), 2},
        {3, DO(Clear()), {0, 0, 4, 0}, {}, {}, Row(2, 0, D), 2},
        {260, DO(Resize(256)), {256, 16, 4, 0}, {}, {}, Row(259, 256, D)},
        {40, DO(operator[](39)), {40, 16, 4, 0}, Row(32, 39)},
        {256, DO(Append(x)), {257, 32, 4, 0}, {}, {100}},
        {0, DO(InsertAt(0, x)), {1, 16, 4, 0}, {}, {100}},
        {0, DO(Prepend(x)), {1, 16, 4, 255}, {}, {100}},
        {20, DO(Prepend(x).Resize(34)), {21, 32, 4, 223}, {}, {100}},
        {256, DO(Prepend(x)), {257, 32, 4, 255}, {}, {100}},
        {20, DO(Prepend(x)), {21, 16, 4, 4}, Row(0, 10), {100}, {}, 5},
        {40, DO(InsertAt(3, x)), {41, 16, 4, 207}, Row(0, 15), {0, A + 1, A + 2, A + 100}},
        {40, DO(InsertAt(38, x)), {41, 16, 4, 0}, Row(32, 39), {39, A + 38, A + 100}},
        {4, DO(InsertAt(2, x)), {5, 16, 4, 0}, Row(0, 3), {3, A + 2, A + 100}},
        {40, DO(RemoveAt(2)), {39, 16, 4, 1}, Row(0, 15), {A + 1, A, D}},
        {4, DO(RemoveAt(2)), {3, 16, 4, 0}, Row(0, 3), {A + 3, D + 3}},
        {18, DO(InsertAt(15, x)), {19, 16, 4, 0}, Row(0, 17), {17, A + 16, A + 15, A + 100}},
        {18, DO(RemoveAt(15)), {17, 16, 4, 0}, Row(0, 17), {A + 16, A + 17, D + 17}},
        {40,
         DO(InsertAt(17, x)),
         {41, 16, 4, 207},
         Row(0, 31),
         Ints{0} + Row(1, 16, A) + Ints{A + 100}},
        {40, DO(RemoveAt(17)), {39, 16, 4, 1}, Row(0, 31), Row(16, 0, A) + Ints{D}},
        {1, DO(RemoveAt(0)), {0, 16, 4, 1}, {0}, {D}},
        {9, DO(Extend(11, x)), {11, 16, 4, 3}, Row(0, 8), {100, 100}, {}, 3},
        {0, DO(Assign(&x, 1)), {1, 16, 4, 0}, {}, {100}, {}, 3},
    };
    for (const auto& c : cases) {
        for (const unsigned sharers : {0u, 1u}) {
            List list = Empty(0, c.first, 0);
            while (list.Length() < c.length) {
                list.Append(list.Length());
            }
            const std::vector<List> copies(sharers, list);
            const Tracked x(100);
            Tracked::log.clear();
            c.edit(list, x);
            EXPECT_EQ(ShapeOf(list), c.shape) << "case " << &c - cases;
            EXPECT_EQ(Tracked::log, sharers == 0 ? c.done + c.gone : c.copied + c.done);
        }
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
