// The copy-on-write list against std::vector: every element, block and use count accounted for.
#include "list/cow_List.h"

#include "doubles/CountingAllocator.h"
#include "list/cow_ListIterator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <csignal>
#include <cstdint>
#include <iterator>
#include <map>
#include <memory>
#include <new>
#include <random>
#include <set>
#include <type_traits>
#include <utility>
#include <vector>

/** A list's header as plain values. */
struct cow_ListPeer {
    template <class T>
    explicit cow_ListPeer(const cow_List<T>& list)
        : shape{list.mLength, list.mTableSize, list.mPageShift, list.mFirst},
          use(list.mTableUse),
          table(reinterpret_cast<void**>(list.mTable)) {}

    int UseOfPage(int k) const {  // the first field of a page of any type
        return table[k] == nullptr ? 0 : *static_cast<const int*>(table[k]);
    }
    template <class T>
    static int& PageShift(cow_List<T>& list) {
        return list.mPageShift;
    }

    std::vector<int> shape;
    const int* use;
    void** table;
};

namespace {

constexpr int A = 10000, D = 20000;  // in the log: an assignment, a destruction

/** An element that allocates, so that it can fail, knows all live ones, and logs what it does: its
    value for a copy, A or D plus the value otherwise. */
class Tracked {
public:
    Tracked(int value = 0) : mValue(new (mem_OperatorNewTinyThrow(sizeof(int))) int(value)) {
        EXPECT_TRUE(sLive.insert(this).second) << "constructed over a live element";
    }
    Tracked(const Tracked& other) : Tracked(static_cast<int>(other)) { sLog.push_back(*mValue); }
    ~Tracked() {
        EXPECT_EQ(sLive.erase(this), 1u) << "destroyed what is no live element";
        sLog.push_back(D + *mValue);
        mem_Free(mValue);
    }
    Tracked& operator=(const Tracked& other) {
        mem_Free(std::exchange(mValue, new (mem_OperatorNewTinyThrow(sizeof(int))) int(other)));
        sLog.push_back(A + *this);
        return *this;
    }
    void operator=(int value) { *mValue = value; }
    operator int() const {
        EXPECT_EQ(sLive.count(this), 1u) << "used a raw slot";
        return *mValue;
    }

