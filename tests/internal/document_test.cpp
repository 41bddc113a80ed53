// A document and its files: what opening, closing and failing leave behind.

#include "internal/TestFolder.h"

namespace {

using Mode = OxbowRpm_Document::AccessMode;
constexpr Mode kCreate = OxbowRpm_Document::AccessCreate;
constexpr Mode kUpdate = OxbowRpm_Document::AccessUpdate;
constexpr Mode kRead = OxbowRpm_Document::AccessReadOnly;

const int kBounds = OxbowExcIOBounds(0, 0, 0).GetCode();

class Documents : public TestFolder {
protected:
    template <class Exception>
    static int Code() {
        return Exception().GetCode();
    }
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
};

TEST_F(Documents, FailedAddFileGivesEveryPoolBack) {
    MakeFile("good", 3);
    std::string bytes = Bytes("good");  // the same pools, the last one sealed, and damage behind it
    bytes.replace(bytes.rfind("\x89OXB") + 20, 16, "0000000000000150");
    Store("bad", bytes + "less than a header");
    OxbowRpm_Document document("TEST"), fresh("TEST");
    OxbowRpm_File good = document.AddFile(Name("good"), kRead);
    for (OxbowRpm_Document* const each : {&document, &fresh}) {
        EXPECT_EQ(CodeOf([&] { each->AddFile(Name("bad"), kRead); }),
                  Code<OxbowExcCorruptHeader>());
    }
    for (unsigned i = 0; i < 3; ++i) {
        EXPECT_EQ(Get(good.Pool(i).Start(), 6), "pool " + std::to_string(i));
    }
    // Items without pools stay where no file had them: a pool may be appended under such a UUID.
    OxbowRpm_File target = fresh.AddFile(Name("target"), kCreate);
    target.AppendPool(good.Pool(0));
    EXPECT_EQ(Get(target.Start(), 6), "pool 0");
}

TEST_F(Documents, CloseAllLeavesASignatureOfZeros) {
    OxbowRpm_Document document("TEST");
    EXPECT_EQ(CodeOf([&] { document.Flush(); }), 0);
    OxbowRpm_File file = document.AddFile(Name("f"), kCreate);
    document.Close(file);
    EXPECT_EQ(CodeOf([&] { document.Close(file); }), Code<OxbowExcCantGetFile>());
    document.AddFile(Name("g"), kCreate);
    document.Flush();
    document.Close();
    document.AddFile(Name("zero"), kCreate);
    EXPECT_EQ(Bytes("zero").substr(16, 4), std::string(4, '\0'));
    EXPECT_EQ(CodeOf([&] { document.AddFile(Name("g"), kRead); }), Code<OxbowExcUserSigMismatch>());

    OxbowRpm_Document another("TEST");
    const OxbowRpm_File foreign = another.AddFile(Name("h"), kCreate);
    EXPECT_EQ(CodeOf([&] { document.Close(foreign); }), Code<OxbowExcCantGetFile>());
    EXPECT_EQ(foreign.PoolCount(), 1u);
    EXPECT_EQ(std::string(foreign.FileName().View()), PathOf("h"));
}

TEST_F(Documents, AFileWithoutPoolsGetsItsFirstOnRequest) {
    for (const Mode mode : {kRead, kUpdate}) {
        Store("empty", "");
        OxbowRpm_Document document("TEST");
        OxbowRpm_File file = document.AddFile(Name("empty"), mode);
        testing::internal::CaptureStderr();
        EXPECT_EQ(CodeOf([&] { file.End(); }), Code<OxbowExcValidationFailure>());
        EXPECT_EQ(CodeOf([&] { file.Pool(); }), Code<OxbowExcValidationFailure>());
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        file.Flush();
        EXPECT_EQ(CodeOf([&] { file.NewPool(); }),
                  mode == kRead ? Code<OxbowExcNewPoolReadOnly>() : 0);
        EXPECT_EQ(Bytes("empty").size(), mode == kRead ? 0u : 80u);
    }
}

TEST_F(Documents, OnlyTheLastPoolOfAWritableFileGrows) {
    MakeFile("f", 2);
    OxbowRpm_Document document("TEST");
    {
        OxbowRpm_File file = document.AddFile(Name("f"), kUpdate);
        EXPECT_EQ(CodeOf([&] { file.Pool(0).Allocate(1); }), Code<OxbowExcImmutablePool>());
        EXPECT_FALSE(file.Pool(0).ReadOnly());
        file.Pool(0).Start().Write(4, "POOL");
        EXPECT_TRUE(file.Allocate(0) == file.End());
        const std::uint64_t greatest = 9999999999999999u - 48 - 64;
        EXPECT_EQ(CodeOf([&] { file.Allocate(greatest - 5); }), kBounds);
        EXPECT_EQ(CodeOf([&] { file.Allocate(UINT64_MAX); }), kBounds);
        EXPECT_EQ(CodeOf([&] { (file.Start() + 6).Write(UINT64_MAX, ""); }), kBounds);
        EXPECT_EQ(file.Pool().Length(), 6u);
        document.Close(file);
    }
    OxbowRpm_File file = document.AddFile(Name("f"), kRead);
    EXPECT_EQ(CodeOf([&] { file.Allocate(1); }), Code<OxbowExcImmutablePool>());
    EXPECT_EQ(CodeOf([&] { file.Start().Write(1, "x"); }), Code<OxbowExcWriteReadOnly>());
    EXPECT_EQ(CodeOf([&] { file.End().Write(1, "x"); }), kBounds);
    EXPECT_EQ(Get(file.Pool(0).Start(), 7), std::string("POOL 0\x89")) << "not bounded by the pool";
}

TEST_F(Documents, AppendPoolRefusesBeforeItWrites) {
    MakeFile("source", 2);
    MakeFile("foreign", 1, "ELSE");
    OxbowRpm_Document sources("TEST"), foreigners("ELSE"), document("TEST");
    const OxbowRpm_File source = sources.AddFile(Name("source"), kUpdate);
    const OxbowRpm_File foreign = foreigners.AddFile(Name("foreign"), kRead);
    for (const bool empty : {false, true}) {
        OxbowRpm_File file = document.AddFile(Name("f"), kCreate);
        if (!empty) {
            Put(file, "data");
        }
        const std::string before = Bytes("f");
        const auto refused = [&](const OxbowRpm_Pool& pool) {
            const int code = CodeOf([&] { file.AppendPool(pool); });
            EXPECT_EQ(Bytes("f"), before);
            EXPECT_EQ(file.PoolCount(), 1u);
            return code;
        };
        EXPECT_EQ(refused(file.Pool()), Code<OxbowExcPoolAlreadyInDoc>());
        EXPECT_EQ(refused(foreign.Pool()), Code<OxbowExcUserSigMismatch>());
        source.Pool().Allocate(10);  // booked, not written
        EXPECT_EQ(refused(source.Pool()), Code<OxbowExcShortPool>());
        EXPECT_EQ(CodeOf([&] { Put(file, "more"); }), 0) << "the pool still grows";
        document.Close(file);
    }
}

TEST_F(Documents, AppendPoolRefusesItsOwnAndWhatHasGrownSince) {
    MakeFile("own", 1);
    OxbowRpm_Document document("TEST");
    OxbowRpm_File own = document.AddFile(Name("own"), kUpdate);
    own.NewPool();
    Store("twin", Bytes("own"));
    document.Close(document.AddFile(Name("twin"), kRead));  // leaves own's pools unbound
    EXPECT_EQ(CodeOf([&] { own.AppendPool(own.Pool()); }), Code<OxbowExcPoolAlreadyInDoc>());

    MakeFile("grows", 1);
    OxbowRpm_Document writer("TEST"), stale("TEST");
    OxbowRpm_File grows = writer.AddFile(Name("grows"), kUpdate);
    const OxbowRpm_Pool seen = stale.AddFile(Name("grows"), kRead).Pool();
    Put(grows, "more than was seen");
    grows.NewPool();
    EXPECT_EQ(CodeOf([&] { own.AppendPool(seen); }), Code<OxbowExcShortPool>());
    EXPECT_EQ(own.PoolCount(), 2u);
}

}  // namespace
