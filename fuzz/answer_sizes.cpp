#include "answer_sizes.h"

#include "settings/zelvar_settings.h"
#include "wire/answer_sizes.h"
#include "wire/api.h"
#include "wire/wire.h"

#include <array>
#include <type_traits>

namespace answer_sizes {
namespace {
struct entry
{
    uint8_t result = 0;
    bool is_known = false;
    bool has_output = true; // a result, or a pointer through which the call may write
};

template <class T>
constexpr uint8_t width()
{
    if constexpr (std::is_void_v<T>)
        return 0;
    else if constexpr (std::is_pointer_v<T>)
        return 8;
    else
        return sizeof(T);
}

template <class T>
constexpr bool is_output = std::is_pointer_v<T> && !std::is_const_v<std::remove_pointer_t<T>>;

template <class R, class... P>
constexpr entry of_prototype(R (*)(P...))
{
    return {width<R>(), true, !std::is_void_v<R> || (is_output<P> || ...)};
}

constexpr auto make_calls()
{
    std::array<entry, wire::inbound::first_vulkan_type> calls{};
#define ZELVAR_MESSAGE(id, name, group, function)                                                            \
    calls[id - wire::outbound::call_offset] = of_prototype(static_cast<decltype(&function)>(nullptr));
#include "wire/messages_egl.inc"
#include "wire/messages_gles.inc"
#undef ZELVAR_MESSAGE
    return calls;
}
} // namespace

int32_t of_request(uint32_t type)
{
    static constexpr auto calls = make_calls();
    if (type >= wire::outbound::set_return_value_message)
        return wire::answer_size_of_service(type);
    if (type >= calls.size() || !calls[type].is_known)
        return not_answered;
    // Calls without any output may be gathered; nobody waits for those.
    if (!calls[type].has_output && setting(zelvar_settings.batchTargetCommands))
        return not_answered;
    return calls[type].result;
}
} // namespace answer_sizes
