// The library as a host meets it: public headers, and the shared object as it ships.

#include <sstream>

#include "internal/TestFolder.h"

namespace {

using PublicInterface = TestFolder;

/** The file whose bytes the format's page shows, line by line: position, 16 bytes, meaning. */
std::string WorkedExample() {
    std::ifstream page(OXBOW_FORMAT_PAGE);
    std::string bytes;
    for (std::string line; std::getline(page, line);) {
        std::istringstream words(line.substr(0, 10 + 16 * 3));
        unsigned value;
        if (words >> value && value == bytes.size()) {
            while (words >> std::hex >> value) {
                bytes += static_cast<char>(value);
            }
        }
    }
    return bytes;
}

TEST_F(PublicInterface, WritesTheFormatPagesExample) {
    const std::string page = WorkedExample();
    ASSERT_EQ(page.size(), 216u);
    int modules = 0;
    OxbowPoolManager_initialize(modules);
    EXPECT_EQ(modules, 9) << "each module counts once";
    OxbowPoolManager_initialize(modules);
    OxbowPoolManager_finalize(modules);
    EXPECT_EQ(modules, 9) << "the inner pair counts nothing";
    {
        OxbowRpm_Document document("ABCD");
        OxbowRpm_PoolDirectory::TestForceUUID(&page[48]);
        OxbowRpm_File file = document.AddFile(Name("file"), OxbowRpm_Document::AccessCreate);
        const OxbowRpm_Locator place = file.Allocate(12);
        OxbowRpm_BStreamWriteLocator(place, 12, 64).Write("hello");
        OxbowRpm_PoolDirectory::TestForceUUID(&page[140]);
        file.NewPool();
        OxbowRpm_BStreamWriteLocator stream(file.Allocate(12), 12, 64);
        place.ExternalizeImpl(stream);
    }
    OxbowPoolManager_finalize(modules);
    EXPECT_EQ(modules, 0);
    EXPECT_EQ(Bytes("file"), page);
}

/** Each is raised through the root and caught by its class: both sides of the library hold one
    type. The codes are in hosts' logs and never change; other tests name those left out here. */
template <class... Exceptions>
void ExpectCaughtByClass(int code, const Exceptions&... failures) {
    const auto expect = [&code](const FennelException& root, auto type) {
        EXPECT_THROW(root.Propagate(), decltype(type)) << code;
        EXPECT_EQ(root.GetCode(), code++);
    };
    (expect(failures, failures), ...);
}

TEST_F(PublicInterface, RareExceptionsAreCaughtByClassAndHaveTheirCodes) {
    const FennelSystemError error(38);
    ExpectCaughtByClass(3, OxbowExcCantExternalizeLoc(), OxbowExcCantGetFile());
    ExpectCaughtByClass(11, OxbowExcImmutablePool(), OxbowExcNewPoolReadOnly());
    ExpectCaughtByClass(15, OxbowExcWriteReadOnly(), OxbowExcPoolAlreadyInDoc());
    ExpectCaughtByClass(20, OxbowExcReadError(error), OxbowExcWriteError(error), OxbowExcReadOnly(),
                        OxbowExcShortWrite());
    ExpectCaughtByClass(101, FennelExcNoEntropy(error));
    EXPECT_EQ(OxbowExcNeedUpgrade(6, 5, OxbowRpm_FileNameBuffer("")).FoundVersion(), 5u);
}

}  // namespace
