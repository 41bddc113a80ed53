#ifndef OXBOW_TEST_LIST_WORLD_H
#define OXBOW_TEST_LIST_WORLD_H

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <vector>

#include "doubles/CountingAllocator.h"
#include "list/cow_ListIterator.h"

using Ints = std::vector<int>;
constexpr int D = 10000;  // marks a destruction in the log

inline void Require(bool right, const char* what) {
    right ? void() : throw std::logic_error(what);
}

/** An element whose copies can fail, which knows all live ones, and which logs what it does: its
    value for a copy, the negative for an assignment, D plus the value for its destruction. */
struct Tracked {
    Tracked(int from = 0) : value(from) {
        mem_Free(mem_Malloc(1));
        Require(live.insert(this).second, "constructed over a live element");
    }
    Tracked(const Tracked& other) : Tracked(static_cast<int>(other)) { Log(value); }
    ~Tracked() {
        destroyedRaw = live.erase(this) == 0 || destroyedRaw;
        Log(D + value);
    }
    Tracked& operator=(const Tracked& other) {
        mem_Free(mem_Malloc(1));
        Log(-(value = other));
        return *this;
    }
    operator int() const {
        Require(live.count(this) == 1, "used a raw slot");
        return value;
    }
    /** Each run of neighbours is there as its two ends. */
    static void Log(int entry) {
        const bool goesOn = !log.empty() && std::abs(entry - log.back()) == 1;
        log.resize(log.size() + (goesOn ? 0 : 2), entry);
        log.back() = entry;
    }
    int value;
    static inline std::set<const Tracked*> live;
    static inline bool destroyedRaw = false;
    static inline Ints log;
};

using List = cow_List<Tracked>;

/** Lists that share with one another, and a vector beside each. What happens to them is up to a
    source of numbers, and what differs is raised as std::logic_error. The name opens the lists. */
struct cow_ListPeer {
    explicit cow_ListPeer(std::function<unsigned()> source) : next(std::move(source)) {
        List list(Below(4) == 0 ? 300 : 0);
        list.mPageShift -= Below(4);  // small pages bring all edges near
        pairs.assign(5, {list, {}});
    }

    void Run(int steps) {
        for (; steps > 0; --steps) {
            Step();
        }
        pairs.clear();
        const bool ended = TestAllocator::LiveBlocks() == 0 && Tracked::live.size() == 1;
        Require(ended, "blocks or elements are left");  // but for the spare one
    }

    /** Length, table size, page shift, first position. */
    static Ints ShapeOf(const List& list) {
        return {list.mLength, list.mTableSize, list.mPageShift, list.mFirst};
    }

    /** Read by index and by iterator. */
    static Ints ValuesOf(const List& list) {
        Ints values;
        for (cow_ListIterator<Tracked> it(list); it.More(); it.Next()) {
            Require(it.Index() == static_cast<int>(values.size()), "iterator's index");
            Require(&list[it.Index()] == &it.Current(), "iterator's place");
            values.push_back(it.Current());
        }
        return values;
    }

    int Below(int n) { return static_cast<int>(next() % static_cast<unsigned>(n)); }

    struct Edit {
        std::function<void()> act;
        int begin, end;  // what goes from the model
        Ints values;     // what comes in its place
        bool assigns = false;
    };

