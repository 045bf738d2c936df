// Program interface queries. Uniforms and uniform blocks are translated, other interfaces pass through.

#include "handlers/gles/gles_programs.h"
#include "handlers/gles/inline_split.h"
#include "handlers/gles/program_support.h"
#include "settings/zelvar_settings.h"

#include <algorithm>

using gles_table = sidechannel_gles_imports;

namespace {
/// False when a uniform or block isn't active on the host.
bool host_index_of(program_iterator program, GLenum program_interface, GLuint index, GLuint* host_index)
{
    *host_index = index;
    if (program_interface == GL_UNIFORM)
        return zelvar_data_model_get_host_uniform_index_by_target_uniform_index(program, index, host_index);
    if (program_interface == GL_UNIFORM_BLOCK)
        return zelvar_data_model_get_host_uniform_block_index_by_target_uniform_block_index(program, index,
                                                                                            host_index);
    return true;
}

GLuint target_index_of(program_iterator program, GLenum program_interface, GLuint host_index)
{
    GLuint index = GL_INVALID_INDEX;
    if (host_index == GL_INVALID_INDEX)
        return index;
    if (program_interface == GL_UNIFORM)
        zelvar_data_model_get_target_uniform_index_by_host_uniform_index(program, host_index, &index);
    else if (program_interface == GL_UNIFORM_BLOCK)
        zelvar_data_model_get_target_uniform_block_index_by_host_uniform_block_index(program, host_index,
                                                                                     &index);
    else
        index = host_index;
    return index;
}

/// A resource that the host doesn't know in this program is an error of the arguments; where the target has a
/// driver its own error stands.
void fail_for_index(program_handler& call, GLuint index)
{
    LOG_WARN("The resource with index[%d] is not active on host side, host call will not execute.", index);
    call.fail(zelvar_call_on_target() ? call.target_error : GL_INVALID_VALUE);
}

void compare_values(const std::vector<GLint>& host_params, const std::vector<GLint>& target_params)
{
    for (size_t i = 0; i < std::min(host_params.size(), target_params.size()); ++i)
        if (host_params[i] != target_params[i])
            LOG_ERROR("Host-side result [host_params[%d] = %d] is not equal to the Target-side result "
                      "[target_params[%d] = %d].",
                      static_cast<int>(i), host_params[i], static_cast<int>(i), target_params[i]);
}

/// The values that name uniforms by index are the host's; the application knows the target's.
void translate_values(program_iterator program, GLenum program_interface, const std::vector<GLenum>& props,
                      std::vector<GLint>& values)
{
    if (props.size() != 1 || props[0] != GL_ACTIVE_VARIABLES || program_interface != GL_UNIFORM_BLOCK)
        return; // lists of several properties have no known borders; numbers are equal without a target
                // driver
    for (GLint& value : values)
        value = static_cast<GLint>(target_index_of(program, GL_UNIFORM, static_cast<GLuint>(value)));
}

constexpr GLsizei most_values = 1 << 20;
} // namespace

void gles31_glGetProgramInterfaceiv(pid_t pid, tid_t tid, GLuint program, GLenum program_interface,
                                    GLenum pname, target_ptr params, gles_target_error target_error)
{
    program_handler call{"gles31_glGetProgramInterfaceiv", "glGetProgramInterfaceiv", pid, tid, target_error};
    call.trace("program", program, "interface", program_interface, "pname", pname, "params", params);
    if (!call.enter())
        return;
    auto found = call.find_program(program);
    GLint value = 0;
    if (found != call.no_program() && call.host<&gles_table::glGetProgramInterfaceiv>(
                                              found->second.host_id, program_interface, pname, &value)
                                          .ok())
        call.write(params, value);
}

void gles31_glGetProgramResourceIndex(pid_t pid, tid_t tid, GLuint program, GLenum program_interface,
                                      target_ptr name, result_of<GLuint> target_result,
                                      gles_target_error target_error)
{
    program_handler call{"gles31_glGetProgramResourceIndex", "glGetProgramResourceIndex", pid, tid,
                         target_error};
    call.trace("program", program, "interface", program_interface, "name", name);
    GLuint index = GL_INVALID_INDEX;
    if (call.enter()) {
        auto found = call.find_program(program);
        auto text = found == call.no_program() ? std::nullopt : call.read_text(name);
        if (text) {
            auto host = call.host<&gles_table::glGetProgramResourceIndex>(found->second.host_id,
                                                                          program_interface, text->c_str());
            if (host.ok())
                index = target_index_of(found, program_interface, host.result);
            if (zelvar_call_on_target() && index != target_result.value)
                LOG_ERROR("Host-side result [resource_index[%s] = %d] is not equal to the Target-side result "
                          "[resource_index[%s] = %d].",
                          text->c_str(), index, text->c_str(), target_result.value);
        }
    }
    call.reply(index);
}

