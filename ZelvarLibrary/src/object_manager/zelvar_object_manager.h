#pragma once
// The registry that makes a target process, thread and EGL context exist on the host. Operations take plain
// ids and return true on success; out parameters are untouched on failure. Lock order: a context before
// pid_to_process_data_map_cs; pid_to_process_data_map_common_cs before the process maps; the thread map, the
// call-back map, the net map and the pixel map are leaves.

#include "object_manager/records.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// Life.
void zelvar_object_manager_init(bool test_mode);
void zelvar_object_manager_deinit();
bool zelvar_object_manager_is_test_mode_active();
/// Creates an empty EGL and OpenGL ES record for a process that has none.
void zelvar_object_manager_ensure_process_record(pid_t pid);

// Workers.
/// The worker of a target thread, made on its first message; always reports success. The worker may be null
/// when none could be created. Runs on the simulator's thread.
bool zelvar_object_manager_get_worker_for_target_tid_pid(pid_t pid, tid_t tid, uint32_t message_type,
                                                         std::shared_ptr<_zelvar_context_worker>* worker);
void zelvar_object_manager_delete_all_worker_for_pid(pid_t pid);
/// Stops the workers of all processes and waits for them; for taking the library down.
void zelvar_object_manager_stop_all_workers();
/// The semaphore on which a thread's worker waits for the target's confirmations; made on first use.
std::shared_ptr<semaphore__> zelvar_object_manager_get_response_semaphore(pid_t pid, tid_t tid);
bool zelvar_object_manager_set_target_bit(pid_t pid, tid_t tid, uint32_t bits);
/// Pointer width of a target process in bits, 0 when unknown. `staging`, when not null, receives the thread's
/// scratch memory (null for a 64-bit target).
uint32_t zelvar_object_manager_get_target_bit(pid_t pid, tid_t tid, void** staging);

// Contexts.
/// The model of the thread's current context, locked; the null context's model, unlocked, when there is none.
/// Null only by a forced failure.
_zelvar_context_data* zelvar_object_manager_lock_context_data(pid_t pid, tid_t tid);
_zelvar_context_data* zelvar_object_manager_lock_context_data_by_target_context(pid_t pid,
                                                                                uint64_t target_context);
bool zelvar_object_manager_unlock_context_data(_zelvar_context_data* data);
/// Asserts that the thread's current context is not locked by anyone. True otherwise.
bool zelvar_object_manager_verify_context_data_lock(pid_t pid, tid_t tid);
void zelvar_object_manager_lock_process_data() ZELVAR_TSA(acquire_capability(pid_to_process_data_map_cs));
void zelvar_object_manager_unlock_process_data() ZELVAR_TSA(release_capability(pid_to_process_data_map_cs));
bool zelvar_object_manager_add_context(pid_t pid, tid_t tid, EGLContext host_context, EGLDisplay host_display,
                                       uint64_t target_context, uint64_t target_share_context,
                                       int32_t target_major, int32_t target_minor, int32_t host_major,
                                       int32_t host_minor);
/// `created` is true only from eglCreateContext.
bool zelvar_object_manager_bind_context_to_thread(pid_t pid, uint64_t target_context, tid_t tid,
                                                  uint64_t target_draw, uint64_t target_read, bool created);
bool zelvar_object_manager_delete_target_context(pid_t pid, uint64_t target_context, bool flag);
bool zelvar_object_manager_get_host_context(pid_t pid, uint64_t target_context, EGLContext* host);
bool zelvar_object_manager_get_target_context(pid_t pid, EGLContext host, uint64_t* target);
bool zelvar_object_manager_get_bound_host_context(pid_t pid, tid_t tid, EGLContext* host);
bool zelvar_object_manager_get_bound_target_surfaces(pid_t pid, tid_t tid, uint64_t* draw, uint64_t* read);
/// -1 on failure.
int32_t zelvar_object_manager_get_host_context_major_version(pid_t pid, uint64_t target_context);
int32_t zelvar_object_manager_get_target_context_major_version(pid_t pid, uint64_t target_context);
void zelvar_object_manager_delete_all_contexts_for_pid(pid_t pid, bool flag);
void zelvar_object_manager_delete_contexts();

