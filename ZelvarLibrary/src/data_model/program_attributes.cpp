// Attribute locations of programs: forced on the host where the target has a driver, read from the host where
// it has none.
#include "data_model/program_interface.h"
#include "data_model/target_block.h"
#include "registration/host_call.h"
#include "shim/zelvar_shim_calls.h"
#include "sidechannel_log.h"

#include <algorithm>
#include <cstring>
#include <vector>

using gles_table = sidechannel_gles_imports;

namespace {
// What a target says is bounded before anything is sized by it.
constexpr int32_t longest_name = 0x10000;
constexpr int32_t most_attributes = 0x1000;

struct active_attribute
{
    int32_t location = -1;
    int32_t size = 0;
    uint32_t type = 0;
    std::vector<char> name;
};

/// An array or matrix takes several locations.
void add_used_locations(std::vector<uint32_t>& used, const active_attribute& attribute)
{
    const int64_t columns = zelvar_get_n_indice_from_GLSL_type(attribute.type);
    const int64_t count = std::min<int64_t>(attribute.size * columns, most_attributes);
    for (int64_t k = 0; k < count; ++k)
        used.push_back(static_cast<uint32_t>(attribute.location + k));
}

int32_t target_program_value(pid_t pid, tid_t tid, const target_block& block, uint32_t program, GLenum pname)
{
    unsigned error = GL_NO_ERROR;
    zelvar_shim_dispatch_gles20_get_programiv_call(pid, tid, program, pname, block.address(), nullptr, 0,
                                                   &error);
    return error == GL_NO_ERROR ? block.read<int32_t>() : 0;
}

/// Where the target's calls put what they give back: a number for each of length, size and type, and the
/// name.
struct result_space
{
    const target_block& numbers;
    const target_block& name;
    int32_t name_length;
};

active_attribute read_target_attribute(pid_t pid, tid_t tid, const result_space& space, uint32_t program,
                                       uint32_t index)
{
    active_attribute attribute;
    attribute.name.resize(static_cast<size_t>(space.name_length) + 1);
    const target_ptr numbers = space.numbers.address();
    unsigned error = GL_NO_ERROR;
    zelvar_shim_dispatch_gles20_get_active_attrib_call(pid, tid, program, index, space.name_length, numbers,
                                                       numbers + 4, numbers + 8, space.name.address(),
                                                       nullptr, 0, &error);
    attribute.size = space.numbers.read<int32_t>(4);
    attribute.type = space.numbers.read<uint32_t>(8);
    zelvar_shim_dispatch_gles20_get_attrib_location_call(
        pid, tid, program, space.name.address(), &attribute.location, sizeof(attribute.location), &error);
    zelvar_shim_dispatch_read_from_shim_address_space(pid, tid, static_cast<uint32_t>(space.name_length),
                                                      space.name.address(), attribute.name.data());
    attribute.name.back() = 0;
    return attribute;
}

bool is_built_in(const active_attribute& attribute)
{
    return std::strncmp(attribute.name.data(), "gl_", 3) == 0;
}

/// False when the host refuses the location.
bool force_on_host(uint32_t host_program, const active_attribute& attribute)
{
    auto bound = host::gl<&gles_table::glBindAttribLocation>(
        host_program, static_cast<GLuint>(attribute.location), attribute.name.data());
    if (bound.ok())
        return true;
    LOG_ERROR(
        "An error [%04x] occured during host-side glBindAttribLocation() call for host-side program [%d], "
        "attrib name [%s]",
        bound.error, host_program, attribute.name.data());
    return false;
}

bool host_program_value(uint32_t host_program, GLenum pname, int32_t* value, unsigned* error)
{
    auto asked = host::gl<&gles_table::glGetProgramiv>(host_program, pname, value);
    *error = asked.error;
    return asked.ok();
}

/// Asks the host for the number of attributes and the room that their names take.
bool count_host_attributes(uint32_t host_program, int32_t* longest, int32_t* count)
{
    unsigned error = GL_NO_ERROR;
    if (!host_program_value(host_program, GL_ACTIVE_ATTRIBUTE_MAX_LENGTH, longest, &error)) {
        LOG_ERROR("Cannot initialize zelvar-side program attribute storage - GL error %04x was reported for "
                  "glGetProgramiv() call when asked fro GL_ACTIVE_ATTRIBUTE_MAX_LENGTH",
                  error);
        return false;
    }
    if (!host_program_value(host_program, GL_ACTIVE_ATTRIBUTES, count, &error)) {
        LOG_ERROR("Cannot initialize zelvar-side program attribute storage - GL error %04x was reported for "
                  "glGetProgramiv() call when asked for GL_ACTIVE_ATTRIBUTES",
                  error);
        return false;
    }
    return true;
}

/// Null, with a line, when the program has no entry.
_zelvar_program_descriptor* find_program(_zelvar_context_data* data, uint32_t target_program_id)
{
    auto program = data->data_shared->programs.find(target_program_id);
    if (program != data->data_shared->programs.end())
        return &program->second;
    LOG_ERROR("Cannot find descriptor for target-side program object ID [%d]", target_program_id);
    return nullptr;
}

bool force_all_on_host(pid_t pid, tid_t tid, _zelvar_program_descriptor& program, uint32_t target_program_id,
                       const result_space& space, int32_t count)
{
    for (int32_t i = 0; i < count; ++i) {
        active_attribute attribute =
            read_target_attribute(pid, tid, space, target_program_id, static_cast<uint32_t>(i));
        zelvar_shim_dispatch_store_attribute_index_used_by_program_in_shim_context(
            pid, tid, target_program_id, static_cast<uint32_t>(attribute.location));
        if (is_built_in(attribute))
            continue;
        if (!force_on_host(program.host_id, attribute))
            return false;
        add_used_locations(program.used_attributes, attribute);
    }
    return true;
}
} // namespace

