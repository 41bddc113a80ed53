// What each public operation returns, and what it plainly refuses.
#include <array>

#include "internal/TestFolder.h"

namespace {

using Document = OxbowRpm_Document;
using std::string;
constexpr auto kCreate = Document::AccessCreate, kUpdate = Document::AccessUpdate,
               kRead = Document::AccessReadOnly;

class Operations : public TestFolder {
protected:
    Document mDocument{"TEST"}, mOther{"TEST"};
    OxbowRpm_File mFile = mDocument.AddFile(Name("file"), kCreate);
};

TEST_F(Operations, ANullDocumentHandleIsRefusedByEachOfThem) {
    // A handle whose implementation is null, as its destructor leaves it.
    alignas(Document) std::array<char, sizeof(Document)> bytes = {};
    Document& null = *reinterpret_cast<Document*>(bytes.data());
    EXPECT_THROW(null.AddFile(Name("new"), kCreate), OxbowExcValidationFailure);
    EXPECT_THROW(null.NewDirectory(), OxbowExcValidationFailure);
    EXPECT_THROW(null.Flush(), OxbowExcValidationFailure);
    EXPECT_THROW(null.Close(), OxbowExcValidationFailure);
    EXPECT_THROW(null.Close(mFile), OxbowExcValidationFailure);
}

TEST_F(Operations, AddFileCreatesEmptiesOpensOrRefuses) {
    EXPECT_EQ(Bytes("file").size(), 80u);
    EXPECT_EQ(mFile.PoolCount(), 1u);
    Put(mFile, "data");
    mDocument.Close(mFile);
    EXPECT_EQ(Get(mDocument.AddFile(Name("file"), kRead).Start(), 9), "data");
    EXPECT_EQ(Get(mOther.AddFile(Name("file"), kUpdate).Start(), 9), "data");
    mOther.Close();
    EXPECT_EQ(Document("TEST").AddFile(Name("file"), kCreate).Pool().Length(), 0u);
    EXPECT_THROW(mDocument.AddFile(Name("none"), kRead), OxbowExcNoSuchFile);
    EXPECT_THROW(mDocument.AddFile(Name("none"), kUpdate), OxbowExcNoSuchFile);
}

TEST_F(Operations, GetFileTypeClassifiesByNineBytes) {
    const string signature = "\x89OXB\r\n\x1A\n";
    const struct {
        string bytes;
        Document::FileType type;
    } cases[] = {
        {signature + "\6", Document::PoolFile},
        {signature, Document::NotPoolFile},  // the ninth byte of the file before is no answer
        {"", Document::NotPoolFile},
        {"?" + signature.substr(1) + "\6", Document::NotPoolFile},
        {signature.substr(0, 7) + "?\6", Document::NotPoolFile},
        {signature + string(1, '\0'), Document::NotPoolFile},
        {signature + "\1", Document::LegacyPoolFile},
        {signature + "\2", Document::LegacyPoolFile},
        {signature + "\3", Document::PoolFile},
        {signature + "\7", Document::NotPoolFile},
        {signature + "\x80", Document::NotPoolFile},
    };
    for (const auto& [bytes, type] : cases) {
        Store("typed", bytes);
        EXPECT_EQ(Document::GetFileType(Name("typed")), type) << testing::PrintToString(bytes);
    }
    EXPECT_THROW(Document::GetFileType(Name("none")), OxbowExcNoSuchFile);
}

TEST_F(Operations, NewDirectoryCountsAsAPoolThatTheDocumentKnows) {
    const OxbowRpm_PoolDirectory directory = mDocument.NewDirectory();
    Put(mFile, "data");
    mFile.NewPool();
    const string header = Bytes("file").substr(84);
    EXPECT_EQ(header.substr(48, 32), Text(mFile.Pool().GetGUID()));
    EXPECT_EQ(header.substr(48 + 64, 32), Text(directory.GetGUID()));
    EXPECT_EQ(header.size(), 48u + 3 * 32);
    EXPECT_THROW(mOther.Close(mFile), OxbowExcCantGetFile);
}

TEST_F(Operations, CloseOfADocumentForgetsItsPools) {
    Put(mFile, "data");
    mDocument.NewDirectory();
    mDocument.Close();
    mDocument.AddFile(Name("after"), kCreate);
    EXPECT_EQ(Bytes("after").size(), 80u) << "a directory that names pools from before";
}

TEST_F(Operations, AFileSpeaksOfItsLastPool) {
    EXPECT_FALSE(mFile.ReadOnly());
    EXPECT_EQ(Text(mFile.FileName()), PathOf("file"));
    EXPECT_TRUE(mFile.Start() == mFile.End());
    EXPECT_TRUE(mFile.Allocate(10) == mFile.Start());
    EXPECT_TRUE(mFile.Allocate(20) == mFile.Start() + 10);
    EXPECT_TRUE(mFile.Allocate(0) == mFile.End());
    EXPECT_TRUE(mFile.End() == mFile.Start() + 30);
    EXPECT_EQ(mFile.Pool().Length(), 30u);
    mFile.NewPool();
    EXPECT_EQ(mFile.PoolCount(), 2u);
    EXPECT_FALSE(mFile.Start() == mFile.Pool(0).Start());
    EXPECT_EQ(Text(mFile.Pool().GetGUID()), Text(mFile.Pool(1).GetGUID()));
    EXPECT_THROW(mFile.Pool(2), OxbowExcValidationFailure);
    EXPECT_THROW(mFile.Pool(UINT32_MAX), OxbowExcValidationFailure);
}

TEST_F(Operations, AFileWithoutPoolsRefusesUntilItGetsOne) {
    Store("empty", "");
    OxbowRpm_File empty = mDocument.AddFile(Name("empty"), kUpdate);
    EXPECT_EQ(empty.PoolCount(), 0u);
    EXPECT_THROW(empty.Start(), OxbowExcValidationFailure);
    EXPECT_THROW(empty.End(), OxbowExcValidationFailure);
    EXPECT_THROW(empty.Allocate(1), OxbowExcValidationFailure);
    EXPECT_THROW(empty.Pool(), OxbowExcValidationFailure);
    empty.NewPool();
    EXPECT_EQ(Bytes("empty").size(), 48u + 2 * 32);
}

TEST_F(Operations, AReadOnlyFileRefusesEveryChange) {
    const OxbowRpm_Pool source = mOther.AddFile(Name("source"), kCreate).Pool();
    Put(source, "data");
    Put(mFile, "data");
    mDocument.Close(mFile);
    OxbowRpm_File file = mDocument.AddFile(Name("file"), kRead);
    EXPECT_TRUE(file.ReadOnly());
    EXPECT_TRUE(file.Pool().ReadOnly());
    EXPECT_TRUE(file.Start().ReadOnly());
    EXPECT_THROW(file.Allocate(1), OxbowExcImmutablePool);
    EXPECT_THROW(file.NewPool(), OxbowExcNewPoolReadOnly);
    EXPECT_THROW(file.AppendPool(source), OxbowExcNewPoolReadOnly);
    EXPECT_THROW(file.Start().Write(4, "more"), OxbowExcWriteReadOnly);
    EXPECT_NO_THROW(file.Flush());
    EXPECT_EQ(Bytes("file").substr(80), "data");
}

TEST_F(Operations, ASealedPoolIsOverwrittenAndNotExtended) {
    Put(mFile, "data");
    mFile.NewPool();
    const OxbowRpm_Pool sealed = mFile.Pool(0);
    EXPECT_FALSE(sealed.ReadOnly());
    EXPECT_EQ(sealed.Length(), 4u);
    sealed.Start().Write(4, "DATA");
    EXPECT_EQ(Get(sealed.Start(), 4), "DATA");
    EXPECT_THROW(OxbowRpm_Pool(sealed).Allocate(1), OxbowExcImmutablePool);
    EXPECT_EQ(Text(sealed.Directory().GetGUID()), Text(sealed.GetGUID()));
    EXPECT_EQ(Text(sealed.GetGUID()).size(), 32u);
}

TEST_F(Operations, AppendPoolCopiesUUIDDataAndReferences) {
    OxbowRpm_File file = mOther.AddFile(Name("source"), kCreate);
    const OxbowRpm_Locator data = Put(file, "data");
    {
        OxbowRpm_BStreamWriteLocator stream(file.Allocate(12), 12, 16);
        data.ExternalizeImpl(stream);
    }
    Put(mFile, "before");
    mFile.AppendPool(file.Pool());
    EXPECT_EQ(mFile.PoolCount(), 2u);
    EXPECT_EQ(Text(mFile.Pool().GetGUID()), Text(data.GetGUID()));
    EXPECT_EQ(Get(mFile.Start(), 4), "data");
    OxbowRpm_Locator reference;
    OxbowRpm_BStreamReadLocator stream(mFile.Start() + 4, 12, 16);
    reference.InternalizeImpl(stream);
    EXPECT_TRUE(reference == mFile.Start());
    EXPECT_NO_THROW(Put(mFile, "more"));
    EXPECT_THROW(mFile.AppendPool(file.Pool()), OxbowExcPoolAlreadyInDoc);
}

TEST_F(Operations, LocatorsAreEqualInOneDocumentPoolAndOffsetOnly) {
    OxbowRpm_File second = mDocument.AddFile(Name("second"), kCreate);
    OxbowRpm_File foreign = mOther.AddFile(Name("foreign"), kCreate);
    const OxbowRpm_Locator place = mFile.Start() + 5;
    EXPECT_TRUE(place == OxbowRpm_Locator(mFile.Start(), 5));
    EXPECT_TRUE(place == mFile.Start() + 7 - 2);
    EXPECT_FALSE(place == mFile.Start() + 4) << "another offset";
    EXPECT_FALSE(place == second.Start() + 5) << "another pool";
    EXPECT_FALSE(place == foreign.Start() + 5) << "another document";
    OxbowRpm_Locator moved = place;
    OxbowRpm_Locator& returned = moved += 3;
    EXPECT_EQ(&returned, &moved);
    EXPECT_TRUE(moved == mFile.Start() + 8);
    EXPECT_TRUE(OxbowRpm_Locator().IsNull());
    EXPECT_FALSE(place.IsNull());
    EXPECT_EQ(Text(place.GetGUID()), Text(mFile.Pool().GetGUID()));
}

TEST_F(Operations, ALocatorReadsOnPastItsPoolButWritesWithinIt) {
    const OxbowRpm_Locator place = Put(mFile, "0123456789");
    mFile.NewPool();
    EXPECT_EQ(Get(place + 8, 6), "89\x89OXB");
    EXPECT_EQ(Get(mFile.End(), 1), "") << "the file's end";
    EXPECT_NO_THROW((place + 8).Write(2, "xy"));
    EXPECT_NO_THROW((place + 10).Write(0, ""));
    try {
        (place + 8).Write(3, "xyz");
        FAIL() << "a write past the pool's data";
    } catch (const OxbowExcIOBounds& refused) {
        EXPECT_EQ(refused.Offset(), 8u);
        EXPECT_EQ(refused.End(), 11u);
        EXPECT_EQ(refused.Limit(), 10u);
    }
}

TEST_F(Operations, ALocatorWaitsForItsFile) {
    const OxbowRpm_Locator place = Put(mFile, "data");
    const string guid = Text(place.GetGUID());
    mDocument.Close(mFile);
    EXPECT_THROW(Get(place, 4), OxbowExcCantDerefLocator);
    EXPECT_THROW(place.Write(1, "x"), OxbowExcCantDerefLocator);
    EXPECT_EQ(Text(place.GetGUID()), guid);
    EXPECT_TRUE(place == OxbowRpm_Locator(place));
    mDocument.AddFile(Name("file"), kUpdate);
    EXPECT_EQ(Get(place, 4), "data");
}

TEST_F(Operations, AllocateRefusesWhatNoHeaderCanExpressAndNamesTheNumbers) {
    const std::uint64_t greatest = 9999999999999999 - 80;
    mFile.Allocate(7);
    for (const std::uint64_t size : {greatest - 6, UINT64_MAX}) {
        try {
            mFile.Allocate(size);
            FAIL() << size << " bytes were booked";
        } catch (const OxbowExcIOBounds& refused) {
            EXPECT_EQ(refused.Offset(), 7u);
            EXPECT_EQ(refused.End(), size == UINT64_MAX ? UINT64_MAX : greatest + 1);
            EXPECT_EQ(refused.Limit(), greatest);
        }
    }
    EXPECT_EQ(mFile.Pool().Length(), 7u);
    EXPECT_NO_THROW(mFile.Allocate(greatest - 7));
}

}  // namespace
