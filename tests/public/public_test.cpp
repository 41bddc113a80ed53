// The library as a host meets it: public headers, the shared object as it ships, real processes.

#include <OxbowPoolManager/base/mem_Functions.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <regex>
#include <sstream>
#include <vector>

#include "internal/TestFolder.h"

namespace {

constexpr unsigned kRecords = 9;
constexpr auto kCreate = OxbowRpm_Document::AccessCreate;
constexpr auto kUpdate = OxbowRpm_Document::AccessUpdate;
constexpr auto kRead = OxbowRpm_Document::AccessReadOnly;

std::string Record(unsigned i) {
    return std::string(i * i * 700 + 1, static_cast<char>('a' + i));
}

class PublicInterface : public TestFolder {
protected:
    PublicInterface() { OxbowPoolManager_initialize(mModules); }
    ~PublicInterface() override {
        OxbowPoolManager_finalize(mModules);
        EXPECT_EQ(mModules, 0);
    }

    /** Runs the body in another process, which tells by its status that an expectation failed. */
    static void InSecondProcess(const std::function<void()>& body) {
        const pid_t child = fork();
        if (child == 0) {
            body();
            std::fflush(nullptr);
            _exit(HasFailure() ? 1 : 0);
        }
        int status = -1;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }

    /** Records in two files, each in a pool of its own; a third file lists them: a count, then name and
        reference of each, the last one null. */
    void WriteThreeFiles() const {
        OxbowRpm_Document document("publ");
        OxbowRpm_File files[] = {document.AddFile(Name("even"), kCreate),
                                 document.AddFile(Name("odd"), kCreate)};
        std::vector<OxbowRpm_Locator> records;
        for (unsigned i = 0; i < kRecords; ++i) {
            records.push_back(Put(files[i % 2], Record(i)));
            files[i % 2].NewPool();
        }
        records.emplace_back();
        OxbowRpm_File list = document.AddFile(Name("list"), kCreate);
        OxbowRpm_BStreamWriteLocator stream(list.Allocate(1024), 0, 64);
        stream.Write(static_cast<std::uint32_t>(records.size()));
        for (const OxbowRpm_Locator& record : records) {
            stream.Write("name");
            record.ExternalizeImpl(stream);
        }
    }
    static void ReadList(const OxbowRpm_Locator& start) {
        OxbowRpm_BStreamReadLocator stream(start, 0, 64);
        std::uint32_t count = 0;
        stream.Read(count);
        ASSERT_EQ(count, kRecords + 1);
        for (unsigned i = 0; i <= kRecords; ++i) {
            FennelString name;
            OxbowRpm_Locator record;
            stream.Read(name);
            record.InternalizeImpl(stream);
            ASSERT_EQ(name.View(), "name");
            ASSERT_EQ(record.IsNull(), i == kRecords);
            ASSERT_TRUE(record.IsNull() || Get(record, Record(i).size()) == Record(i)) << i;
        }
    }