// Errors. EGL: per thread, the last wins. OpenGL ES: per context, the first wins.
bool zelvar_object_manager_set_egl_error(pid_t pid, tid_t tid, uint32_t error);
bool zelvar_object_manager_get_egl_error(pid_t pid, tid_t tid, uint32_t* error);
bool zelvar_object_manager_set_gles_error(pid_t pid, tid_t tid, uint32_t error);
bool zelvar_object_manager_get_gles_error(pid_t pid, tid_t tid, uint32_t* error);
/// The end of every handler: stores a host error for the target's later query and compares both sides' errors
/// where that is asked for. `name` is the key of the error check. Returns the host error.
unsigned zelvar_object_manager_set_and_check_error_code(pid_t pid, tid_t tid, const char* name,
                                                        unsigned target_error, unsigned host_error);
unsigned zelvar_object_manager_set_and_check_egl_error_code(pid_t pid, tid_t tid, const char* name,
                                                            unsigned target_error, unsigned host_error);

// Processes.
bool zelvar_object_manager_get_target_process_name(pid_t pid, std::string* name);
bool zelvar_object_manager_initialize_target_process_name(pid_t pid, tid_t tid, std::string* name);
bool zelvar_object_manager_get_target_os_version(pid_t pid, tid_t tid, uint32_t* version);
/// Completes a process at eglInitialize.
bool zelvar_object_manager_update_process_data(pid_t pid, tid_t tid, uint64_t target_display);
/// Whether the target runs the Android shim.
bool zelvar_helpers_is_shim_runs_android(pid_t pid, tid_t tid);

// Call-backs and channels.
void zelvar_object_manager_set_callback_for_command_executed_message(pid_t pid, tid_t tid,
                                                                     command_executed_callback callback,
                                                                     std::shared_ptr<void> user_data);
/// Removes and returns the pending call-back; nulls when there is none.
void zelvar_object_manager_get_callback_for_command_executed_message(pid_t pid, tid_t tid,
                                                                     command_executed_callback* callback,
                                                                     std::shared_ptr<void>* user_data);
bool zelvar_object_manager_get_channel_interface(pid_t pid, ChannelInterfaceWrapper** channel);
class PluginInterfaceWrapperSandbox;
class scPluginInterface;
bool zelvar_object_manager_register_channel_interface_for_current_communication_thread(
    pid_t pid, uint32_t socket, PluginInterfaceWrapperSandbox* sandbox, scPluginInterface* wrapper);
bool zelvar_object_manager_unregister_channel_interface_for_current_communication_thread(uint32_t socket);
bool zelvar_object_manager_get_target_pid_for_socket(uint32_t socket, pid_t* pid);

// Displays.
bool zelvar_object_manager_add_display(pid_t pid, tid_t tid, EGLDisplay host_display,
                                       uint64_t target_display);
bool zelvar_object_manager_delete_display(pid_t pid, uint64_t target_display);
bool zelvar_object_manager_get_host_display(pid_t pid, tid_t tid, uint64_t target_display, EGLDisplay* host);
bool zelvar_object_manager_get_target_display(pid_t pid, EGLDisplay host_display, uint64_t* target);
bool zelvar_object_manager_get_display(pid_t pid, uint32_t index, EGLDisplay* host, uint64_t* target);
bool zelvar_object_manager_get_display_initialized_state(pid_t pid, uint64_t target_display, bool* state);
bool zelvar_object_manager_set_display_initialized_state(pid_t pid, uint64_t target_display, bool state);
bool zelvar_object_manager_global_display_mapping_add(uint64_t target, EGLDisplay host);
bool zelvar_object_manager_global_display_mapping_delete(uint64_t target);
bool zelvar_object_manager_global_display_mapping_get_host_display(uint64_t target, EGLDisplay* host);
bool zelvar_object_manager_global_display_mapping_get_target_display(EGLDisplay host, uint64_t* target);
bool zelvar_object_manager_host_display_inc_ref(EGLDisplay host);
bool zelvar_object_manager_host_display_dec_ref(EGLDisplay host, bool* last);
uint64_t zelvar_object_manager_generate_target_display(pid_t pid, uint64_t native_display,
                                                       EGLDisplay host_display);