    void Step() {
        const unsigned which = next() % 4, otherOne = next() % 5;  // the last one stays empty
        grows = Below(16) == 0 ? Below(5) > 1 : grows;
        List& list = pairs[which].first;
        Ints& model = pairs[which].second;
        const List &self = list, &from = pairs[otherOne].first;
        const Ints other = pairs[otherOne].second;
        const int length = list.Length(), count = from.Length(), last = length - !grows;
        const int side = Below(4), own = Below(3 * length + 1);
        const int at = last <= 0 || side == 1 ? 0 : side == 0 ? last : Below(last + 1);
        const int lo = Below(count + 6) - 3, begin = std::clamp(lo, 0, count);
        const int hi = Below(count + 10) - 3, end = std::clamp(hi, begin, count);
        const int more = Below(20) - 3, size = std::max(0, length - 40 + Below(150));
        spare = own < length ? model.begin()[own] : Below(1000);
        const Tracked& value = own < length ? self[own] : spare;
        const auto throughArray = [&, taken = 0]() mutable {
            const std::unique_ptr<Tracked[]> array(from.ToArray(taken));
            Require(array != nullptr, "no array");
            list.Assign(array.get(), taken);
        };
        const Edit edits[] = {
            {[&] { list.RemoveAt(at); }, at, at + 1, {}, at < length - 1},
            {[&] { Require(list.PopLast() == model.back(), "last"); }, length - 1, length, {}},
            {[&] { list[at].value = more; }, at, at + 1, {more}},
            {[&] { list.InsertAt(at, value); }, at, at, {spare}, at < length},
            {[&] { list.Extend(length + more, value); }, length, length,
             Ints(static_cast<unsigned>(std::max(more, 0)), spare)},
            {[&] { list.Resize(size); }, std::min(size, length), length, {}},
            {[&] { list = from.Slice(lo, hi); }, 0, length,
             Ints(other.begin() + begin, other.begin() + end)},
            {throughArray, 0, length, other},
            {[&] { list = from; }, 0, length, other},
            {[&] { list.AppendList(from); }, length, length, other}};
        // The first three need an element there; the last one must not double for ever.
        const int least = at < length ? 0 : 3, most = length + count < 150 ? 10 : 9;
        const int any = least + Below(most - least);
        Do(edits[Below(4) == 0 ? any : grows || length == 0 ? 3 : 0], list, model);
    }

    /** Or else fails at one of the edit's allocations and element copies, which leaves all as it
        was. Where elements are assigned, it leaves a sound list, which may hold one of them twice. */
    void Do(const Edit& edit, List& list, Ints& model) {
        const auto before = Check();
        TestAllocator::FailAt(Below(1 + Below(40)));  // the earlier the likelier; 0 is none
        try {
            edit.act();
        } catch (const std::bad_alloc&) {
            faults += 1;
        }
        TestAllocator::Disarm();
        const bool done = !TestAllocator::Fired();
        if (done) {
            model.erase(model.begin() + edit.begin, model.begin() + edit.end);
            model.insert(model.begin() + edit.begin, edit.values.begin(), edit.values.end());
        } else if (edit.assigns) {
            const auto length = std::exchange(model, ValuesOf(list)).size();
            Require(model.size() - length < 2, "length after a failed edit");
        }
        Require(Check() == before || done || edit.assigns, "changed by a failed edit");
    }

    /** Holds values, pages and use counts. Gives what a failed edit leaves as it is, by its place:
        the shape of each list, and the use counts. */
    std::map<const int*, Ints> Check() const {
        std::map<const int*, Ints> state;
        std::map<const int*, int> holders;
        for (const auto& [list, model] : pairs) {
            Require(ValuesOf(list) == model && !Tracked::destroyedRaw, "elements");
            state[&list.mLength] = ShapeOf(list);
            const bool isNew = ++holders[list.mTableUse] == 1;
            for (int k = 0; isNew && k < list.mTableSize; ++k) {
                const int begin = k << list.mPageShift, end = begin + list.PageSize();
                const bool needed = begin < list.mFirst + list.mLength && list.mFirst < end;
                Require(needed == (list.mTable[k] != nullptr), "pages");
                needed ? ++holders[&list.mTable[k]->mUse] : 0;
            }
        }
        for (const auto& [use, count] : holders) {
            Require(*use == count, "use count");
            state[use] = {count};
        }
        return state;
    }

    std::function<unsigned()> next;
    Tracked spare;
    std::vector<std::pair<List, Ints>> pairs;
    bool grows = true;
    int faults = 0;
};

#endif
