#include <OxbowPoolManager/base/FennelExcNoEntropy.h>

#include <cstdio>

atr_String FennelExcNoEntropy::AsString() const {
    char text[96];
    std::snprintf(text, sizeof text,
                  "FennelExcNoEntropy: no random bytes to be had (system error %u)",
                  static_cast<unsigned>(mError.Code()));
    return atr_String(text);
}

void FennelExcNoEntropy::Propagate() const {
    throw *this;
}

// The family of the containers counts from 1; this class lies beneath it.
int FennelExcNoEntropy::GetCode() const {
    return 101;
}
