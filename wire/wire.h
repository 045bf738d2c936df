#pragma once
// What stands on the wire between the shim and the library: framing, message types, shared records. This is
// all that the two sides have in common. Byte order is the host's (little-endian); nothing is aligned.

#include <cstdint>
#include <cstring>

namespace wire {

/// Every message, in both directions, begins with these 20 bytes, packed.
inline constexpr uint32_t offset_size = 0;  // 4 bytes: length of the whole message, header included
inline constexpr uint32_t offset_type = 4;  // 4 bytes
inline constexpr uint32_t offset_pid = 8;   // 4 bytes: target process id in bits 0-23, VMID in bits 24-31
inline constexpr uint32_t offset_tid = 12;  // 8 bytes: target thread id
inline constexpr uint32_t header_size = 20; // the payload begins here

struct header
{
    uint32_t size = 0;
    uint32_t type = 0;
    int32_t pid = 0;
    uint64_t tid = 0;
};

/// Reads a header from at least `header_size` bytes at any alignment.
inline header load_header(const void* bytes)
{
    header h;
    const char* at = static_cast<const char*>(bytes);
    std::memcpy(&h.size, at + offset_size, 4);
    std::memcpy(&h.type, at + offset_type, 4);
    std::memcpy(&h.pid, at + offset_pid, 4);
    std::memcpy(&h.tid, at + offset_tid, 8);
    return h;
}

/// Writes a header to at least `header_size` bytes at any alignment.
inline void store_header(void* bytes, const header& h)
{
    char* at = static_cast<char*>(bytes);
    std::memcpy(at + offset_size, &h.size, 4);
    std::memcpy(at + offset_type, &h.type, 4);
    std::memcpy(at + offset_pid, &h.pid, 4);
    std::memcpy(at + offset_tid, &h.tid, 8);
}

/// Types of messages from the target to the library.
namespace inbound {
enum type : uint32_t
{
    command_executed = 4, // confirmation of a request: error (4), n (1), n result bytes
#define ZELVAR_SHIM_MESSAGE(id, name) name = id,
#include "messages_shim.inc"
#undef ZELVAR_SHIM_MESSAGE
#define ZELVAR_MESSAGE(id, name, group, function) name = id,
#include "messages_egl.inc"
#include "messages_gles.inc"
#include "messages_vk.inc"
#undef ZELVAR_MESSAGE
};
inline constexpr uint32_t first_api_type = 6;
inline constexpr uint32_t first_vulkan_type = 440;
inline constexpr uint32_t row_count = 600;
} // namespace inbound

/// Types of messages from the library to the target. The request that makes the target run an entry point
/// has the number of that entry point's own message less six; the services follow.
namespace outbound {
inline constexpr uint32_t call_offset = 6;
enum type : uint32_t
{
    egl_gles_query_get_windows_dc_call = 435,
#define ZELVAR_SERVICE(id, name) name = id,
#include "services.inc"
#undef ZELVAR_SERVICE
};
} // namespace outbound

/// Settings that the shim receives as a byte copy: offsets into the 56-byte block.
namespace settings_offset {
inline constexpr uint32_t shim_log_level = 0;         // 4
inline constexpr uint32_t white_list_text = 24;       // 8: the target's own pointer to a comma-separated list
inline constexpr uint32_t batch_commands = 32;        // 1
inline constexpr uint32_t batch_target_commands = 33; // 1
inline constexpr uint32_t dump_target_error_calls = 34;       // 1
inline constexpr uint32_t skip_target_error_calls = 35;       // 1
inline constexpr uint32_t call_on_target = 37;                // 1
inline constexpr uint32_t call_on_target_api = 40;            // 4
inline constexpr uint32_t check_error_code = 44;              // 1
inline constexpr uint32_t enable_error_check_white_list = 45; // 1
inline constexpr uint32_t performance_profile = 46;           // 1
inline constexpr uint32_t size = 56;
} // namespace settings_offset

/// A native buffer as exchanged with the shim's window services.
struct winsys_buffer_object_descriptor
{
    uint32_t source_kind; // an EGL image target
    uint32_t format;      // OpenGL ES format
    uint32_t height;      // pixels
    uint32_t type;        // OpenGL ES type
    uint32_t width;       // pixels
    uint32_t stride;      // bytes
    uint8_t remove_alpha;
    uint8_t bits_per_pixel;
    uint8_t reserved_26[6];
    uint64_t reserved_32;
    uint64_t pixels; // target address of the mapped pixels
    uint64_t mapped; // non-zero: an unmap is needed

    uint64_t get_buffer_size() const { return uint64_t{height} * stride; }
};
static_assert(sizeof(winsys_buffer_object_descriptor) == 56);

/// Answer of the Vulkan flavour of the buffer mapping service.
struct winsys_buffer_vk_data_descriptor
{
    uint64_t framebuffer; // target address
    uint64_t format;
    uint64_t attributes; // target address
    uint32_t length;     // bytes
    uint32_t mapped;     // non-zero: the buffer must be unmapped
};
static_assert(sizeof(winsys_buffer_vk_data_descriptor) == 32);

} // namespace wire
