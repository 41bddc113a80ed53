#include <cstdio>

#include "Guide.h"

// [direction]
static void TryBothWays(OxbowRpm_Document& document) {
    OxbowRpm_File older = document.AddFile("older.oxb", OxbowRpm_Document::AccessCreate);
    OxbowRpm_File younger = document.AddFile("younger.oxb", OxbowRpm_Document::AccessCreate);
    const OxbowRpm_Locator inOlder = older.Allocate(12);
    const OxbowRpm_Locator inYounger = younger.Allocate(12);

    StoreReference(inYounger, inOlder);
    try {
        StoreReference(inOlder, inYounger);
    } catch (const OxbowExcCantExternalizeLoc&) {
        std::puts("not from the older to the younger");
        StoreReference(inOlder, OxbowRpm_Locator());  // null in place of what the failure left
    }
    older.NewPool();  // younger than both: may refer to all that is known by now
    StoreReference(older.Allocate(12), inYounger);
}
// [direction end]

void ShowReferences() {
    OxbowRpm_Document document("demo");
    TryBothWays(document);
    document.Close();

    OxbowRpm_Document later("demo");
    OxbowRpm_File older = later.AddFile("older.oxb", OxbowRpm_Document::AccessReadOnly);
    OxbowRpm_File younger = later.AddFile("younger.oxb", OxbowRpm_Document::AccessReadOnly);
    Expect(LoadReference(older.Pool(0).Start()).IsNull(), "a stored null is read as null");
    Expect(LoadReference(older.Start()) == younger.Start(), "the new pool refers to the younger");
    Expect(LoadReference(younger.Start()) == older.Pool(0).Start(), "and that to the older");
}
