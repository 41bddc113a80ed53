// What a failed operation leaves: everything that it didn't have to change, ready for use.

#include "doubles/CountingAllocator.h"
#include "doubles/RecordingPlatform.h"
#include "internal/TestFolder.h"

namespace {

using Document = OxbowRpm_Document;
using namespace TestPlatform;

class Failures : public TestFolder {
protected:
    ~Failures() override { Reset(); }

    Document mDocument{"TEST"};
    OxbowRpm_File mFile = mDocument.AddFile(Name("a"), Document::AccessCreate);
    OxbowRpm_File mOther = mDocument.AddFile(Name("b"), Document::AccessCreate);
    OxbowRpm_Locator mPlace = Put(mFile, "0123456789abcdef");
};

TEST_F(Failures, ToFindRoomForAPoolKeepNothingElseFromTheDevice) {
    Fail({Write, 28, 0, true, true});
    EXPECT_THROW(mFile.NewPool(), OxbowExcWriteError);
    mPlace.Write(2, "xx");
    mDocument.Flush();
    mDocument.Close();
    EXPECT_EQ(Count(Flush), 4);
    Document again("TEST");
    EXPECT_EQ(Get(again.AddFile(Name("a"), Document::AccessReadOnly).Start(), 4), "xx23");
}

TEST_F(Failures, OfALongCopyLeaveWhatStoodBeforeIt) {
    Document document("TEST");
    OxbowRpm_File source = document.AddFile(Name("source"), Document::AccessCreate);
    const std::string data(600000, 's');
    Put(source, data);
    mPlace = Put(mOther, "data");
    for (int write = 0; write < 3; ++write) {  // the chunks
        Fail({Write, 28, write});
        EXPECT_THROW(mOther.AppendPool(source.Pool()), OxbowExcWriteError);
        EXPECT_TRUE(gFired && mOther.PoolCount() == 1 && Get(mPlace, 4) == "data");
    }
    mOther.AppendPool(source.Pool());
    EXPECT_EQ(Get(mOther.Start(), data.size()), data);
    EXPECT_EQ(Get(mOther.Pool(0).Start(), 4), "data");
}

TEST_F(Failures, OfAFlushLeaveTheFileOpenAndOfTheMemoryTheDocument) {
    FailNext(Flush, 5);
    EXPECT_THROW(mDocument.Close(mOther), OxbowExcSystemError);
    EXPECT_EQ(Get(mOther.Start(), 1), "");
    Reset();
    EXPECT_THROW(mDocument.Close(mOther), OxbowExcSystemError)
        << "a failed flush is never forgotten";
    OxbowRpm_Document one("TEST");
    mPlace = Put(one.AddFile(Name("c"), Document::AccessCreate), "01");
    long call = 1;
    for (bool closed = false; !closed; ++call) {
        TestAllocator::FailAt(call);
        try {
            one.Close();
            closed = true;
        } catch (const std::bad_alloc&) {
            EXPECT_EQ(Get(mPlace, 2), "01") << call;
        }
        TestAllocator::Disarm();
    }
    EXPECT_GT(call, 3);
}

TEST_F(Failures, OfStreamsKeepWhatWasHeldBackAndTheLocatorThatWasRead) {
    auto* const stream = new OxbowRpm_BStreamWriteLocator(mPlace, 0, 16);
    stream->WriteBlock("twelve bytes", 12);
    FailNext(Write, 5);
    EXPECT_THROW(stream->PrepWrite(5), OxbowExcWriteError);
    delete stream;
    EXPECT_EQ(Get(mPlace, 16), "twelve bytescdef");

    OxbowRpm_Locator locator = mPlace + 3;
    mPlace.Write(12, "\1\0\0\0\0\0\0\0\x7F\0\0\0");
    OxbowRpm_BStreamReadLocator source(mPlace, 12, 16);
    EXPECT_THROW(locator.InternalizeImpl(source), OxbowExcValidationFailure);
    EXPECT_EQ(Get(locator, 1), "\1");

    // A destructor may store something while an exception is on its way, and hears what fails.
    struct Storing {
        ~Storing() {
            EXPECT_EQ(CodeOf([this] { OxbowRpm_BStreamWriteLocator(end, 0, 16).Write(1); }), 10);
        }
        OxbowRpm_Locator end;
    };
    EXPECT_EQ(CodeOf([this] {
                  const Storing storing = {mFile.End()};
                  mFile.Pool(1);
              }),
              1);
}

}  // namespace
