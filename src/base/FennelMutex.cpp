#include "base/FennelMutex.h"

#include <mutex>

namespace {

class StandardMutex final : public FennelMutex {
public:
    void Lock() override { mMutex.lock(); }
    void Unlock() override { mMutex.unlock(); }

private:
    std::mutex mMutex;
};

}  // namespace

FennelMutex::~FennelMutex() = default;

FennelMutex* FennelThreadingModel::newMutex() {
    return new StandardMutex;
}