    static inline std::set<const Tracked*> sLive;
    static inline std::vector<int> sLog;

private:
    int* mValue;
};

/** The integers from one end to the other, both included, plus a constant. */
std::vector<int> Row(int from, int to, int plus = 0) {
    std::vector<int> row{from + plus};
    while (row.back() != to + plus) {
        row.push_back(row.back() + (from < to ? 1 : -1));
    }
    return row;
}

std::vector<int> operator+(std::vector<int> a, const std::vector<int>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

template <class T>
std::vector<int> ValuesOf(const cow_List<T>& list) {
    std::vector<int> values;
    for (int i = 0; i < list.Length(); ++i) {
        values.push_back(list[i]);
    }
    return values;
}

/** A list and what it should hold. */
template <class T>
struct Pair {
    Pair(int hint, int first, int shift) : list(hint) {
        cow_ListPeer::PageShift(list) += shift;  // small pages bring all edges near
        for (; first > 0; --first) {
            list.Append(0).RemoveAt(0);
        }
    }
    cow_List<T> list;
    std::vector<int> model;
};

using Config = std::array<int, 3>;  // of a new list: hint, first position, change of page shift
using Shape = std::vector<int>;     // length, table size, page shift, first position

/** Lists that share with one another, iterators on them, and a vector beside each. */
template <class T>
class World {
public:
    World(unsigned seed, const Config& shape) : config(shape), random(seed) {}

    void Run(int steps) {
        std::generate_n(std::back_inserter(pairs), 4, [&] { return NewPair(); });
        for (; steps > 0 && !testing::Test::HasFailure(); --steps) {
            Step();
            Check();
        }
        EXPECT_GT(faults, 100);
        pairs.clear();
        Check();  // the iterators are the last holders
        walks.clear();
        Check();  // nothing is left
    }

private:
    struct Walk {
        explicit Walk(const Pair<T>& p) : header(p.list), model(p.model), iterator(p.list) {}
        cow_ListPeer header;  // a shared table never changes, so this stays true
        std::vector<int> model;
        cow_ListIterator<T> iterator;
    };

    std::vector<cow_ListPeer> Headers() const {
        std::vector<cow_ListPeer> headers;
        for (const auto& walk : walks) {
            headers.push_back(walk->header);
        }
        for (const auto& pair : pairs) {
            headers.emplace_back(pair->list);
        }
        return headers;
    }

    /** Everything that a failed edit has to leave alone, addresses included. */
    std::vector<std::intptr_t> State() const {
        const auto id = [](const void* p) { return reinterpret_cast<std::intptr_t>(p); };
        std::vector<std::intptr_t> state{TestAllocator::LiveBlocks()};
        for (const cow_ListPeer& h : Headers()) {
            state.insert(state.end(), h.shape.begin(), h.shape.end());
            state.insert(state.end(), {*h.use, id(h.use), id(h.table)});
            for (int k = 0; k < h.shape[1]; ++k) {
                state.insert(state.end(), {id(h.table[k]), h.UseOfPage(k)});
            }
        }
        for (const auto& pair : pairs) {
            const std::vector<int> values = ValuesOf(pair->list);
            state.insert(state.end(), values.begin(), values.end());
        }
        return state;
    }

    template <class Edit>
    bool FailsAt(long n, Edit edit) {
        TestAllocator::FailAt(n);
        try {
            edit();
        } catch (const std::bad_alloc&) {
        }
        TestAllocator::Disarm();
        faults += TestAllocator::Fired();
        return TestAllocator::Fired();
    }

    /** Does the edit, after it has failed at each of its allocations and element copies. */
    template <class Edit>
    void Strongly(Edit edit) {
        const std::vector<std::intptr_t> before = State();
        for (long n = 1; FailsAt(n, edit); ++n) {
            EXPECT_EQ(State(), before) << "failed at allocation " << n;
        }
    }

    /** The same for an edit that assigns elements: a failure leaves a sound list, where each value
        is at most one place from where it was. */
    template <class Edit>
    void Soundly(Pair<T>& pair, Edit edit) {
        const std::vector<int> before = pair.model;
        const int length = pair.list.Length();
        for (long n = 1; FailsAt(n, edit); ++n) {
            pair.model = ValuesOf(pair.list);
            Check();
            EXPECT_TRUE(pair.list.Length() == length || pair.list.Length() == length + 1);
            for (int i = 0; pair.model != before && i < pair.list.Length(); ++i) {
                const auto begin = before.begin() + std::max(i - 1, 0);
                const auto end = before.begin() + std::min(i + 2, length);
                EXPECT_NE(std::find(begin, end, pair.model.begin()[i]), end) << i;
            }
            for (int i = 0; pair.model != before && i < length; ++i) {  // mends it for the next try
                pair.list.Resize(length)[i] = before.begin()[i];
            }
            pair.model = before;
        }
    }

    /** Holds values, presence of pages, every use count, and the number of elements and blocks. */
    void Check() const {
        std::map<const int*, int> holders;
        std::map<const void*, int> tables;  // of each page
        long blocks = 0, elements = 1;
        for (const cow_ListPeer& h : Headers()) {
            if (++holders[h.use] > 1) {
                continue;
            }
            const int length = h.shape[0], shift = h.shape[2], first = h.shape[3];
            EXPECT_TRUE(h.shape[1] % 16 == 0 || length == 0);
            blocks += 1 + (h.table != nullptr);
            for (int k = 0; k < h.shape[1]; ++k) {
                const int begin = std::max(k << shift, first);
                const int end = std::min((k + 1) << shift, first + length);
                // A list emptied by removals keeps the page that it stands inside of.
                const bool kept = length == 0 && k == first >> shift && first > k << shift;
                EXPECT_EQ(h.table[k] != nullptr, begin < end || kept) << "page " << k;
                if (h.table[k] != nullptr && ++tables[h.table[k]] == 1) {
                    blocks += 2;
                    elements += end - begin;
                }
            }
        }
        for (const cow_ListPeer& h : Headers()) {
            EXPECT_EQ(*h.use, holders[h.use]);
            for (int k = 0; k < h.shape[1]; ++k) {
                EXPECT_EQ(h.UseOfPage(k), h.table[k] == nullptr ? 0 : tables[h.table[k]]);
            }
        }
        const long tracked = std::is_same_v<T, Tracked> ? elements : 0;
        EXPECT_EQ(static_cast<long>(Tracked::sLive.size()), tracked);
        EXPECT_EQ(TestAllocator::LiveBlocks(), blocks + tracked);
        for (const auto& pair : pairs) {
            EXPECT_EQ(ValuesOf(pair->list), pair->model);
        }
    }

    int Below(int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); }
    auto& AnyPair() { return pairs[random() % 4]; }
    auto NewPair() const { return std::make_unique<Pair<T>>(config[0], config[1], config[2]); }

    void Grow(Pair<T>& a) {
        const int side = Below(4);
        for (int left = Below(14); left > 0; --left) {
            // Now and then the value is an element of the list itself.
            const int length = a.list.Length(), own = Below(3) == 0 ? Below(length + 1) - 1 : -1;
            const int at = side == 0 ? length : side == 1 ? 0 : Below(length + 1);
            spare = Below(1000);
            const auto value = [&]() -> const T& {
                return own < 0 ? spare : std::as_const(a.list)[own];
            };
            const int expected = value();
            const auto edit = [&] { a.list.InsertAt(at, value()); };
            at == length ? Strongly(edit) : Soundly(a, edit);
            a.model.insert(a.model.begin() + at, expected);
        }
    }

    void Shrink(Pair<T>& a) {
        const int side = Below(4);
        for (int left = Below(20); left > 0 && !a.model.empty(); --left) {
            if (side == 0) {
                EXPECT_EQ(std::as_const(a.list).Last(), a.model.back());
                Strongly([&] { EXPECT_EQ(static_cast<int>(a.list.PopLast()), a.model.back()); });
                a.model.pop_back();
            } else {
                const int at = side == 1 ? 0 : Below(a.list.Length());
                Soundly(a, [&] { a.list.RemoveAt(at); });
                a.model.erase(a.model.begin() + at);
            }
        }
    }

    void Bulk(Pair<T>& a, Pair<T>& b) {
        const int kind = Below(4), lo = Below(60) - 10, hi = lo + Below(150) - 10;
        int length = b.list.Length();
        if (kind == 0 && a.list.Length() + length < 150) {
            Strongly([&] { a.list.AppendList(b.list); });
            a.model = a.model + std::vector<int>(b.model);
        } else if (kind == 1) {
            const T& fill = length == 0 ? spare : std::as_const(b.list).Last();
            const int expected = fill;
            const auto edit = [&] { a.list.Extend(hi, fill); };
            EXPECT_FALSE(hi <= a.list.Length() && FailsAt(1, edit));  // not even detached
            Strongly(edit);
            a.model.resize(static_cast<std::size_t>(std::max(hi, a.list.Length())), expected);
        } else if (kind == 2) {
            Strongly([&] { a.list = b.list.Slice(lo, hi); });
            const int end = std::clamp(hi, 0, length), begin = std::clamp(lo, 0, end);
            a.model = std::vector<int>(b.model.begin() + begin, b.model.begin() + end);
        } else {
            std::unique_ptr<T[]> array;
            Strongly([&] { array.reset(b.list.ToArray(length)); });
            EXPECT_EQ(std::vector<int>(array.get(), array.get() + length), b.model);
            Strongly([&] { a.list.Assign(array.get(), length); });
            a.model = b.model;
        }
    }

    void EndWalk() {
        auto& walk = *walks.front();
        std::vector<int> seen;
        for (walk.iterator.Start(); walk.iterator.More(); walk.iterator.Next()) {
            EXPECT_EQ(walk.iterator.Index(), static_cast<int>(seen.size()));
            seen.push_back(walk.iterator.Current());
        }
        EXPECT_EQ(seen, walk.model);
        walks.erase(walks.begin());
    }

    void Step() {
        std::unique_ptr<Pair<T>>& a = AnyPair();
        Pair<T>& b = *AnyPair();
        const int kind = Below(27), length = a->list.Length();
        if (kind < 8) {
            Grow(*a);
        } else if (kind < 12) {
            Shrink(*a);
        } else if (kind < 15) {
            Bulk(*a, b);
        } else if (kind < 17 && length > 0) {
            const int i = Below(length), j = Below(length);
            const int value = a->model.begin()[i] = Below(1000);
            Strongly([&] { a->list[i] = value; });
            Strongly([&] { a->list.DetachPage(j); });
        } else if (kind < 21) {
            const int cut = length - Below(std::min(length, 40) + 1);
            const int to = kind == 19 ? length + Below(700) : kind == 20 ? 0 : cut;
            Strongly([&] { a->list.Resize(to); });
            a->model.erase(a->model.begin() + std::min(to, length), a->model.end());
        } else if (kind == 21) {
            EXPECT_FALSE(FailsAt(1, [&] { a->list = b.list; }));
            a->model = b.model;
        } else if (kind < 24) {
            a = kind == 22 ? std::make_unique<Pair<T>>(b) : NewPair();
        } else if (kind == 24) {
            EXPECT_FALSE(FailsAt(1, [&] { walks.push_back(std::make_unique<Walk>(b)); }));
        } else if (!walks.empty()) {
            EndWalk();
        }
    }

    std::vector<std::unique_ptr<Pair<T>>> pairs;
    std::vector<std::unique_ptr<Walk>> walks;
    const Config config;
    T spare{0};  // an element of no list
    std::mt19937 random;
    int faults = 0;
};

template <class T>
void RunModel(const std::vector<Config>& configs) {
    for (const unsigned seed : {1u, std::random_device()()}) {
        for (const auto& config : configs) {
            SCOPED_TRACE(testing::Message() << "seed " << seed << ", " << &config - &configs[0]);
            World<T>(seed, config).Run(200);
        }
    }
}

TEST(ListModel, ListsThatShareActAsVectorsAndFailedEditsLeaveThemSound) {
    RunModel<int>({{0, 0, 0}, {300, 0, 0}, {0, 0, -3}});
    RunModel<Tracked>({{0, 0, -3}, {300, 0, 0}, {0, 21, 0}, {0, 3, -2}});
}

TEST(List, HintSetsPageAndTableSize) {
    const std::vector<int> cases[] = {
        {0, 4, 0},        {1, 4, 16},        {255, 4, 16},      {-1, 4, 16},   {INT_MIN, 4, 16},
        {256, 5, 24},     {257, 5, 25},      {300, 5, 26},      {511, 5, 32},  {512, 6, 24},
        {600, 6, 26},     {1000, 6, 32},     {1024, 7, 24},     {5000, 9, 26}, {65536, 13, 24},
        {100000, 13, 29}, {1000000, 16, 32}, {16777217, 21, 24}};
    for (const auto& c : cases) {
        cow_List<int> list(c[0]);
        const cow_ListPeer header(list);
        EXPECT_EQ(header.shape, (Shape{0, c[2], c[1], 0})) << c[0];
        EXPECT_EQ(std::count(header.table, header.table + c[2], nullptr), c[2]);
        EXPECT_EQ(cow_ListPeer(list.Clear()).shape, (Shape{0, 0, c[1], 0}));
        EXPECT_EQ(cow_ListPeer(list.Append(7)).shape, (Shape{1, 16, c[1], 0}));
        EXPECT_EQ(cow_ListPeer(list.Clear()).shape, (Shape{0, 0, 4, 0}));
        if (c[0] >= 0 && c[0] <= 5000) {
            const cow_ListPeer slice(list.Extend(c[0] + 1, 7).Slice(-5, c[0]));
            EXPECT_EQ(slice.shape, (Shape{c[0], c[2], c[1], 0}));
        }
    }
}

#define DO(...) [](cow_List<Tracked>& l, [[maybe_unused]] const Tracked& x) { l.__VA_ARGS__; }

TEST(List, EditsWorkOnTheShorterSideAndCopyItsPagesAlone) {
    const struct {
        int length;
        void (*edit)(cow_List<Tracked>&, const Tracked&);
        Shape shape;
        std::vector<int> copied;     // with its page, by a list that shares
        std::vector<int> done = {};  // by any list
        std::vector<int> gone = {};  // with its page, in a list that doesn't share
        int first = 0, hint = 0;
    } cases[] = {
        {40, DO(Clear()), {0, 0, 4, 0}, {}, {}, Row(15, 0, D) + Row(31, 16, D) + Row(39, 32, D)},
        {18, DO(Resize(5)), {5, 16, 4, 2}, Row(0, 4), {}, Row(17, 14, D) + Row(13, 5, D), 2},
        {40, DO(Resize(33)), {33, 16, 5, 0}, {32}, {}, Row(39, 33, D), 0, 300},
        {260, DO(Resize(256)), {256, 16, 4, 0}, {}, {}, Row(259, 256, D)},
        {20, DO(Resize(4000)), {20, 256, 4, 0}, {}},
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
        {1, DO(RemoveAt(0)), {0, 16, 4, 1}, {0}, {D}},
        {2, DO(RemoveAt(0)), {1, 16, 4, 16}, {0}, {D}, {}, 15},
        {257, DO(RemoveLast()), {256, 32, 4, 0}, {256}, {D + 256}},
        {9, DO(AppendList(l)), {18, 16, 4, 0}, Row(0, 8), Row(0, 8)},
        {9, DO(Extend(11, x)), {11, 16, 4, 3}, Row(0, 8), {100, 100}, {}, 3},
        {3, DO(Assign(&x, 1)), {1, 16, 4, 0}, {}, {100}, Row(2, 0, D)},
    };
    for (const auto& c : cases) {
        for (const unsigned sharers : {0u, 1u}) {
            Pair<Tracked> pair(c.hint, c.first, 0);
            while (pair.list.Length() < c.length) {
                pair.list.Append(pair.list.Length());
            }
            const std::vector<cow_List<Tracked>> copies(sharers, pair.list);
            const Tracked x(100);
            Tracked::sLog.clear();
            c.edit(pair.list, x);
            EXPECT_EQ(cow_ListPeer(pair.list).shape, c.shape) << "case " << &c - cases;
            EXPECT_EQ(Tracked::sLog, sharers == 0 ? c.done + c.gone : c.copied + c.done);
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
