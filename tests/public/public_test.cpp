// The library as a host meets it: public headers, the shared object as it ships, real files and
// processes.
#include <OxbowPoolManager/OxbowPoolManager.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace {

constexpr std::uint64_t kReference = 12;  // the stored form of a locator
constexpr int kRecords = 9;
constexpr auto kCreate = OxbowRpm_Document::AccessCreate;
constexpr auto kUpdate = OxbowRpm_Document::AccessUpdate;
constexpr auto kReadOnly = OxbowRpm_Document::AccessReadOnly;

std::string Record(int i) {
    return std::string(static_cast<std::size_t>(i * i * 700 + 1), static_cast<char>('a' + i));
}

OxbowRpm_Locator Store(OxbowRpm_File file, const std::string& bytes) {
    const OxbowRpm_Locator place = file.Allocate(bytes.size());
    place.Write(bytes.size(), bytes.data());
    return place;
}

std::string Load(const OxbowRpm_Locator& place, std::size_t size) {
    std::string bytes(size, '\0');
    bytes.resize(place.Read(size, bytes.data()));
    return bytes;
}

void StoreReference(const OxbowRpm_Locator& place, const OxbowRpm_Locator& target) {
    OxbowRpm_BStreamWriteLocator stream(place, kReference, 64);
    target.ExternalizeImpl(stream);
}

// Reads what WriteThreeFiles listed, following each reference.
void ReadList(const OxbowRpm_Locator& start) {
    OxbowRpm_BStreamReadLocator stream(start, 0, 64);
    std::uint32_t count = 0;
    stream.Read(count);
    ASSERT_EQ(count, kRecords + 1U);
    for (int i = 0; i <= kRecords; ++i) {
        FennelString name;
        OxbowRpm_Locator record;
        stream.Read(name);
        record.InternalizeImpl(stream);
        ASSERT_EQ(name.View(), "name");
        ASSERT_EQ(record.IsNull(), i == kRecords);
        ASSERT_TRUE(record.IsNull() || Load(record, Record(i).size()) == Record(i))
            << "record " << i;
    }
}

