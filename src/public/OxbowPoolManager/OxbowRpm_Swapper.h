#ifndef OXBOW_OXBOW_RPM_SWAPPER_H
#define OXBOW_OXBOW_RPM_SWAPPER_H

#include <OxbowPoolManager/base/Oxbow_Bytes.h>
#include <OxbowPoolManager/base/Oxbow_Export.h>

#include <cstdint>
#include <cstring>
#include <type_traits>

/** What OxbowRpm_Swapper does with arrays, once for each width: N is 2, 4 or 8 bytes. Reached
    through the swapper, which takes the width from the type.
    Threads: safe from any. Raises nothing. */
template <int N>
class OXBOW_EXPORT OxbowRpm_SwapperTraits {
private:
    friend class OxbowRpm_Swapper;

    static void ExternalizeArray(char* destination, const void* source, int count);
    static void InternalizeArray(const char* source, void* destination, int count);
    static void CheckAlignment(const void* p);
};

/** Turns numbers between memory and their external form, the one in streams and pools: least
    significant byte first, without gaps or alignment, on every host. Made for the bytes that
    PrepRead and PrepWrite of the streams point to.

    Values are integers, floating-point numbers and enumerations of 2, 4 or 8 bytes; those that are
    not integers count as the integer of the same bits. Source and destination must not overlap, and
    hold as many bytes as the operation moves: nothing here knows their ends.

    Owner and life: none, static members only.
    Threads: safe from any. Raises nothing, allocates nothing.
    Units: sizes in bytes, counts in values. */
class OXBOW_EXPORT OxbowRpm_Swapper {
public:
    /** The number of bytes moved, for the caller to advance by; none for 2-byte values. */
    template <class Value>
    using Moved = std::conditional_t<sizeof(Value) == 2, void, unsigned int>;

    /** Stores one value at `destination`. */
    template <class Value>
    static Moved<Value> ExternalizeScalar(char* destination, const Value& source) {
        Unsigned<Value> bits;
        std::memcpy(&bits, &source, sizeof bits);
        Oxbow_StoreBytes(destination, bits);
        return static_cast<Moved<Value>>(sizeof bits);
    }
    /** Loads one value from `source`. */
    template <class Value>
    static Moved<Value> InternalizeScalar(const char* source, Value& destination) {
        const auto bits = Oxbow_LoadBytes<Unsigned<Value>>(source);
        std::memcpy(&destination, &bits, sizeof bits);
        return static_cast<Moved<Value>>(sizeof bits);
    }

    /** ExternalizeScalar for a width that is known only when the program runs: 2, 4 or 8 bytes,
        which it returns. Any other writes one line to stderr and ends the process. In memory the
        value needs no alignment. */
    static unsigned int ExternalizeScalarUnsafe(char* destination, const void* source, int size);
    /** The way back, as ExternalizeScalarUnsafe. */
    static unsigned int InternalizeScalarUnsafe(const char* source, void* destination, int size);

    /** Stores `count` values, one after the other, each of the width that its type has. A count of
        0 or less moves nothing. */
    template <class Value>
    static void ExternalizeArray(char* destination, const Value* source, int count) {
        Traits<Value>::ExternalizeArray(destination, source, count);
    }
    /** Loads `count` values, as ExternalizeArray stores them. */
    template <class Value>
    static void InternalizeArray(const char* source, Value* destination, int count) {
        Traits<Value>::InternalizeArray(source, destination, count);
    }
    /** A failed assertion, which ends the process, unless p is a multiple of 2 for 2-byte values,
        of 4 for 4-byte and 8-byte ones. The array operations don't need it. */
    template <class Value>
    static void CheckAlignment(const Value* p) {
        Traits<Value>::CheckAlignment(p);
    }

private:
    template <class Value>
    static constexpr int WidthOf() {
        static_assert(std::is_arithmetic<Value>::value || std::is_enum<Value>::value,
                      "only numbers have an external form");
        static_assert(sizeof(Value) == 2 || sizeof(Value) == 4 || sizeof(Value) == 8,
                      "values have 16, 32 or 64 bits");
        return sizeof(Value);
    }
    template <class Value>
    using Traits = OxbowRpm_SwapperTraits<WidthOf<Value>()>;
    /** The unsigned integer of the same width. */
    template <class Value>
    using Unsigned =
        std::conditional_t<WidthOf<Value>() == 2, std::uint16_t,
                           std::conditional_t<WidthOf<Value>() == 4, std::uint32_t, std::uint64_t>>;
};

#endif
