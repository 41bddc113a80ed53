// Slots, UUIDs and directories: how a pool's name in memory becomes its name on disk, and back.

#include "OxbowRpm/impl/OxbowRpm_PoolDirectoryImpl.h"
#include "OxbowRpm/impl/OxbowRpm_PoolMap.h"
#include "doubles/TestRandom.h"
#include "internal/TestFolder.h"

namespace {

using Directory = OxbowRpm_StrongRef<OxbowRpm_PoolDirectoryImpl>;

PoolUUID UUIDOf(char letter) {
    PoolUUID uuid;
    std::memset(uuid.mText, letter, sizeof uuid.mText);
    return uuid;
}

class Addressing : public TestFolder {
protected:
    Directory NewDirectory() const {
        Directory directory(new OxbowRpm_PoolDirectoryImpl(mMap));
        directory->InitNew();
        return directory;
    }
    Directory Stored(const std::string& letters) const {
        std::vector<PoolUUID> uuids(letters.size());
        std::transform(letters.begin(), letters.end(), uuids.begin(), UUIDOf);
        Directory directory(new OxbowRpm_PoolDirectoryImpl(mMap));
        directory->InitFromUUIDs(uuids.data(), static_cast<std::int32_t>(uuids.size()));
        return directory;
    }

    const OxbowRpm_StrongRef<OxbowRpm_PoolMap> mMap{new OxbowRpm_PoolMap};
};

TEST_F(Addressing, DirectoryTranslatesBothWaysAndNeverGrows) {
    mMap->Add(UUIDOf('a'));
    mMap->Add(UUIDOf('b'));
    const Directory directory = NewDirectory();
    ASSERT_EQ(directory->Length(), 3);
    std::string stored(96, '?');
    directory->WriteUUIDs(stored.data());
    EXPECT_EQ(stored, Text(directory->GetGUID()) + std::string(32, 'a') + std::string(32, 'b'));
    EXPECT_EQ(mMap->Add(UUIDOf('c')), 3);
    const std::int32_t slots[] = {2, 0, 1};
    for (int round = 0; round < 2; ++round) {  // the second one takes the known places
        for (std::int32_t i = 0; i < 3; ++i) {
            EXPECT_EQ(directory->MapSlotFromDirSlot(i), slots[i]);
            EXPECT_EQ(directory->DirSlotFromMapSlot(slots[i]), i);
            EXPECT_EQ(mMap->GetSrcSlotInDir(2, slots[i]), i);
        }
        EXPECT_THROW(directory->DirSlotFromMapSlot(3), OxbowExcCantExternalizeLoc);
        EXPECT_EQ(mMap->GetSrcSlotInDir(2, 3), -1);
    }
    EXPECT_THROW(OxbowRpm_PoolMap::CheckSlotLimit(46341), OxbowExcValidationFailure);
    for (const std::int32_t beyond : {3, -1, INT32_MIN, INT32_MAX}) {
        EXPECT_THROW(directory->MapSlotFromDirSlot(beyond), OxbowExcValidationFailure);
    }
}

TEST_F(Addressing, StoredDirectoriesShareTheMapAndTwinsNeverMeetAWrongPlace) {
    const Directory first = Stored("abc"), second = Stored("cad"), brief = Stored("ad");
    EXPECT_EQ(mMap->Length(), 4);
    const std::int32_t slots[] = {2, 0, 3};
    for (std::int32_t i = 0; i < 3; ++i) {
        EXPECT_EQ(second->MapSlotFromDirSlot(i), slots[i]);
        EXPECT_EQ(first->DirSlotFromMapSlot(i), i);  // brief bears the same UUID
    }
    EXPECT_EQ(brief->DirSlotFromMapSlot(3), 1);
    EXPECT_THROW(brief->DirSlotFromMapSlot(2), OxbowExcCantExternalizeLoc) << "known, but outside";
    EXPECT_THROW(brief->DirSlotFromMapSlot(1), OxbowExcCantExternalizeLoc)
        << "another stands there";
    EXPECT_EQ(Stored("eaa")->DirSlotFromMapSlot(0), 1) << "the lower place wins";
    // A zero byte ends the text, not the comparison.
    PoolUUID cut = UUIDOf('z');
    cut.mText[4] = '\0';
    OxbowRpm_PoolDirectoryImpl foreign(mMap);
    foreign.InitFromUUIDs(&cut, 1);
    EXPECT_EQ(Text(foreign.GetGUID()), "zzzz");
    EXPECT_EQ(mMap->LookupByUUID(UUIDOf('z')), -1);
}

TEST_F(Addressing, UUIDsAreFourValuesLeastNibbleFirst) {
    TestRandom::Script({0x12345678u, 0xFEDCBA98u, 0u, 0xFFFFFFFFu});
    const int before = TestRandom::Draws();
    EXPECT_EQ(Text(NewDirectory()->GetGUID()), "8765432189abcdef00000000ffffffff");
    EXPECT_EQ(TestRandom::Draws() - before, 4);

    const std::string forced(32, 'q');
    OxbowRpm_PoolDirectory::TestForceUUID(forced.data());
    EXPECT_EQ(Text(NewDirectory()->GetGUID()), forced);
    EXPECT_EQ(TestRandom::Draws() - before, 4);
    EXPECT_NE(Text(NewDirectory()->GetGUID()), forced);
    TestRandom::FailNext(5);
    EXPECT_THROW(NewDirectory(), FennelExcNoEntropy);
    EXPECT_EQ(mMap->Length(), 3);
}

}  // namespace
