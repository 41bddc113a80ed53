// What reaches the operating system, call by call: the order of writes is what makes a file outlive
// its writer, and the count of calls is what a user pays.

#include "doubles/RecordingPlatform.h"
#include "internal/TestFolder.h"

#include "OxbowRpm/impl/OxbowRpm_OSFile.h"

namespace {

using namespace TestPlatform;

class Transfers : public TestFolder {
protected:
    Transfers() { Reset(); }
    ~Transfers() override { Reset(); }

    /** The platform's calls while the action runs. */
    template <class Action>
    std::string During(Action action) {
        Reset();
        action();
        return Told();
    }
    std::string Adding(OxbowRpm_Document::AccessMode mode) {
        OxbowRpm_Document document("TEST");
        return During([&] { document.AddFile(Name("f"), mode); });
    }
};

TEST_F(Transfers, AreCutIntoChunksOf256KiB) {
    OxbowRpm_OSFile file;
    file.Create(Name("f"), 0);
    std::string bytes(262145, 'x');
    for (const auto& [length, calls] : {std::pair(0u, 0), {1u, 1}, {262144u, 1}, {262145u, 2}}) {
        file.Seek(0);
        Reset();
        file.Write(bytes.data(), length);
        EXPECT_EQ(Count(Write), calls);
        file.Seek(0);
        EXPECT_EQ(file.Read(bytes.data(), length), length);
        EXPECT_EQ(Count(Read), calls);
    }
    file.Seek(262145 - 40);
    EXPECT_EQ(During([&] { EXPECT_EQ(file.Read(bytes.data(), 100), 40u); }),
              "read 262105+40, read 262145+0");
}

TEST_F(Transfers, FailuresOfTheSystemHaveTheirOwnClasses) {
    char byte = 0;
    OxbowRpm_OSFile never;
    EXPECT_THROW(never.Close(), OxbowExcFileCloseFailed);
    EXPECT_THROW(never.Read(&byte, 1), OxbowExcReadError);
    EXPECT_THROW(never.Seek(0), OxbowExcSystemError);
    EXPECT_THROW(never.Size(), OxbowExcSystemError);
    EXPECT_EQ(During([&] { never.Flush(); }), "");

    EXPECT_THROW(never.OpenReadWrite(Name("missing"), 0), OxbowExcNoSuchFile);
    EXPECT_FALSE(never.IsOpen());
    EXPECT_EQ(std::string(never.Name().View()), PathOf("missing"));
    EXPECT_THROW(never.OpenReadOnly(Name("missing/f"), 0), OxbowExcSystemError);
    // A zero byte in a name must not empty the file that the part before it names.
    Store("kept", "bytes");
    const std::string cut = PathOf("kept") + '\0' + "behind";
    EXPECT_THROW(never.Create(FennelUnicodeString(cut.data(), cut.size()), 0), OxbowExcSystemError);
    EXPECT_EQ(Bytes("kept"), "bytes");

    OxbowRpm_OSFile file;
    file.Create(Name("f"), 0);
    EXPECT_THROW(file.Seek(UINT64_C(1) << 63), OxbowExcSystemError);
    file.Seek(0xFFFFFFFF);
    file.Write("x", 1);
    file.Seek(0xFFFFFFFF);
    EXPECT_EQ(file.Size(), UINT64_C(1) << 32);
}

TEST_F(Transfers, EachOperationWritesInItsOrder) {
    EXPECT_EQ(Adding(OxbowRpm_Document::AccessCreate), "open, write 0+80");
    EXPECT_EQ(Adding(OxbowRpm_Document::AccessUpdate),
              "open, size, read 0+48, read 48+32, seek 0, write 0+80");
    EXPECT_EQ(Adding(OxbowRpm_Document::AccessReadOnly), "open, size, read 0+48, read 48+32");

    OxbowRpm_Document writer("TEST"), other("TEST"), target("TEST");
    OxbowRpm_File file = writer.AddFile(Name("w"), OxbowRpm_Document::AccessCreate);
    EXPECT_EQ(During([&] { Put(file, std::string(100, 'x')); }), "write 80+100");
    EXPECT_EQ(During([&] { file.NewPool(); }), "seek 0, write 0+80, seek 180, write 180+112");
    EXPECT_EQ(During([&] { file.NewPool(); }), "seek 0, write 0+80, seek 180, write 180+144")
        << "an empty pool is replaced";
    EXPECT_EQ(During([&] { file.Flush(); }), "seek 180, write 180+144, flush");

    Store("source", Bytes("w").substr(0, 180));
    const OxbowRpm_File source = other.AddFile(Name("source"), OxbowRpm_Document::AccessReadOnly);
    OxbowRpm_File copy = target.AddFile(Name("copy"), OxbowRpm_Document::AccessCreate);
    Put(copy, std::string(20, 'y'));
    EXPECT_EQ(During([&] { copy.AppendPool(source.Pool()); }),
              "seek 0, read 0+48, size, seek 0, read 0+180, write 100+180, "
              "seek 100, read 100+48, read 148+32, seek 0, write 0+80, seek 100, write 100+80");
    EXPECT_EQ(During([&] { target.Close(); }), "seek 100, write 100+80, flush, close");
}

TEST_F(Transfers, ContinuingTransfersMakeNoSeek) {
    OxbowRpm_Document document("TEST");
    OxbowRpm_File file = document.AddFile(Name("f"), OxbowRpm_Document::AccessCreate);
    const OxbowRpm_Locator start = Put(file, "0123456789");
    EXPECT_EQ(During([&] {
                  EXPECT_EQ(Get(start, 4), "0123");
                  EXPECT_EQ(Get(start + 4, 4), "4567");
                  (start + 8).Write(2, "xy");
                  EXPECT_EQ(Get(start + 4, 2), "45");
              }),
              "seek 80, read 80+4, read 84+4, write 88+2, seek 84, read 84+2");
}

}  // namespace
