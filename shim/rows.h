#pragma once
// One row per message of an entry point: prototype, names, and what the prototype can't tell.

#include "shim/encode.h"

#include "wire/api.h"
#include "wire/wire.h"

namespace shim {

/// What the lists of messages say about message `Id`.
template <uint32_t Id>
struct row;

#define ZELVAR_MESSAGE(id, name, group, function)                                                            \
    template <>                                                                                              \
    struct row<id>                                                                                           \
    {                                                                                                        \
        using prototype = decltype(::function);                                                              \
        static constexpr const char* function_name = #function;                                              \
        static constexpr const char* error_key = #group "_" #function;                                       \
        static constexpr bool is_egl = id < wire::inbound::gles20_active_texture || id >= 434;               \
    };
#include "wire/messages_egl.inc"
#include "wire/messages_gles.inc"
#undef ZELVAR_MESSAGE

/// When a call may wait in the thread's batch. A call with a result, or with an output, never does.
enum class gather
{
    by_prototype,  // when no pointer leads to memory that is read later
    keeps_address, // the pointer is only remembered by the library
    never,    // reads the application's memory although the prototype has no pointer, or has to be at once
    arrays,   // a draw: when no enabled attribute is read from the application's memory
    elements, // the same, and the indices
    indirect_arrays,
    indirect_elements,
};

inline constexpr uint32_t no_argument = UINT32_MAX;

/// What the prototype of message `Id` can't tell.
template <uint32_t Id>
struct payload
{
    using tail = no_tail;  // inline data
    using block = no_tail; // memory that is read at once; small blocks are copied so that the call can wait
    static constexpr uint32_t block_pointer = no_argument;
    static constexpr gather rule = gather::by_prototype;
};

template <class Tail>
struct inline_payload
{
    using tail = Tail;
    using block = no_tail;
    static constexpr uint32_t block_pointer = no_argument;
    static constexpr gather rule = gather::by_prototype;
};

template <class Block, uint32_t Pointer>
struct block_payload
{
    using tail = no_tail;
    using block = Block;
    static constexpr uint32_t block_pointer = Pointer;
    static constexpr gather rule = gather::by_prototype;
};

template <gather Rule>
struct gather_payload
{
    using tail = no_tail;
    using block = no_tail;
    static constexpr uint32_t block_pointer = no_argument;
    static constexpr gather rule = Rule;
};

/// glClearBuffer*: four values for the colour, one for depth or stencil.
struct clear_values_tail
{
    template <class T>
    static uint64_t bytes(GLenum buffer, GLint, const T* values)
    {
        return values ? (buffer == GL_COLOR ? 4 : 1) * sizeof(T) : 0;
    }
    template <class T>
    static void write(uint8_t* at, GLenum buffer, GLint drawbuffer, const T* values)
    {
        if (const uint64_t length = bytes(buffer, drawbuffer, values))
            std::memcpy(at, values, length);
    }
};

/// `Size` bytes at argument `Pointer`, whatever it points to.
template <uint32_t Size, uint32_t Pointer>
struct bytes_block
{
    template <class... A>
    static uint64_t bytes(A... arguments)
    {
        const int64_t size = nth<Size>(arguments...);
        return nth<Pointer>(arguments...) && size > 0 ? static_cast<uint64_t>(size) : 0;
    }
};

/// The string at argument `Pointer`, its zero included.
template <uint32_t Pointer>
struct string_block
{
    template <class... A>
    static uint64_t bytes(A... arguments)
    {
        const auto string = nth<Pointer>(arguments...);
        return string ? std::strlen(string) + 1 : 0;
    }
};

#define ZELVAR_PAYLOAD(name, ...)                                                                            \
    template <>                                                                                              \
    struct payload<wire::inbound::name> : __VA_ARGS__                                                        \
    {                                                                                                        \
    };
#include "shim/payloads.inc"
#undef ZELVAR_PAYLOAD

} // namespace shim
