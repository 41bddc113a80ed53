// What a failed operation leaves: everything that it didn't have to change, ready for use.

#include <cstring>

#include "doubles/CountingAllocator.h"
#include "doubles/RecordingPlatform.h"
#include "internal/TestFolder.h"

namespace {

using Document = OxbowRpm_Document;
using namespace TestPlatform;
constexpr auto kCreate = Document::AccessCreate, kUpdate = Document::AccessUpdate,
               kRead = Document::AccessReadOnly;
constexpr DWORD kIoError = 5, kNoSpace = 28;
constexpr std::uint64_t kLongest = 9999999999999999;  // bytes that a length field can express

class Failures : public TestFolder {
protected:
    ~Failures() override {
        Reset();
        TestAllocator::Disarm();
    }
    /** Files can grow by that many bytes together. */
    static void FillDiskAfter(int bytes) { Fail({Write, kNoSpace, bytes, true, true}); }
    static void FailWrite(int after) { Fail({Write, kIoError, after}); }
    /** The writer ends without a word. */
    void Leave() {
        Reset();
        mDocument = std::make_unique<Document>("TEST");
    }
    OxbowRpm_File Reopen(const std::string& file) {
        Leave();
        return mDocument->AddFile(Name(file), kUpdate);
    }
    /** A pool of another document with that data. */
    OxbowRpm_Pool Source(const std::string& data) {
        Put(mSource, data);
        return mSource.Pool();
    }

