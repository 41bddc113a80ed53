// The copy-on-write list against std::vector: every element, block and use count accounted for.
#include "list/cow_List.h"

#include "doubles/CountingAllocator.h"
#include "list/cow_ListIterator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <csignal>
#include <cstdint>
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
    /** What edits at the front leave behind; the list is empty. */
    template <class T>
    static void StartAt(cow_List<T>& list, int position) {
        list.mFirst = position;
    }
    template <class T>
    static void DetachPages(cow_List<T>& list, int firstIndex, int lastIndex) {
        list.DetachPages(firstIndex, lastIndex);
    }

    std::vector<int> shape;
    const int* use;
    void** table;
};

namespace {

/** An element that allocates, so that copying it can fail, and that knows all live ones. */
class Tracked {
public:
    Tracked(int value) : mValue(static_cast<int*>(mem_OperatorNewTinyThrow(sizeof(int)))) {
        *mValue = value;
        EXPECT_TRUE(sLive.insert(this).second) << "constructed over a live element";
    }
    Tracked(const Tracked& other) : Tracked(static_cast<int>(other)) { sCopied.push_back(*mValue); }
    ~Tracked() {
        EXPECT_EQ(sLive.erase(this), 1u) << "destroyed what is no live element";
        sDestroyed.push_back(*mValue);
        mem_Free(mValue);
    }
    Tracked& operator=(const Tracked&) = delete;
    void operator=(int value) { *mValue = value; }
    operator int() const {
        EXPECT_EQ(sLive.count(this), 1u) << "read a raw slot";
        return *mValue;
    }

