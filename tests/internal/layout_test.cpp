// The one field of the header that is text. All others are seen in docs/format.md's example and in the files
// of tests/hostile.

#include <gtest/gtest.h>

#include <string>

#include "OxbowRpm/impl/OxbowRpm_Header.h"

namespace {

using std::string;

TEST(Layout, LengthFieldTakesSixteenDigits) {
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

}  // namespace
