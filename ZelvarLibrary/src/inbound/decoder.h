#pragma once
// Decoders are derived: a handler's own signature is the layout of its message. For
//
//     void gles20_glVertexAttribPointer(pid_t, tid_t, GLuint index, GLint size, GLenum type,
//                                       GLboolean normalized, GLsizei stride, target_ptr pointer,
//                                       gles_target_error error);
//
// `decode<191, &gles20_glVertexAttribPointer>` reads [error word] 4 4 4 1 4 8 bytes, packed, from offset 20,
// calls the handler and releases the target. A debugger lands in decode<...>::run; the arguments stand by
// value in the frame above.

#include "inbound/cursor.h"
#include "inbound/message_table.h"
#include "inbound/payload_types.h"
#include "zelvar_types.h"

#include <type_traits>

/// One message being taken apart.
struct decode_frame
{
    pid_t pid;
    tid_t tid;
    uint32_t type;
    cursor in;
    uint64_t target_result = 0;
    unsigned target_error = 0;
};

/// Reads the target's result and error where the message has them. `result_width` 0: the call returns nothing
/// that travels; `neutral_error` stands for an absent error word; `has_error` false: the message never has
/// one.
void begin_decode(decode_frame& frame, unsigned result_width, bool has_error, unsigned neutral_error);
/// Reports a short message once and, unless commands are batched, releases the target.
void end_decode(decode_frame& frame) noexcept;
/// Logs what a handler threw; the target is released all the same.
void decode_failed(const decode_frame& frame) noexcept;
/// Aligned scratch of this thread, grown as needed; valid until the next call.
void* decode_scratch(uint64_t size);
/// Frees this thread's scratch; the worker's last act.
void decode_scratch_release() noexcept;

template <class T>
concept wire_number = std::is_arithmetic_v<T>;

/// How a handler parameter is read from the message.
template <class T>
struct field
{
    static_assert(sizeof(T) == 0,
                  "a handler parameter must be a number, target_ptr, inline_array, result_of or "
                  "a target error: a raw pointer can't come from the target");
};
template <wire_number T>
struct field<T>
{
    static T get(decode_frame& f) { return f.in.take<T>(); }
};
template <>
struct field<target_ptr>
{
    static target_ptr get(decode_frame& f) { return {f.in.take<uint64_t>()}; }
};
template <class T>
struct field<inline_array<T>>
{
    static inline_array<T> get(decode_frame& f)
    {
        inline_array<T> array;
        const uint8_t* bytes = f.in.rest();
        array.count = f.in.rest_size() / sizeof(T);
        if (array.count == 0)
            return array;
        if (reinterpret_cast<uintptr_t>(bytes) % alignof(T) != 0) {
            void* aligned = decode_scratch(array.count * sizeof(T));
            bytes = static_cast<const uint8_t*>(std::memcpy(aligned, bytes, array.count * sizeof(T)));
        }
        array.data = reinterpret_cast<const T*>(bytes);
        f.in.skip(f.in.rest_size());
        return array;
    }
};
template <class T>
struct field<result_of<T>>
{
    static result_of<T> get(decode_frame& f) { return {static_cast<T>(f.target_result)}; }
};
template <>
struct field<gles_target_error>
{
    static gles_target_error get(decode_frame& f) { return {f.target_error}; }
};
template <>
struct field<egl_target_error>
{
    static egl_target_error get(decode_frame& f) { return {f.target_error}; }
};

namespace decoder_detail {
template <class T>
inline constexpr unsigned result_width = 0;
template <class T>
inline constexpr unsigned result_width<result_of<T>> = sizeof(T);

/// Braces fix the order of the reads: left to right, as the fields stand in the message.
template <class... A>
struct invoke
{
    template <class Handler>
    invoke(Handler handler, pid_t pid, tid_t tid, A... arguments)
    {
        handler(pid, tid, arguments...);
    }
};

template <uint32_t Type, class Signature>
struct engine;
template <uint32_t Type, class R, class... A>
struct engine<Type, R (*)(pid_t, tid_t, A...)>
{
    static void run(R (*handler)(pid_t, tid_t, A...), pid_t pid, tid_t tid, void* message, uint32_t size)
    {
        constexpr bool gles = (std::is_same_v<A, gles_target_error> || ...);
        constexpr bool egl = (std::is_same_v<A, egl_target_error> || ...);
        decode_frame frame{pid, tid, Type, cursor{message, size}};
        try {
            begin_decode(frame, (result_width<A> + ... + 0u), gles || egl,
                         egl ? egl_target_error{}.code : gles_target_error{}.code);
            invoke<A...>{handler, pid, tid, field<A>::get(frame)...};
        } catch (...) {
            decode_failed(frame);
        }
        end_decode(frame);
    }
};
} // namespace decoder_detail

/// The decoder of one message type.
template <uint32_t Type, auto Handler>
void decode(pid_t pid, tid_t tid, void* message, uint32_t size)
{
    decoder_detail::engine<Type, decltype(Handler)>::run(Handler, pid, tid, message, size);
}

/// A row of the table: `ROW(gles20_clear, gles20_glClear)`.
#define ROW(name, handler)                                                                                   \
    built_row                                                                                                \
    {                                                                                                        \
        wire::inbound::name, &decode<wire::inbound::name, &handler>                                          \
    }
