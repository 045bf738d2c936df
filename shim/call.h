#pragma once
// One call of an entry point: its message is laid out from the prototype, waits in the thread's batch or goes
// out at once, and the value that comes back is the result.

#include "shim/rows.h"
#include "shim/thread_state.h"
#include "shim/vertex_state.h"

namespace shim {

/// Results and error words of the target's driver stand in front of the arguments, when there is one.
template <uint32_t Id, class R>
uint32_t prefix_width(bool& error_word)
{
    const settings& now = current_settings();
    error_word = false;
    if (!now.call_on_target) [[likely]]
        return 0;
    constexpr bool has_result = !std::is_void_v<R> && Id != wire::inbound::egl_get_proc_address;
    constexpr bool never_error = Id == wire::inbound::egl_get_error || Id == wire::inbound::gles20_get_error;
    uint32_t width = 0;
    if constexpr (has_result)
        width = wire_width<R>();
    if (!never_error && now.has_error_word(row<Id>::error_key)) {
        error_word = true;
        width += 4;
    }
    return width;
}

template <uint32_t Id, class R>
uint8_t* put_prefix(uint8_t* at, uint32_t width, bool error_word)
{
    // The stand-in has no driver: results of zero, and errors that say that all is well.
    std::memset(at, 0, width);
    if (error_word)
        put(at + width - 4, row<Id>::is_egl ? uint32_t{EGL_SUCCESS} : uint32_t{GL_NO_ERROR});
    return at + width;
}

template <class R>
R result_of(const return_value& answer)
{
    if constexpr (std::is_pointer_v<R>)
        return reinterpret_cast<R>(pointer_from_wire(answer.value));
    else if constexpr (!std::is_void_v<R>)
        return static_cast<R>(answer.value);
}

/// Whether memory behind this argument is done with when the message has been built.
template <class T>
constexpr bool is_settled(T argument, bool in_message)
{
    if constexpr (!std::is_pointer_v<T> || std::is_same_v<T, GLsync>)
        return true;
    else if constexpr (!std::is_const_v<std::remove_pointer_t<T>>)
        return false;
    else
        return in_message || argument == nullptr;
}

template <uint32_t Id, class... A>
bool may_wait(thread_state& self, bool in_message, A... arguments)
{
    constexpr gather rule = payload<Id>::rule;
    if constexpr (rule == gather::never)
        return false;
    else if constexpr (rule == gather::keeps_address)
        return true;
    else if constexpr (rule == gather::by_prototype)
        return (true && ... && is_settled(arguments, in_message));
    else
        return self.vertices && self.vertices->may_wait(rule);
}

/// The same arguments, with the pointer to a copied block in the place of the application's.
template <uint32_t Index, uint32_t Replaced, class T>
T replaced(T argument, [[maybe_unused]] const void* copy)
{
    if constexpr (Index == Replaced)
        return copy ? static_cast<T>(copy) : argument;
    else
        return argument;
}

template <uint32_t Id, class... A, uint32_t... I>
uint8_t* put_arguments(uint8_t* at, [[maybe_unused]] const void* copy, std::integer_sequence<uint32_t, I...>,
                       A... arguments)
{
    ((at = put(at, replaced<I, payload<Id>::block_pointer>(arguments, copy))), ...);
    return at;
}

/// Begins message `Id` and fills it in; false when no message may be that long. `copy` is the block that its
/// pointer leads to instead, if any.
template <uint32_t Id, class R, class... A>
bool build_message(thread_state& self, const void* copy, A... arguments)
{
    using tail = typename payload<Id>::tail;
    bool error_word;
    const uint32_t prefix = prefix_width<Id, R>(error_word);
    const uint32_t fixed = wire::header_size + prefix + wire_width_of_all<A...>();
    uint8_t* at = self.messages.begin(Id, fixed + tail::bytes(arguments...));
    if (!at)
        return false;
    at = put_prefix<Id, R>(at + wire::header_size, prefix, error_word);
    at = put_arguments<Id>(at, copy, std::make_integer_sequence<uint32_t, sizeof...(A)>{}, arguments...);
    tail::write(at, arguments...);
    return true;
}

/// Puts message `Id` into the batch, a call whose value is known though the library sends one. False when the
/// call has to be sent instead.
template <uint32_t Id, class R, class... A>
bool leave_answered(A... arguments)
{
    thread_state* self = this_thread();
    if (!self || !self->batching || !build_message<Id, R>(*self, nullptr, arguments...))
        return false;
    self->messages.keep_answered();
    return true;
}

/// Sends message `Id` with these arguments. `A` are the widths on the wire: a message that has more fields
/// than its entry point is given them all here.
template <uint32_t Id, class R, class... A>
R send_message(A... arguments)
{
    using tail = typename payload<Id>::tail;
    using block = typename payload<Id>::block;
    thread_state* self = this_thread();
    if (!self) [[unlikely]]
        return result_of<R>({});

    const void* copy = nullptr;
    if constexpr (!std::is_same_v<block, no_tail>)
        if (const uint64_t length = block::bytes(arguments...); length && self->batching)
            copy = self->messages.keep_block(nth<payload<Id>::block_pointer>(arguments...), length);

    if (!build_message<Id, R>(*self, copy, arguments...))
        return result_of<R>({});
    if constexpr (vertex_note<Id>::present)
        if (self->vertices)
            vertex_note<Id>::note(*self->vertices, arguments...);
    if constexpr (std::is_void_v<R>) {
        constexpr bool inline_data = !std::is_same_v<tail, no_tail>;
        if (self->batching && may_wait<Id>(*self, inline_data || copy, arguments...)) {
            self->messages.keep();
            return;
        }
    }
    return result_of<R>(self->messages.send());
}

/// What the exported function of message `Id` does. Specialised where the shim does more than send.
template <uint32_t Id, class F>
struct entry;

template <uint32_t Id, class R, class... A>
struct entry<Id, R(A...)>
{
    static R call(A... arguments) { return send_message<Id, R, A...>(arguments...); }
};

} // namespace shim
