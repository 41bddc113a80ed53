#include <cstdio>

#include "Guide.h"

static void MakeFiles() {
    OxbowRpm_Document document("demo");
    OxbowRpm_File records = document.AddFile("records.oxb", OxbowRpm_Document::AccessCreate);
    OxbowRpm_File index = document.AddFile("index.oxb", OxbowRpm_Document::AccessCreate);
    const OxbowRpm_Locator record = records.Allocate(6);
    record.Write(6, "record");
    StoreReference(index.Allocate(12), record);
    document.Close();
}

/** Follows a locator into a file that may be open or not. */
static void Try(const OxbowRpm_Locator& record) {
    char text[7] = {};
    try {
        record.Read(6, text);
        std::printf("found: %s\n", text);
    } catch (const OxbowExcCantDerefLocator&) {
        std::puts("its file is not open");
    }
}

// [order]
static void OpenOneByOne() {
    OxbowRpm_Document document("demo");
    OxbowRpm_File index = document.AddFile("index.oxb", OxbowRpm_Document::AccessReadOnly);
    const OxbowRpm_Locator record = LoadReference(index.Start());
    Try(record);
    OxbowRpm_File records = document.AddFile("records.oxb", OxbowRpm_Document::AccessReadOnly);
    Try(record);
    document.Close(records);
    Try(record);
    document.AddFile("records.oxb", OxbowRpm_Document::AccessUpdate);
    Try(record);  // the same locator, good again
}
// [order end]

static bool IsOurs(const char* path) {
    return OxbowRpm_Document::GetFileType(path) == OxbowRpm_Document::PoolFile;
}

void ShowFiles() {
    MakeFiles();
    OpenOneByOne();
    Expect(IsOurs("index.oxb"), "a container file is known by its first bytes");
}
