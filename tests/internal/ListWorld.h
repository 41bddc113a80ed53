#ifndef OXBOW_TEST_LIST_WORLD_H
#define OXBOW_TEST_LIST_WORLD_H

#include <algorithm>
#include <functional>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "doubles/CountingAllocator.h"
#include "list/cow_ListIterator.h"

using Ints = std::vector<int>;

/** Raises std::logic_error with all parts as its text, unless the condition holds. */
template <class... Parts>
void Require(bool holds, const Parts&... parts) {
    if (!holds) {
        std::ostringstream text;
        (text << ... << parts);
        throw std::logic_error(text.str());
    }
}

template <class... Parts>
void RequireEqual(int expected, int found, const Parts&... parts) {
    Require(expected == found, parts..., ": expected ", expected, ", found ", found);
}

/** An element whose copies and assignments can fail, which knows all live ones, and which logs what
    happens to it: "copy 1..16, assign 2, destroy 16..1". */
struct Tracked {
    Tracked(int from = 0) : value(from) {
        mem_Free(mem_Malloc(1));
        Require(live.insert(this).second, "construction over a live element");
    }
    Tracked(const Tracked& other) : Tracked(static_cast<int>(other)) { Log("copy "); }
    ~Tracked() {
        destroyedRaw = live.erase(this) == 0 || destroyedRaw;
        Log("destroy ");
    }
    Tracked& operator=(const Tracked& other) {
        mem_Free(mem_Malloc(1));
        Require(live.count(this) == 1, "assignment to a raw slot");
        value = other;
        Log("assign ");
        return *this;
    }
    operator int() const {
        Require(live.count(this) == 1, "use of a raw slot");
        return value;
    }

    void Log(const char* word) const {
        const bool goesOn =
            !log.empty() && word == log.back().word && std::abs(value - log.back().last) == 1;
        if (!goesOn) {
            log.push_back({word, value, value});
        }
        log.back().last = value;
    }
    static std::string TakeLog() {
        std::string text;
        for (const Run& run : std::exchange(log, {})) {
            text += (text.empty() ? "" : ", ") + run.word + std::to_string(run.first);
            text += run.first == run.last ? "" : ".." + std::to_string(run.last);
        }
        return text;
    }

    struct Run {
        std::string word;
        int first, last;
    };
    int value;
    static inline std::set<const Tracked*> live;
    static inline bool destroyedRaw = false;
    static inline std::vector<Run> log;
};

using List = cow_List<Tracked>;
using Walk = cow_ListIterator<Tracked>;

/** Reads and changes the representation. */
struct cow_ListPeer {
    /** Length, first position, table entries x page size. */
    static std::string ShapeOf(const List& list) {
        std::ostringstream text;
        text << list.mLength << " from " << list.mFirst << ", " << list.mTableSize << " x "
             << list.PageSize();
        return text.str();
    }
    static void ShrinkPages(List& list, int by) { list.mPageShift -= by; }
    /** Pages are present where elements are, and where the last one was removed, alone. */
    static void CheckPages(const List& list) {
        for (int k = 0; k < list.mTableSize; ++k) {
            const int begin = k << list.mPageShift, end = begin + list.PageSize();
            const bool used = begin < list.mFirst + list.mLength && list.mFirst < end;
            RequireEqual(used, list.mTable[k] != nullptr, "page ", k, " is present");
        }
    }
};

/** Lists that share with one another, a vector beside each, and walks that last over many edits. A
    source of numbers chooses the edits and, if some shall fail, the allocation or copy that does.
    What differs from the vectors is raised as std::logic_error. */
class ListWorld {
public:
    ListWorld(std::function<unsigned()> source, bool failing)
        : mNext(std::move(source)), mFailing(failing) {
        List list(Below(4) == 0 ? 300 : 0);
        cow_ListPeer::ShrinkPages(list, Below(4));  // small pages bring all edges near
        mPairs.assign(5, {list, {}});               // the last one stays empty
    }

    void Run(int steps) {
        for (int step = 0; step < steps; ++step) {
            try {
                Step();
                CheckLists();
                CheckWalks();
            } catch (const std::logic_error& found) {
                Require(false, "step ", step, ", ", mEdit, ": ", found.what());
            }
        }
        mPairs.clear();
        std::fill(std::begin(mWalks), std::end(mWalks), std::nullopt);
        RequireEqual(1, static_cast<int>(Tracked::live.size()), "elements left, and the spare one");
        RequireEqual(0, static_cast<int>(TestAllocator::LiveBlocks()), "blocks left");
    }

    int Faults() const { return mFaults; }

private:
    struct Pair {
        List list;
        Ints model;
    };
    struct LastingWalk {
        Walk iterator;
        Ints values;
        int at;
    };
    /** Takes the elements from begin up to end out of the model, and puts the values there. */
    struct Edit {
        const char* name;
        std::function<void()> act;
        int begin, end;
        Ints values;
        bool assigns = false;
    };

    int Below(int n) { return static_cast<int>(mNext() % static_cast<unsigned>(n)); }

