#include "shim/services.h"

#include "shim/hardware_buffers.h"
#include "shim/log.h"
#include "shim/native_buffers.h"
#include "shim/proc_address.h"
#include "shim/shared_blocks.h"
#include "shim/sync_objects.h"
#include "shim/target_calls.h"
#include "shim/windows.h"

#include <EGL/egl.h>
#include <EGL/eglext.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <unordered_set>

namespace shim {

namespace {

namespace out = wire::outbound;

constexpr uint32_t linux_os = 1;
constexpr uint32_t android_os = 2;

// Blocks that the library allocated and has not freed. Guarded by the process-wide lock.
std::unordered_set<void*>& allocated = *new std::unordered_set<void*>;

/// The payload of a request: fields one behind the other.
class fields
{
public:
    fields(const uint8_t* bytes, uint32_t length) : at_{bytes}, left_{length} {}

    uint32_t u32() { return take<uint32_t>(); }
    uint64_t u64() { return take<uint64_t>(); }

    template <class T>
    T* pointer()
    {
        return reinterpret_cast<T*>(static_cast<uintptr_t>(u64()));
    }

    template <class T>
    T take()
    {
        T value{};
        if (left_ < sizeof value) {
            left_ = 0;
            return value;
        }
        std::memcpy(&value, at_, sizeof value);
        at_ += sizeof value;
        left_ -= sizeof value;
        return value;
    }

private:
    const uint8_t* at_;
    uint32_t left_;
};

/// What each service wants: bytes of payload, bytes of answer, whether it waits at all.
struct service_shape
{
    uint32_t type;
    uint32_t payload;
    uint8_t answer;
    bool waits;
};

constexpr service_shape shapes[] = {
    {out::read_from_shim_address_space, 12, 0, true},
    {out::write_to_shim_address_space, 12, 0, true},
    {out::allocate_memory_block, 4, 8, true},
    {out::deallocate_memory_block, 8, 0, false},
    {out::get_egl_attribute_list_length, 8, 4, true},
    {out::get_fb_height, 0, 4, true},
    {out::get_fb_width, 0, 4, true},
    {out::get_string_length, 8, 4, true},
    {out::get_target_pointer_size, 0, 4, true},
    {out::get_pixmap_data, 24, 4, true},
    {out::get_pixmap_properties, 16, 16, true},
    {out::get_proc_address, 8, 8, true},
    {out::set_fb_depth, 4, 0, true},
    {out::set_cursor_visibility, 4, 0, true},
    {out::set_screensaver_status, 4, 0, true},
    {out::shim_sync_object_create, 0, 8, true},
    {out::shim_sync_object_destroy, 8, 0, true},
    {out::shim_sync_object_signal, 12, 0, true},
    {out::shim_sync_object_wait, 16, 4, true},
    {out::store_attribute_index_used_by_program_in_shim_context, 8, 0, true},
    {out::winsys_buffer_object_begin_use, 12, 56, true},
    {out::winsys_buffer_object_end_use, 8, 4, true},
    {out::winsys_connect_window, 16, 1, true},
    {out::winsys_disconnect_window, 8, 0, true},
    {out::winsys_get_target_os_version, 0, 4, true},
    {out::winsys_get_window_height, 8, 4, true},
    {out::winsys_get_window_width, 8, 4, true},
    {out::winsys_map_buffer_object, 64, 56, true},
    {out::winsys_unmap_buffer_object, 12, 4, true},
    {out::winsys_map_buffer_object_vk, 8, 32, true},
    {out::vkAllocateMemory, 36, 8, true},
    {out::get_target_process_name_address, 0, 8, true},
};

const service_shape* shape_of(uint32_t type)
{
    const auto found =
        std::find_if(std::begin(shapes), std::end(shapes), [&](const auto& s) { return s.type == type; });
    return found == std::end(shapes) ? nullptr : found;
}

/// From here on a block is what an application has mapped, and is filled and fetched as a whole.
constexpr uint32_t least_shared_block = 16 * 1024;

/// Bytes of an attribute list, its end mark included.
uint32_t attribute_list_bytes(const EGLint* list)
{
    if (!list)
        return 0;
    uint32_t count = 0;
    while (list[count] != EGL_NONE)
        count += 2;
    return (count + 1) * static_cast<uint32_t>(sizeof(EGLint));
}

const char* process_name()
{
    static char name[256];
    const char* from = program_invocation_short_name;
    std::strncpy(name, from ? from : "", sizeof name - 1);
    return name;
}

/// The library asks for a wait within a call of this thread, with the conversation locked: nobody could send
/// the signal, so the answer is what is known now.
uint32_t wait_now(uint64_t id, uint64_t timeout)
{
    if (timeout)
        SHIM_SAY_ONCE(gate::error,
                      "A wait on a sync object within a call can't block; its time-out is taken as 0.");
    return sync_object_signals(id) ? EGL_CONDITION_SATISFIED_KHR : EGL_TIMEOUT_EXPIRED_KHR;
}

/// The handle of the memory that is being allocated. This stand-in has no memory of its own behind it, and
/// made the handle up before it sent the call.
uint64_t new_memory_handle(fields request)
{
    request.u64(); // device
    request.u64(); // allocate info
    request.u64(); // allocator
    const auto* made = request.pointer<const uint64_t>();
    return made ? *made : 0;
}

void not_built(const char* what)
{
    say(gate::error, "%s isn't built in this stand-in; the answer is zeros.", what);
}

/// Fills the answer of one service. What isn't named here keeps its zeros.
void answer_service(void* surface, uint32_t type, fields request, service_answer& answer)
{
    switch (type) {
    case out::allocate_memory_block:
        answer.set(uint64_t{reinterpret_cast<uintptr_t>(allocate_block(request.u32()))});
        break;
    case out::deallocate_memory_block:
        free_block(request.pointer<void>());
        break;
    case out::get_egl_attribute_list_length:
        answer.set(attribute_list_bytes(request.pointer<const EGLint>()));
        break;
    case out::get_fb_height:
        answer.set(frame_size(surface).height);
        note_told_height(frame_size(surface).height);
        break;
    case out::get_fb_width:
        answer.set(frame_size(surface).width);
        note_told_width(frame_size(surface).width);
        break;
    case out::get_string_length: {
        const char* text = request.pointer<const char>();
        answer.set(static_cast<uint32_t>(text ? std::strlen(text) : 0));
        break;
    }
    case out::get_target_pointer_size:
        answer.set(static_cast<uint32_t>(sizeof(void*)));
        break;
    case out::get_proc_address: {
        const char* name = request.pointer<const char>();
        const auto address = reinterpret_cast<uintptr_t>(name ? find_entry_point(name) : nullptr);
        answer.set(static_cast<uint64_t>(address));
        break;
    }
    case out::shim_sync_object_create:
        answer.set(create_sync_object());
        break;
    case out::shim_sync_object_destroy:
        if (!destroy_sync_object(request.u64()))
            say(gate::error, "The library destroys a sync object that there isn't.");
        break;
    case out::shim_sync_object_signal:
        if (!signal_sync_object(request.u64()))
            say(gate::error, "The library signals a sync object that there isn't.");
        break;
    case out::shim_sync_object_wait: {
        const uint64_t id = request.u64();
        answer.set(wait_now(id, request.u64()));
        break;
    }
    case out::winsys_connect_window:
        answer.set(uint8_t{1});
        break;
    case out::winsys_get_target_os_version:
        answer.set(target_is_android() ? android_os : linux_os);
        break;
    case out::winsys_get_window_height:
        answer.set(size_of_window(request.u64()).height);
        break;
    case out::winsys_get_window_width:
        answer.set(size_of_window(request.u64()).width);
        break;
    case out::get_target_process_name_address:
        answer.set(static_cast<uint64_t>(reinterpret_cast<uintptr_t>(process_name())));
        break;
    case out::get_pixmap_data:
    case out::get_pixmap_properties:
        not_built("Pixmaps");
        break;
    case out::winsys_buffer_object_begin_use: {
        const uint64_t handle = request.u64();
        answer.set(begin_buffer_use(handle, request.u32()));
        break;
    }
    case out::winsys_buffer_object_end_use:
        answer.set(uint32_t{end_buffer_use(request.u64())});
        break;
    case out::winsys_map_buffer_object: {
        const uint64_t handle = request.u64();
        answer.set(map_buffer(handle, request.take<wire::winsys_buffer_object_descriptor>()));
        break;
    }
    case out::winsys_unmap_buffer_object:
        answer.set(uint32_t{unmap_buffer(request.u64())});
        break;
    case out::winsys_map_buffer_object_vk:
        answer.set(describe_native_buffer(request.u64()));
        break;
    case out::vkAllocateMemory:
        answer.set(new_memory_handle(request));
        break;
    default:
        break; // accepted, and nothing to do
    }
}

/// A request to run an entry point on the target, where no driver is.
bool answer_target_call(const wire::header& request, service_answer& answer)
{
    const target_call* call = find_target_call(request.type);
    if (!call) {
        say(gate::error, "The library sends a request of type %u, which there isn't.", request.type);
        return false;
    }
    SHIM_SAY_ONCE(gate::error,
                  "The library asks the target to run %s, but this stand-in has no driver; the "
                  "answer to this and to further requests of its kind is zeros.",
                  call->name);
    answer.size = call->result_width;
    answer.error = call->no_error;
    return call->has_output || call->result_width || !current_settings().batch_target_commands;
}

} // namespace

void* allocate_block(uint32_t size)
{
    void* block = size >= least_shared_block ? take_shared_block(size) : nullptr;
    if (block)
        return block;
    block = std::calloc(size ? size : 1, 1);
    if (block)
        allocated.insert(block);
    else
        say(gate::error, "There is no memory for a block of %u bytes.", size);
    return block;
}

void free_block(void* block)
{
    if (allocated.erase(block))
        std::free(block);
    else if (block && !give_back_shared_block(block))
        say(gate::error, "The library frees %p, which it has not allocated.", block);
}

uint32_t request_length(const wire::header& request)
{
    // The begin-use request declares its header alone, but its twelve bytes of payload follow all the same.
    if (request.type == out::winsys_buffer_object_begin_use)
        return std::max(request.size, wire::header_size + 12);
    return request.size;
}

bool serve(void* surface, const wire::header& request, const uint8_t* payload, uint32_t length,
           service_answer& answer)
{
    const service_shape* shape = shape_of(request.type);
    if (!shape)
        return answer_target_call(request, answer);
    answer.size = shape->answer;
    if (length < shape->payload)
        say(gate::error, "A request of type %u has %u bytes of arguments instead of %u; the answer is zeros.",
            request.type, length, shape->payload);
    else
        answer_service(surface, request.type, {payload, length}, answer);
    return shape->waits;
}

void forget_services()
{
    allocated.clear();
}

} // namespace shim
