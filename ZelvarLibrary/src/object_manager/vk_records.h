#pragma once
// Records of Vulkan objects: per target process the dispatchable handles, per device all others. A target's
// handle is only ever a key: it is never dereferenced, and a host's handle never goes to the target.

#include "object_manager/vk_number_set.h"
#include "pixels/discard_area.h"
#include "sidechannel_primitives.h"
#include "wire/api.h"
#include "zelvar_types.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <vector>

struct vk_nothing
{
};
/// Of an object that descriptors show. Hosts keep no more than pointers in descriptors, so what they show
/// ends on the host once no descriptor shows it any more.
struct vk_lifetime
{
    std::function<void()> end; // set when the target has ended the object

    vk_lifetime() = default;
    vk_lifetime(const vk_lifetime&) = delete;
    vk_lifetime& operator=(const vk_lifetime&) = delete;
    ~vk_lifetime()
    {
        if (end)
            end();
    }
};
using vk_hold = std::shared_ptr<vk_lifetime>;
struct vk_shown_data
{
    vk_hold lifetime; // null: no descriptor has shown it yet
};
struct vk_buffer_data : vk_shown_data
{
    VkDeviceMemory target_memory = VK_NULL_HANDLE; // bound to
    uint64_t memory_serial = 0;                    // of that memory, and no later one of its handle
    bool changed = false;                          // the target has written its contents
    VkDeviceSize size = UINT64_MAX;                // this and the like: not known
    bool sparse = false;
    VkBuffer replaced = VK_NULL_HANDLE; // host's first, once another has taken its place
};
struct vk_query_pool_data
{
    uint32_t count = UINT32_MAX;
    uint32_t values = 1; // of each
    bool counts_compute = false;
};
/// What of descriptors an entry point of a shader uses.
struct vk_shader_resource
{
    uint32_t set = 0;
    uint32_t binding = 0;
    uint32_t types = 0; // of descriptors that will do, bits by VkDescriptorType
    uint32_t count = 1;
};
struct vk_shader_entry_point
{
    VkShaderStageFlags stage = 0;
    std::string name;
    std::vector<vk_shader_resource> resources;
};
struct vk_shader_module_data
{
    /// Null: nothing is known.
    std::shared_ptr<const std::vector<vk_shader_entry_point>> entry_points;
    bool unfit = false;                                       // it must never reach the host's compiler
    std::shared_ptr<const std::vector<uint32_t>> specialised; // its words, if a pipeline's constants matter
};
struct vk_event_data
{
    bool set = false; // as far as calls and submissions go
};
/// What is drawn to, as the host knows it. No format: not known.
struct vk_attachment
{
    VkFormat format = VK_FORMAT_UNDEFINED;
    VkSampleCountFlagBits samples = VK_SAMPLE_COUNT_1_BIT;
    bool operator==(const vk_attachment&) const = default;
    bool operator<(const vk_attachment& other) const
    {
        return std::tie(format, samples) < std::tie(other.format, other.samples);
    }
};
struct vk_pass_attachment : vk_attachment
{
    bool used = false; // by a subpass
};
struct vk_buffer_view_data : vk_shown_data
{
    VkBuffer target_buffer = VK_NULL_HANDLE;
};
struct vk_image_view_data : vk_shown_data
{
    VkImage target_image = VK_NULL_HANDLE;
    vk_attachment shown; // no format: nothing is known
    VkExtent3D extent{}; // of the first level
    uint32_t levels = 0;
    uint32_t layers = 0;
};
/// What pipelines and passes have to agree on: the attachments that a subpass draws to.
struct vk_subpass_shape
{
    std::vector<vk_attachment> colours; // without a format: not used
    vk_attachment depth;
    bool operator<(const vk_subpass_shape& other) const
    {
        return std::tie(colours, depth) < std::tie(other.colours, other.depth);
    }
};
struct vk_subpass
{
    uint32_t shape = 0; // a number that equal ones share, 0: not known
    uint32_t colours = 0;
};
struct vk_render_pass_data
{
    uint32_t attachment_count = 0;
    uint32_t subpass_count = UINT32_MAX;
    uint32_t clear_values = 0; // that it takes at least
    std::shared_ptr<const std::vector<vk_pass_attachment>> attachments;
    std::shared_ptr<const std::vector<vk_subpass>> subpasses; // null: not known
};
struct vk_framebuffer_data
{
    uint32_t attachment_count = UINT32_MAX;
    uint32_t width = UINT32_MAX;
    uint32_t height = UINT32_MAX;
    uint32_t layers = UINT32_MAX;
    std::vector<VkImageView> target_views;
    std::vector<vk_attachment> attachments;
};
struct vk_pipeline_data
{
    VkPipelineBindPoint point = VK_PIPELINE_BIND_POINT_MAX_ENUM; // not known
    uint32_t shape = 0;                                          // of the subpass that it is for
};
struct vk_binding
{
    uint32_t count;
    bool own_samplers;
    VkDescriptorType type = VK_DESCRIPTOR_TYPE_MAX_ENUM; // not known
    VkShaderStageFlags stages = VK_SHADER_STAGE_ALL;
    std::vector<vk_hold> samplers = {}; // its own ones
};
using vk_bindings = std::shared_ptr<const std::map<uint32_t, vk_binding>>; // null: not known
struct vk_pipeline_layout_data
{
    uint32_t set_count = UINT32_MAX;
    uint32_t push_bytes = UINT32_MAX;
    std::vector<vk_bindings> sets; // of each
};
struct vk_set_layout_data
{
    vk_bindings bindings;
};
/// The render pass that has begun, or that a secondary command buffer goes on with.
struct vk_pass_state
{
    std::shared_ptr<const std::vector<vk_subpass>> subpasses; // null: not known
    uint32_t subpass = 0;
    uint32_t subpass_count = 0;
    VkRect2D area{{0, 0}, {UINT32_MAX, UINT32_MAX}};
    uint32_t layers = UINT32_MAX;

