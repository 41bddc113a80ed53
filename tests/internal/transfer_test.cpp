// What reaches the operating system, call by call: the order of writes is what makes a file outlive
// its writer, and the count of calls is what a user pays.
#include "OxbowRpm/impl/OxbowRpm_OSFile.h"
#include "doubles/RecordingPlatform.h"
#include "internal/TestFolder.h"

using Document = OxbowRpm_Document;

struct Transfers : TestFolder {
    /** The platform's calls while the action runs. */
    template <class Action>
    std::string During(Action action) {
        TestPlatform::Reset();
        action();
        return TestPlatform::Told();
    }
    std::string Adding(Document::AccessMode mode) {
        Document document("TEST");
        return During([&] { document.AddFile(Name("f"), mode); });
    }
};

TEST_F(Transfers, AreCutIntoChunksOf256KiBAndReachBehind4GiB) {
    OxbowRpm_OSFile file;
    file.Create(Name("f"), 0);
    std::string bytes(262146, 'x');
    EXPECT_EQ(During([&] { file.Write(bytes.data(), 262145); }), "write 0+262144, write 262144+1");
    file.Seek(0);
    EXPECT_EQ(During([&] { file.Read(bytes.data(), 262146); }),
              "read 0+262144, read 262144+1, read 262145+0");
    for (const std::uint64_t end : {0xFFFFFFFFull, 0x1FFFFFFFEull}) {
        file.Seek(end);  // low words of a failed call: of a seek, and then of a size
        file.Write("x", 1);
        EXPECT_EQ(file.Size(), end + 1);
    }
}

TEST_F(Transfers, EachOperationWritesInItsOrder) {
    EXPECT_EQ(Adding(Document::AccessCreate), "open, write 0+80");
    EXPECT_EQ(Adding(Document::AccessUpdate),
              "open, size, read 0+48, read 48+32, seek 0, write 0+80");
    EXPECT_EQ(Adding(Document::AccessReadOnly), "open, size, read 0+48, read 48+32");

    Document writer("TEST"), other("TEST"), target("TEST");
    OxbowRpm_File file = writer.AddFile(Name("w"), Document::AccessCreate);
    const OxbowRpm_Locator start = Put(file, std::string(100, 'x'));
    EXPECT_EQ(During([&] { Get(start, 4), Get(start + 4, 4), (start + 8).Write(2, "xy"); }),
              "seek 80, read 80+4, read 84+4, write 88+2");
    char bytes[21] = {};
    EXPECT_EQ(During([&] {
                  OxbowRpm_BStreamReadLocator in(start, 0, 20);
                  in.PrepRead(4), in.ReadBlock(bytes, 15), in.ReadBlock(bytes, 21);
              }),
              "seek 80, read 80+20, read 100+20");
    EXPECT_EQ(During([&] {
                  OxbowRpm_BStreamWriteLocator out(start, 0, 20);
                  out.PrepWrite(4), out.WriteBlock(bytes, 16), out.WriteBlock(bytes, 21);
              }),
              "seek 80, write 80+20, write 100+21");
    EXPECT_EQ(During([&] { file.NewPool(); }), "seek 0, write 0+80, seek 180, write 180+112");
    EXPECT_EQ(During([&] { file.NewPool(); }), "seek 0, write 0+80, seek 180, write 180+144")
        << "an empty pool is replaced";
    EXPECT_EQ(During([&] { file.Flush(); }), "seek 180, write 180+144, flush");

    Store("source", Bytes("w").substr(0, 180));
    OxbowRpm_File source = other.AddFile(Name("source"), Document::AccessReadOnly);
    OxbowRpm_File copy = target.AddFile(Name("copy"), Document::AccessCreate);
    Put(copy, std::string(20, 'y'));
    EXPECT_EQ(During([&] { copy.AppendPool(source.Pool()); }),
              "seek 0, read 0+48, size, size, seek 0, read 0+180, write 100+180, "
              "seek 100, read 100+48, read 148+32, seek 0, write 0+80, seek 100, write 100+80");
    EXPECT_EQ(During([&] { target.Close(), other.Close(); }),
              "seek 100, write 100+80, flush, close, close");
}
