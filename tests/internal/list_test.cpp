// The copy-on-write list against std::vector: every element, block and use count accounted for.
#include "list/cow_List.h"

#include "doubles/CountingAllocator.h"
#include "list/cow_ListIterator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <csignal>
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
        EXPECT_EQ(&list[static_cast<int>(values.size())], &it.Current());
        values.push_back(it.Current());
    }
    return values;
}

/** Length, table size, page shift, first position. */
template <class T>
Ints ShapeOf(const cow_List<T>& list) {
    const auto [length, size, shift, first, use, table] = cow_ListPeer::Fields(list);
    return {length, size, shift, first};
}

/** A list and what it should hold. */
struct Pair {
    Pair(int hint, int first, int shiftChange) : list(hint) {
        std::get<2>(cow_ListPeer::Fields(list)) += shiftChange;  // small pages bring all edges near
        for (; first > 0; --first) {
            list.Append(0).RemoveAt(0);
        }
    }
    List list;
    Ints model;
};

/** Lists that share with one another, and a vector beside each. */
struct World {
    World(unsigned seed, const Pair& start) : random(seed), pairs(5, start) {}

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

    /** Does the edit, after it has failed at each of its allocations and element copies. */
    template <class Edit>
    void Strongly(Edit edit) {
        const auto before = Check();
        for (long n = 1; FailsAt(n, edit); ++n) {
            EXPECT_EQ(Check(), before) << "failed at allocation " << n;
        }
    }

    /** The same for an edit that assigns elements: a failure leaves a sound list, where each value
        is at most one place from where it was. */
    template <class Edit>
    void Soundly(Pair& a, Edit edit) {
        const Ints before = a.model;
        const int length = a.list.Length();
        for (long n = 1; FailsAt(n, edit); a.model = before, ++n) {
            a.model = ValuesOf(a.list);
            Check();
            EXPECT_TRUE(a.list.Length() == length || a.list.Length() == length + 1);
            for (int i = 0; a.model != before && i < length; ++i) {
                const Ints near(before.begin() + std::max(i - 1, 0),
                                before.begin() + std::min(i + 2, length));
                EXPECT_NE(std::count(near.begin(), near.end(), a.model.begin()[i]), 0) << i;
                a.list.Resize(length)[i] = before.begin()[i];  // mends it for the next try
            }
        }
    }

    /** Holds values, presence of pages, every use count, and the number of elements and blocks.
        Returns what a failed edit leaves as it is: each list's shape, the use counts' places. */
    std::pair<std::vector<Ints>, std::map<const int*, int>> Check() const {
        std::vector<Ints> shapes;
        std::map<const int*, int> holders;
        long blocks = 0, elements = loose;
        for (const Pair& pair : pairs) {
            EXPECT_EQ(ValuesOf(pair.list), pair.model);
            shapes.push_back(ShapeOf(pair.list));
            const auto [length, size, shift, first, use, table] = cow_ListPeer::Fields(pair.list);
            EXPECT_TRUE(size % 16 == 0 || length == 0);
            const bool isNew = ++holders[use] == 1;
            blocks += !isNew ? 0 : table == nullptr ? 1 : 2;
            for (int k = 0; isNew && k < size; ++k) {
                const int begin = std::max(k << shift, first);
                const int end = std::min((k + 1) << shift, first + length);
                // A list emptied by removals keeps the page that it stands inside of.
                const bool kept = length == 0 && k == first >> shift && first > k << shift;
                EXPECT_EQ(table[k] != nullptr, begin < end || kept) << "page " << k;
                if (table[k] != nullptr && ++holders[&table[k]->mUse] == 1) {
                    blocks += 2;
                    elements += end - begin;
                }
            }
        }
        for (const auto& [use, count] : holders) {
            EXPECT_EQ(*use, count);
        }
        EXPECT_EQ(static_cast<long>(Tracked::live.size()), elements);
        EXPECT_EQ(TestAllocator::LiveBlocks(), blocks);
        return {shapes, holders};
    }