bool zelvar_data_model_bind_attributes_location_on_host_side(pid_t pid, tid_t tid, _zelvar_context_data* data,
                                                             uint32_t target_program_id)
{
    auto* program = find_program(data, target_program_id);
    if (!program)
        return false;
    program->used_attributes.clear();
    constexpr uint32_t three_numbers = 12;
    target_block numbers{pid, tid, three_numbers};
    if (!numbers) {
        LOG_FATAL("Could not allocate space on target-side! Initialization of attributes failed.");
        return false;
    }
    const int32_t longest =
        std::min(target_program_value(pid, tid, numbers, target_program_id, GL_ACTIVE_ATTRIBUTE_MAX_LENGTH),
                 longest_name);
    const int32_t count = std::min(
        target_program_value(pid, tid, numbers, target_program_id, GL_ACTIVE_ATTRIBUTES), most_attributes);
    if (longest < 1 || count < 1) {
        LOG_INFO("There are no attributes described for this program object [id=%d].", target_program_id);
        return true;
    }
    target_block name{pid, tid, static_cast<uint32_t>(longest)};
    if (!name) {
        LOG_FATAL("Could not allocate space on target-side! Initialization of attributes failed.");
        return false;
    }
    return force_all_on_host(pid, tid, *program, target_program_id, {numbers, name, longest}, count);
}

bool zelvar_data_model_init_attributes_location(pid_t, tid_t, _zelvar_context_data* data,
                                                uint32_t target_program_id)
{
    auto* program = find_program(data, target_program_id);
    if (!program)
        return false;
    program->used_attributes.clear();
    int32_t longest = 0;
    int32_t count = 0;
    if (!count_host_attributes(program->host_id, &longest, &count))
        return false;
    active_attribute attribute;
    attribute.name.resize(static_cast<size_t>(std::max(longest, 0)) + 1);
    for (int32_t i = 0; i < count; ++i) {
        auto told = host::gl<&gles_table::glGetActiveAttrib>(
            program->host_id, i, static_cast<GLsizei>(attribute.name.size()), static_cast<GLsizei*>(nullptr),
            &attribute.size, &attribute.type, attribute.name.data());
        if (!told.ok())
            continue;
        attribute.location =
            host::gl<&gles_table::glGetAttribLocation>(program->host_id, attribute.name.data()).result;
        if (attribute.location >= 0)
            add_used_locations(program->used_attributes, attribute);
    }
    return true;
}
