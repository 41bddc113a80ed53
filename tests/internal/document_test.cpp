// A document and its files: what opening, closing and failing leave behind.
#include "doubles/CountingAllocator.h"
#include "internal/TestFolder.h"

constexpr auto kCreate = OxbowRpm_Document::AccessCreate;
constexpr auto kUpdate = OxbowRpm_Document::AccessUpdate;
constexpr auto kRead = OxbowRpm_Document::AccessReadOnly;

struct Documents : TestFolder {
    /** A file of `pools` pools, each with its number as data. */
    void MakeFile(const std::string& name, int pools, const char* signature = "TEST") {
        OxbowRpm_Document document(signature);
        OxbowRpm_File file = document.AddFile(Name(name), kCreate);
        for (int i = 0; i < pools; ++i) {
            if (i > 0) {
                file.NewPool();
            }
            Put(file, "pool " + std::to_string(i));
        }
        document.Close();
    }
    OxbowRpm_Document mDocument{"TEST"}, mOther{"TEST"};
};

TEST_F(Documents, FailedAddFileGivesEveryPoolBack) {
    MakeFile("good", 3);
    std::string bytes = Bytes("good");  // the same pools, the last one sealed, and damage behind it
    bytes.replace(bytes.rfind("\x89OXB") + 20, 16, "0000000000000150");
    Store("bad", bytes + "less than a header");
    const OxbowRpm_File good = mDocument.AddFile(Name("good"), kRead);
    EXPECT_THROW(mDocument.AddFile(Name("bad"), kRead), OxbowExcCorruptHeader);
    EXPECT_THROW(mOther.AddFile(Name("bad"), kRead), OxbowExcCorruptHeader);
    EXPECT_EQ(Get(good.Pool(0).Start(), 6) + Get(good.Pool(2).Start(), 6), "pool 0pool 2");
    // Items without pools stay where no file had them: a pool may be appended under such a UUID.
    EXPECT_NO_THROW(mOther.AddFile(Name("target"), kCreate).AppendPool(good.Pool(0)));
}

TEST_F(Documents, CloseAllLeavesASignatureOfZeros) {
    const OxbowRpm_File file = mDocument.AddFile(Name("f"), kCreate);
    mDocument.Close(file);
    EXPECT_THROW(mDocument.Close(file), OxbowExcCantGetFile);
    mDocument.AddFile(Name("g"), kCreate);
    mDocument.Flush();
    mDocument.Close();
    mDocument.AddFile(Name("zero"), kCreate);
    EXPECT_EQ(Bytes("zero").substr(16, 4), std::string(4, '\0'));
    EXPECT_THROW(mDocument.AddFile(Name("g"), kRead), OxbowExcUserSigMismatch);
    const OxbowRpm_File foreign = mOther.AddFile(Name("h"), kCreate);
    EXPECT_THROW(mDocument.Close(foreign), OxbowExcCantGetFile);
    EXPECT_EQ(Text(foreign.FileName()), PathOf("h"));
}

TEST_F(Documents, AppendPoolRefusesBeforeItWrites) {
    MakeFile("source", 1);
    MakeFile("foreign", 1, "ELSE");
    OxbowRpm_Document foreigners("ELSE"), readers("TEST");
    OxbowRpm_File source = mOther.AddFile(Name("source"), kUpdate);
    const OxbowRpm_Pool foreign = foreigners.AddFile(Name("foreign"), kRead).Pool();
    const OxbowRpm_Pool seen = readers.AddFile(Name("source"), kRead).Pool();
    Put(source, "more than was seen");
    source.NewPool();
    source.Allocate(10);  // booked, not written
    for (const char* data : {"data", ""}) {
        OxbowRpm_File file = mDocument.AddFile(Name("f"), kCreate);
        Put(file, data);
        const std::string before = Bytes("f");
        EXPECT_THROW(file.AppendPool(file.Pool()), OxbowExcPoolAlreadyInDoc);
        EXPECT_THROW(file.AppendPool(foreign), OxbowExcUserSigMismatch);
        EXPECT_THROW(file.AppendPool(seen), OxbowExcShortPool);
        EXPECT_THROW(file.AppendPool(source.Pool()), OxbowExcShortPool);
        EXPECT_EQ(Bytes("f"), before);
        EXPECT_EQ(file.PoolCount(), 1u);
        EXPECT_NO_THROW(Put(file, "more")) << "the pool still grows";
        mDocument.Close(file);
    }
    MakeFile("own", 1);
    OxbowRpm_File own = mDocument.AddFile(Name("own"), kUpdate);
    own.NewPool();
    Store("twin", Bytes("own"));
    mDocument.Close(mDocument.AddFile(Name("twin"), kRead));  // leaves own's pools unbound
    EXPECT_THROW(own.AppendPool(own.Pool()), OxbowExcPoolAlreadyInDoc);
}

TEST_F(Documents, AddFileCostsWhatItsFileHoldsWhateverTheDocumentKnows) {
    MakeFile("f", 2);
    long calls[2] = {};
    for (const int known : {0, 300}) {
        OxbowRpm_Document document("TEST");
        OxbowRpm_File many = document.AddFile(Name("many"), kCreate);
        for (int i = 0; i < known; ++i) {
            Put(many, "x");
            many.NewPool();
        }
        const long before = TestAllocator::sCalls;
        document.AddFile(Name("f"), kRead);
        calls[known != 0] = TestAllocator::sCalls - before;
    }
    EXPECT_LE(calls[1], calls[0] + 4) << "allocations, of which the map's own growth takes a few";
}