void gles31_glGetProgramResourceName(pid_t pid, tid_t tid, GLuint program, GLenum program_interface,
                                     GLuint index, GLsizei bufsize, target_ptr length, target_ptr name,
                                     inline_array<uint8_t> target_name, gles_target_error target_error)
{
    program_handler call{"gles31_glGetProgramResourceName", "glGetProgramResourceName", pid, tid,
                         target_error};
    call.trace("program", program, "interface", program_interface, "index", index, "bufsize", bufsize, "name",
               name);
    if (!call.enter())
        return;
    if (bufsize < 0) {
        LOG_ERROR("bufsize is less than 0, GL_INVALID_VALUE is generated");
        return call.fail(GL_INVALID_VALUE);
    }
    auto found = call.find_program(program);
    if (found == call.no_program())
        return;
    GLuint host_index = 0;
    if (!host_index_of(found, program_interface, index, &host_index))
        return fail_for_index(call, index);
    text_room room{bufsize};
    GLsizei written = 0;
    if (!call.host<&gles_table::glGetProgramResourceName>(found->second.host_id, program_interface,
                                                          host_index, room.size(), &written, room.data())
             .ok())
        return;
    if (zelvar_call_on_target() && target_name.count > 0) {
        inline_split split{target_name};
        split.take<GLint>(); // the length
        const std::string on_target = split.take_string();
        if (on_target != room.text())
            LOG_ERROR("Host-side result [resource_name[%d] = %s] is not equal to the Target-side result "
                      "[resource_name[%d] = %s].",
                      host_index, room.text().c_str(), index, on_target.c_str());
    }
    call.write_text(name, length, room.text(), bufsize);
}

void gles31_glGetProgramResourceiv(pid_t pid, tid_t tid, GLuint program, GLenum program_interface,
                                   GLuint index, GLsizei prop_count, target_ptr props, GLsizei bufsize,
                                   target_ptr length, target_ptr params,
                                   inline_array<uint8_t> props_and_target_values,
                                   gles_target_error target_error)
{
    program_handler call{"gles31_glGetProgramResourceiv", "glGetProgramResourceiv", pid, tid, target_error};
    call.trace("program", program, "interface", program_interface, "index", index, "prop_count", prop_count,
               "props", props, "bufsize", bufsize, "length", length, "params", params);
    if (!call.enter())
        return;
    if (prop_count <= 0 || bufsize < 0) {
        LOG_ERROR("Negative number of objects specified [%d].", prop_count <= 0 ? prop_count : bufsize);
        return call.fail(GL_INVALID_VALUE);
    }
    auto found = call.find_program(program);
    if (found == call.no_program())
        return;
    GLuint host_index = 0;
    if (!host_index_of(found, program_interface, index, &host_index))
        return fail_for_index(call, index);
    inline_split split{props_and_target_values};
    const auto wanted = split.take_array<GLenum>(static_cast<uint64_t>(prop_count));
    const GLsizei room = std::min(bufsize, most_values);
    std::vector<GLint> values(static_cast<size_t>(room));
    GLsizei written = 0;
    if (!call.host<&gles_table::glGetProgramResourceiv>(found->second.host_id, program_interface, host_index,
                                                        static_cast<GLsizei>(wanted.size()), wanted.data(),
                                                        room, &written, values.data())
             .ok())
        return;
    values.resize(static_cast<size_t>(std::clamp(written, 0, room)));
    translate_values(found, program_interface, wanted, values);
    if (zelvar_call_on_target()) {
        const auto on_target = std::max(split.take<GLint>(), 0);
        compare_values(values, split.take_array<GLint>(static_cast<uint64_t>(on_target)));
    }
    call.write(length, static_cast<GLsizei>(values.size()));
    call.write_bytes(params, values.data(), values.size() * sizeof(GLint));
}

void gles31_glGetProgramResourceLocation(pid_t pid, tid_t tid, GLuint program, GLenum program_interface,
                                         target_ptr name, result_of<GLint> target_result,
                                         gles_target_error target_error)
{
    program_handler call{"gles31_glGetProgramResourceLocation", "glGetProgramResourceLocation", pid, tid,
                         target_error};
    call.trace("program", program, "interface", program_interface, "name", name);
    GLint location = -1;
    if (call.enter()) {
        auto found = call.find_program(program);
        auto text = found == call.no_program() ? std::nullopt : call.read_text(name);
        if (text) {
            auto host = call.host<&gles_table::glGetProgramResourceLocation>(
                found->second.host_id, program_interface, text->c_str());
            location = host.ok() ? host.result : -1;
            if (program_interface == GL_UNIFORM && location >= 0 &&
                !zelvar_data_model_get_target_uniform_location_by_host_uniform_location(found, location,
                                                                                        &location))
                location = -1;
            if (zelvar_call_on_target() && location != target_result.value)
                LOG_ERROR(
                    "Host-side result [resource_location[%s] = %d] is not equal to the Target-side result "
                    "[resource_location[%s] = %d].",
                    text->c_str(), location, text->c_str(), target_result.value);
        }
    }
    call.reply(location);
}
