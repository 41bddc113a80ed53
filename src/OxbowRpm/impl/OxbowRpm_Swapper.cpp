#include <OxbowPoolManager/OxbowRpm_Swapper.h>
#include <OxbowPoolManager/base/OxbowRpm_Assert.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

template <int N>
struct Scalar;
template <>
struct Scalar<2> {
    using Bits = std::uint16_t;
    static constexpr int Mask = 1;
    static constexpr const char* AlignmentText = "!(reinterpret_cast<intptr_t>(p) & 1)";
};
template <>
struct Scalar<4> {
    using Bits = std::uint32_t;
    static constexpr int Mask = 3;
    static constexpr const char* AlignmentText = "!(reinterpret_cast<intptr_t>(p) & 3)";
};
/** Streams align to 4 bytes at most, so that no more is asked of 8-byte values in memory. */
template <>
struct Scalar<8> : Scalar<4> {
    using Bits = std::uint64_t;
};

[[noreturn]] void RaiseIllegalSize() {
    std::fputs("Illegal swap size.\n", stderr);
    std::abort();
}

}  // namespace

// Values are copied out and in byte by byte: neither side needs to be aligned.

template <int N>
void OxbowRpm_SwapperTraits<N>::ExternalizeArray(char* destination, const void* source, int count) {
    const char* from = static_cast<const char*>(source);
    for (; count > 0; --count, from += N, destination += N) {
        typename Scalar<N>::Bits bits;
        std::memcpy(&bits, from, N);
        Oxbow_StoreBytes(destination, bits);
    }
}

template <int N>
void OxbowRpm_SwapperTraits<N>::InternalizeArray(const char* source, void* destination, int count) {
    char* to = static_cast<char*>(destination);
    for (; count > 0; --count, source += N, to += N) {
        const auto bits = Oxbow_LoadBytes<typename Scalar<N>::Bits>(source);
        std::memcpy(to, &bits, N);
    }
}

template <int N>
void OxbowRpm_SwapperTraits<N>::CheckAlignment(const void* p) {
    OXBOW_ASSERT_TEXT((reinterpret_cast<std::intptr_t>(p) & Scalar<N>::Mask) == 0,
                      Scalar<N>::AlignmentText);
}

template class OxbowRpm_SwapperTraits<2>;
template class OxbowRpm_SwapperTraits<4>;
template class OxbowRpm_SwapperTraits<8>;

unsigned int OxbowRpm_Swapper::ExternalizeScalarUnsafe(char* destination, const void* source,
                                                       int size) {
    switch (size) {
        case 2:
            OxbowRpm_SwapperTraits<2>::ExternalizeArray(destination, source, 1);
            break;
        case 4:
            OxbowRpm_SwapperTraits<4>::ExternalizeArray(destination, source, 1);
            break;
        case 8:
            OxbowRpm_SwapperTraits<8>::ExternalizeArray(destination, source, 1);
            break;
        default:
            RaiseIllegalSize();
    }
    return static_cast<unsigned int>(size);
}

unsigned int OxbowRpm_Swapper::InternalizeScalarUnsafe(const char* source, void* destination,
                                                       int size) {
    switch (size) {
        case 2:
            OxbowRpm_SwapperTraits<2>::InternalizeArray(source, destination, 1);
            break;
        case 4:
            OxbowRpm_SwapperTraits<4>::InternalizeArray(source, destination, 1);
            break;
        case 8:
            OxbowRpm_SwapperTraits<8>::InternalizeArray(source, destination, 1);
            break;
        default:
            RaiseIllegalSize();
    }
    return static_cast<unsigned int>(size);
}