    Document mOther{"TEST"};
    OxbowRpm_File mSource = mOther.AddFile(Name("source"), kCreate);
    std::unique_ptr<Document> mDocument = std::make_unique<Document>("TEST");
    OxbowRpm_File mFile = mDocument->AddFile(Name("file"), kCreate);
    const std::string mLong = std::string(600000, 's');
};

TEST_F(Failures, OfACopyOverAnEmptyPoolLeaveThatPoolAndTheCopyCanBeRepeated) {
    const OxbowRpm_Pool source = Source(mLong);
    for (const int room : {0, 300000, 599900}) {
        OxbowRpm_File file = mDocument->AddFile(Name("file"), kCreate);
        const std::string guid = Text(file.Pool().GetGUID());
        FillDiskAfter(room);
        EXPECT_THROW(file.AppendPool(source), OxbowExcWriteError) << room;
        OxbowRpm_File again = Reopen("file");
        ASSERT_EQ(again.PoolCount(), 1u) << room;
        EXPECT_EQ(Text(again.Pool().GetGUID()), guid)
            << "half a copy took the place, room " << room;
        EXPECT_NO_THROW(again.AppendPool(source)) << room;
        EXPECT_EQ(Get(again.Pool().Start(), mLong.size()), mLong) << room;
        Leave();
    }
}

TEST_F(Failures, OfACopyAfterItsWritesLeaveTheWholeCopyWhereTheEmptyPoolWas) {
    const OxbowRpm_Pool source = Source("data");
    TestPlatform::Reset();
    FailWrite(2);  // behind the two of the copy
    EXPECT_THROW(mFile.AppendPool(source), OxbowExcWriteError);
    OxbowRpm_File again = Reopen("file");
    EXPECT_EQ(Text(again.Pool().GetGUID()), Text(source.GetGUID()));
    EXPECT_EQ(Get(again.Pool().Start(), 9), "data");
}

TEST_F(Failures, OfACopyJoinNoSealedPoolAndCountAsDataOfTheNext) {
    const OxbowRpm_Pool source = Source(mLong);
    Put(mFile, std::string(100, 'd'));
    mFile.NewPool();  // seals the first, and is dropped by the copy
    FailWrite(2);
    EXPECT_THROW(mFile.AppendPool(source), OxbowExcWriteError);
    Reset();
    EXPECT_EQ(mFile.PoolCount(), 1u);
    EXPECT_THROW(mFile.Allocate(1), OxbowExcImmutablePool);
    mFile.NewPool();
    EXPECT_EQ(mFile.Pool(0).Length(), 100u);
    EXPECT_EQ(mFile.Pool(1).Length(), 0u);
    const std::uint64_t end = At("file").length;
    OxbowRpm_File again = Reopen("file");
    ASSERT_EQ(again.PoolCount(), 2u);
    EXPECT_EQ(again.Pool(0).Length(), 100u);
    EXPECT_EQ(again.Pool(1).Length(), end - 180 - 144) << "nothing cuts what the copy has left";
}

TEST_F(Failures, OfACopyAreOverwrittenByTheNextCopyFromTheirEnd) {
    const OxbowRpm_Pool source = Source(mLong);
    mFile.Allocate(0);
    FailWrite(1);
    EXPECT_THROW(mFile.AppendPool(source), OxbowExcWriteError);
    EXPECT_EQ(mFile.PoolCount(), 0u);
    FailWrite(1);
    EXPECT_THROW(mFile.AppendPool(source), OxbowExcWriteError);
    EXPECT_EQ(Text(mDocument->AddFile(Name("file"), kRead).Pool().GetGUID()),
              Bytes("file").substr(48, 32));
    Reset();
    mFile.AppendPool(source);
    EXPECT_EQ(Get(mFile.Start(), mLong.size()), mLong);
}

TEST_F(Failures, OfASourceThatEndsInTheMiddleOfItsCopyLeaveTheTargetItsPools) {
    const OxbowRpm_Pool source = Source(mLong);
    for (const char* data : {"data", ""}) {
        OxbowRpm_File file = mDocument->AddFile(Name("target"), kCreate);
        Put(file, data);
        const std::string guid = Text(file.Pool().GetGUID());
        for (int read = 1; read < 4; ++read) {  // behind that of the header; 0 bytes are the end
            Fail({Read, 0, read});
            EXPECT_THROW(file.AppendPool(source), OxbowExcShortPool) << "read " << read;
        }
        Reset();
        mDocument->Close(file);
        const OxbowRpm_File again = mDocument->AddFile(Name("target"), kUpdate);
        EXPECT_EQ(again.PoolCount(), 1u);
        EXPECT_EQ(Text(again.Pool().GetGUID()), guid);
        EXPECT_EQ(Get(again.Start(), 4).substr(0, std::strlen(data)), data);
        mDocument->Close(again);
    }
}

TEST_F(Failures, OfASourceThatAWriterSealsMeanwhileRefuseTheCopy) {
    const OxbowRpm_Pool source = Source("data that is copied");
    Put(mFile, "data");
    gBeside = [this, reads = 0](const Call& call) mutable {
        reads += call.kind == Read;
        if (reads == 2) {  // behind the check of the source's header
            At("source").Write(20, "0000000000000095", 16);
        }
    };
    EXPECT_THROW(mFile.AppendPool(source), OxbowExcShortPool);
    Reset();
    EXPECT_EQ(mFile.PoolCount(), 1u);
    EXPECT_EQ(Get(mFile.Start(), 4), "data");
}

TEST_F(Failures, OfACopyBehindDataBecomePartOfThatPool) {
    const OxbowRpm_Pool source = Source(mLong);
    const OxbowRpm_Locator place = Put(mFile, "data");
    for (int chunk = 0; chunk < 3; ++chunk) {
        FailWrite(chunk);
        EXPECT_THROW(mFile.AppendPool(source), OxbowExcWriteError);
        EXPECT_TRUE(gFired) << chunk;
        EXPECT_EQ(mFile.PoolCount(), 1u) << chunk;
        EXPECT_EQ(Get(place, 4), "data") << chunk;
    }
    Reset();
    mFile.AppendPool(source);
    EXPECT_EQ(Get(mFile.Start(), mLong.size()), mLong);
    EXPECT_GT(mFile.Pool(0).Length(), mLong.size());
    EXPECT_EQ(Get(mFile.Pool(0).Start(), 4), "data");
}

TEST_F(Failures, ToStoreTheHeaderOfACopyKeepItFromGrowingUntilAFlushHasStoredIt) {
    Put(mFile, "data");
    const OxbowRpm_Pool source = Source("copied");
    mSource.NewPool();  // seals the source
    FailWrite(2);       // behind the copy and the seal
    EXPECT_THROW(mFile.AppendPool(source), OxbowExcWriteError);
    Reset();
    EXPECT_EQ(mFile.PoolCount(), 2u);
    EXPECT_THROW(mFile.Allocate(1), OxbowExcImmutablePool);
    mFile.Flush();
    EXPECT_EQ(Bytes("file").substr(84 + 20, 16), std::string(16, '0'));
    Put(mFile, " more");
    OxbowRpm_File again = Reopen("file");
    EXPECT_EQ(Get(again.Pool().Start(), 99), "copied more");
}

TEST_F(Failures, ToStoreTheHeaderInAFlushKeepThePoolFromGrowingUntilTheNext) {
    Put(mFile, "data");
    FailWrite(0);
    EXPECT_THROW(mFile.Flush(), OxbowExcWriteError);
    EXPECT_THROW(mFile.Allocate(1), OxbowExcImmutablePool);
    mFile.Flush();
    EXPECT_NO_THROW(mFile.Allocate(1));
}

TEST_F(Failures, ToFindRoomForAPoolKeepNothingElseFromTheDevice) {
    const OxbowRpm_Locator place = Put(mFile, "0123");
    FillDiskAfter(0);
    EXPECT_THROW(mFile.NewPool(), OxbowExcWriteError);
    place.Write(2, "xx");
    mDocument->Flush();
    EXPECT_THROW(mFile.Allocate(1), OxbowExcImmutablePool);
    mDocument->Close();
    EXPECT_EQ(Count(Flush), 2);
    EXPECT_EQ(Get(Reopen("file").Start(), 9), "xx23");
}

TEST_F(Failures, ToReplaceAHeaderAreRaisedByEachFlushAndCloseWhileTheyLast) {
    mDocument->NewDirectory();  // so that the next header is longer
    Fail({Write, kIoError, 0, true, false, 33});
    EXPECT_THROW(mFile.NewPool(), OxbowExcWriteError);
    EXPECT_THROW(mFile.Flush(), OxbowExcWriteError);
    EXPECT_THROW(mDocument->Close(mFile), OxbowExcWriteError);
    EXPECT_THROW(mDocument->Close(), OxbowExcWriteError);
    Reset();
    mDocument->Close();
    EXPECT_EQ(Reopen("file").PoolCount(), 1u);
}

TEST_F(Failures, OfTheDeviceAreRaisedByEachFlushButLeaveTheFileClosable) {
    OxbowRpm_File second = mDocument->AddFile(Name("second"), kCreate);
    Put(mFile, "data");
    FailNext(Flush, kIoError);
    EXPECT_THROW(mFile.Flush(), OxbowExcSystemError);
    EXPECT_THROW(mFile.Flush(), OxbowExcSystemError) << "a failed flush is never forgotten";
    mDocument->Close(mFile);
    EXPECT_EQ(OpenHandles(), 2);
    FailNext(Flush, kIoError);
    EXPECT_THROW(mDocument->Close(second), OxbowExcSystemError) << "the first to meet it";
    mDocument->Close(second);
    OxbowRpm_File again = mDocument->AddFile(Name("file"), kUpdate);
    EXPECT_EQ(Get(again.Start(), 9), "data");
}

TEST_F(Failures, OfACloseLeaveTheFilesBehindItOpenAndTheNextClosePassesOverTheOthers) {
    OxbowRpm_File second = mDocument->AddFile(Name("second"), kCreate);
    OxbowRpm_File third = mDocument->AddFile(Name("third"), kCreate);
    Put(third, "data");
    Fail({Flush, kIoError, 1});
    EXPECT_THROW(mDocument->Close(), OxbowExcSystemError);
    EXPECT_EQ(Get(third.Start(), 9), "data");
    EXPECT_THROW(mDocument->Flush(), OxbowExcSystemError) << "of the second file";
    Reset();
    mDocument->Close(mFile);  // closed already: only its entry goes
    mDocument->Close();
    EXPECT_EQ(Count(CloseFile), 2);
    EXPECT_EQ(OpenHandles(), 1);
}

TEST_F(Failures, OfTheMemoryLeaveADocumentThatCanBeClosed) {
    for (const char* name : {"b", "c", "d"}) {
        mDocument->AddFile(Name(name), kCreate);
    }
    long call = 1;
    for (bool closed = false; !closed; ++call) {
        TestAllocator::FailAt(call);
        try {
            mDocument->Close();
            closed = true;
        } catch (const std::bad_alloc&) {
            TestAllocator::Disarm();
            EXPECT_NO_THROW(mFile.Start()) << call;
        }
    }
    EXPECT_GT(call, 3);
    TestAllocator::Disarm();
    EXPECT_EQ(OpenHandles(), 1);
    OxbowRpm_File file = Reopen("file");
    TestAllocator::FailAt(1, true);
    EXPECT_NO_THROW(mDocument->Flush()) << "a flush needs no memory";
    EXPECT_NO_THROW(file.Flush());
}

TEST_F(Failures, ToSealATooLongPoolLeaveTheFileAsItWas) {
    const std::uint64_t half = kLongest / 2;
    (mSource.Allocate(half + 1000) + (half + 999)).Write(1, "x");
    (mFile.Allocate(half) + (half - 1)).Write(1, "x");
    FailWrite(0);
    EXPECT_THROW(mFile.AppendPool(mSource.Pool()), OxbowExcWriteError);
    Reset();
    EXPECT_THROW(mFile.NewPool(), OxbowExcIOBounds) << "the pool and what the copy has booked";
    EXPECT_EQ(Count(Write), 0);
    EXPECT_EQ(Reopen("file").Pool().Length(), half);
}

TEST_F(Failures, ToFitIntoADocumentRefuseADirectoryBeforeItIsRead) {
    mDocument->Close(mFile);
    const std::string own = Bytes("file").substr(48, 32);
    for (const std::uint32_t count : {46340u, 46341u, 67108862u}) {
        MemoryFile& file = At("file");  // sparse: behind the first entries all is zero
        file.Write(44, reinterpret_cast<const char*>(&count), 4);
        file.length = 48 + 32 * std::uint64_t{count};
        for (std::uint64_t i = 1; i < 46341; ++i) {
            file.Write(48 + 32 * i, own.data(), 32);
        }
        const long before = TestAllocator::ResetPeak();
        const int code = CodeOf([&] { Reopen("file"); });
        EXPECT_EQ(code, count > 46340 ? 9 : 0) << count << " entries";
        EXPECT_LE(TestAllocator::PeakBytes() - before, 8 << 20) << count << " entries";
    }
}

TEST_F(Failures, OfStreamsKeepWhatWasHeldBackAndTheLocatorThatWasRead) {
    OxbowRpm_Locator place = Put(mFile, "0123456789abcdef");
    auto* const stream = new OxbowRpm_BStreamWriteLocator(place, 0, 16);
    stream->WriteBlock("twelve bytes", 12);
    FailNext(Write, kIoError);
    EXPECT_THROW(stream->PrepWrite(5), OxbowExcWriteError);
    delete stream;
    EXPECT_EQ(Get(place, 16), "twelve bytescdef");

    OxbowRpm_Locator locator = place + 3;
    place.Write(12, "\1\0\0\0\0\0\0\0\x7F\0\0\0");
    OxbowRpm_BStreamReadLocator source(place, 12, 16);
    EXPECT_THROW(locator.InternalizeImpl(source), OxbowExcValidationFailure);
    EXPECT_EQ(Get(locator, 1), "\1");

    // A destructor may store something while an exception is on its way, and hears what fails.
    struct Storing {
        ~Storing() {
            EXPECT_EQ(CodeOf([this] { OxbowRpm_BStreamWriteLocator(end, 0, 16).Write(1); }), 10);
        }
        OxbowRpm_Locator end;
    };
    const auto storeWhileFailing = [this] {
        const Storing storing = {mFile.End()};
        mFile.Pool(1);
    };
    EXPECT_EQ(CodeOf(storeWhileFailing), 1);
}

}  // namespace
