#include "answer_sizes.h"

#include "settings/zelvar_settings.h"
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

int32_t of_service(uint32_t type)
{
    using namespace wire::outbound;
    switch (type) {
    case set_return_value_message:
    case leave_message_processing_loop:
    case deallocate_memory_block:
        return not_answered;
    case get_egl_attribute_list_length:
    case get_fb_height:
    case get_fb_width:
    case get_string_length:
    case get_target_pointer_size:
    case get_pixmap_data:
    case shim_sync_object_wait:
    case winsys_buffer_object_end_use:
    case winsys_get_target_os_version:
    case winsys_get_window_height:
    case winsys_get_window_width:
    case winsys_unmap_buffer_object:
        return 4;
    case allocate_memory_block:
    case get_proc_address:
    case shim_sync_object_create:
    case wire::outbound::vkAllocateMemory:
    case get_target_process_name_address:
        return 8;
    case get_pixmap_properties:
        return 16;
    case winsys_buffer_object_begin_use:
    case winsys_map_buffer_object:
        return sizeof(wire::winsys_buffer_object_descriptor);
    case winsys_map_buffer_object_vk:
        return sizeof(wire::winsys_buffer_vk_data_descriptor);
    case winsys_connect_window:
        return 1;
    }
    return 0;
}
} // namespace

int32_t of_request(uint32_t type)
{
    static constexpr auto calls = make_calls();
    if (type >= wire::outbound::set_return_value_message)
        return of_service(type);
    if (type >= calls.size() || !calls[type].is_known)
        return not_answered;
    // Calls without any output may be gathered; nobody waits for those.
    if (!calls[type].has_output && setting(zelvar_settings.batchTargetCommands))
        return not_answered;
    return calls[type].result;
}
} // namespace answer_sizes
