// The glGet family: one worker, seven variants. The host answers, or the model does, or the model corrects
// what the host says.

#include "handlers/gles/gles_handlers.h"
#include "handlers/gles/pname_table.h"
#include "handlers/gles/shared_guard.h"
#include "handlers/handler.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <numeric>
#include <optional>

using gles_table = sidechannel_gles_imports;

namespace {
enum get_variant : uint32_t
{
    get_booleanv = 0,
    get_booleani_v = 1,
    get_floatv = 2,
    get_integerv = 3,
    get_integer64v = 4,
    get_integeri_v = 5,
    get_integer64i_v = 6,
};

constexpr uint32_t element_bytes(get_variant variant)
{
    constexpr uint32_t bytes[] = {1, 1, 4, 4, 8, 4, 8};
    return bytes[variant];
}
constexpr bool is_indexed(get_variant variant)
{
    return variant == get_booleani_v || variant == get_integeri_v || variant == get_integer64i_v;
}

struct get_request
{
    get_variant variant;
    GLenum pname;
    GLuint index;
    target_ptr result;
    inline_array<uint8_t> target_value;
};

/// A value of the model before it takes the asked-for type.
struct local_value
{
    int64_t whole = 0;
    double real = 0;
    bool is_real = false;

    int64_t as_whole() const { return is_real ? static_cast<int64_t>(real) : whole; }
    float as_real() const { return is_real ? static_cast<float>(real) : static_cast<float>(whole); }
    bool as_bool() const { return is_real ? real != 0 : whole != 0; }
};
local_value whole(int64_t value)
{
    return {value, 0, false};
}
local_value real(double value)
{
    return {0, value, true};
}

struct local_answer
{
    std::array<local_value, 2> values;
    uint32_t count = 0; // 0: nothing is written
};
local_answer one(int64_t value)
{
    return {{whole(value)}, 1};
}

/// The i-th value of the target's own answer, at the variant's type; nothing when the message lacks it.
std::optional<local_value> target_value(const get_request& get, uint32_t i)
{
    uint32_t bytes = element_bytes(get.variant);
    if (get.target_value.count < uint64_t{bytes} * (i + 1))
        return std::nullopt;
    const uint8_t* at = get.target_value.data + uint64_t{bytes} * i;
    auto load = [at]<class T>(T value) {
        std::memcpy(&value, at, sizeof(value));
        return value;
    };
    switch (get.variant) {
    case get_booleanv:
    case get_booleani_v:
        return whole(*at);
    case get_floatv:
        return real(load(float{}));
    case get_integerv:
    case get_integeri_v:
        return whole(load(int32_t{}));
    case get_integer64v:
    case get_integer64i_v:
        return whole(load(int64_t{}));
    }
    return std::nullopt;
}

/// Packs a model's answer at the variant's type and writes it out.
void write_answer(const gles_handler& call, const get_request& get, const local_answer& answer)
{
    uint8_t bytes[2 * 8] = {};
    uint32_t width = element_bytes(get.variant);
    for (uint32_t i = 0; i < answer.count; ++i) {
        const local_value& value = answer.values[i];
        auto put = [&](auto v) { std::memcpy(bytes + uint64_t{width} * i, &v, sizeof(v)); };
        if (width == 1)
            put(static_cast<uint8_t>(value.as_bool()));
        else if (get.variant == get_floatv)
            put(value.as_real());
        else if (width == 8)
            put(value.as_whole());
        else
            put(static_cast<int32_t>(value.as_whole()));
    }
    if (answer.count && get.result)
        zelvar_shim_dispatch_write_to_shim_address_space_force(call.pid, call.tid, width * answer.count,
                                                               bytes, get.result);
}

/// While the target runs calls, only corrected answers replace its own.
bool is_written_back(GLenum pname)
{
    if (!zelvar_call_on_target())
        return true;
    switch (pname) {
    case GL_NUM_EXTENSIONS:
    case GL_ALIASED_LINE_WIDTH_RANGE:
    case GL_UNIFORM_BUFFER_OFFSET_ALIGNMENT:
    case GL_SHADER_STORAGE_BUFFER_OFFSET_ALIGNMENT:
    case GL_MAX_COMPUTE_ATOMIC_COUNTERS:
        return true;
    default:
        return pname >= 37586 && pname <= 37590; // atomic counters of the other stages
    }
}

/// The target of a texture binding query.
GLenum texture_target_of(GLenum pname)
{
    switch (pname) {
    case GL_TEXTURE_BINDING_2D:
        return GL_TEXTURE_2D;
    case GL_TEXTURE_BINDING_3D:
        return GL_TEXTURE_3D;
    case GL_TEXTURE_BINDING_CUBE_MAP:
        return GL_TEXTURE_CUBE_MAP;
    case GL_TEXTURE_BINDING_2D_ARRAY:
        return GL_TEXTURE_2D_ARRAY;
    default:
        return 0;
    }
}

local_answer texture_binding(const _zelvar_context_data& context, GLenum texture_target)
{
    auto unit = context.texture_bindings.find(context.active_texture);
    if (unit == context.texture_bindings.end()) {
        LOG_FATAL("Failed to find descriptor of texture unit [%d]", context.active_texture);
        return {};
    }
    auto bound = unit->second.find(texture_target);
    if (bound == unit->second.end()) {
        LOG_FATAL("Could not recognize texture target [%x] for texture unit [%d] ", texture_target,
                  context.active_texture);
        return {};
    }
    return one(bound->second);
}

/// The binding point of a buffer binding query, 0 for any other pname.
GLenum buffer_target_of(GLenum pname)
{
    switch (pname) {
    case GL_ARRAY_BUFFER_BINDING:
        return GL_ARRAY_BUFFER;
    case GL_ELEMENT_ARRAY_BUFFER_BINDING:
        return GL_ELEMENT_ARRAY_BUFFER;
    case GL_PIXEL_PACK_BUFFER_BINDING:
        return GL_PIXEL_PACK_BUFFER;
    case GL_PIXEL_UNPACK_BUFFER_BINDING:
        return GL_PIXEL_UNPACK_BUFFER;
    case GL_COPY_READ_BUFFER:
    case GL_COPY_WRITE_BUFFER:
    case GL_TEXTURE_BUFFER:
        return pname;
    case GL_DISPATCH_INDIRECT_BUFFER_BINDING:
        return GL_DISPATCH_INDIRECT_BUFFER;
    case GL_DRAW_INDIRECT_BUFFER_BINDING:
        return GL_DRAW_INDIRECT_BUFFER;
    case GL_UNIFORM_BUFFER_BINDING:
        return GL_UNIFORM_BUFFER;
    case GL_TRANSFORM_FEEDBACK_BUFFER_BINDING:
        return GL_TRANSFORM_FEEDBACK_BUFFER;
    case GL_SHADER_STORAGE_BUFFER_BINDING:
        return GL_SHADER_STORAGE_BUFFER;
    case GL_ATOMIC_COUNTER_BUFFER_BINDING:
        return GL_ATOMIC_COUNTER_BUFFER;
    default:
        return 0;
    }
}

/// The target id of a host id; the first that matches wins, 0 when none does.
template <class Map>
std::optional<uint32_t> target_id_of(const Map& objects, uint32_t host_id)
{
    if (host_id == 0)
        return 0;
    for (const auto& [target_id, descriptor] : objects)
        if (descriptor.host_id == host_id)
            return target_id;
    return std::nullopt;
}

local_answer plain_buffer_binding(const _zelvar_context_data& context, GLenum buffer_target)
{
    auto vertex_array = context.data_nonshared->vertex_arrays.find(context.bound_vertex_array);
    uint32_t bound = 0;
    if (vertex_array == context.data_nonshared->vertex_arrays.end() ||
        !zelvar_data_get_target_bind_buffer(vertex_array->second, buffer_target, &bound))
        return {};
    return one(bound);
}

/// Indexed bindings: the host knows the host id, the model the target's.
local_answer indexed_buffer_binding(gles_handler& call, _zelvar_context_data& context, const get_request& get)
{
    shared_guard group_lock{&context};
    GLint host_id = 0;
    if (!call.host<&gles_table::glGetIntegeri_v>(get.pname, get.index, &host_id).ok())
        return {};
    const auto& shared = *context.data_shared;
    if (auto target_id = target_id_of(shared.buffers, static_cast<uint32_t>(host_id)))
        return one(*target_id);
    if (get.pname == GL_VERTEX_BINDING_BUFFER) {
        auto deleted = shared.deleted_buffers.find(static_cast<uint32_t>(host_id));
        if (deleted != shared.deleted_buffers.end())
            return one(deleted->second);
    }
    LOG_FATAL("Could not find mapped target buffer for host buffer [%d]", host_id);
    return {};
}

template <class Map>
local_answer host_binding(gles_handler& call, _zelvar_context_data& context, const Map& objects, GLenum pname)
{
    shared_guard group_lock{&context};
    GLint host_id = 0;
    if (!call.host<&gles_table::glGetIntegerv>(pname, &host_id).ok())
        return {};
    return one(target_id_of(objects, static_cast<uint32_t>(host_id)).value_or(0));
}

/// The host draws the lines, so its range holds when the target's promises more.
local_answer line_width_range(gles_handler& call, const get_request& get)
{
    GLfloat range[2] = {};
    if (!call.host<&gles_table::glGetFloatv>(GL_ALIASED_LINE_WIDTH_RANGE, range).ok())
        return {};
    local_answer answer{{real(range[0]), real(range[1])}, 2};
    if (!zelvar_call_on_target())
        return answer;
    auto low = target_value(get, 0);
    auto high = target_value(get, 1);
    if (!low || !high || high->as_real() <= range[1])
        return {};
    LOG_WARN(
        "GL_ALIASED_LINE_WIDTH_RANGE: target side returns value [ [%f], [%f] ], host side returns value [ "
        "[%f], [%f] ]. Host side value will override target side value.",
        low->as_real(), high->as_real(), range[0], range[1]);
    return answer;
}

/// The application aligns for both drivers.
local_answer offset_alignment(gles_handler& call, const get_request& get)
{
    GLint64 host = 0;
    if (!call.host<&gles_table::glGetInteger64v>(get.pname, &host).ok())
        return {};
    if (!zelvar_call_on_target())
        return one(host);
    auto target = target_value(get, 0);
    if (!target || target->as_whole() <= 0 || host <= 0 || target->as_whole() > INT32_MAX || host > INT32_MAX)
        return one(host);
    int64_t common = std::lcm(target->as_whole(), int64_t{host});
    LOG_WARN(
        "GL_UNIFORM_BUFFER_OFFSET_ALIGNMENT: target side returns value [%d], host side returns value [%ld]. "
        "Target side value will be overrided by their least common multiple [%ld].",
        static_cast<int>(target->as_whole()), static_cast<long>(host), static_cast<long>(common));
    return one(common);
}

local_answer lesser_of_both(gles_handler& call, const get_request& get)
{
    GLint host = 0;
    if (!call.host<&gles_table::glGetIntegerv>(get.pname, &host).ok())
        return {};
    auto target = zelvar_call_on_target() ? target_value(get, 0) : std::nullopt;
    return one(target ? std::min<int64_t>(host, target->as_whole()) : host);
}

/// The list goes straight to the target; only plain integers can ask for it.
void write_compressed_formats(const gles_handler& call, const _zelvar_context_data& context,
                              const get_request& get)
{
    if (get.variant != get_integerv) {
        LOG_FATAL("Unrecognized handler [%d]", get.variant);
        return;
    }
    const auto& formats = context.target_constants.compressed_texture_formats;
    if (!zelvar_call_on_target() && !formats.empty() && get.result)
        zelvar_shim_dispatch_write_to_shim_address_space_force(
            call.pid, call.tid, static_cast<uint32_t>(formats.size() * 4), formats.data(), get.result);
}

local_answer local_state(gles_handler& call, _zelvar_context_data& context, const get_request& get)
{
    switch (get.pname) {
    case GL_DITHER:
        return one(zelvar_data_model_is_rendering_mode_enabled(&context, GL_DITHER));
    case GL_NUM_EXTENSIONS:
        return one(zelvar_data_num_of_gl_extension_supported(call.pid, call.tid, &context));
    case GL_PROGRAM_PIPELINE_BINDING:
        return one(context.bound_program_pipeline);
    case GL_VERTEX_ARRAY_BINDING:
        return one(context.bound_vertex_array);
    case GL_CURRENT_PROGRAM:
        return one(context.current_program);
    case GL_FRAMEBUFFER_BINDING:
        return one(context.draw_framebuffer);
    case GL_READ_FRAMEBUFFER_BINDING:
        return one(context.read_framebuffer);
    case GL_RENDERBUFFER_BINDING:
        return one(context.bound_renderbuffer);
    case GL_NUM_COMPRESSED_TEXTURE_FORMATS:
        return one(static_cast<int64_t>(context.target_constants.compressed_texture_formats.size()));
    case GL_NUM_PROGRAM_BINARY_FORMATS:
    case GL_NUM_SHADER_BINARY_FORMATS:
        return one(0); // the target must not try the host's binary formats
    case GL_VERTEX_BINDING_BUFFER:
        return indexed_buffer_binding(call, context, get);
    case GL_TRANSFORM_FEEDBACK_BINDING:
        return host_binding(call, context, context.data_shared->transform_feedbacks, get.pname);
    case GL_SAMPLER_BINDING:
        return host_binding(call, context, context.data_shared->samplers, get.pname);
    case GL_ALIASED_LINE_WIDTH_RANGE:
        return line_width_range(call, get);
    case GL_UNIFORM_BUFFER_OFFSET_ALIGNMENT:
    case GL_SHADER_STORAGE_BUFFER_OFFSET_ALIGNMENT:
        return offset_alignment(call, get);
    case GL_MAX_COMPUTE_ATOMIC_COUNTERS:
        return lesser_of_both(call, get);
    default:
        break;
    }
    if (get.pname >= 37586 && get.pname <= 37590)
        return lesser_of_both(call, get);
    if (GLenum texture_target = texture_target_of(get.pname))
        return texture_binding(context, texture_target);
    if (GLenum buffer_target = buffer_target_of(get.pname))
        return is_indexed(get.variant) ? indexed_buffer_binding(call, context, get)
                                       : plain_buffer_binding(context, buffer_target);
    return {}; // image bindings while the target runs calls: its own answer stands
}

/// The host's function of the same variant. `values` has room for far more than any pname has.
bool ask_host(gles_handler& call, const get_request& get, void* values)
{
    switch (get.variant) {
    case get_booleanv:
        return call.host<&gles_table::glGetBooleanv>(get.pname, static_cast<GLboolean*>(values)).ok();
    case get_booleani_v:
        return call.host<&gles_table::glGetBooleani_v>(get.pname, get.index, static_cast<GLboolean*>(values))
            .ok();
    case get_floatv:
        return call.host<&gles_table::glGetFloatv>(get.pname, static_cast<GLfloat*>(values)).ok();
    case get_integerv:
        return call.host<&gles_table::glGetIntegerv>(get.pname, static_cast<GLint*>(values)).ok();
    case get_integer64v:
        return call.host<&gles_table::glGetInteger64v>(get.pname, static_cast<GLint64*>(values)).ok();
    case get_integeri_v:
        return call.host<&gles_table::glGetIntegeri_v>(get.pname, get.index, static_cast<GLint*>(values))
            .ok();
    case get_integer64i_v:
        return call.host<&gles_table::glGetInteger64i_v>(get.pname, get.index, static_cast<GLint64*>(values))
            .ok();
    }
    return false;
}

/// The target learns the lower bound of both sides.
void lower_uniform_buffer_bindings(const gles_handler& call, const get_request& get, int64_t host)
{
    auto target = target_value(get, 0);
    if (!target || host >= target->as_whole())
        return;
    LOG_WARN(
        "The value for GL_MAX_UNIFORM_BUFFER_BINDINGS is lower on the host [%d] than on the target [%d]. We "
        "will use the value of the host. The simulated behavior of the application may deviate from real "
        "behavior.",
        static_cast<int>(host), static_cast<int>(target->as_whole()));
    write_answer(call, get, one(host));
}

void answer_from_host(gles_handler& call, const get_request& get, uint32_t count)
{
    constexpr uint32_t room = 64;
    int64_t values[room] = {};
    if (count > room || !ask_host(call, get, values))
        return;
    if (!zelvar_call_on_target()) {
        if (get.result)
            zelvar_shim_dispatch_write_to_shim_address_space_force(
                call.pid, call.tid, count * element_bytes(get.variant), values, get.result);
    } else if (get.pname == GL_MAX_UNIFORM_BUFFER_BINDINGS) {
        get_request as_told = get;
        as_told.target_value = {reinterpret_cast<const uint8_t*>(values), sizeof(values)};
        if (auto host = target_value(as_told, 0))
            lower_uniform_buffer_bindings(call, get, host->as_whole());
    }
}

void gles20_shared_get_handle(gles_handler& call, const char* function, const get_request& get)
{
    if (is_indexed(get.variant))
        call.trace("pname", get.pname, "index", get.index, "params", get.result);
    else
        call.trace("pname", get.pname, "params", get.result);
    _zelvar_context_data* context = call.lock(function);
    if (!context)
        return;
    constexpr uint32_t external_image_row = 15;
    if (get.pname == GL_TEXTURE_BINDING_EXTERNAL_OES &&
        (get.variant == get_floatv || get.variant == get_integerv) &&
        !zelvar_data_is_gl_extension_supported(call.pid, call.tid, context, external_image_row)) {
        LOG_ERROR("Cannot execute glGet*v() as GL_OES_EGL_image_external extension is not supported on both: "
                  "target and host");
        return;
    }
    _zelvar_helpers_pname_data_source source = pname_source_host;
    uint32_t count = 0;
    if (!zelvar_helpers_get_pname_data_source(get.pname, &source) ||
        !zelvar_helpers_get_number_of_pname_components(get.pname, context, &count)) {
        LOG_ERROR("pname [%d] cannot be recognized - data source could not have been determined. Setting "
                  "GL_INVALID_ENUM target-side",
                  get.pname);
        call.error = GL_INVALID_ENUM;
        return;
    }
    if (count == 0)
        return;
    if (source == pname_source_host)
        return answer_from_host(call, get, count);
    if (get.pname == GL_COMPRESSED_TEXTURE_FORMATS)
        return write_compressed_formats(call, *context, get);
    local_answer answer = local_state(call, *context, get);
    if (is_written_back(get.pname))
        write_answer(call, get, answer);
}
} // namespace

