#pragma once
// The records of the registry: target processes, threads, contexts, displays, configs, surfaces, images and
// sync objects. Who guards a record is said beside it.

#include "data_model/zelvar_data_model.h"
#include "object_manager/vk_records.h"
#include "sidechannel_primitives.h"
#include "wire/api.h"
#include "wire/wire.h"
#include "zelvar_types.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

struct _zelvar_context_worker;

/// One target context. The record is shared so that a thread that waits for its lock keeps it alive.
struct _zelvar_object_manager_context
{
    // Guarded by pid_to_process_data_map_cs.
    uint64_t bound_draw_surface = 0; // target surfaces, 0 when none
    uint64_t bound_read_surface = 0;
    tid_t bound_thread = 0;  // 0 when none
    uint32_t gles_error = 0; // the first error sticks until read
    bool current = false;    // the bound thread has this context current at this moment
    bool data_initialised = false;
    /// Erased from the registry, perhaps while somebody waited for the lock. Set under the process map; once
    /// a waiter has entered `cs` and finds it clear, it stays usable until the waiter leaves.
    std::atomic<bool> removed{false};
    // Guarded by `cs`.
    _zelvar_context_data data;
    uint32_t lock_depth = 0; // locks taken by the holder and not yet undone
    /// The holder of a lock, for the check that a handler leaves none; read by anyone.
    std::atomic<std::thread::id> lock_holder{};
    // Constant after creation.
    uint64_t target_context = 0; // 0 for the null context
    critical_section__* cs = nullptr;
    EGLContext host_context = EGL_NO_CONTEXT;
};

/// One config, host or target.
struct _zelvar_object_manager_config
{
    int32_t alpha_size = 0;
    int32_t blue_size = 0;
    int32_t config_id = -1;
    int32_t caveat = EGL_NONE;
    int32_t depth_size = 0;
    int32_t green_size = 0;
    int32_t samples = 0;
    int32_t red_size = 0;
    int32_t stencil_size = 0;
    uint64_t target_config = 0;
    EGLConfig host_config = nullptr;
};

struct _zelvar_target_display_parameters
{
    EGLDisplay host_display = EGL_NO_DISPLAY;
    bool initialised = false;
};

enum zelvar_surface_type : int32_t
{
    surface_pbuffer = 0,
    surface_window = 2,
};
struct _zelvar_surface
{
    uint64_t target_config = 0;
    EGLSurface host_surface = EGL_NO_SURFACE; // always a pbuffer
    zelvar_surface_type type = surface_pbuffer;
    uint64_t native_window = 0;
    uint64_t reserved = 0;
    uint16_t width = 0; // window size, 0 for a pbuffer
    uint16_t height = 0;
};

struct _zelvar_object_manager_egl_image_data
{
    EGLImageKHR host_image = EGL_NO_IMAGE_KHR;
    uint32_t target = 0; // kind of the source
    uint64_t target_display = 0;
    uint64_t native_buffer = 0;
    std::map<std::pair<uint32_t, uint32_t>, bool> siblings; // (object, type) to orphaned
    uint32_t service_texture = 0;                           // host id
    wire::winsys_buffer_object_descriptor native_parameters{};
    bool delete_postponed = false;
};

/// Shared between the threads of a target process: the record lives as long as somebody holds it, and its
/// values change one at a time. `ref_counter` is the registry's.
struct _zelvar_sync_khr_descriptor
{
    std::atomic<uint32_t> valid = 1;
    std::atomic<uint32_t> ref_counter = 1;
    std::atomic<uint32_t> status = EGL_UNSIGNALED_KHR;
    std::atomic<uint32_t> type = 0;
    std::atomic<uint32_t> waiter_count = 0;
};

/// Everything of one target process that EGL and OpenGL ES need. Guarded by pid_to_process_data_map_cs.
struct _zelvar_object_manager_process_data
{
    std::map<uint64_t, std::shared_ptr<_zelvar_object_manager_context>> contexts;  // by target context
    std::map<uint64_t, std::map<uint64_t, _zelvar_object_manager_config>> configs; // display to config to row
    std::map<uint64_t, std::shared_ptr<_zelvar_extensions>> extensions;            // by display
    std::map<uint64_t, _zelvar_target_display_parameters> displays;
    std::map<uint64_t, _zelvar_object_manager_egl_image_data> images;
    std::map<uint64_t, _zelvar_surface> surfaces;
    std::map<uint64_t, std::shared_ptr<_zelvar_sync_khr_descriptor>> syncs;
    tid_t service_owner = 0;
    bool service_checked_out = false;
    EGLContext service_context = EGL_NO_CONTEXT;
    EGLSurface service_draw = EGL_NO_SURFACE;
    EGLSurface service_read = EGL_NO_SURFACE;
    uint32_t target_os_version = 0;
    std::set<uint64_t> cached_framebuffers; // frame buffer addresses already seen
    target_ptr client_extension_region;
    std::string client_extensions; // filtered string, kept after the first query
    std::string process_name;
};

