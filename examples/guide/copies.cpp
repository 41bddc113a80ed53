#include <cstdio>

#include "Guide.h"

/** A file of two pools; what the second refers to is in the first. */
static void MakeTwoPools() {
    OxbowRpm_Document document("demo");
    OxbowRpm_File file = document.AddFile("source.oxb", OxbowRpm_Document::AccessCreate);
    const OxbowRpm_Locator text = file.Allocate(4);
    text.Write(4, "kept");
    file.NewPool();  // from here on the first pool can't grow
    StoreReference(file.Allocate(12), text);
    document.Close();
}

// [copy]
static void CopyAll(const char* from, const char* to) {
    OxbowRpm_Document sourceDocument("demo");  // the signature of both must be the same
    OxbowRpm_Document targetDocument("demo");
    OxbowRpm_File source = sourceDocument.AddFile(from, OxbowRpm_Document::AccessReadOnly);
    OxbowRpm_File target = targetDocument.AddFile(to, OxbowRpm_Document::AccessCreate);
    for (std::uint32_t i = 0; i < source.PoolCount(); ++i) {
        target.AppendPool(source.Pool(i));
    }
    targetDocument.Close();
}
// [copy end]

void ShowCopies() {
    MakeTwoPools();
    CopyAll("source.oxb", "copy.oxb");
    OxbowRpm_Document document("demo");
    OxbowRpm_File copy = document.AddFile("copy.oxb", OxbowRpm_Document::AccessReadOnly);
    char text[5] = {};
    LoadReference(copy.Start()).Read(4, text);
    std::printf("%u pools, %s\n", copy.PoolCount(), text);
}