bool zelvar_object_manager_free_display_resources(pid_t pid, tid_t tid, uint64_t target_display);
bool zelvar_object_manager_is_egl_extension_supported(pid_t pid, uint64_t target_display, uint32_t index);
/// Under the lock: the filtered extension string of a display; `slot` receives where its copy on the target
/// is remembered.
bool zelvar_object_manager_get_egl_extensions_string(pid_t pid, uint64_t display, std::string* text,
                                                     std::shared_ptr<_zelvar_extensions>* slot);
bool zelvar_object_manager_get_target_client_extension_region(pid_t pid, target_ptr** slot);

// Configs.
extern std::vector<_zelvar_object_manager_config>* host_display_configs;
extern std::atomic<EGLConfig> local_native_display_top_config;
/// Fills `host_display_configs` at start-up; the vendor check lives here.
void _init_host_egl_configs(bool test_mode);
void _ensure_egl_config_mappings(pid_t pid, tid_t tid, uint64_t target_display);
/// `target_configs` may be null: then configs are only counted.
bool zelvar_object_manager_egl_choose_config_for_target(pid_t pid, tid_t tid, uint64_t target_display,
                                                        const EGLint* host_attrib_list,
                                                        uint64_t* target_configs, int32_t config_size,
                                                        int32_t* count);
bool zelvar_object_manager_egl_get_configs_for_target(pid_t pid, tid_t tid, uint64_t target_display,
                                                      uint64_t* target_configs, int32_t config_size,
                                                      int32_t* count);
bool zelvar_object_manager_get_host_config(pid_t pid, tid_t tid, uint64_t target_display,
                                           uint64_t target_config, EGLConfig* host_config);
/// Attributes of a config; null out parameters are skipped.
struct config_attributes
{
    int32_t* alpha = nullptr;
    int32_t* blue = nullptr;
    int32_t* depth = nullptr;
    int32_t* green = nullptr;
    int32_t* samples = nullptr;
    int32_t* red = nullptr;
    int32_t* stencil = nullptr;
    int32_t* config_id = nullptr;
};
bool zelvar_object_manager_get_config_data(pid_t pid, tid_t tid, uint64_t target_display,
                                           uint64_t target_config, bool want_host,
                                           const config_attributes& out);
bool zelvar_object_manager_get_host_config_data(pid_t pid, EGLConfig host_config,
                                                const config_attributes& out);
bool zelvar_object_manager_get_target_config_bpp(pid_t pid, tid_t tid, uint64_t target_display,
                                                 uint64_t target_config, uint32_t* bpp);
int32_t zelvar_object_manager_get_target_config_visual_id(pid_t pid, tid_t tid, uint64_t target_display,
                                                          uint64_t target_config);
bool zelvar_object_manager_get_target_config_by_id(pid_t pid, tid_t tid, uint64_t target_display,
                                                   int32_t config_id, uint64_t* target_config);

// The service context of a process: the home of intermediate objects, with which all its contexts share.
bool zelvar_object_manager_initialize_service_host_egl_context(pid_t pid);
bool zelvar_object_manager_checkout_service_host_egl_context(pid_t pid, tid_t tid, EGLDisplay host_display,
                                                             EGLSurface* draw, EGLSurface* read,
                                                             EGLContext* context);
bool zelvar_object_manager_checkin_service_host_egl_context(pid_t pid, tid_t tid);
bool zelvar_helpers_swap_host_current_context(EGLDisplay host_display, EGLSurface new_draw,
                                              EGLSurface new_read, EGLContext new_context,
                                              EGLContext* old_context, EGLSurface* old_draw,
                                              EGLSurface* old_read);

// Surfaces.
bool zelvar_object_manager_add_surface(pid_t pid, EGLSurface host_surface, uint64_t target_surface,
                                       zelvar_surface_type type, uint64_t target_config,
                                       uint64_t native_window, uint64_t reserved, uint16_t width,
                                       uint16_t height);