/// The worker of one target thread.
struct zelvar_context_worker_data
{
    std::shared_ptr<_zelvar_context_worker> worker;
    std::shared_ptr<uint8_t[]> message_buffer;       // 4 MiB of scratch for a 32-bit target, else null
    std::shared_ptr<semaphore__> response_semaphore; // raised by the target's confirmations
};

/// Exists for every process that ever sent an API message. Guarded by pid_to_process_data_map_common_cs.
struct _zelvar_object_manager_process_common_data
{
    std::map<tid_t, zelvar_context_worker_data> workers;
    uint32_t target_bit = 0; // 32 or 64, 0 until reported
    bool gles_record_created = false;
    bool vk_record_created = false;
};

class ChannelInterfaceWrapper;
class scChannelInterface;
struct _zelvar_object_manager_process_net_data
{
    scChannelInterface* channel = nullptr;
    uint32_t socket = 0;
};

struct _zelvar_object_manager_thread_data
{
    uint32_t egl_error = EGL_SUCCESS;
};

/// A target memory block to free after all locks are left.
struct _zelvar_object_manager_target_deallocate_memory_descriptor
{
    pid_t pid;
    tid_t tid;
    target_ptr address;
};

/// Result bytes, number of bytes, user argument, error code. Runs on the simulator's thread.
using command_executed_callback = void (*)(void* result, unsigned n_result_bytes, void* user_arg,
                                           unsigned error);
struct pending_callback
{
    command_executed_callback function = nullptr;
    std::shared_ptr<void> user_data;
};

/// Orders by pid, then display: the first thread's list serves all threads of the process.
struct _target_display_descriptor
{
    pid_t pid;
    tid_t tid;
    uint64_t target_display;
    bool operator<(const _target_display_descriptor& o) const
    {
        return std::tie(pid, target_display) < std::tie(o.pid, o.target_display);
    }
};

/// Key of a parked frame.
struct _target_egl_surface_descriptor
{
    int32_t pid;
    uint32_t label;
    uint64_t target_surface;
    uint64_t target_context;
    auto operator<=>(const _target_egl_surface_descriptor&) const = default; // NOLINT: its 0 is no pointer
};

/// A frame parked for the GPU model. Guarded by host_pixel_map_cs.
struct zelvar_host_pixel_container
{
    wire::winsys_buffer_object_descriptor description{};
    bool obsolete = false;
    uint8_t* pixels = nullptr; // malloc, owned
    uint64_t size = 0;
};

// The maps. Created empty at load time, never destroyed; their sections are created by
// zelvar_object_manager_init.
using process_thread_pair = std::pair<pid_t, tid_t>;
extern critical_section__* pid_to_process_data_map_cs;
extern critical_section__* pid_to_process_data_map_common_cs;
extern critical_section__* pid_to_process_data_map_vk_cs;
extern critical_section__* pid_to_process_net_data_map_cs;
extern critical_section__* process_thread_id_pair_to_thread_data_map_cs;
extern critical_section__* callback_map_cs;
extern critical_section__* host_pixel_map_cs;
extern std::map<pid_t, _zelvar_object_manager_process_data>& pid_to_process_data_map;
extern std::map<pid_t, _zelvar_object_manager_process_common_data>& pid_to_process_data_map_common;
extern std::map<pid_t, _zelvar_object_manager_process_data_vk>& pid_to_process_data_map_vk;
extern std::map<pid_t, _zelvar_object_manager_process_net_data>& pid_to_process_net_data_map;
extern std::map<process_thread_pair, _zelvar_object_manager_thread_data>&
    process_thread_id_pair_to_thread_data_map;
extern std::map<process_thread_pair, pending_callback>& callback_map;
/// Texture ids that are image siblings; under process_thread_id_pair_to_thread_data_map_cs.
extern std::map<pid_t, std::vector<uint32_t>>& egl_target_to_source_sibling_map;
extern std::map<_target_display_descriptor, std::vector<_zelvar_object_manager_config>>&
    target_display_configs_map;
extern std::map<uint64_t, uint64_t>& target_config_in_use_map;
extern std::map<_target_egl_surface_descriptor, std::unique_ptr<zelvar_host_pixel_container>>& host_pixel_map;