    int Below(int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); }

    void Insert(Pair& a, int at) {
        const int length = a.list.Length(), own = Below(3) == 0 ? Below(length + 1) - 1 : -1;
        spare = own < 0 ? Below(1000) : a.model.begin()[own];
        const List& self = a.list;
        const auto edit = [&] { a.list.InsertAt(at, own < 0 ? spare : self[own]); };
        at == length ? Strongly(edit) : Soundly(a, edit);
        a.model.insert(a.model.begin() + at, spare);
    }

    void GrowOrShrink(Pair& a, bool grow) {
        const int side = Below(4);
        for (int left = Below(grow ? 14 : 20); left > 0 && (grow || !a.model.empty()); --left) {
            const int last = a.list.Length() - !grow;
            const int at = side == 0 ? last : side == 1 ? 0 : Below(last + 1);
            if (grow) {
                Insert(a, at);
            } else if (at < last) {
                Soundly(a, [&] { a.list.RemoveAt(at); });
                a.model.erase(a.model.begin() + at);
            } else {
                Strongly([&] { EXPECT_EQ(static_cast<int>(a.list.PopLast()), a.model.back()); });
                a.model.pop_back();
            }
        }
    }

    void AddOrTake(Pair& a, const Pair& b) {
        const int kind = Below(4), lo = Below(60) - 10, hi = lo + Below(150) - 10;
        const Ints other = b.model;
        int length = b.list.Length();
        const int end = std::clamp(hi, 0, length), begin = std::clamp(lo, 0, end);
        if (kind == 0 && a.list.Length() + length < 150) {
            Strongly([&] { a.list.AppendList(b.list); });
            a.model.insert(a.model.end(), other.begin(), other.end());
        } else if (kind == 1) {
            spare = length == 0 ? 0 : other.back();
            const int to = a.list.Length() + lo / 3;  // longer runs of one value would hide moves
            const auto edit = [&] { a.list.Extend(to, length == 0 ? spare : b.list.Last()); };
            EXPECT_FALSE(lo / 3 <= 0 && FailsAt(1, edit));  // not even detached
            Strongly(edit);
            a.model.resize(static_cast<std::size_t>(a.list.Length()), spare);
        } else if (kind == 2) {
            Strongly([&] { a.list = b.list.Slice(lo, hi); });
            a.model.assign(other.begin() + begin, other.begin() + end);
        } else {
            std::unique_ptr<Tracked[]> array;
            Strongly([&] { array.reset(b.list.ToArray(length = -1)); });
            EXPECT_NE(array, nullptr);
            loose += length;
            Strongly([&] { a.list.Assign(array.get(), length); });
            loose = 1;
            a.model = other;
        }
    }

    void Step() {
        Pair& a = pairs[random() % 4];
        const Pair& b = pairs[random() % 5];  // the last one stays as it was made
        const int kind = Below(25), length = a.list.Length();
        if (kind < 12) {
            GrowOrShrink(a, kind < 8);
        } else if (kind < 15) {
            AddOrTake(a, b);
        } else if (kind < 17 && length > 0) {
            const int i = Below(length), j = Below(length);
            Strongly([&] { a.list[i]; });
            Strongly([&] { a.list.DetachPage(j); });
            a.list[i] = a.model.begin()[i] = Below(1000);
        } else if (kind < 21) {
            const int cut = length - Below(std::min(length, 40) + 1);
            const int to = kind == 19 ? length + Below(700) : kind == 20 ? 0 : cut;
            Strongly([&] { a.list.Resize(to); });
            a.model.erase(a.model.begin() + std::min(to, length), a.model.end());
        } else {
            EXPECT_FALSE(FailsAt(1, [&] { a.list = b.list; }));
            a.model = b.model;
        }
        Check();
    }

    Tracked spare;
    long loose = 1;  // elements of no list
    std::mt19937 random;
    std::vector<Pair> pairs;
    int faults = 0;
};

