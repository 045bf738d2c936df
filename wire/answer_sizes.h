#pragma once
// How many result bytes the library expects in the confirmation of a service. Another number is a broken
// shim, on which the library stops the process.

#include "wire/wire.h"

#include <cstdint>

namespace wire {

inline constexpr int32_t not_answered = -1;

/// `not_answered` for services that nobody waits for, and for what is no service.
constexpr int32_t answer_size_of_service(uint32_t service)
{
    using namespace outbound;
    switch (service) {
    case read_from_shim_address_space:
    case write_to_shim_address_space:
    case set_fb_depth:
    case set_cursor_visibility:
    case set_screensaver_status:
    case shim_sync_object_destroy:
    case shim_sync_object_signal:
    case store_attribute_index_used_by_program_in_shim_context:
    case winsys_disconnect_window:
        return 0;
    case winsys_connect_window:
        return 1;
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
    case outbound::vkAllocateMemory:
    case get_target_process_name_address:
        return 8;
    case get_pixmap_properties:
        return 16;
    case winsys_map_buffer_object_vk:
        return sizeof(winsys_buffer_vk_data_descriptor);
    case winsys_buffer_object_begin_use:
    case winsys_map_buffer_object:
        return sizeof(winsys_buffer_object_descriptor);
    default:
        return not_answered;
    }
}

} // namespace wire
