#pragma once
// The model of one EGL context: what the target believes about its OpenGL ES objects and state. Handlers see
// it through `zelvar_object_manager_lock_context_data` and touch it only while that lock is held.

#include "data_model/program_descriptor.h"
#include "sidechannel_primitives.h"
#include "wire/wire.h"
#include "zelvar_types.h"

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// A block of bytes from malloc with its size, freed with its owner.
struct owned_block
{
    struct free_deleter
    {
        void operator()(uint8_t* p) const;
    };
    std::unique_ptr<uint8_t[], free_deleter> bytes;
    uint64_t size = 0;
};

inline constexpr size_t gl_extension_count = 27;
inline constexpr size_t egl_extension_count = 16;
extern const char* const gl_extension_list[gl_extension_count];
extern const char* const egl_extension_list[egl_extension_count];

/// What is reported of an extension list: the GL list of a context or the EGL list of a display.
struct _zelvar_extensions
{
    std::unique_ptr<uint8_t[]>
        supported;             // one byte a row of the known list, 1 when reported; null: not built
    std::string text;          // reported names, each followed by one blank
    target_ptr target_address; // copy of `text` in target memory, 0 until asked for
    std::array<target_ptr, gl_extension_count> name_addresses{}; // copies of single names
};

/// Pixel store state, in the order of `glPixelStorei`'s model.
struct current_pack_params
{
    int32_t alignment = 4;
    int32_t row_length = 0;
    int32_t image_height = 0;
    int32_t skip_pixels = 0;
    int32_t skip_rows = 0;
    int32_t skip_images = 0;
    bool operator==(const current_pack_params&) const = default;
};

