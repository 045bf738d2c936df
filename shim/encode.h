#pragma once
// The bytes of a call, derived from its prototype: arguments in order, each at its width on the wire, packed.
//
// glVertexAttribPointer(GLuint, GLint, GLenum, GLboolean, GLsizei, const void*) becomes
//   index 4 | size 4 | type 4 | normalized 1 | stride 4 | pointer 8
// and the stride stands at an odd offset.

#include "shim/handles.h"

#include <cstdint>
#include <cstring>
#include <type_traits>

namespace shim {

/// Bytes of one argument on the wire: GLboolean 1; enums, integers, sizes and floats 4; pointers, handles,
/// GLsizeiptr and 64-bit integers 8, whatever the width of this process.
template <class T>
constexpr uint32_t wire_width()
{
    if constexpr (std::is_pointer_v<T>)
        return 8;
    else if constexpr (std::is_same_v<T, unsigned char>)
        return 1;
    else if constexpr (std::is_same_v<T, long> || std::is_same_v<T, unsigned long> || sizeof(T) == 8)
        return 8;
    else {
        static_assert(sizeof(T) == 4 && std::is_arithmetic_v<T>, "an argument of a kind that the wire lacks");
        return 4;
    }
}

template <class... A>
constexpr uint32_t wire_width_of_all()
{
    return (0 + ... + wire_width<A>());
}

/// Writes one argument at any alignment and returns the place behind it.
template <class T>
uint8_t* put(uint8_t* at, T value)
{
    if constexpr (std::is_pointer_v<T>) {
        const uint64_t wide = wire_from_pointer(reinterpret_cast<uintptr_t>(value));
        std::memcpy(at, &wide, 8);
    } else if constexpr (std::is_integral_v<T> && wire_width<T>() == 8) {
        using wide_type = std::conditional_t<std::is_signed_v<T>, int64_t, uint64_t>;
        const auto wide = static_cast<wide_type>(value);
        std::memcpy(at, &wide, 8);
    } else
        std::memcpy(at, &value, wire_width<T>());
    return at + wire_width<T>();
}

/// Argument number N of a call.
template <uint32_t N, class First, class... Rest>
constexpr auto nth(First first, Rest... rest)
{
    if constexpr (N == 0)
        return first;
    else
        return nth<N - 1>(rest...);
}

// What stands inline in a message behind the fixed arguments. A null pointer or a count that isn't positive
// has no bytes.

/// No inline data.
struct no_tail
{
    template <class... A>
    static uint64_t bytes(A...)
    {
        return 0;
    }
    template <class... A>
    static void write(uint8_t*, A...)
    {
    }
};

/// The array that argument `Pointer` points to: as many elements as argument `Count` says, `PerCount` each.
template <uint32_t Count, uint32_t Pointer, uint32_t PerCount = 1>
struct array_tail
{
    template <class... A>
    static uint64_t bytes(A... arguments)
    {
        const auto pointer = nth<Pointer>(arguments...);
        const int64_t count = nth<Count>(arguments...);
        if (!pointer || count <= 0)
            return 0;
        return static_cast<uint64_t>(count) * PerCount * sizeof(*pointer);
    }
    template <class... A>
    static void write(uint8_t* at, A... arguments)
    {
        if (const uint64_t length = bytes(arguments...))
            std::memcpy(at, nth<Pointer>(arguments...), length);
    }
};

/// A fixed number of elements at argument `Pointer`.
template <uint32_t Pointer, uint32_t Elements>
struct fixed_tail
{
    template <class... A>
    static uint64_t bytes(A... arguments)
    {
        const auto pointer = nth<Pointer>(arguments...);
        return pointer ? uint64_t{Elements} * sizeof(*pointer) : 0;
    }
    template <class... A>
    static void write(uint8_t* at, A... arguments)
    {
        if (const uint64_t length = bytes(arguments...))
            std::memcpy(at, nth<Pointer>(arguments...), length);
    }
};

/// `Count` strings at argument `Pointer`, one behind the other, each with its zero. A null string is empty.
template <uint32_t Count, uint32_t Pointer>
struct strings_tail
{
    template <class... A>
    static uint64_t bytes(A... arguments)
    {
        const auto strings = nth<Pointer>(arguments...);
        const int64_t count = nth<Count>(arguments...);
        uint64_t total = 0;
        for (int64_t i = 0; strings && i < count; ++i)
            total += (strings[i] ? std::strlen(strings[i]) : 0) + 1;
        return total;
    }
    template <class... A>
    static void write(uint8_t* at, A... arguments)
    {
        const auto strings = nth<Pointer>(arguments...);
        const int64_t count = nth<Count>(arguments...);
        for (int64_t i = 0; strings && i < count; ++i) {
            const size_t length = strings[i] ? std::strlen(strings[i]) : 0;
            if (length)
                std::memcpy(at, strings[i], length);
            at[length] = 0;
            at += length + 1;
        }
    }
};

} // namespace shim
