// What the sharing argument of the three ways to open lets others do, on real files.
#include "OxbowRpm/impl/OxbowRpm_OSFile.h"
#include "internal/TestFolder.h"

namespace {

using Open = void (OxbowRpm_OSFile::*)(const FennelUnicodeString&, int);
constexpr Open kReader = &OxbowRpm_OSFile::OpenReadOnly, kWriter = &OxbowRpm_OSFile::OpenReadWrite,
               kCreator = &OxbowRpm_OSFile::Create;

using ShareModes = TestFolder;

TEST_F(ShareModes, DecideWhetherAWriterMayOpenBeside) {
    const struct {
        const char* name;
        Open open;
        int sharing;
        bool letsWrite;
    } cases[] = {
        {"a reader, by default", kReader, 0, true},
        {"a reader, 1", kReader, 1, false},
        {"a reader, 2", kReader, 2, true},
        {"a writer, by default", kWriter, 0, false},
        {"a writer, 1", kWriter, 1, false},
        {"a writer, 2", kWriter, 2, true},
        {"a creator, by default", kCreator, 0, false},
        {"a creator, 1", kCreator, 1, false},
        {"a creator, 2", kCreator, 2, true},
    };
    for (const auto& [name, open, sharing, letsWrite] : cases) {
        Store("file", "data");
        OxbowRpm_OSFile first;
        (first.*open)(Name("file"), sharing);
        OxbowRpm_OSFile writer, reader;
        const int code = CodeOf([&] { writer.OpenReadWrite(Name("file"), 2); });
        EXPECT_EQ(code, letsWrite ? 0 : 17) << name << " beside a writer";
        EXPECT_EQ(writer.IsOpen(), letsWrite) << name;
        EXPECT_NO_THROW(reader.OpenReadOnly(Name("file"), 2)) << name << " beside a reader";
    }
}

}  // namespace
