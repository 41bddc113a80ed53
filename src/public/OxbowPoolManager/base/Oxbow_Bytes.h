#ifndef OXBOW_OXBOW_BYTES_H
#define OXBOW_OXBOW_BYTES_H

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

/** \file
    Numbers in stored form: little-endian, without alignment. The order is made by shifts, so that
    the host's own order can't matter. The shifts are written out, not looped, because compilers see
    plain moves in that form only.
    Threads: safe from any. Raises nothing. */

/** The body of the form with two arguments. */
template <class Number, std::size_t... I>
void Oxbow_StoreBytes(char* place, Number value, std::index_sequence<I...>) {
    static_assert(std::is_unsigned_v<Number>, "shifts of signed numbers carry the sign");
    ((place[I] = static_cast<char>(static_cast<unsigned char>(value >> (8 * I)))), ...);
}

/** Stores the sizeof(Number) bytes of an unsigned number, the least significant first. */
template <class Number>
void Oxbow_StoreBytes(char* place, Number value) {
    Oxbow_StoreBytes(place, value, std::make_index_sequence<sizeof(Number)>());
}

/** The body of the form with one argument. */
template <class Number, std::size_t... I>
Number Oxbow_LoadBytes(const char* place, std::index_sequence<I...>) {
    static_assert(std::is_unsigned_v<Number>, "shifts of signed numbers carry the sign");
    return static_cast<Number>(
        ((std::uint64_t{static_cast<unsigned char>(place[I])} << (8 * I)) | ...));
}

/** Loads an unsigned number as Oxbow_StoreBytes stores it. */
template <class Number>
Number Oxbow_LoadBytes(const char* place) {
    return Oxbow_LoadBytes<Number>(place, std::make_index_sequence<sizeof(Number)>());
}

#endif