// Gives the child's wait status. The child prints an expectation that fails, and tells it by
// status 1.
int InSecondProcess(const std::function<void()>& body) {
    const pid_t child = fork();
    if (child == 0) {
        body();
        std::fflush(nullptr);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return status;
}

// A copy of what `call` raised, if a handler for just that class gets it.
template <class E>
std::optional<E> Caught(const std::function<void()>& call) {
    try {
        call();
    } catch (const E& e) {
        return e;
    } catch (const FennelException& e) {
        ADD_FAILURE() << "another class: " << e.DeveloperReport().View();
    }
    return std::nullopt;
}

class PublicInterface : public testing::Test {
protected:
    void SetUp() override {
        OxbowPoolManager_initialize(mModules);
        mFolder = testing::TempDir() + "oxbow-public-XXXXXX";
        ASSERT_NE(mkdtemp(mFolder.data()), nullptr);
    }

    void TearDown() override {
        std::filesystem::remove_all(mFolder);
        OxbowPoolManager_finalize(mModules);
        EXPECT_EQ(mModules, 0);
    }

    std::string Path(const char* name) const { return mFolder + "/" + name; }

    OxbowRpm_File Open(OxbowRpm_Document& document, const char* name,
                       OxbowRpm_Document::AccessMode mode) const {
        return document.AddFile(Path(name).c_str(), mode);
    }

    // Records in two files, each in a pool of its own; a third file lists them: a count, then name
    // and reference of each, the last one null.
    void WriteThreeFiles() const {
        OxbowRpm_Document document("publ");
        OxbowRpm_File files[] = {Open(document, "even", kCreate), Open(document, "odd", kCreate)};
        std::vector<OxbowRpm_Locator> records;
        for (int i = 0; i < kRecords; ++i) {
            records.push_back(Store(files[i % 2], Record(i)));
            files[i % 2].NewPool();
        }
        records.emplace_back();
        OxbowRpm_File list = Open(document, "list", kCreate);
        OxbowRpm_BStreamWriteLocator stream(list.Allocate(1024), 0, 64);
        stream.Write(static_cast<std::uint32_t>(records.size()));
        for (const OxbowRpm_Locator& record : records) {
            stream.Write("name");
            record.ExternalizeImpl(stream);
        }
    }

    int mModules = 0;
    std::string mFolder;
};

TEST_F(PublicInterface, SecondProcessFollowsReferencesInAnyOrderOfOpening) {
    WriteThreeFiles();
    const std::vector<std::vector<const char*>> orders = {{"even", "odd"}, {"odd", "even"}};
    for (const auto& order : orders) {
        const int status = InSecondProcess([&] {
            OxbowRpm_Document document("publ");
            OxbowRpm_File list = Open(document, "list", kReadOnly);
            for (const char* name : order)
                Open(document, name, kReadOnly);
            ReadList(list.Start());
        });
        EXPECT_EQ(status, 0);
    }
}

TEST_F(PublicInterface, FileOfAKilledWriterOpensAndIsFreeForTheNext) {
    const int status = InSecondProcess([this] {
        OxbowRpm_Document document("publ");
        OxbowRpm_File file = Open(document, "killed", kCreate);
        Store(file, Record(5));
        file.Allocate(100);  // booked and never written: no part of the file later
        kill(getpid(), SIGKILL);
    });
    EXPECT_TRUE(WIFSIGNALED(status));
    OxbowRpm_Document document("publ");
    OxbowRpm_File file = Open(document, "killed", kUpdate);
    EXPECT_EQ(file.Pool().Length(), Record(5).size());
    EXPECT_EQ(Load(file.Start(), Record(5).size()), Record(5));
}

TEST_F(PublicInterface, CopiedPoolsKeepTheirReferencesWhenTheirFirstFilesAreGone) {
    WriteThreeFiles();
    {
        OxbowRpm_Document from("publ");
        OxbowRpm_Document to("publ");
        OxbowRpm_File all = Open(to, "all", kCreate);
        for (const char* name : {"even", "odd", "list"}) {
            const OxbowRpm_File source = Open(from, name, kReadOnly);
            for (std::uint32_t i = 0; i < source.PoolCount(); ++i)
                all.AppendPool(source.Pool(i));
            std::filesystem::remove(Path(name));
        }
        to.Close();
    }
    OxbowRpm_Document document("publ");
    ReadList(Open(document, "all", kReadOnly).Start());
}

TEST_F(PublicInterface, SecondWriterIsRefusedAndReaderIsNot) {
    OxbowRpm_Document document("publ");
    Store(Open(document, "shared", kCreate), Record(2));
    const auto openAgain = [this] {
        OxbowRpm_Document second("publ");
        for (const auto mode : {kUpdate, kCreate}) {
            const auto e = Caught<OxbowExcSystemError>([&] { Open(second, "shared", mode); });
            ASSERT_TRUE(e.has_value());
            EXPECT_STREQ(e->ServiceName().Text(), "CreateFile");
        }
        EXPECT_EQ(Load(Open(second, "shared", kReadOnly).Start(), Record(2).size()), Record(2));
    };
    EXPECT_EQ(InSecondProcess(openAgain), 0);
    openAgain();
}

TEST_F(PublicInterface, BothKindsOfExceptionAreCaughtByClass) {
    OxbowRpm_Document document("publ");
    OxbowRpm_File file = Open(document, "file", kCreate);
    const OxbowRpm_Locator old = Store(file, std::string(100, 'x'));
    file.NewPool();
    const OxbowRpm_Locator young = Store(file, "young");
    EXPECT_TRUE(Caught<OxbowExcImmutablePool>([&] { file.Pool(0).Allocate(1); }));
    EXPECT_TRUE(Caught<OxbowExcCantExternalizeLoc>([&] { StoreReference(old, young); }));
    EXPECT_TRUE(Caught<OxbowExcNoSuchFile>([&] { Open(document, "missing", kReadOnly); }));
    const auto bounds = Caught<OxbowExcIOBounds>([&] { young.Write(6, "young!"); });
    ASSERT_TRUE(bounds);
    EXPECT_EQ(bounds->Limit(), 5U);
}

}  // namespace