bool zelvar_object_manager_delete_target_surface(pid_t pid, uint64_t target_surface);
bool zelvar_object_manager_get_host_surface(pid_t pid, uint64_t target_surface, EGLSurface* host);
bool zelvar_object_manager_get_target_surface(pid_t pid, EGLSurface host, uint64_t* target);
bool zelvar_object_manager_get_host_surface_properties(pid_t pid, uint64_t target_surface, uint16_t* width,
                                                       uint16_t* height);
bool zelvar_object_manager_get_surface_config(pid_t pid, uint64_t target_surface, uint64_t* target_config);
bool zelvar_object_manager_get_surface_type(pid_t pid, uint64_t target_surface, zelvar_surface_type* type);

// EGL images.
bool zelvar_object_manager_add_egl_image(pid_t pid, EGLImageKHR host_image, uint64_t target_image);
bool zelvar_object_manager_delete_target_egl_image(pid_t pid, uint64_t target_image);
bool zelvar_object_manager_get_host_egl_image(pid_t pid, uint64_t target_image, EGLImageKHR* host_image);
/// The image that a target texture or renderbuffer shows: the first with a sibling (object, type) that is not
/// orphaned.
bool zelvar_object_manager_get_egl_image(pid_t pid, uint32_t object, uint32_t type, uint64_t* target_image);
/// A copy of the record.
bool zelvar_object_manager_get_egl_image_data(pid_t pid, uint64_t target_image,
                                              _zelvar_object_manager_egl_image_data* out);
bool zelvar_object_manager_set_egl_image_target(pid_t pid, uint64_t target_image, uint32_t target);
bool zelvar_object_manager_get_egl_image_target(pid_t pid, uint64_t target_image, uint32_t* target);
bool zelvar_object_manager_set_egl_image_target_display(pid_t pid, uint64_t target_image, uint64_t display);
bool zelvar_object_manager_get_egl_image_target_display(pid_t pid, uint64_t target_image, uint64_t* display);
bool zelvar_object_manager_set_egl_image_service_texture(pid_t pid, uint64_t target_image, uint32_t texture);
bool zelvar_object_manager_get_egl_image_service_texture(pid_t pid, uint64_t target_image, uint32_t* texture);
bool zelvar_object_manager_set_egl_image_android_native_window_buffer_parameters(
    pid_t pid, uint64_t image, uint64_t buffer, const wire::winsys_buffer_object_descriptor& descriptor);
bool zelvar_object_manager_get_winsys_buffer_parameters(pid_t pid, uint64_t image, uint64_t* buffer,
                                                        wire::winsys_buffer_object_descriptor* descriptor);
bool zelvar_object_manager_set_egl_image_target_sibling(pid_t pid, uint64_t image, uint32_t object,
                                                        uint32_t type);
bool zelvar_object_manager_set_egl_image_sibling_orphaned(pid_t pid, tid_t tid, const uint32_t* objects,
                                                          uint32_t type, uint32_t count);
bool zelvar_object_manager_set_egl_image_delete_postponed(pid_t pid, tid_t tid, uint64_t target_display,
                                                          uint64_t target_image);
void zelvar_object_manager_clean_eglimage_structures(pid_t pid, tid_t tid);
/// Destroys the host image behind a record and erases the record.
void zelvar_object_manager_destroy_eglimage_common(pid_t pid, tid_t tid, uint64_t target_display,
                                                   uint64_t target_image, EGLBoolean* result,
                                                   unsigned* error);
// Host texture ids that are image siblings.
bool zelvar_object_manager_is_image_sibling(pid_t pid, uint32_t texture);
void zelvar_object_manager_set_image_sibling(pid_t pid, uint32_t texture);
void zelvar_object_manager_delete_image_sibling(pid_t pid, uint32_t texture);

// Sync objects.
bool zelvar_object_manager_add_sync_khr_object(pid_t pid, uint32_t type, uint64_t target_sync);
bool zelvar_object_manager_get_sync_khr_object(pid_t pid, uint64_t target_sync,
                                               std::shared_ptr<_zelvar_sync_khr_descriptor>* out);
