// The stored bytes, literally: what another program, or this one in ten years, has to find.

#include <cstdio>

#include "OxbowRpm/impl/OxbowRpm_Header.h"
#include "internal/TestFolder.h"

namespace {

using std::string;

string FromHex(const string& hex) {
    string bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += hex[i + 2] == ' ' ? 3 : 2) {
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

const string kFirst(32, 'a');
const string kSecond(32, 'b');
const string kSignature = FromHex("89 4F 58 42 0D 0A 1A 0A ");

class Layout : public TestFolder {
protected:
    /** A pool of 100 data bytes and one of 50 behind it, as the format's worked example. */
    string TwoPools() {
        OxbowRpm_Document document("ABCD and more, which is ignored");
        OxbowRpm_PoolDirectory::TestForceUUID(kFirst.data());
        OxbowRpm_File file = document.AddFile(Name("f"), OxbowRpm_Document::AccessCreate);
        Put(file, string(100, 'x'));
        OxbowRpm_PoolDirectory::TestForceUUID(kSecond.data());
        file.NewPool();
        Put(file, string(50, 'y'));
        return Bytes("f");
    }

    /** Opens the bytes as a file and gives the code of what is raised, 0 for none. */
    int Open(const string& bytes, OxbowRpm_Document::AccessMode mode) {
        Store("f", bytes);
        OxbowRpm_Document document("ABCD");
        return CodeOf([&] { document.AddFile(Name("f"), mode); });
    }
};

TEST_F(Layout, TwoPoolsStandAsTheFormatTells) {
    const string tail = FromHex("02 00 00 00 00 00 00 00 ");
    const string identity = kSignature + FromHex("06 00 00 00 00 00 00 00 41 42 43 44 ");
    const string expected = identity + "0000000000000180" + tail + FromHex("01 00 00 00 ") +
                            kFirst + string(100, 'x') + identity + "0000000000000000" + tail +
                            FromHex("02 00 00 00 ") + kSecond + kFirst + string(50, 'y');
    ASSERT_EQ(expected.size(), 342u);
    EXPECT_EQ(TwoPools(), expected);

    OxbowRpm_Document again("ABCD");
    const OxbowRpm_File file = again.AddFile(Name("f"), OxbowRpm_Document::AccessReadOnly);
    ASSERT_EQ(file.PoolCount(), 2u);
    EXPECT_EQ(file.Pool(0).Length(), 100u);
    EXPECT_EQ(file.Pool(1).Length(), 50u);
    EXPECT_EQ(Bytes("f"), expected) << "reading wrote";
}

TEST_F(Layout, LengthFieldTakesSixteenDigits) {
    struct Case {
        std::uint64_t value;
        const char* field;
    } const cases[] = {{0, "0000000000000000"},
                       {180, "0000000000000180"},
                       {9999999999999999u, "9999999999999999"},
                       {10000000000000007u, "0000000000000007"}};
    for (const Case& one : cases) {
        char field[16];
        OxbowRpm_Header::EncodeLength(field, one.value);
        EXPECT_EQ(string(field, 16), one.field);
        std::uint64_t back = 0;
        OxbowRpm_Header::DecodeLength(one.field, back);
        EXPECT_EQ(back, one.value % 10000000000000000u);
    }
    // Bytes that are no digits count as signed distances from '0'.
    std::uint64_t odd = 0;
    OxbowRpm_Header::DecodeLength(
        "00000000000000\xB0"
        "9",
        odd);
    EXPECT_EQ(static_cast<std::int64_t>(odd), (0xB0 - 256 - 48) * 10 + 9);
}

/** One damage to the two-pool file: bytes put at a position, or the file cut there. */
struct Damage {
    const char* name;
    std::size_t at;
    string bytes;  // empty: cut
    int read;      // codes on opening for reading
};

TEST_F(Layout, DamageIsAnExceptionOrTheRightData) {
    const string sound = TwoPools();
    const string most = FromHex("FF FF FF FF ");
    const Damage cases[] = {
        {"version 5", 8, "\x05", OxbowExcNeedUpgrade(0, 0, OxbowRpm_FileNameBuffer("")).GetCode()},
        {"signature", 3, "b", OxbowExcNotOxbowFile().GetCode()},
        {"user signature", 19, "E", OxbowExcUserSigMismatch().GetCode()},
        {"reserved bytes", 9, "1234567", 0},
        {"header words", 36, "12345678", 0},
        {"count 0", 44, FromHex("00 00 00 00 "), OxbowExcCorruptDirectory().GetCode()},
        {"count past the file", 44, FromHex("0A 00 00 00 "), OxbowExcCorruptDirectory().GetCode()},
        {"count past 31 bits", 44, most, OxbowExcCorruptDirectory().GetCode()},
        {"length inside the header", 20, "0000000000000047", OxbowExcCorruptHeader().GetCode()},
        {"length inside the directory", 20, "0000000000000079", OxbowExcCorruptHeader().GetCode()},
        {"length of no data", 20, "0000000000000080", OxbowExcNotOxbowFile().GetCode()},
        {"length past 64 bits", 200, "000000000000000/", OxbowExcCorruptHeader().GetCode()},
        {"length beyond the file", 20, "0000000000000999", 0},
        {"unsealed first pool", 20, "0000000000000000", 0},
        {"cut in the second header", 180 + 47, "", OxbowExcCorruptHeader().GetCode()},
        {"cut in the second directory", 180 + 111, "", OxbowExcCorruptDirectory().GetCode()},
        {"cut behind the second directory", 180 + 112, "", 0},
        {"cut to the first pool", 180, "", 0},
        {"sealed with 47 bytes behind", 200, "0000000000000115", OxbowExcCorruptHeader().GetCode()},
        {"sealed with 50 bytes behind", 200, "0000000000000112", OxbowExcNotOxbowFile().GetCode()},
    };
    for (const Damage& one : cases) {
        string bytes = sound;
        if (one.bytes.empty()) {
            bytes.resize(one.at);
        } else {
            bytes.replace(one.at, one.bytes.size(), one.bytes);
        }
        EXPECT_EQ(Open(bytes, OxbowRpm_Document::AccessReadOnly), one.read) << one.name;
        EXPECT_EQ(Bytes("f"), bytes) << one.name << ": reading wrote";
        EXPECT_EQ(Open(bytes, OxbowRpm_Document::AccessUpdate), one.read) << one.name;
        if (one.read != 0) {
            EXPECT_EQ(Bytes("f"), bytes) << one.name << ": a refused file was written";
        }
    }
}

TEST_F(Layout, RewritingKeepsTheWordsAndZeroesTheReservedBytes) {
    string bytes = TwoPools();
    bytes.replace(180 + 9, 7, "1234567");
    bytes.replace(180 + 36, 8, "abcdefgh");
    bytes.replace(180 + 20, 16, "0000000000000162");
    ASSERT_EQ(Open(bytes, OxbowRpm_Document::AccessUpdate), 0);
    bytes.replace(180 + 9, 7, string(7, '\0'));
    bytes.replace(180 + 20, 16, string(16, '0'));
    EXPECT_EQ(Bytes("f"), bytes);
}

TEST_F(Layout, FilesAreToldByNineBytes) {
    for (int version = -128; version < 128; ++version) {
        Store("t", kSignature + static_cast<char>(version));
        const int expected = version <= 0 || version > 6 ? OxbowRpm_Document::NotPoolFile
                             : version <= 2              ? OxbowRpm_Document::LegacyPoolFile
                                                         : OxbowRpm_Document::PoolFile;
        EXPECT_EQ(OxbowRpm_Document::GetFileType(Name("t")), expected) << version;
    }
    EXPECT_EQ(Open(kSignature + '\6', OxbowRpm_Document::AccessReadOnly),
              OxbowExcCorruptHeader().GetCode());
    for (const string& bytes : {string(), kSignature, "x" + kSignature + "\6"}) {
        Store("t", bytes);
        EXPECT_EQ(OxbowRpm_Document::GetFileType(Name("t")), OxbowRpm_Document::NotPoolFile);
    }
}

}  // namespace