struct _zelvar_buffer_object_descriptor
{
    uint32_t host_id = 0;
    std::vector<uint32_t> attributes; // indices that use the buffer
    owned_block contents;             // host-side copy, empty until data exists
    bool was_bound = false;
    bool host_may_write = false; // was bound where the host writes, so that the copy proves nothing
};
struct _zelvar_renderbuffer_object_descriptor
{
    uint32_t host_id = 0;
    bool was_bound = false;
};
struct _zelvar_texture_object_descriptor
{
    uint32_t host_id = 0;
    bool was_bound = false;
};
struct texture_attachment
{
    uint32_t texture = 0; // target id
    uint32_t level = 0;
    uint32_t target = 0;
    uint32_t layer = 0;
    uint32_t samples = 0;
};
enum attachment_type : uint32_t
{
    attachment_renderbuffer = 0,
    attachment_texture = 1,
    attachment_none = 2,
};
struct framebuffer_attachment
{
    uint32_t renderbuffer = 0; // target id
    texture_attachment texture;
    attachment_type type = attachment_none;
};
struct _zelvar_framebuffer_object_descriptor
{
    std::array<framebuffer_attachment, 32> color;
    framebuffer_attachment depth;
    framebuffer_attachment stencil;
    framebuffer_attachment depth_stencil;
    uint32_t host_id = 0;
    bool was_bound = false;
};
struct _zelvar_query_object_descriptor
{
    uint32_t host_id = 0;
    uint32_t target_id = 0;
    bool was_begun = false; // a name alone is no query yet
};
struct _zelvar_program_pipeline_object_descriptor
{
    uint32_t host_id = 0;
    uint32_t target_id = 0;
    std::array<uint32_t, 6> stage_programs{}; // target ids, in the order of program_stage_bits
    uint32_t active_program = 0;              // target id; glUniform* means it while no program is in use
};
struct _zelvar_transform_feedback_descriptor
{
    uint32_t host_id = 0;
    uint32_t target_id = 0;
    bool was_bound = false; // a name alone is no object yet
};
struct _zelvar_sampler_descriptor
{
    uint32_t host_id = 0;
};
struct _zelvar_gles_sync_descriptor
{
    uint64_t host_sync = 0;
    uint32_t value = 0;
};
struct _zelvar_shader_descriptor
{
    bool delete_requested = false;
    uint32_t host_id = 0;
    std::string source;
    int32_t ref_counter = 1;
};
struct _zelvar_program_binary_descriptor
{
    owned_block host_binary;
    owned_block target_binary;
    uint32_t host_format = 0;
    uint32_t target_format = 0;
    uint32_t host_length = 0;
    uint32_t target_length = 0;
};
struct _zelvar_mapped_area_object_descriptor
{
    uint64_t offset = 0;
    uint64_t length = 0;
    uint64_t access = 0;
    void* host_pointer = nullptr;
    target_ptr target_pointer;
};
struct _zelvar_vertex_attribute_array_descriptor
{
    bool enabled = false;
    bool normalized = false;
    target_ptr pointer; // offset into a buffer when one is bound
    uint32_t buffer = 0;
    uint32_t type = 5126; // GL_FLOAT
    uint32_t size = 4;
    int32_t stride = 0;
    uint32_t divisor = 0;
    bool integer = false;
    bool separate_format = false;
    uint32_t binding = 0; // where its buffer is bound; counts when the array has `buffers_of_bindings`
    /// The buffer was deleted while this array was bound: the host would take the offset for an address.
    bool buffer_is_gone = false;
    bool reads_client_memory() const
    {
        return enabled && (buffer == 0 || buffer_is_gone) && !separate_format;
    }
};
struct _zelvar_buffer_bindings
{
    uint32_t array_buffer = 0;
    uint32_t element_array_buffer = 0;
    uint32_t pixel_pack_buffer = 0;
    uint32_t pixel_unpack_buffer = 0;
    uint32_t copy_read_buffer = 0;
    uint32_t copy_write_buffer = 0;
    uint32_t transform_feedback_buffer = 0;
    uint32_t uniform_buffer = 0;
    uint32_t atomic_counter_buffer = 0;
    uint32_t dispatch_indirect_buffer = 0;
    uint32_t draw_indirect_buffer = 0;
    uint32_t shader_storage_buffer = 0;
    std::map<uint32_t, uint32_t> indexed_shader_storage; // target buffer id to index
    uint32_t texture_buffer = 0;
};
/// All buffer bindings live here, so switching vertex arrays switches what glGet reports for every binding.
struct _zelvar_vertex_array_object_descriptor : _zelvar_buffer_bindings
{
    uint32_t host_id = 0;
    std::map<uint32_t, _zelvar_vertex_attribute_array_descriptor> attribute_arrays;
    bool was_bound = false; // a name alone is no vertex array yet
    /// The host's array still has its indices: a buffer that is deleted leaves the bound array only.
    bool host_has_element_buffer = false;
    /// Buffers of vertex bindings, once the application binds them apart from pointers; 0 where there is
    /// none.
    std::map<uint32_t, uint32_t> buffers_of_bindings;
    bool has_separate_bindings = false;
};

/// A critical section that lives as long as its owner.
struct owned_section
{
    critical_section__* section = critical_section_create();
    owned_section() = default;
    owned_section(const owned_section&) = delete;
    owned_section& operator=(const owned_section&) = delete;
    ~owned_section()
    {
        if (section)
            critical_section_release(section);
    }
};

/// What OpenGL ES does not share between contexts. Maps are keyed by target id.
struct _zelvar_context_data_nonshared
{
    std::map<uint32_t, _zelvar_framebuffer_object_descriptor> framebuffers;
    std::map<uint32_t, _zelvar_query_object_descriptor> queries;
    std::map<uint32_t, _zelvar_vertex_array_object_descriptor> vertex_arrays;
    std::map<uint32_t, _zelvar_program_pipeline_object_descriptor> program_pipelines;
    uint32_t last_framebuffer = 0; // id counters, used while nothing runs on the target
    uint32_t last_query = 0;
    uint32_t last_vertex_array = 0;
    uint32_t last_program_pipeline = 0;
};

