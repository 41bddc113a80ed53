// The one field of the header that is text, with the numbers that no file of the other tests has.
#include <gtest/gtest.h>

#include "format/OxbowRpm_Header.h"

TEST(Layout, LengthFieldHasSixteenDigits) {
    for (const std::uint64_t length : {0ull, 180ull, 9999999999999999ull, 10000000000000007ull}) {
        const std::string digits = std::string(16, '0') + std::to_string(length);
        std::string field(16, '*');
        OxbowRpm_Header::EncodeLength(field.data(), length);
        EXPECT_EQ(field, digits.substr(digits.size() - 16));
    }
}