void gles20_glGetBooleanv(pid_t pid, tid_t tid, GLenum pname, target_ptr params,
                          inline_array<uint8_t> target_value, gles_target_error target_error)
{
    gles_handler call{"gles20_glGetBooleanv", pid, tid, target_error};
    gles20_shared_get_handle(call, "glGetBooleanv", {get_booleanv, pname, 0, params, target_value});
}

void gles31_glGetBooleani_v(pid_t pid, tid_t tid, GLenum pname, GLuint index, target_ptr params,
                            inline_array<uint8_t> target_value, gles_target_error target_error)
{
    gles_handler call{"gles31_glGetBooleani_v", pid, tid, target_error};
    gles20_shared_get_handle(call, "glGetBooleani_v", {get_booleani_v, pname, index, params, target_value});
}

void gles20_glGetFloatv(pid_t pid, tid_t tid, GLenum pname, target_ptr params,
                        inline_array<uint8_t> target_value, gles_target_error target_error)
{
    gles_handler call{"gles20_glGetFloatv", pid, tid, target_error};
    gles20_shared_get_handle(call, "glGetFloatv", {get_floatv, pname, 0, params, target_value});
}

void gles20_glGetIntegerv(pid_t pid, tid_t tid, GLenum pname, target_ptr params,
                          inline_array<uint8_t> target_value, gles_target_error target_error)
{
    gles_handler call{"gles20_glGetIntegerv", pid, tid, target_error};
    gles20_shared_get_handle(call, "glGetIntegerv", {get_integerv, pname, 0, params, target_value});
}

void gles30_glGetInteger64v(pid_t pid, tid_t tid, GLenum pname, target_ptr params,
                            inline_array<uint8_t> target_value, gles_target_error target_error)
{
    gles_handler call{"gles30_glGetInteger64v", pid, tid, target_error};
    gles20_shared_get_handle(call, "glGetInteger64v", {get_integer64v, pname, 0, params, target_value});
}

void gles30_glGetIntegeri_v(pid_t pid, tid_t tid, GLenum pname, GLuint index, target_ptr params,
                            inline_array<uint8_t> target_value, gles_target_error target_error)
{
    gles_handler call{"gles30_glGetIntegeri_v", pid, tid, target_error};
    gles20_shared_get_handle(call, "glGetIntegeri_v", {get_integeri_v, pname, index, params, target_value});
}

void gles30_glGetInteger64i_v(pid_t pid, tid_t tid, GLenum pname, GLuint index, target_ptr params,
                              inline_array<uint8_t> target_value, gles_target_error target_error)
{
    gles_handler call{"gles30_glGetInteger64i_v", pid, tid, target_error};
    gles20_shared_get_handle(call, "glGetInteger64i_v",
                             {get_integer64i_v, pname, index, params, target_value});
}
