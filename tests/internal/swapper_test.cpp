// Values between memory and external form: the bytes, the results, and what ends the process.
#include <OxbowPoolManager/OxbowRpm_Swapper.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using S = OxbowRpm_Swapper;

/** Every form moves the value's own bytes, at odd addresses too, and none beside them. */
template <class T>
static void ExpectForms(T value, const std::string& stored) {
    constexpr int N = sizeof(T);
    const T values[] = {value, value};
    T back[4] = {};
    std::string bytes(2 + 4 * N, '*');
    EXPECT_EQ(S::ExternalizeScalarUnsafe(&bytes[1], &value, N), sizeof value);
    S::ExternalizeScalar(&bytes[1 + N], value);
    S::ExternalizeArray(&bytes[1 + 2 * N], values, 2);
    S::ExternalizeArray(&bytes[1 + 4 * N], values, 0);
    EXPECT_EQ(bytes, '*' + stored + stored + stored + stored + '*');
    EXPECT_EQ(S::InternalizeScalarUnsafe(&bytes[1], back, N), sizeof value);
    S::InternalizeArray(&bytes[1], back + 1, 2);
    EXPECT_EQ(std::vector<T>(back, back + 4), std::vector<T>({value, value, value, T()}));
    S::InternalizeScalar(&bytes[1], back[3]);
    EXPECT_EQ(back[3], value);
}

TEST(SwapperDeathTest, FormsPutTheLeastByteFirstAndBadSizesOrAddressesEndTheProcess) {
    ExpectForms<short>(-32766, "\x02\x80");
    ExpectForms<float>(-0x1.020406p0f, "\x03\x02\x81\xBF");
    ExpectForms<long>(0x0102030405060708, "\x08\x07\x06\x05\x04\x03\x02\x01");
    alignas(8) char place[16];
    EXPECT_EQ(S::ExternalizeScalar(place, 7u) + S::ExternalizeScalar(place, 1.0), 4u + 8u);
    const auto check = [&](auto v, int at) {
        S::CheckAlignment(reinterpret_cast<decltype(&v)>(place + at));
    };
    check(short(), 2), check(4, 4), check(8l, 4);
    EXPECT_DEATH(check(short(), 1), "& 1\\)\n");
    EXPECT_DEATH(check(8l, 6), "failed: !\\(reinterpret_cast<intptr_t>\\(p\\) & 3\\)\n");
    EXPECT_DEATH(S::ExternalizeScalarUnsafe(place, place, 3), "^Illegal swap size.\n$");
    EXPECT_DEATH(S::InternalizeScalarUnsafe(place, place, 16), "^Illegal swap size.\n$");
}