TEST(List, ActsAsAVectorWhileItSharesAndIsSoundAfterFailedEdits) {
    const int configs[][3] = {{0, 0, -3}, {300, 0, 0}, {0, 21, 0}, {0, 3, -2}, {0, 0, 0}};
    for (const unsigned seed : {1u, std::random_device()()}) {
        for (const auto& [hint, first, shift] : configs) {
            SCOPED_TRACE(testing::Message() << "seed " << seed << ", " << hint << ' ' << first);
            World world(seed, Pair(hint, first, shift));
            for (int steps = 160; steps > 0 && !HasFailure(); --steps) {
                world.Step();
            }
            EXPECT_GT(world.faults, 100);
            world.pairs.clear();
            world.Check();  // nothing is left
        }
    }
}

TEST(List, IteratorSeesTheListAsItStood) {
    List list;
    for (int i = 39; i >= 0; --i) {
        list.Prepend(i);
    }
    cow_ListIterator<Tracked> it(list);
    list.Append(7).RemoveAt(20)[0] = 100;
    list = List();  // the iterator is the last holder
    for (int step = 0; step < 60; ++step, step == 20 ? it.Start() : it.Next()) {
        EXPECT_EQ(it.Index(), step < 20 ? step : step - 20);
        EXPECT_EQ(it.Current(), it.Index());
    }
    EXPECT_FALSE(it.More());
}

TEST(List, HintSetsPageAndTableSize) {
    const int cases[][3] = {{0, 4, 0},       {1, 4, 16},        {255, 4, 16},      {-1000, 4, 16},
                            {512, 6, 24},    {256, 5, 24},      {257, 5, 25},      {INT_MIN, 4, 16},
                            {511, 5, 32},    {1000, 6, 32},     {5000, 9, 26},     {100000, 13, 29},
                            {65536, 13, 24}, {1000000, 16, 32}, {16777217, 21, 24}};
    for (const auto& [hint, shift, size] : cases) {
        cow_List<int> list(hint);
        EXPECT_EQ(ShapeOf(list), (Ints{0, size, shift, 0})) << hint;
        EXPECT_EQ(ShapeOf(list.Clear()), (Ints{0, 0, shift, 0}));
        EXPECT_EQ(ShapeOf(list.Append(7)), (Ints{1, 16, shift, 0}));
        EXPECT_EQ(ShapeOf(list.Clear()), (Ints{0, 0, 4, 0}));
        const int length = std::clamp(hint, 0, 5000);
        const auto slice = list.Extend(length + 1, 7).Slice(-5, length);
        EXPECT_TRUE(length != hint || ShapeOf(slice) == (Ints{hint, size, shift, 0})) << hint;
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
        {1, DO(RemoveAt(0)), {0, 16, 4, 1}, {0}, {D}},
        {9, DO(Extend(11, x)), {11, 16, 4, 3}, Row(0, 8), {100, 100}, {}, 3},
        {0, DO(Assign(&x, 1)), {1, 16, 4, 0}, {}, {100}, {}, 3},
    };
    for (const auto& c : cases) {
        for (const unsigned sharers : {0u, 1u}) {
            Pair pair(0, c.first, 0);
            while (pair.list.Length() < c.length) {
                pair.list.Append(pair.list.Length());
            }
            const std::vector<List> copies(sharers, pair.list);
            const Tracked x(100);
            Tracked::log.clear();
            c.edit(pair.list, x);
            EXPECT_EQ(ShapeOf(pair.list), c.shape) << "case " << &c - cases;
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
        EXPECT_EXIT(std::as_const(list)[i], aborted, "^$") << i;
        EXPECT_EXIT(list.InsertAt(i == 16 ? 17 : i, 0), aborted, "^$") << i;
        EXPECT_EXIT(list.RemoveAt(i), aborted, "^$") << i;
    }
    EXPECT_EXIT(cow_List<int>().Last(), aborted, "^$");
}

}  // namespace