    static inline std::set<const Tracked*> sLive;
    static inline std::vector<int> sCopied, sDestroyed;

private:
    int* mValue;
};

/** The integers from one end to the other, both included. */
std::vector<int> Row(int from, int to) {
    std::vector<int> row{from};
    while (row.back() != to) {
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

template <class T>
void Fill(cow_List<T>& list, int count) {
    for (int i = 0; i < count; ++i) {
        list.Append(list.Length());
    }
}

/** Lists that share with one another, iterators on them, and a vector beside each. */
template <class T>
struct World {
    struct Pair {
        explicit Pair(int hint, int first = 0) : list(hint) { cow_ListPeer::StartAt(list, first); }
        cow_List<T> list;
        std::vector<int> model;
    };
    struct Walk {
        explicit Walk(const Pair& p) : header(p.list), model(p.model), iterator(p.list) {}
        cow_ListPeer header;  // a shared table never changes, so this stays true
        std::vector<int> model;
        cow_ListIterator<T> iterator;
    };
    std::vector<std::unique_ptr<Pair>> pairs;
    std::vector<std::unique_ptr<Walk>> walks;
    int faults = 0;

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
        std::vector<std::intptr_t> state{TestAllocator::LiveBlocks()};
        for (const cow_ListPeer& h : Headers()) {
            state.insert(state.end(), h.shape.begin(), h.shape.end());
            state.push_back(*h.use);
            state.push_back(reinterpret_cast<std::intptr_t>(h.use));
            state.push_back(reinterpret_cast<std::intptr_t>(h.table));
            for (int k = 0; k < h.shape[1]; ++k) {
                state.push_back(reinterpret_cast<std::intptr_t>(h.table[k]));
                state.push_back(h.UseOfPage(k));
            }
        }
        for (const auto& pair : pairs) {
            const std::vector<int> values = ValuesOf(pair->list);
            state.insert(state.end(), values.begin(), values.end());
        }
        return state;
    }

    /** Does the edit, after it has failed at each of its allocations and element copies. */
    template <class Edit>
    void Strongly(Edit edit) {
        const std::vector<std::intptr_t> before = State();
        for (long n = 1;; ++n) {
            TestAllocator::FailAt(n);
            try {
                edit();
                TestAllocator::Disarm();
                EXPECT_FALSE(TestAllocator::Fired());
                return;
            } catch (const std::bad_alloc&) {
                TestAllocator::Disarm();
                faults += 1;
                EXPECT_EQ(State(), before) << "failed at allocation " << n;
            }
        }
    }

    /** Holds values, presence of pages, every use count, and the number of elements and blocks. */
    void Check() const {
        std::map<const int*, int> holders;
        std::map<const void*, int> tables;  // of each page
        long blocks = 0, elements = 0;
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
                EXPECT_EQ(h.table[k] != nullptr, begin < end) << "page " << k;
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
        if (std::is_same_v<T, Tracked>) {
            EXPECT_EQ(static_cast<long>(Tracked::sLive.size()), elements);
            blocks += elements;
        }
        EXPECT_EQ(TestAllocator::LiveBlocks(), blocks);
        for (const auto& pair : pairs) {
            EXPECT_EQ(ValuesOf(pair->list), pair->model);
        }
    }
};

template <class T_, int hint, int first>
struct Config {
    using T = T_;
    static std::unique_ptr<typename World<T>::Pair> NewPair() {
        return std::make_unique<typename World<T>::Pair>(hint, first);
    }
};

template <class C>
class ListModel : public testing::Test {
protected:
    using T = typename C::T;
    using Pair = typename World<T>::Pair;

    int Below(int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); }
    std::unique_ptr<Pair>& AnyPair() { return world.pairs[static_cast<unsigned>(Below(4))]; }

    void Append(Pair& a) {
        const cow_List<T>& reader = a.list;
        for (int left = Below(14); left > 0; --left) {
            // Now and then the value is an element of the list itself.
            const T other(Below(1000));
            const bool own = !a.model.empty() && Below(3) == 0;
            const T& value = own ? reader[Below(a.list.Length())] : other;
            const int expected = value;
            world.Strongly([&] { a.list.Append(value); });
            a.model.push_back(expected);
        }
    }

    void Write(Pair& a) {
        const int i = Below(a.list.Length()), j = Below(a.list.Length());
        const int value = a.model[static_cast<unsigned>(i)] = Below(1000);
        world.Strongly([&] { a.list[i] = value; });
        world.Strongly([&] { a.list.DetachPage(j); });
    }

    void Resize(Pair& a, int length) {
        world.Strongly([&] { a.list.Resize(length); });
        a.model.resize(std::min(a.model.size(), static_cast<std::size_t>(length)));
    }

    void EndWalk() {
        auto& walk = *world.walks.front();
        std::vector<int> seen;
        for (walk.iterator.Start(); walk.iterator.More(); walk.iterator.Next()) {
            EXPECT_EQ(walk.iterator.Index(), static_cast<int>(seen.size()));
            seen.push_back(walk.iterator.Current());
        }
        EXPECT_EQ(seen, walk.model);
        world.walks.erase(world.walks.begin());
    }

    void Step() {
        std::unique_ptr<Pair>& a = AnyPair();
        const Pair& b = *AnyPair();
        const int kind = Below(20), length = a->list.Length();
        if (kind < 8) {
            Append(*a);
        } else if (kind < 10 && length > 0) {
            Write(*a);
        } else if (kind < 13) {
            Resize(*a, length - Below(std::min(length, 40) + 1));
        } else if (kind < 15) {
            Resize(*a, kind == 13 ? length + Below(700) : 0);
        } else if (kind == 15) {
            a->list = b.list;
            a->model = b.model;
        } else if (kind == 16) {
            a = std::make_unique<Pair>(b);
        } else if (kind == 17) {
            std::unique_ptr<Pair> fresh;
            world.Strongly([&] { fresh = C::NewPair(); });
            a = std::move(fresh);
        } else if (kind == 18) {
            world.walks.push_back(std::make_unique<typename World<T>::Walk>(b));
        } else if (!world.walks.empty()) {
            EndWalk();
        }
    }

    std::mt19937 random;
    World<T> world;
};

using Configs = testing::Types<Config<int, 0, 0>, Config<int, 300, 0>, Config<Tracked, 0, 0>,
                               Config<Tracked, 300, 0>, Config<Tracked, 0, 21>>;
TYPED_TEST_SUITE(ListModel, Configs, );

TYPED_TEST(ListModel, ListsThatShareActAsVectorsAndFailedEditsChangeNothing) {
    for (const unsigned seed : {1u, 2u, std::random_device()()}) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        this->random.seed(seed);
        for (int i = 0; i < 4; ++i) {
            this->world.pairs.push_back(TypeParam::NewPair());
        }
        for (int step = 0; step < 400 && !this->HasFailure(); ++step) {
            this->Step();
            this->world.Check();
        }
        EXPECT_GT(this->world.faults, 100);
        this->world.pairs.clear();
        this->world.Check();  // the iterators are the last holders
        this->world.walks.clear();
        EXPECT_EQ(TestAllocator::LiveBlocks(), 0);
    }
}

class List : public testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(TestAllocator::LiveBlocks(), 0); }
    static void ForgetEvents() {
        Tracked::sCopied.clear();
        Tracked::sDestroyed.clear();
    }
    /** Length, table size, page shift, first position. */
    using Shape = std::vector<int>;
};

