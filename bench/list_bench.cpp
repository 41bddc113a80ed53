// What the common steps of the list cost, and beside them those that have to copy first.

#include <benchmark/benchmark.h>

#include "list/cow_ListIterator.h"

namespace {

using List = cow_List<int>;
constexpr int kLength = 1000;

List Filled() {
    return List().Extend(kLength, 1);
}

void AppendingAThousand(benchmark::State& state) {
    for (auto _ : state) {
        List list;
        for (int i = 0; i < kLength; ++i) {
            list.Append(i);
        }
        benchmark::DoNotOptimize(list.Length());
    }
}
BENCHMARK(AppendingAThousand);

/** With an argument of 1 a copy of the list is made before each write. */
void Writing(benchmark::State& state) {
    List list = Filled(), copy;
    int i = 0;
    for (auto _ : state) {
        if (state.range(0) == 1) {
            copy = list;
        }
        list[i] = i;
        benchmark::ClobberMemory();
        i = i + 1 < kLength ? i + 1 : 0;
    }
}
BENCHMARK(Writing)->Arg(0)->Arg(1);

void WalkingAThousand(benchmark::State& state) {
    const List list = Filled();
    for (auto _ : state) {
        int sum = 0;
        for (cow_ListIterator<int> it(list); it.More(); it.Next()) {
            sum += it.Current();
        }
        benchmark::DoNotOptimize(sum);
    }
}
BENCHMARK(WalkingAThousand);

void InsertingAndRemovingInTheMiddle(benchmark::State& state) {
    List list = Filled();
    for (auto _ : state) {
        list.InsertAt(kLength / 2, 2).RemoveAt(kLength / 2);
    }
}
BENCHMARK(InsertingAndRemovingInTheMiddle);

}  // namespace
