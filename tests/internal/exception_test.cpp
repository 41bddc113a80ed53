// Exceptions that tell values, raised where the library raises them: text, code and place.
#include <functional>
#include <sstream>

#include "OxbowRpm/impl/OxbowRpm_FileImpl.h"
#include "doubles/RecordingPlatform.h"
#include "internal/TestFolder.h"

namespace {

using Document = OxbowRpm_Document;

struct Case {
    int code;
    std::string place, words;  // the source that raises it; its class and values, in this order
    std::function<void()> action;
};
#define CASE(code, place, words, ...)            \
    {                                            \
        code, place, words, [&] { __VA_ARGS__; } \
    }

class ExceptionFamily : public TestFolder {
protected:
    ~ExceptionFamily() override { TestPlatform::Reset(); }

    static void Expect(const Case& expected) {
        try {
            expected.action();
            ADD_FAILURE() << "nothing was raised, not " << expected.words;
        } catch (const FennelException& raised) {
            const std::string text(raised.AsString().View());
            EXPECT_TRUE(HoldsInOrder(text, "OxbowExc" + expected.words)) << text;
            EXPECT_EQ(raised.GetCode(), expected.code) << text;
            const auto report = testing::Message()
                                << text << " [code " << expected.code << ", OxbowRpm/impl/OxbowRpm_"
                                << expected.place << ".cpp:" << raised.Line() << "]";
            EXPECT_EQ(raised.DeveloperReport().View(), report.GetString());
        }
        TestPlatform::Reset();
    }
    static bool HoldsInOrder(const std::string& text, const std::string& words) {
        std::istringstream in(words);
        std::size_t at = 0;
        for (std::string word; in >> word && at != text.npos;) {
            at = text.find(word, at);
        }
        return at != text.npos;
    }
    Document mDocument{"SIGN"};
};

TEST_F(ExceptionFamily, EachTellsItsClassItsValuesItsCodeAndItsPlace) {
    OxbowRpm_File file = mDocument.AddFile(Name("file"), Document::AccessCreate);
    const OxbowRpm_Locator data = Put(file, "data");
    Store("old", std::string("\x89OXB\r\n\x1A\n\xF9", 9) + std::string(39, '\0'));
    OxbowRpm_File other = mDocument.AddFile(Name("other"), Document::AccessCreate);
    char bytes[1];
    const std::string name(1100, 'n'), old = PathOf("old"), none = PathOf("none");
    using namespace TestPlatform;
    const auto create = [&] { mDocument.AddFile(Name("new"), Document::AccessCreate); };
    const auto open = [&](const char* n) { mDocument.AddFile(Name(n), Document::AccessReadOnly); };
    const Case cases[] = {
        CASE(7, "PoolImpl", "NeedUpgrade: " + old + " -7 6", open("old")),
        CASE(10, "PoolImpl", "IOBounds: 2 5 4", (data + 2).Write(3, "")),
        CASE(14, "FileImpl", "AllocReadOnly:", OxbowRpm_FileImpl(nullptr).AllocateUpTo(1)),
        CASE(17, "OSFile", "SystemError: CreateFile 2", FailNext(Open, 2), create()),
        CASE(17, "OSFile", "SystemError: CreateFile 13", FailNext(Open, 13), open("old")),
        CASE(17, "OSFile", "SystemError: SetFilePointer 29", FailNext(Seek, 29), Get(data, 1)),
        CASE(17, "OSFile", "SystemError: FlushFileBuffers 35", FailNext(Flush, 35), file.Flush()),
        CASE(17, "OSFile", "SystemError: GetFileSize 39", FailNext(Size, 39), open("old")),
        CASE(18, "OSFile", "NoSuchFile: " + none, Document::GetFileType(Name("none"))),
        CASE(18, "OSFile", "NoSuchFile: " + name.substr(0, 1023), FailNext(Open, 2),
             Document::GetFileType(name.c_str())),
        CASE(19, "OSFile", "FileCloseFailed: 122", FailNext(CloseFile, 122),
             mDocument.Close(other)),
        CASE(20, "OSFile", "ReadError: 45", FailNext(Read, 45), Get(data, 1)),
        CASE(21, "OSFile", "WriteError: 28", FailNext(Write, 28), data.Write(1, "x")),
        CASE(22, "OSFile", "ReadOnly:", OxbowRpm_OSFile().Write("", 0)),
        CASE(23, "OSFile", "ShortWrite:", FailNext(Write, 0), data.Write(1, "x")),
        CASE(24, "BStreamWriteBuffer", "ShortBuffer: 33 1",
             OxbowRpm_BStreamWriteBuffer(bytes, 1).PrepWrite(33)),
        CASE(25, "BStreamWriteLocator", "RequestTooBig: 19 18",
             OxbowRpm_BStreamWriteLocator(data, 0, 18).PrepWrite(19)),
    };
    for (const Case& one : cases) {
        Expect(one);
    }
}

TEST_F(ExceptionFamily, ValidationReportsThreeLinesAndTheCallerGoesOn) {
    OxbowRpm_File file = mDocument.AddFile(Name("file"), Document::AccessCreate);
    testing::internal::CaptureStderr();
    Expect(CASE(1, "Assert", "ValidationFailure:", file.Pool(1)));
    std::string report = testing::internal::GetCapturedStderr();
    const std::size_t line = report.find("( ") + 2;
    EXPECT_EQ(report.erase(line, report.find(" )") - line),
              "OxbowVALIDATE failed: index < mPoolContainer.Length()\n "
              "OxbowRpm/impl/OxbowRpm_FileImpl.cpp (  )\nPut Stop in "
              "OxbowRpm_Assert::ReportValidationFailure to find occurrence\n");
    EXPECT_EQ(Get(Put(file, "data"), 4), "data");
}

}  // namespace
