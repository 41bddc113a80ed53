// The copy-on-write list against std::vector: four of each, which share with one another.
// Input: three bytes for each operation.

#include <array>
#include <stdexcept>
#include <string>
#include <vector>

#include "doubles/CountingAllocator.h"
#include "list/cow_ListIterator.h"

namespace {

using Text = std::string;  // owns memory, so that a sanitizer sees what is freed twice
using Texts = std::vector<Text>;

struct Pair {
    cow_List<Text> list;
    Texts model;

    void Check() const {
        Texts values;
        for (cow_ListIterator<Text> it(list); it.More(); it.Next()) {
            values.push_back(it.Current());
        }
        const bool right = values == model && list.Length() == static_cast<int>(model.size());
        right ? void() : throw std::logic_error("elements");
    }
    void Do(unsigned operation, unsigned x, const Pair& other) {
        const auto size = static_cast<unsigned>(model.size()), at = size == 0 ? 0 : x % size;
        const unsigned hi = std::min(x, size), lo = hi / 3;
        const auto place = model.begin() + at;
        const auto index = static_cast<int>(at), length = static_cast<int>(x);
        const Text text(x % 40, static_cast<char>(x));
        const Texts added = other.model;
        switch (size == 0 || size + added.size() > 300 ? operation % 6 : operation) {
            case 0:
                return void(list = other.list), void(model = added);
            case 1:
                return void(list.Append(text)), model.push_back(text);
            case 2:
                return void(list.Prepend(text)), void(model.insert(model.begin(), text));
            case 3:
                return void(list.Resize(length)), model.resize(hi);
            case 4:
                return void(list.Extend(length, text)), model.resize(std::max(x, size), text);
            case 5:
                list.Assign(added.data(), static_cast<int>(added.size()));
                return void(model = added);
            case 6:
                list = list.Slice(static_cast<int>(lo), static_cast<int>(hi));
                return void(model = Texts(model.begin() + lo, model.begin() + hi));
            case 7:
                list.AppendList(other.list);
                return void(model.insert(model.end(), added.begin(), added.end()));
            case 8:
                return void(list.InsertAt(index, list.Last())),
                       void(model.insert(place, Text(model.back())));
            case 9:
                return void(list.RemoveAt(index)), void(model.erase(place));
            case 10:
                return void(list[index] = text), void(*place = text);
            default:
                return list.PopLast() == model.back() ? model.pop_back()
                                                      : throw std::logic_error("last element");
        }
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    {
        std::array<Pair, 4> pairs;
        for (std::size_t i = 0; i + 2 < size && i < 300; i += 3) {
            const Pair& other = pairs[data[i] / 4 % 4u];
            pairs[data[i] % 4u].Do(data[i + 1] % 12u, data[i + 2], other);
            pairs[data[i] % 4u].Check();
            other.Check();
        }
    }
    return TestAllocator::LiveBlocks() == 0 ? 0 : throw std::logic_error("blocks left");
}
