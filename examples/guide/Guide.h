#ifndef OXBOW_GUIDE_H
#define OXBOW_GUIDE_H

#include <OxbowPoolManager/OxbowPoolManager.h>

/** What docs/guide.md shows, a function for each of its sections, called in that order. They make
    their files in the working directory. */
void ShowBytes();
void ShowStreams();
void ShowReferences();
void ShowFiles();
void ShowCopies();
void ShowDurability();
void ShowFailures();
void ShowSharing();

/** Ends the program with a failure if something is not as the page says. */
void Expect(bool holds, const char* what);

// [reference]
inline void StoreReference(const OxbowRpm_Locator& place, const OxbowRpm_Locator& target) {
    OxbowRpm_BStreamWriteLocator stream(place, 12, 16);
    target.ExternalizeImpl(stream);
}

inline OxbowRpm_Locator LoadReference(const OxbowRpm_Locator& place) {
    OxbowRpm_BStreamReadLocator stream(place, 12, 16);
    OxbowRpm_Locator target;  // a fresh one: see below
    target.InternalizeImpl(stream);
    return target;
}
// [reference end]

#endif
