#include "shim/target_calls.h"

#include "shim/rows.h"

#include <array>

namespace shim {

namespace {

constexpr uint32_t first_type = 1;
constexpr uint32_t last_type = 433;

template <class T>
constexpr bool is_output()
{
    if constexpr (std::is_pointer_v<T>)
        return !std::is_const_v<std::remove_pointer_t<T>> && !std::is_same_v<T, GLsync>;
    else
        return false;
}

template <class F>
struct shape;

template <class R, class... A>
struct shape<R(A...)>
{
    static constexpr bool has_output = (false || ... || is_output<A>());
    static constexpr uint8_t result_width()
    {
        if constexpr (std::is_void_v<R>)
            return 0;
        else
            return static_cast<uint8_t>(wire_width<R>());
    }
};

template <uint32_t Id>
constexpr target_call call_of()
{
    using s = shape<typename row<Id>::prototype>;
    return {row<Id>::function_name, s::result_width(), s::has_output,
            row<Id>::is_egl ? uint32_t{EGL_SUCCESS} : uint32_t{GL_NO_ERROR}};
}

constexpr std::array<target_call, last_type + 1> make_calls()
{
    std::array<target_call, last_type + 1> calls{};
#define ZELVAR_MESSAGE(id, name, group, function)                                                            \
    if constexpr (id >= wire::outbound::call_offset + first_type)                                            \
        calls[id - wire::outbound::call_offset] = call_of<id>();
#include "wire/messages_egl.inc"
#include "wire/messages_gles.inc"
#undef ZELVAR_MESSAGE
    return calls;
}

constexpr auto calls = make_calls();
constexpr target_call windows_dc{"egl_gles_query_get_windows_dc", 8, false, EGL_SUCCESS};

} // namespace

const target_call* find_target_call(uint32_t type)
{
    if (type == wire::outbound::egl_gles_query_get_windows_dc_call)
        return &windows_dc;
    return type >= first_type && type <= last_type && calls[type].name ? &calls[type] : nullptr;
}

} // namespace shim