    void Step() {
        const unsigned which = mNext() % 4;
        Pair& target = mPairs[which];
        const Pair& source = mPairs[mNext() % 5];
        List& list = target.list;
        const List &self = list, &from = source.list;
        const Ints& other = source.model;
        const int length = list.Length(), count = from.Length();
        mGrows = Below(16) == 0 ? Below(5) > 1 : mGrows;

        const int places = std::max(1, mGrows ? length + 1 : length), side = Below(4);
        const int at = side == 0 ? 0 : side == 1 ? places - 1 : Below(places);
        const int own = Below(3 * length + 1), more = Below(20);
        const int size = std::max(0, length - 40 + Below(150));
        const int lo = Below(count + 6) - 3, begin = std::clamp(lo, 0, count);
        const int hi = Below(count + 10) - 3, end = std::clamp(hi, begin, count);
        const Ints slice(other.begin() + begin, other.begin() + end);
        mSpare = Tracked(Below(1000));
        const Tracked& value = own < length ? self[own] : mSpare;
        const Tracked& there = at < length ? self[at] : mSpare;
        const Ints fill(static_cast<unsigned>(more), value);

        const Edit edits[] = {
            // The first three need an element there.
            {"RemoveAt", [&] { list.RemoveAt(at); }, at, at + 1, {}, at < length - 1},
            {"write", [&] { list[at].value = more; }, at, at + 1, {more}},
            {"Assign of an element", [&] { list.Assign(&there, 1); }, 0, length, {there}},
            {"InsertAt", [&] { list.InsertAt(at, value); }, at, at, {value}, at < length},
            {"Extend", [&] { list.Extend(length + more, value); }, length, length, fill},
            {"Resize", [&] { list.Resize(size); }, std::min(size, length), length, {}},
            {"Slice", [&] { list = from.Slice(lo, hi); }, 0, length, slice},
            {"Assign of an array", [&] { AssignArrayOf(from, list); }, 0, length, other},
            {"copy of a list", [&] { list = from; }, 0, length, other},
            // The last one must not double for ever.
            {"AppendList", [&] { list.AppendList(from); }, length, length, other}};
        const int least = at < length ? 0 : 3, most = length + count < 150 ? 10 : 9;
        const int any = least + Below(most - least), usual = mGrows || length == 0 ? 3 : 0;
        const Edit& edit = edits[Below(4) == 0 ? any : usual];
        mEdit = edit.name + (" at " + std::to_string(at)) + " in list " + std::to_string(which);
        Do(edit, target.model);
        if (TestAllocator::Fired() && edit.assigns) {
            TakeOver(list, target.model);
        }
    }

    static void AssignArrayOf(const List& from, List& list) {
        int length = -1;
        const std::unique_ptr<Tracked[]> array(from.ToArray(length));
        RequireEqual(from.Length(), length, "length of the array");
        list.Assign(array.get(), length);
    }

    /** An edit that fails leaves all as it was. Where it assigns, an element may be there twice. */
    void Do(const Edit& edit, Ints& model) {
        TestAllocator::FailAt(mFailing ? Below(1 + Below(40)) : 0);  // often early; 0 is none
        try {
            edit.act();
        } catch (const std::bad_alloc&) {
            mFaults += 1;
        }
        TestAllocator::Disarm();
        if (!TestAllocator::Fired()) {
            model.erase(model.begin() + edit.begin, model.begin() + edit.end);
            model.insert(model.begin() + edit.begin, edit.values.begin(), edit.values.end());
        }
    }

    /** After an assignment that failed half-way. */
    static void TakeOver(const List& list, Ints& model) {
        const Ints before = std::exchange(model, {});
        for (Walk it(list); it.More(); it.Next()) {
            const auto same = std::count(before.begin(), before.end(), it.Current());
            Require(same > 0, "a value that was not there: ", it.Current());
            model.push_back(it.Current());
        }
        Require(model.size() - before.size() < 2, "length ", model.size(), " after ",
                before.size());
    }

    void CheckLists() const {
        Require(!Tracked::destroyedRaw, "a raw slot was destroyed");
        for (const auto& [list, model] : mPairs) {
            const int length = static_cast<int>(model.size());
            RequireEqual(length, list.Length(), "length of a list");
            Walk walk(list);
            for (int i = 0; i < length; ++i, walk.Next()) {
                RequireEqual(model[static_cast<unsigned>(i)], list[i], "element ", i);
                CheckWalk(walk, model, i);
            }
            CheckWalk(walk, model, length);
            if (!mFailing) {
                cow_ListPeer::CheckPages(list);  // a failed edit may leave empty ones
            }
        }
    }

    static void CheckWalk(Walk& walk, const Ints& values, int at) {
        const bool more = at < static_cast<int>(values.size());
        RequireEqual(more, walk.More(), "More() of a walk at ", at);
        if (more) {
            RequireEqual(at, walk.Index(), "Index() of a walk");
            RequireEqual(values[static_cast<unsigned>(at)], walk.Current(), "a walk at ", at);
        }
    }

    /** Each lasting walk makes one step after an edit; after its end another begins. */
    void CheckWalks() {
        for (std::optional<LastingWalk>& walk : mWalks) {
            if (!walk) {
                const Pair& pair = mPairs[mNext() % 4];
                walk = LastingWalk{Walk(pair.list), pair.model, 0};
            }
            CheckWalk(walk->iterator, walk->values, walk->at);
            if (walk->iterator.More()) {
                walk->iterator.Next();
                walk->at += 1;
            } else {
                walk.reset();
            }
        }
    }

    std::function<unsigned()> mNext;
    bool mFailing, mGrows = true;
    int mFaults = 0;
    std::string mEdit;
    Tracked mSpare;
    std::vector<Pair> mPairs;
    std::optional<LastingWalk> mWalks[3];
};

#endif