/// One per share group, reference counted.
struct _zelvar_context_data_shared
{
    std::map<uint32_t, _zelvar_buffer_object_descriptor> buffers;
    std::map<uint32_t, uint32_t> deleted_buffers; // host id to last target id
    std::map<uint32_t, _zelvar_program_descriptor> programs;
    std::map<uint32_t, _zelvar_program_binary_descriptor> program_binaries;
    std::map<uint32_t, _zelvar_shader_descriptor> shaders;
    std::map<uint32_t, _zelvar_renderbuffer_object_descriptor> renderbuffers;
    std::map<uint32_t, uint32_t> deleted_renderbuffers;
    std::map<uint32_t, _zelvar_texture_object_descriptor> textures;
    std::map<uint32_t, uint32_t> deleted_textures;
    std::map<uint64_t, _zelvar_gles_sync_descriptor> gles_syncs;
    std::map<uint32_t, _zelvar_transform_feedback_descriptor> transform_feedbacks; // shared on purpose
    std::map<uint32_t, _zelvar_sampler_descriptor> samplers;
    uint32_t last_buffer = 0;
    uint32_t last_program_or_shader = 0; // one counter: both kinds live in one name space
    uint32_t last_program_binary = 0;
    uint32_t last_renderbuffer = 0;
    uint32_t last_texture = 0;
    uint64_t last_sync = 0;
    uint32_t last_sampler = 0;
    uint32_t last_transform_feedback = 0;
    std::map<uint32_t, _zelvar_mapped_area_object_descriptor> mapped_areas;
    /// Guards `ref_counter` while a context joins or leaves the group: a leaf below the process maps, never
    /// held for a handler.
    critical_section__* lock = nullptr;
    int32_t ref_counter = 1;
    /// Guards the objects above: contexts of one group run on different threads. Taken behind the lock of a
    /// context and held for a handler (handlers/gles/shared_guard.h). The process maps may be locked while it
    /// is held, so it is not `lock`, which is taken while they are.
    owned_section objects;
};

struct _zelvar_context_data_gles_constants
{
    uint32_t max_combined_texture_image_units = 8;
    uint32_t max_vertex_attribs = 8;
    std::vector<uint32_t> compressed_texture_formats; // sorted
};

inline constexpr size_t rendering_mode_count = 14;

struct stencil_face
{
    uint32_t func = 519; // GL_ALWAYS
    uint32_t value_mask = 0xffffffff;
    int32_t reference = 0;
};

/// Opaque until deferred state is built.
struct deferred_global_state;
struct deferred_vaa_state;

/// The model of one context. Mirrors have the API's defaults.
struct _zelvar_context_data
{
    deferred_global_state* deferred_global = nullptr;
    deferred_vaa_state* deferred_vaa = nullptr;
    std::map<uint32_t, std::map<uint32_t, uint32_t>> texture_bindings; // unit enum to target to target id
    _zelvar_context_data_gles_constants target_constants;
    std::unique_ptr<_zelvar_context_data_nonshared> data_nonshared;
    _zelvar_context_data_shared* data_shared = nullptr; // counted reference

    std::array<float, 4> blend_color{};
    uint32_t blend_equation_rgb = 32774; // GL_FUNC_ADD
    uint32_t blend_equation_alpha = 32774;
    uint32_t blend_dst_rgb = 0;
    uint32_t blend_dst_alpha = 0;
    uint32_t blend_src_rgb = 1;
    uint32_t blend_src_alpha = 1;
    float clear_depth = 1.0f;
    int32_t clear_stencil = 0;
    uint32_t cull_face_mode = 1029; // GL_BACK
    uint32_t depth_func = 513;      // GL_LESS
    bool depth_writemask = true;
    float depth_range_near = 0.0f;
    float depth_range_far = 1.0f;
    uint32_t front_face = 2305;           // GL_CCW
    uint32_t generate_mipmap_hint = 4352; // GL_DONT_CARE
    float line_width = 1.0f;
    current_pack_params pack_params;
    current_pack_params unpack_params;
    float polygon_offset_factor = 0.0f;
    float polygon_offset_units = 0.0f;
    std::array<uint32_t, rendering_mode_count> rendering_modes{0, 0, 0, 1}; // GL_DITHER starts enabled
    bool sample_coverage_invert = false;
    float sample_coverage_value = 1.0f;
    std::array<int32_t, 4> scissor_box{};
    stencil_face stencil_front;
    stencil_face stencil_back;
    std::array<uint32_t, 6> stencil_ops{7680, 7680, 7680, 7680, 7680, 7680}; // GL_KEEP
    std::array<int32_t, 4> viewport{};
    bool transform_feedback_active = false;
    uint32_t active_texture = 33984; // GL_TEXTURE0

