#include <cstdio>
#include <exception>

#include "Guide.h"

// [catch]
static void OpenOrExplain(const char* path) {
    OxbowRpm_Document document("demo");
    try {
        document.AddFile(path, OxbowRpm_Document::AccessReadOnly);
    } catch (const OxbowExcNoSuchFile& e) {  // one class, with what it keeps
        std::printf("there is no %s\n", e.FileName().Text());
    } catch (const OxbowExcSystemError& e) {  // `Code` is the system's errno value
        std::printf("%s: code %u\n", e.ServiceName().Text(), e.SystemError().Code());
    } catch (const FennelException& e) {  // all others of the family
        std::printf("code %d, %s\n", e.GetCode(), e.UserReport().View().data());
    }
}
// [catch end]

/** What a write stream holds back fails only at its end. */
static void WriteAndHear(const OxbowRpm_Locator& place) {
    try {
        OxbowRpm_BStreamWriteLocator stream(place, 0, 16);
        stream.Write(std::uint32_t{1});
    } catch (const OxbowExcIOBounds&) {
        return;
    }
    Expect(false, "a stream's destructor tells what it could not write");
}

/** std::exception catches none of the family. */
static void CatchWrongly() {
    try {
        OxbowRpm_Document("demo").AddFile("missing.oxb", OxbowRpm_Document::AccessUpdate);
    } catch (const std::exception&) {
        Expect(false, "the family is no std::exception");
    } catch (const FennelException& e) {
        Expect(e.GetCode() == 18, "a class has its code");
    }
}

void ShowFailures() {
    OpenOrExplain("missing.oxb");
    std::FILE* const text = std::fopen("text.oxb", "w");
    Expect(text != nullptr &&
               std::fputs("fifty bytes or so of something else than a container", text) >= 0 &&
               std::fclose(text) == 0,
           "a text file can be made");
    OpenOrExplain("text.oxb");
    OpenOrExplain(".");
    OxbowRpm_Document document("demo");
    OxbowRpm_File file = document.AddFile("short.oxb", OxbowRpm_Document::AccessCreate);
    WriteAndHear(file.Allocate(3));
    CatchWrongly();
}