    int mModules = 0;
};

TEST_F(PublicInterface, SecondProcessFollowsReferencesInAnyOrderOfOpening) {
    WriteThreeFiles();
    for (const bool oddFirst : {false, true}) {
        InSecondProcess([&] {
            OxbowRpm_Document document("publ");
            const OxbowRpm_File list = document.AddFile(Name("list"), kRead);
            document.AddFile(Name(oddFirst ? "odd" : "even"), kRead);
            document.AddFile(Name(oddFirst ? "even" : "odd"), kRead);
            ReadList(list.Start());
        });
    }
}

TEST_F(PublicInterface, CopiedPoolsKeepTheirReferencesWhenTheirFirstFilesAreGone) {
    WriteThreeFiles();
    {
        OxbowRpm_Document from("publ"), to("publ");
        OxbowRpm_File all = to.AddFile(Name("all"), kCreate);
        for (const char* name : {"even", "odd", "list"}) {
            const OxbowRpm_File source = from.AddFile(Name(name), kRead);
            for (std::uint32_t i = 0; i < source.PoolCount(); ++i) {
                all.AppendPool(source.Pool(i));
            }
            std::filesystem::remove(PathOf(name));
        }
        to.Close();
    }
    OxbowRpm_Document document("publ");
    ReadList(document.AddFile(Name("all"), kRead).Start());
}

TEST_F(PublicInterface, SecondWriterIsRefusedAndReaderIsNot) {
    OxbowRpm_Document document("publ");
    Put(document.AddFile(Name("shared"), kCreate), Record(2));
    const auto openAgain = [this] {
        OxbowRpm_Document second("publ");
        for (const auto mode : {kUpdate, kCreate}) {
            EXPECT_THROW(second.AddFile(Name("shared"), mode), OxbowExcSystemError);
        }
        EXPECT_EQ(Get(second.AddFile(Name("shared"), kRead).Start(), 2801), Record(2));
    };
    InSecondProcess(openAgain);
    openAgain();
    openAgain();  // the reader of the last time is closed, and has taken no lock along
    document.Close();
    OxbowRpm_Document next("publ");
    EXPECT_EQ(next.AddFile(Name("shared"), kUpdate).PoolCount(), 1u);
}

/** The file whose bytes the format's page shows, line by line: position, bytes, meaning. */
std::string WorkedExample() {
    std::ifstream page(OXBOW_FORMAT_PAGE);
    const std::regex shown("^ *([0-9]+)  ((?:[0-9A-F]{2} )*[0-9A-F]{2})(?:  .*)?$");
    std::string bytes;
    std::smatch parts;
    for (std::string line; std::getline(page, line);) {
        if (std::regex_match(line, parts, shown)) {
            EXPECT_EQ(std::stoul(parts[1]), bytes.size());
            std::istringstream values(parts[2]);
            for (unsigned value; values >> std::hex >> value;) {
                bytes += static_cast<char>(value);
            }
        }
    }
    return bytes;
}

TEST_F(PublicInterface, ReadsAndWritesTheFormatPagesExample) {
    std::string page = WorkedExample();
    Store("page", page);
    OxbowRpm_Document document("ABCD"), second("ABCD");
    const OxbowRpm_File shown = document.AddFile(Name("page"), kRead);
    OxbowRpm_BStreamReadLocator reference(shown.Start(), 12, 64);
    OxbowRpm_Locator hello;
    hello.InternalizeImpl(reference);
    OxbowRpm_BStreamReadLocator stream(hello, 12, 64);
    FennelString text;
    stream.Read(text);
    EXPECT_EQ(text.View(), "hello");

    OxbowRpm_File written = second.AddFile(Name("written"), kCreate);
    const OxbowRpm_Locator place = written.Allocate(12);
    OxbowRpm_BStreamWriteLocator(place, 12, 64).Write(text);
    written.NewPool();
    {
        OxbowRpm_BStreamWriteLocator out(written.Allocate(12), 12, 64);
        place.ExternalizeImpl(out);
    }
    for (const unsigned i : {0u, 1u}) {  // what was drawn by chance is taken over from the page
        const std::string drawn = Text(written.Pool(i).GetGUID());
        for (std::size_t at; (at = page.find(Text(shown.Pool(i).GetGUID()))) != page.npos;) {
            page.replace(at, drawn.size(), drawn);
        }
    }
    EXPECT_TRUE(Bytes("written") == page);
}

/** Each is raised through the root and caught by its class: both sides of the library hold one type. */
template <class... Exceptions>
void ExpectCaughtByClass(const Exceptions&... failures) {
    const auto raise = [](const FennelException& failure) { failure.Propagate(); };
    const auto expect = [&](const auto& failure) {
        EXPECT_THROW(raise(failure), std::decay_t<decltype(failure)>) << failure.GetCode();
    };
    (expect(failures), ...);
}

TEST_F(PublicInterface, EachExceptionIsCaughtByClass) {
    const OxbowRpm_FileNameBuffer name("name");
    const FennelSystemError error(5);
    ExpectCaughtByClass(
        OxbowExcValidationFailure(), OxbowExcCantDerefLocator(), OxbowExcCantExternalizeLoc(),
        OxbowExcCantGetFile(), OxbowExcCorruptHeader(), OxbowExcNotOxbowFile(),
        OxbowExcNeedUpgrade(6, 5, name), OxbowExcUserSigMismatch(), OxbowExcCorruptDirectory(),
        OxbowExcIOBounds(1, 2, 3), OxbowExcImmutablePool(), OxbowExcNewPoolReadOnly(),
        OxbowExcShortPool(), OxbowExcAllocReadOnly(), OxbowExcWriteReadOnly(),
        OxbowExcPoolAlreadyInDoc(), OxbowExcNoSuchFile(name), OxbowExcFileCloseFailed(error),
        OxbowExcSystemError(OxbowRpm_ServiceNameBuffer("call"), error), OxbowExcReadError(error),
        OxbowExcWriteError(error), OxbowExcReadOnly(), OxbowExcShortWrite(),
        OxbowExcShortBuffer(2, 1), OxbowExcRequestTooBig(2, 1), FennelExcNoEntropy(error));
    mem_Free(mem_AllocationOperators::operator new(sizeof error));
}

}  // namespace
