#ifndef OXBOW_OXBOW_RPM_FILE_NAME_BUFFER_H
#define OXBOW_OXBOW_RPM_FILE_NAME_BUFFER_H

#include <OxbowPoolManager/OxbowRpm_Util.h>

/** A text of at most 1023 bytes that an exception carries: a file's name. A plain value without
    heap memory, so that raising can't fail; a longer text is cut. */
class OxbowRpm_FileNameBuffer {
public:
    explicit OxbowRpm_FileNameBuffer(const char* text) { OxbowRpm_Util::Copy(mText, text, kSize); }

    const char* Text() const { return mText; }

private:
    static constexpr int kSize = 1024;

    char mText[kSize];
};

#endif
