#include <cstdio>

#include "Guide.h"

// [publish]
// The first 12 bytes of the file's one pool refer to the newest entry.
static OxbowRpm_File NewLog(OxbowRpm_Document& document) {
    OxbowRpm_File log = document.AddFile("log.oxb", OxbowRpm_Document::AccessCreate);
    StoreReference(log.Allocate(12), OxbowRpm_Locator());  // null: no entry yet
    log.Flush();
    return log;
}

static OxbowRpm_Locator WriteEntry(OxbowRpm_File log, std::uint32_t value) {
    const OxbowRpm_Locator entry = log.Allocate(16);
    {
        OxbowRpm_BStreamWriteLocator stream(entry, 16, 16);
        LoadReference(log.Start()).ExternalizeImpl(stream);
        stream.Write(value);
    }
    return entry;
}

static void AddEntry(OxbowRpm_File log, std::uint32_t value) {
    const OxbowRpm_Locator entry = WriteEntry(log, value);
    log.Flush();                         // the entry is on the device ...
    StoreReference(log.Start(), entry);  // ... before anything leads to it
    log.Flush();                         // and now it counts
}
// [publish end]

/** A program that stops before the entry counts. */
static void StopHalfWay() {
    OxbowRpm_Document document("demo");
    WriteEntry(document.AddFile("log.oxb", OxbowRpm_Document::AccessUpdate), 3);
}

void ShowDurability() {
    {
        OxbowRpm_Document document("demo");
        OxbowRpm_File log = NewLog(document);
        AddEntry(log, 1);
        AddEntry(log, 2);
    }
    StopHalfWay();
    OxbowRpm_Document document("demo");
    OxbowRpm_File log = document.AddFile("log.oxb", OxbowRpm_Document::AccessReadOnly);
    OxbowRpm_BStreamReadLocator stream(LoadReference(log.Start()) + 12, 4, 16);
    std::uint32_t newest = 0;
    stream.Read(newest);
    std::printf("newest entry: %u\n", newest);
}
