#ifndef OXBOW_FENNEL_MODULES_H
#define OXBOW_FENNEL_MODULES_H

/** A module's use count and the rule that all modules share: the first use adds 1 to the caller's
    count, the end of the last one takes it back. A plain value that starts as zero in the image. */
struct FennelModuleUse {
    int mUses;

    /** True when this use is the module's first. */
    bool Enter(int& count) {
        const bool first = mUses++ == 0;
        count += first ? 1 : 0;
        return first;
    }
    /** True when no use is left. */
    bool Leave(int& count) {
        const bool last = --mUses == 0;
        count -= last ? 1 : 0;
        return last;
    }
};

/** The modules of the base layer hold no state to set up; each counts its uses and no more. One
    thread at a time, as all functions of this kind. */
void FennelBedrock_initialize(int& count);
void FennelBedrock_finalize(int& count);
void FennelAlloc_initialize(int& count);
void FennelAlloc_finalize(int& count);
void FennelCoreUtils_initialize(int& count);
void FennelCoreUtils_finalize(int& count);
void FennelLexis_initialize(int& count);
void FennelLexis_finalize(int& count);
void FennelGenericsLib_initialize(int& count);
void FennelGenericsLib_finalize(int& count);
void FennelShared_initialize(int& count);
void FennelShared_finalize(int& count);

#endif
