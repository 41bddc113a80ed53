// Slots, UUIDs and directories: how a pool's name in memory becomes its name on disk, and back.

#include "OxbowRpm/impl/OxbowRpm_PoolDirectoryImpl.h"
#include "OxbowRpm/impl/OxbowRpm_PoolMap.h"
#include "doubles/CountingAllocator.h"
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
    Directory NewDirectory() {
        Directory directory(new OxbowRpm_PoolDirectoryImpl(mMap));
        directory->InitNew();
        return directory;
    }
    Directory Stored(const std::string& letters) {
        std::vector<PoolUUID> uuids;
        for (const char letter : letters) {
            uuids.push_back(UUIDOf(letter));
        }
        Directory directory(new OxbowRpm_PoolDirectoryImpl(mMap));
        directory->InitFromUUIDs(uuids.data(), static_cast<std::int32_t>(uuids.size()));
        return directory;
    }

    OxbowRpm_StrongRef<OxbowRpm_PoolMap> mMap{new OxbowRpm_PoolMap};
};

TEST_F(Addressing, DirectoryTranslatesBothWaysAndNeverGrows) {
    mMap->Add(UUIDOf('a'));
    mMap->Add(UUIDOf('b'));
    const Directory directory = NewDirectory();
    ASSERT_EQ(directory->Length(), 3);
    const std::int32_t slots[] = {2, 0, 1};
    for (int round = 0; round < 2; ++round) {  // the second one takes the known places
        for (std::int32_t i = 0; i < 3; ++i) {
            EXPECT_EQ(directory->MapSlotFromDirSlot(i), slots[i]);
            EXPECT_EQ(directory->DirSlotFromMapSlot(slots[i]), i);
            EXPECT_EQ(mMap->GetSrcSlotInDir(2, slots[i]), i);
        }
    }
    std::string stored(96, '?');
    directory->WriteUUIDs(stored.data());
    EXPECT_EQ(stored, Text(directory->GetGUID()) + std::string(32, 'a') + std::string(32, 'b'));

    EXPECT_EQ(mMap->Add(UUIDOf('c')), 3);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(CodeOf([&] { directory->DirSlotFromMapSlot(3); }),
                  OxbowExcCantExternalizeLoc().GetCode());
        EXPECT_EQ(mMap->GetSrcSlotInDir(2, 3), -1);
    }
    for (const std::int32_t beyond : {3, -1, INT32_MIN, INT32_MAX}) {
        EXPECT_EQ(CodeOf([&] { directory->MapSlotFromDirSlot(beyond); }),
                  OxbowExcValidationFailure().GetCode());
    }
}

TEST_F(Addressing, StoredDirectoriesShareTheMapAndKeepTheirOrder) {
    const Directory first = Stored("abc");
    const Directory second = Stored("cad");
    EXPECT_EQ(mMap->Length(), 4);
    const std::int32_t slots[] = {2, 0, 3};
    for (std::int32_t i = 0; i < 3; ++i) {
        EXPECT_EQ(second->MapSlotFromDirSlot(i), slots[i]);
        EXPECT_TRUE(mMap->GetPool(slots[i]).IsNull());
    }
    EXPECT_EQ(Stored("")->Length(), 0);
    EXPECT_EQ(mMap->LookupByUUID(UUIDOf('A')), -1);
    // One slot twice: the lower place wins, and both lead back.
    const Directory twice = Stored("eaa");
    EXPECT_EQ(twice->DirSlotFromMapSlot(0), 1);
    EXPECT_EQ(twice->MapSlotFromDirSlot(2), 0);
    // A zero byte ends the text, not the comparison.
    PoolUUID cut = UUIDOf('z');
    cut.mText[4] = '\0';
    OxbowRpm_PoolDirectoryImpl foreign(mMap);
    foreign.InitFromUUIDs(&cut, 1);
    EXPECT_EQ(Text(foreign.GetGUID()), "zzzz");
    EXPECT_EQ(mMap->LookupByUUID(UUIDOf('z')), -1);
}

TEST_F(Addressing, DamagedTwinsOfOneUUIDNeverMeetAWrongPlace) {
    const Directory lengthy = Stored("abcdef");
    const Directory brief = Stored("afb");  // bears the first one's UUID
    EXPECT_EQ(lengthy->DirSlotFromMapSlot(5), 5);
    EXPECT_EQ(brief->DirSlotFromMapSlot(5), 1) << "the known place lies outside this directory";
    EXPECT_EQ(lengthy->DirSlotFromMapSlot(1), 1);
    EXPECT_EQ(brief->DirSlotFromMapSlot(1), 2) << "another pool stands at the known place";
    EXPECT_EQ(CodeOf([&] { brief->DirSlotFromMapSlot(4); }),
              OxbowExcCantExternalizeLoc().GetCode());
}