bool zelvar_object_manager_delete_sync_khr_object(pid_t pid, uint64_t target_sync);
bool zelvar_object_manager_retain_sync_khr_object(pid_t pid, tid_t tid, uint64_t target_sync);
bool zelvar_object_manager_release_sync_khr_object(pid_t pid, tid_t tid, uint64_t target_sync);

// Target ids while nothing runs on the target. The lock of the context is held by the caller where a model is
// passed.
uint64_t zelvar_object_manager_generate_target_context();
uint64_t zelvar_object_manager_generate_target_surface();
uint64_t zelvar_object_manager_generate_target_egl_image();
uint64_t zelvar_object_manager_generate_fence_sync(_zelvar_context_data* data);
uint32_t zelvar_object_manager_generate_target_buffer(_zelvar_context_data* data);
uint32_t zelvar_object_manager_generate_target_framebuffer(_zelvar_context_data* data);
uint32_t zelvar_object_manager_generate_target_query(_zelvar_context_data* data);
uint32_t zelvar_object_manager_generate_target_renderbuffer(_zelvar_context_data* data);
uint32_t zelvar_object_manager_generate_target_texture(_zelvar_context_data* data);
uint32_t zelvar_object_manager_generate_target_vertex_array(_zelvar_context_data* data);
uint32_t zelvar_object_manager_generate_target_sampler(_zelvar_context_data* data);
uint32_t zelvar_object_manager_generate_target_program_pipeline(_zelvar_context_data* data);
uint32_t zelvar_object_manager_generate_transform_feedback(_zelvar_context_data* data);
uint32_t zelvar_object_manager_generate_target_program_binary_id(_zelvar_context_data* data,
                                                                 const void* target_binary,
                                                                 uint32_t target_format,
                                                                 uint32_t target_length);
uint32_t zelvar_object_manager_create_target_program(_zelvar_context_data* data);
uint32_t zelvar_object_manager_create_target_shader(_zelvar_context_data* data);

// Frames.
/// True from the second time on that an address is asked about.
bool zelvar_object_manager_check_tpak_encode_allowed(pid_t pid, uint64_t framebuffer);
void zelvar_object_manager_clear_cached_framebuffer(pid_t pid);
bool zelvar_object_manager_has_draw_surface_been_changed_since_last_swap();
void zelvar_object_manager_reset_draw_surface_changed_flag();
void zelvar_object_manager_set_draw_surface_changed_flag();
void zelvar_object_manager_framebuffer_resolution_set(uint32_t width, uint32_t height);
void zelvar_object_manager_framebuffer_resolution_get(uint32_t* width, uint32_t* height);
/// Finds the container of a parked frame, creating it when `create` is true; null if none.
zelvar_host_pixel_container* zelvar_object_manager_get_host_pixel_container(pid_t pid, uint32_t label,
                                                                            uint64_t target_surface,
                                                                            uint64_t target_context,
                                                                            bool create);
void zelvar_object_manager_delete_host_pixel_container_data(pid_t pid, uint32_t label,
                                                            uint64_t target_surface, uint64_t target_context);
/// Takes the block over.
void zelvar_object_manager_set_host_pixel_container_data(zelvar_host_pixel_container* container,
                                                         uint8_t* pixels, uint64_t size);
void zelvar_object_manager_set_host_pixel_container_desc(zelvar_host_pixel_container* container,
                                                         uint32_t bpp);
void zelvar_object_manager_set_host_pixel_container_width(zelvar_host_pixel_container* container,
                                                          uint32_t value);
void zelvar_object_manager_set_host_pixel_container_height(zelvar_host_pixel_container* container,
                                                           uint32_t value);
void zelvar_object_manager_set_host_pixel_container_stride(zelvar_host_pixel_container* container,
                                                           uint32_t value);

// Native windows registered under a client API (1 for Wayland EGL, 2 for the buffer manager). Three separate
// maps on purpose: the window size of a surface never comes from the two that handlers fill.
bool zelvar_object_manager_get_target_native_window_properties(pid_t pid, uint64_t window, uint32_t* width,
                                                               uint32_t* height);