    uint32_t draw_framebuffer = 0; // target ids
    uint32_t read_framebuffer = 0;
    bool has_read_nothing = false; // some read buffer was set to GL_NONE
    uint32_t bound_renderbuffer = 0;
    uint32_t bound_vertex_array = 0;
    /// What the host has bound, which calls act on: but for the element array buffer a switch of vertex
    /// arrays leaves it alone.
    _zelvar_buffer_bindings host_bindings;
    uint32_t bound_program_pipeline = 0;
    _zelvar_extensions extensions;
    std::map<uint32_t, target_ptr> target_strings; // glGetString name to its copy on the target
    uint32_t current_host_program = 0;
    std::map<uint64_t, std::map<int32_t, target_ptr>> target_egl_strings; // display to query name to copy
    uint32_t current_program = 0;
    uint32_t enabled_vertex_attrib_arrays = 0;
    /// What the host's attribute pointers point at after a draw from client memory, by attribute. A driver
    /// may look at a pointer that it still has, so a block stays until the attribute is set again.
    std::map<uint32_t, owned_block> parked_arrays;
    /// Pixels on their way to the host; kept for the next upload unless large.
    owned_block upload_block;
    int32_t target_major_version = 0;
    int32_t target_minor_version = 0;
    int32_t host_major_version = 0;
    int32_t host_minor_version = 0;
};

// Life of a model.
/// Fills a context's model when it first becomes current: constants, extensions, texture unit bindings,
/// vertex array 0, compressed formats. Talks to the host and, when it runs calls, to the target.
void zelvar_data_model_init_zelvar_context_data(pid_t pid, tid_t tid, _zelvar_context_data* data);
/// Reports leftovers and frees what hangs on this context alone.
void zelvar_data_model_deinit_zelvar_context_data(_zelvar_context_data* data);
/// Releases everything of a share group; called at its last release.
void zelvar_data_model_deinit_zelvar_data_shared(_zelvar_context_data* data);
void zelvar_data_model_init_zelvar_extensions(_zelvar_extensions* extensions);

// Descriptors, initialised as the host accepts the object: one for each kind, all with the context, the ids
// and the descriptor in its map.
void zelvar_data_model_init_buffer_object_descriptor(_zelvar_context_data* data, uint32_t target_id,
                                                     uint32_t host_id,
                                                     _zelvar_buffer_object_descriptor* descriptor);
void zelvar_data_model_init_renderbuffer_object_descriptor(
    _zelvar_context_data* data, uint32_t target_id, uint32_t host_id,
    _zelvar_renderbuffer_object_descriptor* descriptor);
void zelvar_data_model_init_framebuffer_object_descriptor(_zelvar_context_data* data, uint32_t target_id,
                                                          uint32_t host_id,
                                                          _zelvar_framebuffer_object_descriptor* descriptor);
void zelvar_data_model_init_query_object_descriptor(_zelvar_context_data* data, uint32_t target_id,
                                                    uint32_t host_id,
                                                    _zelvar_query_object_descriptor* descriptor);
void zelvar_data_model_init_program_pipeline_object_descriptor(
    _zelvar_context_data* data, uint32_t target_id, uint32_t host_id,
    _zelvar_program_pipeline_object_descriptor* descriptor);
void zelvar_data_model_init_shader_object_descriptor(_zelvar_context_data* data, uint32_t target_id,
                                                     uint32_t host_id, _zelvar_shader_descriptor* descriptor);
void zelvar_data_model_init_texture_object_descriptor(_zelvar_context_data* data, uint32_t target_id,
                                                      uint32_t host_id,
                                                      _zelvar_texture_object_descriptor* descriptor);
void zelvar_data_model_init_sampler_object_descriptor(_zelvar_context_data* data, uint32_t target_id,
                                                      uint32_t host_id,
                                                      _zelvar_sampler_descriptor* descriptor);
void zelvar_data_model_init_transform_feedback_descriptor(_zelvar_context_data* data, uint32_t target_id,
                                                          uint32_t host_id,
                                                          _zelvar_transform_feedback_descriptor* descriptor);
