// Slots, UUIDs and directories: how a pool's name in memory becomes its name on disk, and back.
#include "OxbowRpm/impl/OxbowRpm_PoolDirectoryImpl.h"
#include "OxbowRpm/impl/OxbowRpm_PoolMap.h"
#include "doubles/TestRandom.h"
#include "internal/TestFolder.h"

using Directory = OxbowRpm_StrongRef<OxbowRpm_PoolDirectoryImpl>;

struct Addressing : TestFolder {
    /** The text of the GUID that a new directory gets. */
    std::string NewGUID() const {
        OxbowRpm_PoolDirectoryImpl directory(mMap);
        directory.InitNew();
        return Text(directory.GetGUID());
    }
    /** A directory of UUIDs that are each the one letter throughout, but for the last's ending. */
    Directory Stored(const std::string& letters, const std::string& ending = "") const {
        std::string uuids;
        for (const char letter : letters) {
            uuids += std::string(32, letter);
        }
        uuids.replace(uuids.size() - ending.size(), ending.size(), ending);
        Directory directory(new OxbowRpm_PoolDirectoryImpl(mMap));
        directory->InitFromUUIDs(reinterpret_cast<const PoolUUID*>(uuids.data()),
                                 static_cast<std::int32_t>(letters.size()));
        return directory;
    }
    const OxbowRpm_StrongRef<OxbowRpm_PoolMap> mMap{new OxbowRpm_PoolMap};
};

TEST_F(Addressing, DirectoriesTranslateBothWaysAndTwinsNeverMeetAWrongPlace) {
    const Directory first = Stored("abc"), second = Stored("cad"), brief = Stored("ad");
    const std::int32_t slots[] = {2, 0, 3};
    for (std::int32_t i = 0; i < 3; ++i) {
        EXPECT_EQ(second->MapSlotFromDirSlot(i), slots[i]);
        EXPECT_EQ(second->DirSlotFromMapSlot(slots[i]), i);
        EXPECT_EQ(mMap->GetSrcSlotInDir(2, slots[i]), i) << "not noted for the next time";
        EXPECT_EQ(first->DirSlotFromMapSlot(i), i);  // brief bears the same UUID
    }
    EXPECT_EQ(brief->DirSlotFromMapSlot(3), 1);
    EXPECT_THROW(brief->DirSlotFromMapSlot(2), OxbowExcCantExternalizeLoc) << "known, but outside";
    EXPECT_THROW(brief->DirSlotFromMapSlot(1), OxbowExcCantExternalizeLoc) << "another's place";
    EXPECT_EQ(Stored("eaa")->DirSlotFromMapSlot(0), 1) << "the lower place wins";
    for (const std::int32_t beyond : {3, -1, INT32_MIN, INT32_MAX}) {
        EXPECT_THROW(first->MapSlotFromDirSlot(beyond), OxbowExcValidationFailure);
    }
    EXPECT_THROW(OxbowRpm_PoolMap::CheckSlotLimit(46341), OxbowExcValidationFailure);
    EXPECT_EQ(Text(Stored("z", std::string("\0zzz", 4))->GetGUID()), std::string(28, 'z'));
    EXPECT_EQ(Stored("z")->DirSlotFromMapSlot(6), 0) << "a zero byte ends the text, not the UUID";
}

TEST_F(Addressing, NotedPlacesSurviveTheGrowthOfTheMap) {
    Stored("abc");
    for (std::int32_t from = 0; from < 3; ++from) {
        for (std::int32_t to = 0; to < 3; ++to) {
            EXPECT_EQ(mMap->GetSrcSlotInDir(from, to), -1);
            mMap->SetSrcSlotInDir(from, to, 10 * from + to);
        }
    }
    Stored("defgh");
    for (std::int32_t from = 0; from < 8; ++from) {
        for (std::int32_t to = 0; to < 8; ++to) {
            const bool noted = std::max(from, to) < 3;
            EXPECT_EQ(mMap->GetSrcSlotInDir(from, to), noted ? 10 * from + to : -1)
                << from << " to " << to;
        }
    }
}

TEST_F(Addressing, UUIDsAreFourValuesLeastNibbleFirst) {
    TestRandom::Script({0x12345678u, 0xFEDCBA98u, 0u, 0xFFFFFFFFu});
    const int before = TestRandom::Draws();
    EXPECT_EQ(NewGUID(), "8765432189abcdef00000000ffffffff");
    const std::string forced(32, 'q');
    OxbowRpm_PoolDirectory::TestForceUUID(forced.data());
    EXPECT_EQ(NewGUID(), forced);
    EXPECT_EQ(TestRandom::Draws() - before, 4);
    EXPECT_NE(NewGUID(), forced);
    TestRandom::FailNext(5);
    EXPECT_THROW(NewGUID(), FennelExcNoEntropy);
    EXPECT_EQ(mMap->Length(), 3);
}