    const vk_subpass* now() const
    {
        return subpasses && subpass < subpasses->size() ? &(*subpasses)[subpass] : nullptr;
    }
};
/// What a recording does to an event.
struct vk_event_step
{
    enum kind
    {
        set,
        reset,
        wait,
        execute // those of a secondary command buffer
    } does;
    VkEvent event; // target's, likewise the command buffer
    VkCommandBuffer executed;
};
/// What the commands recorded so far have set up for those to come.
struct vk_command_state
{
    VkCommandPool target_pool = VK_NULL_HANDLE; // ends with it
    bool secondary = false;
    bool continues_pass = false; // of the primary one that executes it
    bool graphics = false;       // a pipeline is bound
    bool compute = false;
    bool indices = false;
    VkShaderStageFlags pushed = 0; // stages with constants
    bool in_pass = false;
    uint32_t pipeline_shape = 0; // of the graphics pipeline
    vk_pass_state pass;
    uint32_t layers_needed = 0; // of the framebuffer of the pass that executes a secondary one
    std::set<std::pair<VkQueryPool, uint32_t>> queries; // begun, by target's pool

    // A host keeps pointers to all that a recording uses, up to its end.
    vk_number_set used;      // serials of objects
    uint64_t serial = 0;     // of this recording
    uint64_t submission = 0; // the last that it is part of
    bool stale = false;      // something of it has ended: not to be submitted
    std::vector<vk_event_step> event_steps;
    std::vector<std::pair<VkCommandBuffer, uint64_t>> executed; // targets, and serials of their recordings
};
/// What a descriptor shows, and what that lies in.
struct vk_descriptor
{
    vk_hold object, of, memory, sampler;
};
struct vk_descriptor_set_data
{
    std::vector<vk_descriptor> descriptors; // up to the last that was written
    /// That the buffers take when the set is bound, one binding behind the other; empty: not known.
    std::vector<uint64_t> most_offsets;
    std::vector<bool> written;                     // of all descriptors; empty: not known
    uint32_t samplers_missing = 0;                 // not written
    uint32_t offsets_taken = 0;                    // when the set is bound
    vk_bindings bindings;                          // its layout's
    VkDescriptorPool target_pool = VK_NULL_HANDLE; // ends with it
};
/// What the host's copy of mapped memory holds. Blocks that were decoded for a copy into an image must not
/// come back over the texels before the copy has run.
enum class vk_contents
{
    as_on_target,
    decoded,           // a command reads the texels
    decoded_and_drawn, // and has been submitted since, or could have been
};
struct vk_memory_data : vk_shown_data
{
    VkDeviceSize size = 0;
    VkImage target_image = VK_NULL_HANDLE; // the last that was bound, likewise the buffer
    VkBuffer target_buffer = VK_NULL_HANDLE;
    target_ptr target_address; // of the mapping, null when not mapped
    uint8_t* host_pointer = nullptr;
    VkDeviceSize map_offset = 0;
    VkDeviceSize map_size = 0;                // in bytes, never VK_WHOLE_SIZE
    VkDeviceMemory replaced = VK_NULL_HANDLE; // host's first, once another has taken its place
    vk_contents contents = vk_contents::as_on_target;
    std::vector<uint8_t> as_read; // what the host's mapping held before the last submission
};
struct vk_signal_data
{
    bool signalled_by_system = false;    // the host knows nothing of that signal
    bool pending = false;                // a signal of the host's is there or will be: only of semaphores
    uint64_t submission = 0;             // the last that it is part of
    VkQueue host_queue = VK_NULL_HANDLE; // which got that
};
/// What a queue of the host has been given. Submissions are numbered through all queues of a device.
struct vk_queue_progress
{
    uint64_t submitted = 0;                            // the last
    uint64_t done = 0;                                 // it and those before are known to have ended
    std::vector<std::pair<uint64_t, VkEvent>> awaited; // target's events that nothing had set, by submission

