#ifndef OXBOW_OXBOW_RPM_FILE_NAME_BUFFER_H
#define OXBOW_OXBOW_RPM_FILE_NAME_BUFFER_H

#include <OxbowPoolManager/OxbowRpm_Util.h>

/** A text of at most 1023 bytes that an exception carries: a file's name. A plain value without
    heap memory, so that raising can't fail.
    Threads: one object belongs to one thread at a time. Raises nothing. */
class OxbowRpm_FileNameBuffer {
public:
    /** Takes terminated text; a longer one is cut. */
    explicit OxbowRpm_FileNameBuffer(const char* text) { OxbowRpm_Util::Copy(mText, text, kSize); }

    /** Terminated, good as long as this object. */
    const char* Text() const { return mText; }

private:
    static constexpr int kSize = 1024;

    char mText[kSize];
};

#endif
