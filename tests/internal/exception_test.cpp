// Exceptions that carry values, raised where the library raises them: text, code and place.
#include <regex>

#include "OxbowRpm/impl/OxbowRpm_FileImpl.h"
#include "doubles/RecordingPlatform.h"
#include "internal/TestFolder.h"

using Document = OxbowRpm_Document;
using namespace TestPlatform;

struct ExceptionFamily : TestFolder {
    /** The code, the source that raises it, its class and values in this order. */
    template <class Action>
    static void Expect(int code, const std::string& place, const std::string& words,
                       Action action) {
        try {
            action();
            ADD_FAILURE() << "nothing was raised, not " << words;
        } catch (const FennelException& raised) {
            const std::string report(raised.DeveloperReport().View());
            const std::regex right("OxbowExc" + words + ".* \\[code " + std::to_string(code) +
                                   ", OxbowRpm/impl/OxbowRpm_" + place + "[.]cpp:[0-9]+\\]");
            EXPECT_TRUE(std::regex_match(report, right)) << report << ", not " << words;
        }
        Reset();
    }
    Document mDocument{"SIGN"};
    OxbowRpm_File mFile = mDocument.AddFile(Name("file"), Document::AccessCreate);
};

TEST_F(ExceptionFamily, EachTellsItsClassItsValuesItsCodeAndItsPlace) {
    const OxbowRpm_Locator data = Put(mFile, "data");
    EXPECT_EQ(OxbowExcShortPool().Line(), 0);
    EXPECT_EQ(OxbowExcShortPool().File(), nullptr);
    Store("old", std::string("\x89OXB\r\n\x1A\n\xF9", 9) + std::string(39, '\0'));
    // A zero byte in a name must not empty the file that the part before it names.
    const std::string zero = PathOf("old") + '\0' + "behind";
    const FennelUnicodeString cut(zero.data(), zero.size());
    const auto open = [&] { mDocument.AddFile(Name("old"), Document::AccessReadOnly); };
    Expect(7, "PoolImpl", "NeedUpgrade: .*/old.* -7.* 6", open);
    Expect(10, "PoolImpl", "IOBounds: .* 2 .* 5 .* 4", [&] { (data + 2).Write(3, ""); });
    Expect(14, "FileImpl", "AllocReadOnly:", [] { OxbowRpm_FileImpl(nullptr).AllocateUpTo(1); });
    Expect(17, "OSFile", "SystemError: CreateFile .* 2",
           [] { FailNext(Open, 2), OxbowRpm_OSFile().Create("new", 0); });
    Expect(17, "OSFile", "SystemError: CreateFile .* 13", [&] { FailNext(Open, 13), open(); });
    Expect(17, "OSFile", "SystemError: CreateFile .* 22",
           [&] { OxbowRpm_OSFile().Create(cut, 0); });
    EXPECT_EQ(Bytes("old").size(), 48u);
    Expect(18, "OSFile", "NoSuchFile: .*/none", [&] { Document::GetFileType(Name("none")); });
    Expect(18, "OSFile", "NoSuchFile: .* n{1023}",
           [&] { FailNext(Open, 2), Document::GetFileType(std::string(1100, 'n').c_str()); });
    Expect(22, "OSFile", "ReadOnly:", [] { OxbowRpm_OSFile().Write("", 0); });
    Expect(24, "BStreamWriteBuffer", "ShortBuffer: .*33 .* 1 ",
           [] { OxbowRpm_BStreamWriteBuffer(nullptr, 1).PrepWrite(33); });
    Expect(25, "BStreamWriteLocator", "RequestTooBig: .*19 .* 18 ",
           [&] { OxbowRpm_BStreamWriteLocator(data, 0, 18).PrepWrite(19); });
    testing::internal::CaptureStderr();
    Expect(1, "Assert", "ValidationFailure:", [&] { mFile.Pool(1); });
    const std::regex report(
        "OxbowVALIDATE failed: index < mPoolContainer.Length\\(\\)\n "
        "OxbowRpm/impl/OxbowRpm_FileImpl.cpp \\( [0-9]+ \\)\nPut Stop in "
        "OxbowRpm_Assert::ReportValidationFailure to find occurrence\n");
    EXPECT_TRUE(std::regex_match(testing::internal::GetCapturedStderr(), report));
    Expect(19, "OSFile", "FileCloseFailed: .* 9",
           [&] { FailNext(CloseFile, 9), mDocument.Close(); });
}