    bool busy() const { return done < submitted; }
};
/// A window system's buffer of the target, as the image was made for it.
struct vk_native_buffer
{
    uint64_t handle = 0;
    int32_t stride = 0; // pixels
    int32_t format = 0;
    int32_t usage = 0;
};
struct vk_image_data : vk_shown_data
{
    VkDeviceMemory target_memory = VK_NULL_HANDLE; // bound to
    uint64_t memory_serial = 0;
    VkDeviceMemory host_backing = VK_NULL_HANDLE; // of a swapchain image, which has no memory of the target's
    VkDeviceSize backing_size = 0;
    VkImageCreateInfo create_info{}; // as the target gave it, without what its pointers led to
    bool has_native_buffer = false;
    vk_native_buffer native_buffer;
};

/// The host's object for a target's handle, and what is known of it.
template <class Handle, class Data>
struct vk_entry : Data
{
    using handle_type = Handle;
    Handle host = VK_NULL_HANDLE;
    uint64_t serial = 0; // in its device, which no later object gets, whatever its handle
};

/// `vk_entry_of<VkBuffer>` is the entry of a buffer.
template <class Handle>
struct vk_object_traits;
#define ZELVAR_VK_OBJECT(type, handle, word, data)                                                           \
    template <>                                                                                              \
    struct vk_object_traits<handle>                                                                          \
    {                                                                                                        \
        using entry = vk_entry<handle, data>;                                                                \
        static constexpr const char* name = word;                                                            \
    };
#include "object_manager/vk_objects.inc"
#undef ZELVAR_VK_OBJECT
template <class Handle>
using vk_entry_of = typename vk_object_traits<Handle>::entry;
template <class Handle>
using vk_map_of = std::map<Handle, vk_entry_of<Handle>>;

struct vk_extent_less
{
    bool operator()(const VkExtent3D& a, const VkExtent3D& b) const
    {
        return std::tie(a.width, a.height, a.depth) < std::tie(b.width, b.height, b.depth);
    }
};
/// An image that the host can read, into which finished swapchain images of one size are copied.
struct vk_linear_image
{
    VkImage image = VK_NULL_HANDLE; // host's, likewise the memory
    VkDeviceMemory memory = VK_NULL_HANDLE;
    uint8_t* pixels = nullptr; // the mapping, advanced to the first pixel
    VkDeviceSize size = 0;     // of the memory
    VkDeviceSize offset = 0;   // of the first pixel
    VkFormat format = VK_FORMAT_UNDEFINED;
};