TEST_F(List, HintSetsPageAndTableSize) {
    const std::vector<int> cases[] = {
        {0, 4, 0},        {1, 4, 16},        {255, 4, 16},      {-1, 4, 16},   {INT_MIN, 4, 16},
        {256, 5, 24},     {257, 5, 25},      {300, 5, 26},      {511, 5, 32},  {512, 6, 24},
        {600, 6, 26},     {1000, 6, 32},     {1024, 7, 24},     {5000, 9, 26}, {65536, 13, 24},
        {100000, 13, 29}, {1000000, 16, 32}, {16777217, 21, 24}};
    for (const auto& c : cases) {
        cow_List<int> list(c[0]);
        const cow_ListPeer header(list);
        EXPECT_EQ(header.shape, (Shape{0, c[2], c[1], 0})) << c[0];
        EXPECT_EQ(header.table == nullptr, c[2] == 0);
        EXPECT_EQ(std::count(header.table, header.table + c[2], nullptr), c[2]);
        list.Clear();  // an empty list keeps the page size of its hint
        EXPECT_EQ(cow_ListPeer(list).shape, (Shape{0, 0, c[1], 0}));
        list.Append(7);
        EXPECT_EQ(cow_ListPeer(list).shape, (Shape{1, 16, c[1], 0}));
        EXPECT_EQ(cow_ListPeer(list.Clear()).shape, (Shape{0, 0, 4, 0}));
    }
}

TEST_F(List, TableGrowsInStepsAndPagesComeOneByOneWhereNothingMoves) {
    cow_List<int> list;
    const cow_List<int>& reader = list;
    std::map<int, const int*> places;
    for (int length = 1; length <= 530; ++length) {
        list.Append(length);
        places[length - 1] = &reader[length - 1];
        EXPECT_EQ(cow_ListPeer(list).shape[1], length <= 256 ? 16 : length <= 512 ? 32 : 48);
        EXPECT_EQ(TestAllocator::LiveBlocks(), 2 + 2 * ((length + 15) / 16));
    }
    EXPECT_EQ(cow_ListPeer(list.Resize(4000)).shape, (Shape{530, 256, 4, 0}));
    EXPECT_EQ(cow_ListPeer(list.Resize(530)).shape, (Shape{530, 48, 4, 0}));
    for (const auto& [i, place] : places) {
        EXPECT_EQ(&reader[i], place);
    }
}

TEST_F(List, TruncationDestroysWholePagesUpwardEachFromItsEndAndTheCutPageLast) {
    const struct {
        int hint, first, length;
        Shape shape;
        std::vector<int> destroyed;  // by a list that shares with nobody
        std::vector<int> copied;     // by one that does
    } cases[] = {
        {0, 0, 40, {0, 0, 4, 0}, Row(15, 0) + Row(31, 16) + Row(39, 32), {}},
        {0, 0, 40, {32, 16, 4, 0}, Row(39, 32), {}},
        {0, 0, 20, {5, 16, 4, 0}, Row(19, 16) + Row(15, 5), Row(0, 4)},
        {0, 0, 60, {20, 16, 4, 0}, Row(47, 32) + Row(59, 48) + Row(31, 20), Row(16, 19)},
        {0, 2, 18, {5, 16, 4, 2}, Row(17, 14) + Row(13, 5), Row(0, 4)},
        {0, 2, 18, {14, 16, 4, 2}, Row(17, 14), {}},
        {0, 37, 18, {0, 0, 4, 0}, Row(10, 0) + Row(17, 11), {}},
        {0, 0, 300, {299, 32, 4, 0}, {299}, Row(288, 298)},
        {0, 0, 260, {256, 16, 4, 0}, Row(259, 256), {}},
        {300, 0, 40, {0, 0, 4, 0}, Row(31, 0) + Row(39, 32), {}},
        {300, 0, 40, {33, 16, 5, 0}, Row(39, 33), {32}},
        {0, 0, 20, {20, 16, 4, 0}, {}, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.first << " " << c.length << " " << c.shape[0]);
        for (const int sharers : {0, 1}) {
            World<Tracked>::Pair pair(c.hint, c.first);
            Fill(pair.list, c.length);
            const std::vector<cow_List<Tracked>> copies(static_cast<unsigned>(sharers), pair.list);
            ForgetEvents();
            EXPECT_EQ(cow_ListPeer(pair.list.Resize(c.shape[0])).shape, c.shape);
            EXPECT_EQ(Tracked::sDestroyed, sharers == 0 ? c.destroyed : std::vector<int>());
            EXPECT_EQ(Tracked::sCopied, sharers == 0 ? std::vector<int>() : c.copied);
        }
    }
}