void zelvar_data_model_init_gles_sync_object_descriptor(_zelvar_context_data* data, uint64_t target_sync,
                                                        uint64_t host_sync, uint32_t value,
                                                        _zelvar_gles_sync_descriptor* descriptor);
/// Asserts that the context's max_vertex_attribs is at least 8.
void zelvar_data_model_init_vertex_array_object_descriptor(
    _zelvar_context_data* data, uint32_t host_id, _zelvar_vertex_array_object_descriptor* descriptor);
/// Copies both blocks.
void zelvar_data_model_init_program_binary_descriptor(_zelvar_context_data* data, const void* host_binary,
                                                      const void* target_binary, uint32_t host_format,
                                                      uint32_t target_format, uint32_t host_length,
                                                      uint32_t target_length,
                                                      _zelvar_program_binary_descriptor* descriptor);

// Reference counts. `id` is a target id.
void zelvar_data_model_ref_counter_retain_data_shared(_zelvar_context_data* data);
/// Clears `data->data_shared` when the group ends.
void zelvar_data_model_ref_counter_release_data_shared(_zelvar_context_data* data);
/// The same for a model that goes away with the registry: no reports, the group's section included.
void zelvar_data_model_ref_counter_drop_data_shared(_zelvar_context_data* data);
void zelvar_data_model_ref_counter_retain_program_object(_zelvar_context_data* data, uint32_t id);
void zelvar_data_model_ref_counter_release_program_object(_zelvar_context_data* data, uint32_t id);
void zelvar_data_model_ref_counter_retain_shader_object(_zelvar_context_data* data, uint32_t id);
void zelvar_data_model_ref_counter_release_shader_object(_zelvar_context_data* data, uint32_t id);

// Rendering modes (glEnable).
bool zelvar_data_model_is_cap_valid(uint32_t cap);
bool zelvar_data_model_is_rendering_mode_enabled(const _zelvar_context_data* data, uint32_t cap);
bool zelvar_data_model_update_rendering_mode_status(_zelvar_context_data* data, uint32_t cap, bool enabled);

// Extensions.
void zelvar_data_model_init_gl_extensions_data(pid_t pid, tid_t tid, _zelvar_extensions* extensions);
void zelvar_data_model_init_egl_extensions_data(pid_t pid, tid_t tid, uint64_t target_display,
                                                _zelvar_extensions* extensions);
bool zelvar_data_is_gl_extension_supported(pid_t pid, tid_t tid, _zelvar_context_data* data, uint32_t index);
bool zelvar_data_is_egl_extension_supported(pid_t pid, uint64_t target_display, uint32_t index);
uint32_t zelvar_data_num_of_gl_extension_supported(pid_t pid, tid_t tid, _zelvar_context_data* data);
/// The index-th reported name as it stands in the known list; false when there is none.
bool zelvar_data_model_get_extension_by_index(const _zelvar_extensions* extensions, uint32_t index,
                                              const char** out_name);
bool zelvar_data_model_get_filtered_egl_client_extensions(pid_t pid, tid_t tid, target_ptr target_string,
                                                          std::string* out_string);

// Small look-ups.
/// The target buffer bound to a binding point of the bound vertex array; false for an unknown point.
bool zelvar_data_get_target_bind_buffer(const _zelvar_vertex_array_object_descriptor& vertex_array,
                                        uint32_t buffer_target, uint32_t* out_target_id);
/// Bytes of `count` values of a GL type; packed types ignore the count.
uint64_t zelvar_data_get_type_size(uint32_t type, uint64_t count);
/// Bytes of one pixel.
uint64_t zelvar_data_get_pixel_size(uint32_t format, uint32_t type);
/// The most that a driver may take a pixel for, which is more where a pair isn't known here.
uint64_t zelvar_data_get_pixel_reach(uint32_t format, uint32_t type);
bool zelvar_data_model_get_target_texture_from_host_texture(uint32_t host_id,
                                                            const _zelvar_context_data* data, uint32_t* out);
bool zelvar_data_model_get_target_renderbuffer_from_host_renderbuffer(uint32_t host_id,
                                                                      const _zelvar_context_data* data,
                                                                      uint32_t* out);
