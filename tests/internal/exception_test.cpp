// Every exception of the family, raised where the library raises it.
#include <regex>
#include <vector>

#include "OxbowRpm/impl/OxbowRpm_FileImpl.h"
#include "OxbowRpm/impl/OxbowRpm_PoolDirectoryImpl.h"
#include "doubles/RecordingPlatform.h"
#include "doubles/TestRandom.h"
#include "internal/TestFolder.h"

namespace {

using Document = OxbowRpm_Document;
using Words = std::vector<std::string>;

template <class... Parts>
Words Of(const Parts&... parts) {
    return {(testing::Message() << parts).GetString()...};
}

/** What the accessors give, in the order of the arguments; the second parameter only ranks. */
struct Given {
    static Words By(const OxbowExcNeedUpgrade& e, int) {
        return Of(e.ExpectedVersion(), e.FoundVersion(), e.FileName().Text());
    }
    static Words By(const OxbowExcSystemError& e, int) {
        return Of(e.ServiceName().Text(), e.SystemError().Code());
    }
    static Words By(const OxbowExcIOBounds& e, int) { return Of(e.Offset(), e.End(), e.Limit()); }
    static Words By(const OxbowExcNoSuchFile& e, int) { return Of(e.FileName().Text()); }
    static Words By(const OxbowExcShortBuffer& e, int) { return Of(e.Needed(), e.Available()); }
    static Words By(const OxbowExcRequestTooBig& e, int) {
        return Of(e.Requested(), e.Available());
    }
    template <class E>
    static auto By(const E& e, int) -> decltype(Of(e.SystemError().Code())) {
        return Of(e.SystemError().Code());
    }
    static Words By(const FennelException&, long) { return {}; }
};

/** A writable file of two pools, of which the first holds four bytes and is sealed. */
class ExceptionFamily : public TestFolder {
protected:
    ExceptionFamily() : mFile(mDocument.AddFile(Name("file"), Document::AccessCreate)) {
        mData = Put(mFile, "data");
        mFile.NewPool();
        mYounger = Put(mFile, "more");
    }
    ~ExceptionFamily() override { TestPlatform::Reset(); }

    /** `place` is a source of the library, empty where a double raises. */
    template <class E, class Action>
    void Raises(int code, const std::string& place, const Words& values, Action action) {
        SCOPED_TRACE("raised in " + place);
        try {
            action();
            ADD_FAILURE() << "nothing was raised";
        } catch (const E& own) {
            EXPECT_THROW(own.Propagate(), E);
            EXPECT_EQ(own.GetCode(), code);
            EXPECT_EQ(Given::By(own, 0), values);
            EXPECT_TRUE(place.empty() || "OxbowRpm/impl/OxbowRpm_" + place + ".cpp" == own.File());
            ExpectHeld(own.AsString(), values);
            ExpectHeld(own.DeveloperReport(), values);
            ExpectHeld(own.DeveloperReport(), Of(own.File(), own.Line(), code));
        }
        TestPlatform::Reset();
    }
    static void ExpectHeld(const atr_String& text, const Words& parts) {
        for (const std::string& part : parts) {
            EXPECT_NE(text.View().find(part), std::string_view::npos) << text.View();
        }
    }
    /** While the platform's call fails with the code that is the last value. */
    template <class E, class Action>
    void Fails(int code, TestPlatform::Kind call, const Words& values, Action action) {
        TestPlatform::FailNext(call, static_cast<DWORD>(std::stoul(values.back())));
        Raises<E>(code, "OSFile", values, action);
    }

    /** A header whose directory, of one entry, is cut off. */
    static std::string Header(char version, const std::string& signature) {
        return "\x89OXB\r\n\x1A\n" + (version + std::string(7, '\0')) + signature +
               std::string(16, '0') + std::string("\2\0\0\0\0\0\0\0\1\0\0\0", 12);
    }
    OxbowRpm_File Load(const std::string& bytes) {
        Store("stored", bytes);
        return mDocument.AddFile(Name("stored"), Document::AccessReadOnly);
    }

