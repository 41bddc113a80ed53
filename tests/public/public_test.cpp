// The library as a host meets it: public headers, and the shared object as it ships.

#include <OxbowPoolManager/base/mem_Functions.h>

#include <sstream>

#include "internal/TestFolder.h"

namespace {

constexpr auto kCreate = OxbowRpm_Document::AccessCreate;
constexpr auto kRead = OxbowRpm_Document::AccessReadOnly;

class PublicInterface : public TestFolder {
protected:
    PublicInterface() { OxbowPoolManager_initialize(mModules); }
    ~PublicInterface() override {
        OxbowPoolManager_finalize(mModules);
        EXPECT_EQ(mModules, 0);
    }

    int mModules = 0;
};

TEST_F(PublicInterface, SecondWriterIsRefusedAndReaderIsNot) {
    OxbowRpm_Document document("publ");
    Put(document.AddFile(Name("shared"), kCreate), "record");
    for (int round = 0; round < 2; ++round) {  // a reader that closes takes no lock along
        OxbowRpm_Document second("publ");
        for (const auto mode : {OxbowRpm_Document::AccessUpdate, kCreate}) {
            EXPECT_THROW(second.AddFile(Name("shared"), mode), OxbowExcSystemError);
        }
        EXPECT_EQ(Get(second.AddFile(Name("shared"), kRead).Start(), 6), "record");
    }
    document.Close();
    OxbowRpm_Document next("publ");
    EXPECT_EQ(next.AddFile(Name("shared"), OxbowRpm_Document::AccessUpdate).PoolCount(), 1u);
}

/** The file whose bytes the format's page shows, line by line: position, bytes, meaning. */
std::string WorkedExample() {
    std::ifstream page(OXBOW_FORMAT_PAGE);
    std::string bytes;
    for (std::string line, shown; std::getline(page, line);) {
        std::istringstream words(line);
        std::size_t position;
        if (words >> position && words.get() == ' ' && words.get() == ' ') {
            EXPECT_EQ(position, bytes.size());
            while (words.peek() != ' ' && words >> shown) {
                bytes += static_cast<char>(std::stoul(shown, nullptr, 16));
                words.get();
            }
        }
    }
    return bytes;
}

TEST_F(PublicInterface, ReadsAndWritesTheFormatPagesExample) {
    const std::string page = WorkedExample();
    Store("page", page);
    OxbowRpm_Document document("ABCD"), second("ABCD");
    const OxbowRpm_File shown = document.AddFile(Name("page"), kRead);
    OxbowRpm_BStreamReadLocator reference(shown.Start(), 12, 64);
    OxbowRpm_Locator hello;
    hello.InternalizeImpl(reference);
    FennelString text;
    OxbowRpm_BStreamReadLocator(hello, 12, 64).Read(text);
    EXPECT_EQ(text.View(), "hello");

    const std::string first = Text(shown.Pool(0).GetGUID()), last = Text(shown.Pool(1).GetGUID());
    OxbowRpm_PoolDirectory::TestForceUUID(first.data());
    OxbowRpm_File written = second.AddFile(Name("written"), kCreate);
    const OxbowRpm_Locator place = written.Allocate(12);
    OxbowRpm_BStreamWriteLocator(place, 12, 64).Write(text);
    OxbowRpm_PoolDirectory::TestForceUUID(last.data());
    written.NewPool();
    {
        OxbowRpm_BStreamWriteLocator out(written.Allocate(12), 12, 64);
        place.ExternalizeImpl(out);
    }
    EXPECT_TRUE(Bytes("written") == page);
}

/** Each is raised through the root and caught by its class: both sides of the library hold one
    type. The codes stand in hosts' logs and never change; a text starts with its class's name. */
template <class... Exceptions>
void ExpectCaughtByClass(const Exceptions&... failures) {
    int code = 0;
    const auto raise = [](const FennelException& failure) { failure.Propagate(); };
    const auto expect = [&](const auto& failure) {
        const std::string text(failure.AsString().View()), type = typeid(failure).name();
        EXPECT_THROW(raise(failure), std::decay_t<decltype(failure)>) << text;
        EXPECT_EQ(failure.GetCode(), ++code) << text;
        EXPECT_NE(type.find(text.substr(0, text.find(':'))), type.npos) << text;
    };
    (expect(failures), ...);
}

TEST_F(PublicInterface, EachExceptionIsCaughtByClassAndHasItsCode) {
    const OxbowRpm_FileNameBuffer name("name");
    const FennelSystemError error(38);
    const OxbowExcNeedUpgrade upgrade(6, 5, name);
    ExpectCaughtByClass(
        OxbowExcValidationFailure(), OxbowExcCantDerefLocator(), OxbowExcCantExternalizeLoc(),
        OxbowExcCantGetFile(), OxbowExcCorruptHeader(), OxbowExcNotOxbowFile(), upgrade,
        OxbowExcUserSigMismatch(), OxbowExcCorruptDirectory(), OxbowExcIOBounds(1, 2, 3),
        OxbowExcImmutablePool(), OxbowExcNewPoolReadOnly(), OxbowExcShortPool(),
        OxbowExcAllocReadOnly(), OxbowExcWriteReadOnly(), OxbowExcPoolAlreadyInDoc(),
        OxbowExcSystemError(OxbowRpm_ServiceNameBuffer("call"), error), OxbowExcNoSuchFile(name),
        OxbowExcFileCloseFailed(error), OxbowExcReadError(error), OxbowExcWriteError(error),
        OxbowExcReadOnly(), OxbowExcShortWrite(), OxbowExcShortBuffer(2, 1),
        OxbowExcRequestTooBig(2, 1));
    EXPECT_TRUE(upgrade.ExpectedVersion() == 6 && upgrade.FoundVersion() == 5);
    EXPECT_STREQ(upgrade.FileName().Text(), "name");
    EXPECT_THROW(static_cast<const FennelException&>(FennelExcNoEntropy(error)).Propagate(),
                 FennelExcNoEntropy);
    EXPECT_EQ(FennelExcNoEntropy(error).GetCode(), 101);
    mem_Free(mem_AllocationOperators::operator new(4));
}

}  // namespace
