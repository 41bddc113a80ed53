// Every exception of the family, raised where the library raises it.
#include <map>
#include <regex>
#include <typeinfo>
#include <vector>

#include "OxbowRpm/impl/OxbowRpm_FileImpl.h"
#include "OxbowRpm/impl/OxbowRpm_PoolDirectoryImpl.h"
#include "doubles/RecordingPlatform.h"
#include "doubles/TestRandom.h"
#include "internal/TestFolder.h"

namespace {

using Document = OxbowRpm_Document;
using Values = std::vector<std::string>;
using std::to_string;

/** What the accessors give, in the order of the arguments; the second parameter only ranks. */
struct Arguments {
    static Values Of(const OxbowExcNeedUpgrade& e, int) {
        return {to_string(e.ExpectedVersion()), to_string(e.FoundVersion()), e.FileName().Text()};
    }
    static Values Of(const OxbowExcIOBounds& e, int) {
        return {to_string(e.Offset()), to_string(e.End()), to_string(e.Limit())};
    }
    static Values Of(const OxbowExcSystemError& e, int) {
        return {e.ServiceName().Text(), to_string(e.SystemError().Code())};
    }
    static Values Of(const OxbowExcNoSuchFile& e, int) { return {e.FileName().Text()}; }
    static Values Of(const OxbowExcShortBuffer& e, int) {
        return {to_string(e.Needed()), to_string(e.Available())};
    }
    static Values Of(const OxbowExcRequestTooBig& e, int) {
        return {to_string(e.Requested()), to_string(e.Available())};
    }
    template <class E>
    static auto Of(const E& e, int) -> decltype(e.SystemError(), Values()) {
        return {to_string(e.SystemError().Code())};
    }
    static Values Of(const FennelException&, long) { return {}; }
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
    void Raises(int code, const std::string& place, Action action, const Values& values = {}) {
        SCOPED_TRACE("code " + to_string(code) + ", raised in " + place);
        try {
            try {
                action();
                ADD_FAILURE() << "nothing was raised";
            } catch (const FennelException& base) {
                base.Propagate();
            }
        } catch (const E& own) {
            EXPECT_EQ(own.GetCode(), code);
            EXPECT_EQ(Arguments::Of(own, 0), values);
            EXPECT_TRUE(place.empty() || "OxbowRpm/impl/OxbowRpm_" + place == own.File());
            Values told = values;
            told.insert(told.end(), {own.File(), to_string(own.Line()), to_string(code)});
            ExpectHeld(own.AsString(), values);
            ExpectHeld(own.DeveloperReport(), told);
        } catch (const FennelException& other) {
            ADD_FAILURE() << other.DeveloperReport().View();
        }
        TestPlatform::Reset();
        const char* const name = typeid(E).name();
        EXPECT_EQ(mClasses.emplace(code, name).first->second, name) << "two classes, one code";
    }
    static void ExpectHeld(const atr_String& text, const Values& parts) {
        for (const std::string& part : parts) {
            EXPECT_NE(text.View().find(part), std::string_view::npos) << text.View();
        }
    }
    /** While the platform's call fails. */
    template <class E, class Action>
    void Fails(int code, TestPlatform::Kind call, DWORD error, Action action, Values values = {}) {
        TestPlatform::FailNext(call, error);
        values.push_back(to_string(error));
        Raises<E>(code, "OSFile.cpp", action, values);
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
    std::map<int, std::string> mClasses;
};

TEST_F(ExceptionFamily, EachIsItsOwnClassAndTellsItsPlaceItsCodeAndItsArguments) {
    char bytes[12];
    OxbowRpm_BStreamWriteBuffer olderPool(bytes, sizeof bytes, mFile.Pool(0));
    OxbowRpm_File readOnly = mOther.AddFile(Name("file"), Document::AccessReadOnly);
    const OxbowRpm_File target = mDocument.AddFile(Name("target"), Document::AccessCreate);
    const OxbowRpm_Locator gone = target.Start();
    mDocument.Close(target);
    const std::string longName(1100, 'n');

    Raises<OxbowExcValidationFailure>(1, "File.cpp", [&] { Load("").Start(); });
    Raises<OxbowExcCantDerefLocator>(2, "Locator.cpp", [&] { Get(gone, 1); });
    Raises<OxbowExcCantExternalizeLoc>(3, "PoolDirectoryImpl.cpp",
                                       [&] { mYounger.ExternalizeImpl(olderPool); });
    Raises<OxbowExcCantGetFile>(4, "DocumentImpl.cpp", [&] { mOther.Close(mFile); });
    Raises<OxbowExcCorruptHeader>(5, "PoolImpl.cpp", [&] { Load("short"); });
    Raises<OxbowExcNotOxbowFile>(6, "PoolImpl.cpp", [&] { Load(std::string(48, 'x')); });
    Raises<OxbowExcNeedUpgrade>(7, "PoolImpl.cpp", [&] { Load(Header(7, "SIGN")); },
                                {"6", "7", PathOf("stored")});
    Raises<OxbowExcUserSigMismatch>(8, "PoolImpl.cpp", [&] { Load(Header(6, "ELSE")); });
    Raises<OxbowExcCorruptDirectory>(9, "PoolImpl.cpp", [&] { Load(Header(6, "SIGN")); });
    Raises<OxbowExcIOBounds>(10, "PoolImpl.cpp", [&] { (mData + 2).Write(3, "abc"); },
                             {"2", "5", "4"});
    Raises<OxbowExcImmutablePool>(11, "PoolImpl.cpp", [&] { mFile.Pool(0).Allocate(1); });
    Raises<OxbowExcNewPoolReadOnly>(12, "FileImpl.cpp", [&] { readOnly.NewPool(); });
    Raises<OxbowExcAllocReadOnly>(14, "FileImpl.cpp",
                                  [] { OxbowRpm_FileImpl(nullptr).AllocateUpTo(1); });
    Raises<OxbowExcWriteReadOnly>(15, "FileImpl.cpp", [&] { readOnly.Start().Write(1, "x"); });
    Raises<OxbowExcPoolAlreadyInDoc>(16, "PoolMap.cpp", [&] { mFile.AppendPool(mFile.Pool()); });
    Raises<OxbowExcNoSuchFile>(18, "OSFile.cpp", [&] { Document::GetFileType(Name("none")); },
                               {PathOf("none")});
    TestPlatform::FailNext(TestPlatform::Open, ERROR_FILE_NOT_FOUND);
    Raises<OxbowExcNoSuchFile>(18, "OSFile.cpp", [&] { Document::GetFileType(longName.c_str()); },
                               {longName.substr(0, 1023)});
    Raises<OxbowExcReadOnly>(22, "OSFile.cpp", [] { OxbowRpm_OSFile().Write("", 0); });
    TestPlatform::MoveAtMost(TestPlatform::Write, 0);
    Raises<OxbowExcShortWrite>(23, "OSFile.cpp", [&] { mData.Write(1, "x"); });
    Raises<OxbowExcShortBuffer>(24, "BStreamWriteBuffer.cpp", [&] { olderPool.PrepWrite(33); },
                                {"33", "0"});
    Raises<OxbowExcRequestTooBig>(25, "BStreamWriteLocator.cpp",
                                  [&] { OxbowRpm_BStreamWriteLocator(mData, 0, 18).PrepWrite(19); },
                                  {"19", "18"});
    TestRandom::FailNext(38);
    Raises<FennelExcNoEntropy>(101, "", [&] { mDocument.NewDirectory(); }, {"38"});

    using namespace TestPlatform;
    const auto create = [&] { mDocument.AddFile(Name("new"), Document::AccessCreate); };
    const auto open = [&] { mDocument.AddFile(Name("stored"), Document::AccessUpdate); };
    const auto read = [&] { Get(mData, 1); };
    Fails<OxbowExcSystemError>(17, TestPlatform::Open, 2, create, {"CreateFile"});
    Fails<OxbowExcSystemError>(17, TestPlatform::Open, 13, open, {"CreateFile"});
    Fails<OxbowExcSystemError>(17, Seek, 29, read, {"SetFilePointer"});
    Fails<OxbowExcSystemError>(17, Flush, 35, [&] { mFile.Flush(); }, {"FlushFileBuffers"});
    Fails<OxbowExcSystemError>(17, Size, 39, open, {"GetFileSize"});
    Fails<OxbowExcReadError>(20, Read, 45, read);
    Fails<OxbowExcWriteError>(21, Write, 28, [&] { mData.Write(1, "x"); });
    Fails<OxbowExcFileCloseFailed>(19, CloseFile, 122, [&] { mOther.Close(readOnly); });
    mFile.Allocate(1);
    Raises<OxbowExcShortPool>(13, "PoolImpl.cpp", [&] {
        mOther.AddFile(Name("new"), Document::AccessCreate).AppendPool(mFile.Pool());
    });
    EXPECT_EQ(mClasses.size(), 26u) << "a class is missing";
}

TEST_F(ExceptionFamily, ValidationReportsThreeLinesAndTheCallerGoesOn) {
    OxbowRpm_BStreamReadBuffer stream("\0\0\0\0\0\0\0\0\2\0\0\0", 12, mFile.Pool());
    const OxbowRpm_PoolDirectoryImpl& directory = stream.SourceDir();
    const auto reports = [&](const std::string& expression, const std::string& file, auto action) {
        testing::internal::CaptureStderr();
        Raises<OxbowExcValidationFailure>(1, "Assert.cpp", action);
        const std::string report = testing::internal::GetCapturedStderr();
        EXPECT_EQ(std::regex_replace(report, std::regex("\\( [0-9]+ \\)"), "( 1 )"),
                  "OxbowVALIDATE failed: " + expression + "\n OxbowRpm/impl/OxbowRpm_" + file +
                      " ( 1 )\nPut Stop in OxbowRpm_Assert::ReportValidationFailure to find "
                      "occurrence\n");
        EXPECT_EQ(Get(mData, 4), "data");
    };
    reports("index < mPoolContainer.Length()", "FileImpl.cpp", [&] { mFile.Pool(2); });
    reports("slotInDirectory >= 0", "PoolDirectoryImpl.cpp",
            [&] { directory.MapSlotFromDirSlot(-1); });
    reports("slotInDirectory < mMapSlotList.Length()", "PoolDirectoryImpl.cpp",
            [&] { OxbowRpm_Locator().InternalizeImpl(stream); });
}

}  // namespace