    Document mDocument{"SIGN"}, mOther{"SIGN"};
    OxbowRpm_File mFile;
    OxbowRpm_Locator mData, mYounger;
};

#define RAISES(Class, code, place, values, ...) \
    Raises<OxbowExc##Class>(code, place, values, [&] { __VA_ARGS__; })

TEST_F(ExceptionFamily, EachIsItsOwnClassAndTellsItsPlaceItsCodeAndItsArguments) {
    char bytes[12];
    OxbowRpm_BStreamWriteBuffer olderPool(bytes, sizeof bytes, mFile.Pool(0));
    OxbowRpm_File readOnly = mOther.AddFile(Name("file"), Document::AccessReadOnly);
    const OxbowRpm_File target = mDocument.AddFile(Name("target"), Document::AccessCreate);
    const OxbowRpm_Locator gone = target.Start();
    mDocument.Close(target);
    const std::string name(1100, 'n');

    RAISES(ValidationFailure, 1, "File", Of(), Load("").Start());
    RAISES(CantDerefLocator, 2, "Locator", Of(), Get(gone, 1));
    RAISES(CantExternalizeLoc, 3, "PoolDirectoryImpl", Of(), mYounger.ExternalizeImpl(olderPool));
    RAISES(CantGetFile, 4, "DocumentImpl", Of(), mOther.Close(mFile));
    RAISES(CorruptHeader, 5, "PoolImpl", Of(), Load("short"));
    RAISES(NotOxbowFile, 6, "PoolImpl", Of(), Load(std::string(48, 'x')));
    RAISES(NeedUpgrade, 7, "PoolImpl", Of(6, 7, PathOf("stored")), Load(Header(7, "SIGN")));
    RAISES(UserSigMismatch, 8, "PoolImpl", Of(), Load(Header(6, "ELSE")));
    RAISES(CorruptDirectory, 9, "PoolImpl", Of(), Load(Header(6, "SIGN")));
    RAISES(IOBounds, 10, "PoolImpl", Of(2, 5, 4), (mData + 2).Write(3, "abc"));
    RAISES(ImmutablePool, 11, "PoolImpl", Of(), mFile.Pool(0).Allocate(1));
    RAISES(NewPoolReadOnly, 12, "FileImpl", Of(), readOnly.NewPool());
    RAISES(AllocReadOnly, 14, "FileImpl", Of(), OxbowRpm_FileImpl(nullptr).AllocateUpTo(1));
    RAISES(WriteReadOnly, 15, "FileImpl", Of(), readOnly.Start().Write(1, "x"));
    RAISES(PoolAlreadyInDoc, 16, "PoolMap", Of(), mFile.AppendPool(mFile.Pool()));
    RAISES(NoSuchFile, 18, "OSFile", Of(PathOf("none")), Document::GetFileType(Name("none")));
    TestPlatform::FailNext(TestPlatform::Open, ERROR_FILE_NOT_FOUND);
    RAISES(NoSuchFile, 18, "OSFile", Of(name.substr(0, 1023)), Document::GetFileType(name.c_str()));
    RAISES(ReadOnly, 22, "OSFile", Of(), OxbowRpm_OSFile().Write("", 0));
    TestPlatform::MoveAtMost(TestPlatform::Write, 0);
    RAISES(ShortWrite, 23, "OSFile", Of(), mData.Write(1, "x"));
    RAISES(ShortBuffer, 24, "BStreamWriteBuffer", Of(33, 0), olderPool.PrepWrite(33));
    RAISES(RequestTooBig, 25, "BStreamWriteLocator", Of(19, 18),
           OxbowRpm_BStreamWriteLocator(mData, 0, 18).PrepWrite(19));
    TestRandom::FailNext(38);
    Raises<FennelExcNoEntropy>(101, "", Of(38), [&] { mDocument.NewDirectory(); });

    using namespace TestPlatform;
    const auto create = [&] { mDocument.AddFile(Name("new"), Document::AccessCreate); };
    const auto open = [&] { mDocument.AddFile(Name("stored"), Document::AccessUpdate); };
    Fails<OxbowExcSystemError>(17, TestPlatform::Open, Of("CreateFile", 2), create);
    Fails<OxbowExcSystemError>(17, TestPlatform::Open, Of("CreateFile", 13), open);
    Fails<OxbowExcSystemError>(17, Seek, Of("SetFilePointer", 29), [&] { Get(mData, 1); });
    Fails<OxbowExcSystemError>(17, Flush, Of("FlushFileBuffers", 35), [&] { mFile.Flush(); });
    Fails<OxbowExcSystemError>(17, Size, Of("GetFileSize", 39), open);
    Fails<OxbowExcReadError>(20, Read, Of(45), [&] { Get(mData, 1); });
    Fails<OxbowExcWriteError>(21, Write, Of(28), [&] { mData.Write(1, "x"); });
    Fails<OxbowExcFileCloseFailed>(19, CloseFile, Of(122), [&] { mOther.Close(readOnly); });
    mFile.Allocate(1);
    RAISES(ShortPool, 13, "PoolImpl", Of(),
           mOther.AddFile(Name("new"), Document::AccessCreate).AppendPool(mFile.Pool()));
}

TEST_F(ExceptionFamily, ValidationReportsThreeLinesAndTheCallerGoesOn) {
    OxbowRpm_BStreamReadBuffer stream("\0\0\0\0\0\0\0\0\2\0\0\0", 12, mFile.Pool());
    testing::internal::CaptureStderr();
    RAISES(ValidationFailure, 1, "Assert", Of(), mFile.Pool(2));
    RAISES(ValidationFailure, 1, "Assert", Of(), stream.SourceDir().MapSlotFromDirSlot(-1));
    RAISES(ValidationFailure, 1, "Assert", Of(), OxbowRpm_Locator().InternalizeImpl(stream));
    std::string expected;
    for (const std::string place :
         {"index < mPoolContainer.Length()\n OxbowRpm/impl/OxbowRpm_File",
          "slotInDirectory >= 0\n OxbowRpm/impl/OxbowRpm_PoolDirectory",
          "slotInDirectory < mMapSlotList.Length()\n OxbowRpm/impl/OxbowRpm_PoolDirectory"}) {
        expected += "OxbowVALIDATE failed: " + place +
                    "Impl.cpp ( 1 )\nPut Stop in OxbowRpm_Assert::ReportValidationFailure to find "
                    "occurrence\n";
    }
    const std::string report = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::regex_replace(report, std::regex("[0-9]+ \\)"), "1 )"), expected);
    EXPECT_EQ(Get(mData, 4), "data");
}

}  // namespace