/// One Vulkan device of a target. Everything but the lock is guarded by the lock; records are shared, so that
/// a thread that waits for the lock keeps the record alive.
struct _zelvar_object_manager_data_vk_device
{
    critical_section__* lock = critical_section_create();
    VkDevice device = VK_NULL_HANDLE; // host's
    VkPhysicalDevice target_physical_device = VK_NULL_HANDLE;
    VkPhysicalDeviceMemoryProperties memory_properties{}; // host's
    uint32_t graphics_queue_family = UINT32_MAX;          // host's first with the graphics bit
    VkCommandPool swapchain_command_pool = VK_NULL_HANDLE;
    VkCommandBuffer swapchain_command_buffer = VK_NULL_HANDLE; // made on first use
    std::map<VkExtent3D, vk_linear_image, vk_extent_less> linear_images;
    discard_area discarded; // of the target's frame buffers
#define ZELVAR_VK_OBJECT(type, handle, word, data) vk_map_of<handle> type;
#include "object_manager/vk_objects.inc"
#undef ZELVAR_VK_OBJECT
    std::set<VkDeviceMemory> coherent_memory;             // target's
    std::map<VkCommandBuffer, vk_command_state> commands; // by target's handle
    VkMemoryRequirements last_memory_requirements{};
    VkPhysicalDeviceLimits limits{}; // host's, all 0 when not known
    bool looks_at_all = false;       // the host follows what no shader uses, and before any does
    uint64_t last_serial = 0;
    std::map<VkQueue, vk_queue_progress> queues; // by host's handle
    uint64_t last_submission = 0;
    std::map<vk_subpass_shape, uint32_t> shapes; // and their numbers

    bool removed = false; // no longer registered: whoever waited for the lock finds out here
    uint32_t depth = 0;   // locks taken by the holder and not yet undone
    std::shared_ptr<_zelvar_object_manager_data_vk_device> kept_by_holder;

    _zelvar_object_manager_data_vk_device() = default;
    _zelvar_object_manager_data_vk_device(const _zelvar_object_manager_data_vk_device&) = delete;
    _zelvar_object_manager_data_vk_device& operator=(const _zelvar_object_manager_data_vk_device&) = delete;
    ~_zelvar_object_manager_data_vk_device()
    {
        if (lock)
            critical_section_release(lock);
    }
};

/// The map of a type inside a device: `vk_objects_of<VkBuffer>(device)`.
template <class Handle>
vk_map_of<Handle>& vk_objects_of(_zelvar_object_manager_data_vk_device& device) = delete;
#define ZELVAR_VK_OBJECT(type, handle, word, data)                                                           \
    template <>                                                                                              \
    inline vk_map_of<handle>& vk_objects_of<handle>(_zelvar_object_manager_data_vk_device & device)          \
    {                                                                                                        \
        return device.type;                                                                                  \
    }
#include "object_manager/vk_objects.inc"
#undef ZELVAR_VK_OBJECT

struct vk_instance_data
{
    VkInstance host = VK_NULL_HANDLE;
    VkDebugReportCallbackEXT debug_callback = VK_NULL_HANDLE;
};
struct vk_physical_device_data
{
    VkInstance target_instance = VK_NULL_HANDLE;
    VkPhysicalDevice host = VK_NULL_HANDLE;
    VkPhysicalDeviceMemoryProperties host_memory{};
    VkPhysicalDeviceMemoryProperties target_memory{};
    VkPhysicalDeviceFeatures features{}; // what target and host both have
};
struct vk_queue_data
{
    VkQueue host = VK_NULL_HANDLE;
    VkDevice target_device = VK_NULL_HANDLE;
};
struct vk_command_buffer_data
{
    VkCommandBuffer host = VK_NULL_HANDLE;
    VkDevice target_device = VK_NULL_HANDLE;
    VkCommandPool target_pool = VK_NULL_HANDLE; // ends with it
};

/// Objects of a Vulkan process, by target handle. Guarded by pid_to_process_data_map_vk_cs.
struct _zelvar_object_manager_process_data_vk
{
    std::map<VkInstance, vk_instance_data> instances;
    std::map<VkPhysicalDevice, vk_physical_device_data> physical_devices;
    std::map<VkDevice, std::shared_ptr<_zelvar_object_manager_data_vk_device>> devices;
    std::map<VkQueue, vk_queue_data> queues;
    std::map<VkCommandBuffer, vk_command_buffer_data> command_buffers;
    /// Surfaces, displays and their modes, which come before any device and outlive it: a record of no
    /// device.
    std::shared_ptr<_zelvar_object_manager_data_vk_device> window_objects;
};
