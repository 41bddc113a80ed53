#ifndef OXBOW_OXBOW_RPM_SERVICE_NAME_BUFFER_H
#define OXBOW_OXBOW_RPM_SERVICE_NAME_BUFFER_H

#include <OxbowPoolManager/OxbowRpm_Util.h>

/** A text of at most 63 bytes that an exception carries: the name of a platform call. A plain value
    without heap memory, so that raising can't fail; a longer text is cut. */
class OxbowRpm_ServiceNameBuffer {
public:
    explicit OxbowRpm_ServiceNameBuffer(const char* text) {
        OxbowRpm_Util::Copy(mText, text, kSize);
    }

    const char* Text() const { return mText; }

private:
    static constexpr int kSize = 64;

    char mText[kSize];
};

#endif
