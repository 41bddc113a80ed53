#include <OxbowPoolManager/OxbowPoolManager.h>
#include <cstdio>

static void Store() {
    OxbowRpm_Document document("demo");  // four bytes that mark the files of this program
    OxbowRpm_File records = document.AddFile("records.oxb", OxbowRpm_Document::AccessCreate);
    OxbowRpm_File index = document.AddFile("index.oxb", OxbowRpm_Document::AccessCreate);
    const char text[] = "A record that another file refers to.";
    OxbowRpm_Locator record = records.Allocate(sizeof text);
    record.Write(sizeof text, text);
    {  // the stream writes what it holds back when it goes
        OxbowRpm_BStreamWriteLocator stream(index.Allocate(12), 12, 4096);
        record.ExternalizeImpl(stream);  // a stored reference takes 12 bytes
    }
    document.Close();
}

static void Follow() {
    OxbowRpm_Document document("demo");
    document.AddFile("records.oxb", OxbowRpm_Document::AccessReadOnly);
    OxbowRpm_File index = document.AddFile("index.oxb", OxbowRpm_Document::AccessReadOnly);
    OxbowRpm_BStreamReadLocator stream(index.Start(), 12, 4096);
    OxbowRpm_Locator record;
    record.InternalizeImpl(stream);
    char text[64] = {};
    record.Read(sizeof text - 1, text);
    std::puts(text);
}

int main() try {
    int modules = 0;
    OxbowPoolManager_initialize(modules);
    Store();
    Follow();
    OxbowPoolManager_finalize(modules);
} catch (const FennelException& e) {  // all that the library raises, but for std::bad_alloc
    std::fprintf(stderr, "%s\n", e.UserReport().View().data());
    return 1;
}
