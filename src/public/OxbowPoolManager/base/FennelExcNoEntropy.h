#ifndef OXBOW_FENNEL_EXC_NO_ENTROPY_H
#define OXBOW_FENNEL_EXC_NO_ENTROPY_H

#include <OxbowPoolManager/base/FennelException.h>
#include <OxbowPoolManager/base/FennelSystemError.h>

/** The operating system gave no random bytes, so no identifier can be made. Whatever asked for one
    has changed nothing, but AddFile with AccessCreate has emptied the file by then. A plain value.
    Code 101.
    Threads: one object belongs to one thread at a time; copies may live on several. */
class OXBOW_EXPORT FennelExcNoEntropy final : public FennelException {
public:
    /** Keeps the code. */
    explicit FennelExcNoEntropy(FennelSystemError error) noexcept : mError(error) {}
    ~FennelExcNoEntropy() override {}

    atr_String AsString() const override;
    [[noreturn]] void Propagate() const override;
    int GetCode() const override;

    /** The platform's code. */
    const FennelSystemError& SystemError() const noexcept { return mError; }

private:
    FennelSystemError mError;
};

#endif
