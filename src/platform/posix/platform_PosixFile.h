#ifndef OXBOW_PLATFORM_POSIXFILE_H
#define OXBOW_PLATFORM_POSIXFILE_H

#include <atomic>
#include <cstdint>

// One open file. Operations return 0 or an errno value; platform_FileCalls.h lists the codes with a
// meaning of their own, and the rules for threads. Destroying an open file closes it.
//
// The rule of writing: a write that fails leaves the file's length and an old pool header as they
// were, since half of a new header, at the end or over an old one, ends the file for its readers.
// So the part of a write that lies behind the file's end goes first, as only that part can find no
// room; the part inside follows; and when either fails, the file is cut back to its old end.
class platform_PosixFile {
public:
    enum class Mode { Read, Update, Create };

    platform_PosixFile() = default;
    platform_PosixFile(const platform_PosixFile&) = delete;
    platform_PosixFile& operator=(const platform_PosixFile&) = delete;
    ~platform_PosixFile() { Close(); }

    // Called once. After a failure the object is only fit to be destroyed.
    int Open(const char* path, Mode mode, bool deniesWriting);
    int Read(std::uint64_t position, void* buffer, std::uint32_t count, std::uint32_t& got);
    int Write(std::uint64_t position, const void* data, std::uint32_t count);
    // Fails forever with the code of the first failure.
    int Flush();
    int Size(std::uint64_t& length);
    // Leaves nothing open, even when it fails.
    int Close();

    bool IsOpen() const { return mDescriptor != kNone; }

private:
    static constexpr int kNone = -1;

    int OpenOrCreate(const char* path);
    int Measure(std::uint64_t& length) const;
    int CutTo(std::uint64_t length) const;
    void TakeBack(std::uint64_t knownEnd, std::uint64_t writeEnd) const;
    int Sync();
    void CloseFolder();

    int mDescriptor = kNone;
    // True from the making of the file to the first flush that has put its name on the device.
    bool mNameIsUnsynced = false;
    // For that time the file's folder, if it could be opened.
    int mFolder = kNone;
    // False only when locks keep them from it.
    bool mOthersMayWrite = true;
    // Found by opening and moved by this file's own writes; out of date where others write.
    std::uint64_t mKnownEnd = 0;
    // A reader's opening has found the end, and the size has not been asked for yet.
    std::atomic<bool> mSizeIsKnown = false;
    int mFlushError = 0;
};

#endif