TEST_F(List, SharingCostsNothingUntilAWriteAndThenThePageItTouches) {
    cow_List<Tracked> list;
    Fill(list, 40);
    ForgetEvents();
    long calls = TestAllocator::Calls();
    const auto cost = [&calls] {
        const long before = std::exchange(calls, TestAllocator::Calls());
        return calls - before;
    };
    cow_List<Tracked> copy(list);
    const cow_List<Tracked>& alias = copy;
    copy = alias;
    for (cow_ListIterator<Tracked> it(copy); it.More(); it.Next()) {
        EXPECT_EQ(*cow_ListPeer(list).use, 3);
        EXPECT_EQ(&it.Current(), &alias[it.Index()]);
    }
    EXPECT_EQ(cost(), 0);
    copy[39] = -1;
    EXPECT_EQ(Tracked::sCopied, Row(32, 39));
    EXPECT_EQ(cost(), 4 + 8);  // count, table, page and its slots; each copied element has a block
    copy[38] = -1;
    EXPECT_EQ(cost(), 0);
    copy[16] = -1;
    EXPECT_EQ(cost(), 2 + 16);
    list[0] = -1;  // its table is its own by now, the page is not
    EXPECT_EQ(cost(), 2 + 16);
    EXPECT_EQ(ValuesOf(copy), Row(0, 15) + Row(-1, -1) + Row(17, 37) + Row(-1, -1) + Row(-1, -1));
}

TEST_F(List, IteratorSeesTheListAsItWasAndKeepsItsElements) {
    EXPECT_FALSE(cow_ListIterator<int>(cow_List<int>()).More());
    World<Tracked>::Pair pair(0, 5);
    Fill(pair.list, 27);  // ends where its second page ends
    auto it = std::make_unique<cow_ListIterator<Tracked>>(pair.list);
    pair.list[3] = -3;
    pair.list.Append(27).Clear();
    ForgetEvents();
    for (int round = 0; round < 2; ++round, it->Start()) {
        for (int i = 0; i < 27; ++i, it->Next()) {
            EXPECT_TRUE(it->More() && it->Index() == i && it->Current() == i) << i;
        }
        EXPECT_FALSE(it->More());
    }
    EXPECT_TRUE(Tracked::sDestroyed.empty());
    it.reset();
    EXPECT_EQ(Tracked::sDestroyed, Row(10, 0) + Row(26, 11));
}

TEST_F(List, RangesOfPagesAreDetachedTogetherOrNotAtAll) {
    World<Tracked> world;
    world.pairs.push_back(std::make_unique<World<Tracked>::Pair>(0, 16));
    cow_List<Tracked>& list = world.pairs[0]->list;
    Fill(list, 72);
    world.pairs[0]->model = Row(0, 71);
    world.pairs.push_back(std::make_unique<World<Tracked>::Pair>(*world.pairs[0]));
    list[71] = 71;  // makes the table private
    world.Strongly([&] { cow_ListPeer::DetachPages(list, 3, 40); });
    EXPECT_EQ(world.faults, 1 + 3 * 2 + 48);
    world.Check();
    world.Strongly([&] { cow_ListPeer::DetachPages(list, -1, 48); });
    const int uses[] = {1, 1, 1, 1, 1, 1, 0};
    for (int k = 0; k < 7; ++k) {
        EXPECT_EQ(cow_ListPeer(list).UseOfPage(k), uses[k]) << k;
    }
    cow_List<Tracked> emptied(1);  // as after removals one by one: a page without an element
    cow_ListPeer::StartAt(emptied, 5);
    cow_ListPeer::DetachPages(emptied, 0, 0);
    EXPECT_EQ(cow_ListPeer(emptied.Clear()).shape, (Shape{0, 0, 4, 0}));
}

TEST_F(List, IndexOutsideTheListEndsTheProcessInSilence) {
    cow_List<int> list;
    Fill(list, 16);
    for (const int i : {-1, 16, INT_MIN, INT_MAX}) {
        EXPECT_EXIT(list[i], testing::KilledBySignal(SIGABRT), "^$") << i;
        EXPECT_EXIT(std::as_const(list)[i], testing::KilledBySignal(SIGABRT), "^$") << i;
    }
    EXPECT_EXIT(list.Clear()[0], testing::KilledBySignal(SIGABRT), "^$");
}

}  // namespace

template class cow_List<int>;