TEST_F(Addressing, UUIDsAreFourValuesLeastNibbleFirst) {
    TestRandom::Script({0x12345678u, 0xFEDCBA98u, 0u, 0xFFFFFFFFu});
    const int before = TestRandom::Draws();
    EXPECT_EQ(Text(NewDirectory()->GetGUID()),
              "87654321"
              "89abcdef"
              "00000000"
              "ffffffff");
    EXPECT_EQ(TestRandom::Draws() - before, 4);

    const std::string forced(32, 'q');
    OxbowRpm_PoolDirectory::TestForceUUID(forced.data());
    EXPECT_EQ(Text(NewDirectory()->GetGUID()), forced);
    EXPECT_EQ(TestRandom::Draws() - before, 4);
    OxbowRpm_PoolDirectory::TestForceUUID(forced.data());
    OxbowRpm_PoolDirectory::TestForceUUID(nullptr);
    EXPECT_NE(Text(NewDirectory()->GetGUID()), forced);

    TestRandom::FailNext(5);
    EXPECT_THROW(NewDirectory(), FennelExcNoEntropy);
    EXPECT_EQ(mMap->Length(), 3);
}

TEST_F(Addressing, GrowingTheMapKeepsKnownPlacesAndAFailureChangesNothing) {
    OxbowRpm_PoolMap::CheckSlotLimit(46340);
    EXPECT_EQ(CodeOf([] { OxbowRpm_PoolMap::CheckSlotLimit(46341); }),
              OxbowExcValidationFailure().GetCode());
    int failures = 0;
    for (std::int32_t n = 0; n < 40; ++n) {  // past the list's second page
        const long blocks = TestAllocator::LiveBlocks();
        for (long call = 1; mMap->Length() == n; ++call) {
            TestAllocator::FailAt(call);
            try {
                EXPECT_EQ(mMap->Add(UUIDOf(static_cast<char>('A' + n))), n);
            } catch (const std::bad_alloc&) {
                ++failures;
                EXPECT_EQ(mMap->Length(), n);
                EXPECT_EQ(TestAllocator::LiveBlocks(), blocks);
            }
        }
        TestAllocator::Disarm();
        for (std::int32_t other = 0; other <= n; ++other) {
            EXPECT_EQ(mMap->GetSrcSlotInDir(n, other), -1);
            EXPECT_EQ(mMap->GetSrcSlotInDir(other, n), -1);
        }
        mMap->SetSrcSlotInDir(n / 2, n, 1000 + n);
        mMap->SetSrcSlotInDir(n, n / 3, 2000 + n);
    }
    for (std::int32_t n = 1; n < 40; ++n) {
        EXPECT_EQ(mMap->GetSrcSlotInDir(n / 2, n), 1000 + n);
        EXPECT_EQ(mMap->GetSrcSlotInDir(n, n / 3), 2000 + n);
    }
    EXPECT_GE(failures, 40);
}

TEST_F(Addressing, LocatorsAreArithmeticOnAnOffset) {
    OxbowRpm_Document document("TEST");
    OxbowRpm_File file = document.AddFile(Name("f"), OxbowRpm_Document::AccessCreate);
    const OxbowRpm_Locator start = Put(file, "0123456789");
    OxbowRpm_Locator moved = start + 3;
    EXPECT_EQ(&(moved += 2), &moved);
    EXPECT_TRUE(moved == start + 5);
    EXPECT_TRUE(moved - 5 == start);
    EXPECT_FALSE(moved == start);
    EXPECT_EQ(Get(OxbowRpm_Locator(moved, 2), 3), "789");
    EXPECT_TRUE(start - 1 + 1 == start) << "wraps and comes back";
    EXPECT_EQ(Text(moved.GetGUID()), Text(file.Pool().GetGUID()));
    EXPECT_FALSE(moved.ReadOnly());
    EXPECT_TRUE(OxbowRpm_Locator().IsNull() && (OxbowRpm_Locator() + 5).IsNull());
    EXPECT_FALSE(moved.IsNull());
    OxbowRpm_Document other("TEST");
    EXPECT_FALSE(other.AddFile(Name("g"), OxbowRpm_Document::AccessCreate).Start() == start);
}

}  // namespace
