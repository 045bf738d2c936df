// Questions to programs that the host answers, with locations and indices in the target's numbering.

#include "handlers/gles/gles_programs.h"
#include "handlers/gles/program_support.h"
#include "settings/zelvar_settings.h"

#include <array>

using gles_table = sidechannel_gles_imports;

namespace {
constexpr uint32_t external_image_row = 15;

/// Where the answer to a question for an active variable goes.
struct active_variable
{
    GLuint program;
    GLuint host_index;
    GLsizei bufsize;
    target_ptr length;
    target_ptr size;
    target_ptr type;
    target_ptr name;
};

bool is_bufsize_valid(program_handler& call, GLsizei bufsize)
{
    if (bufsize >= 0)
        return true;
    LOG_ERROR("bufsize is less than 0, GL_INVALID_VALUE is generated");
    call.fail(GL_INVALID_VALUE);
    return false;
}

/// The host's answer, written to the target.
template <auto Field>
void ask_active_variable(program_handler& call, const _zelvar_program_descriptor& object,
                         const active_variable& asked)
{
    text_room room{asked.bufsize};
    GLsizei written = 0;
    GLint size = 0;
    GLenum type = 0;
    if (!call.host<Field>(object.host_id, asked.host_index, room.size(), &written, &size, &type, room.data())
             .ok())
        return;
    if (type == GL_SAMPLER_EXTERNAL_OES &&
        !zelvar_data_is_gl_extension_supported(call.pid, call.tid, call.context(), external_image_row)) {
        LOG_ERROR("%s: an external sampler, but GL_OES_EGL_image_external is not supported.", call.function);
        return call.fail(GL_INVALID_OPERATION);
    }
    call.write_text(asked.name, asked.length, room.text(), asked.bufsize);
    call.write(asked.size, size);
    call.write(asked.type, type);
}

/// A location by name: the host's answer, -1 where it has none.
template <auto Field>
GLint ask_location(program_handler& call, GLuint program, target_ptr name)
{
    call.trace("program", program, "name", name);
    if (!call.enter())
        return -1;
    auto found = call.find_program(program);
    if (found == call.no_program())
        return -1;
    auto text = call.read_text(name);
    if (!text)
        return -1;
    auto location = call.host<Field>(found->second.host_id, text->c_str());
    return location.ok() ? location.result : -1;
}

/// Compares what both sides know of a uniform.
void compare_locations(const std::string& name, GLint host_location, GLint target_location)
{
    if (host_location == -1 && target_location >= 0)
        LOG_WARN(
            "The uniform[%s] is valid on Target side with location[%d], but host side driver doesn't "
            "consider "
            "it to be active with location[%d]. Host side will ignore the operations based on this location.",
            name.c_str(), target_location, host_location);
    else if (host_location >= 0 && target_location < 0)
        LOG_ERROR("Target side uniform location is invalid, name:%s, host_location:%d, target_location:%d",
                  name.c_str(), host_location, target_location);
}

template <auto Field, class T>
void gles20_shared_get_uniform_handle(program_handler& call, GLuint program, GLint location,
                                      target_ptr params)
{
    call.trace("program", program, "location", location, "params", params);
    if (!call.enter())
        return;
    call.fail(zelvar_helpers_get_gl_error_code_checking_as_program(call.context(), program));
    if (call.error != GL_NO_ERROR) {
        LOG_ERROR("A program mapping for target-side program id [%d] does not exist!", program);
        return;
    }
    auto found = call.shared().programs.find(program);
    auto position = find_target_location(found, location);
    GLint host_location = -1;
    if (position == found->second.uniforms_by_target_location.end() ||
        !zelvar_data_model_get_host_uniform_location_by_target_uniform_location(found, location,
                                                                                &host_location)) {
        LOG_ERROR(
            "A location mapping for target-side location [%d] target-side program id [%d] does not exist!",
            location, program);
        return call.fail(zelvar_call_on_target() ? call.target_error : GL_INVALID_OPERATION);
    }
    const uint32_t components = found->second.uniforms[position->second].components;
    std::array<T, 16> values{}; // the largest matrix
    if (call.host<Field>(found->second.host_id, host_location, values.data()).ok())
        call.write_bytes(params, values.data(), uint64_t{components} * sizeof(T));
}
} // namespace

void gles20_glIsProgram(pid_t pid, tid_t tid, GLuint program, result_of<GLboolean>,
                        gles_target_error target_error)
{
    program_handler call{"gles20_glIsProgram", "glIsProgram", pid, tid, target_error};
    call.trace("program", program);
    GLboolean is_program = GL_FALSE;
    if (call.enter()) {
        auto found = call.shared().programs.find(program);
        if (found != call.no_program())
            is_program = call.host<&gles_table::glIsProgram>(found->second.host_id).result;
    }
    call.reply(is_program);
}

void gles20_glGetProgramiv(pid_t pid, tid_t tid, GLuint program, GLenum pname, target_ptr params,
                           gles_target_error target_error)
{
    program_handler call{"gles20_glGetProgramiv", "glGetProgramiv", pid, tid, target_error};
    call.trace("program", program, "pname", pname, "params", params);
    if (!call.enter())
        return;
    auto found = call.find_program(program);
    if (found == call.no_program())
        return;
    if (pname == GL_LINK_STATUS)
        return call.write(params, GLint{found->second.link_status});
    std::array<GLint, 4> values{};
    if (!call.host<&gles_table::glGetProgramiv>(found->second.host_id, pname, values.data()).ok())
        return;
    const uint64_t count = pname == GL_COMPUTE_WORK_GROUP_SIZE ? 3 : 1;
    call.write_bytes(params, values.data(), count * sizeof(GLint));
}

void gles20_glGetProgramInfoLog(pid_t pid, tid_t tid, GLuint program, GLsizei bufsize, target_ptr length,
                                target_ptr infolog, gles_target_error target_error)
{
    program_handler call{"gles20_glGetProgramInfoLog", "glGetProgramInfoLog", pid, tid, target_error};
    call.trace("program", program, "bufsize", bufsize, "length", length, "infolog", infolog);
    if (!call.enter() || !is_log_size_valid(call, bufsize))
        return;
    auto found = call.find_program(program);
    if (found == call.no_program())
        return;
    text_room room{bufsize};
    GLsizei written = 0;
    if (call.host<&gles_table::glGetProgramInfoLog>(found->second.host_id, room.size(), &written, room.data())
            .ok())
        call.write_text(infolog, length, room.text(), bufsize);
}

void gles20_glGetActiveAttrib(pid_t pid, tid_t tid, GLuint program, GLuint index, GLsizei bufsize,
                              target_ptr length, target_ptr size, target_ptr type, target_ptr name,
                              gles_target_error target_error)
{
    program_handler call{"gles20_glGetActiveAttrib", "glGetActiveAttrib", pid, tid, target_error};
    call.trace("program", program, "index", index, "bufsize", bufsize, "name", name);
    if (!call.enter() || !is_bufsize_valid(call, bufsize))
        return;
    auto found = call.find_program(program);
    if (found != call.no_program())
        ask_active_variable<&gles_table::glGetActiveAttrib>(
            call, found->second, {program, index, bufsize, length, size, type, name});
}

void gles20_glGetActiveUniform(pid_t pid, tid_t tid, GLuint program, GLuint index, GLsizei bufsize,
                               target_ptr length, target_ptr size, target_ptr type, target_ptr name,
                               gles_target_error target_error)
{
    program_handler call{"gles20_glGetActiveUniform", "glGetActiveUniform", pid, tid, target_error};
    call.trace("program", program, "index", index, "bufsize", bufsize, "name", name);
    if (!call.enter() || !is_bufsize_valid(call, bufsize))
        return;
    auto found = call.find_program(program);
    if (found == call.no_program())
        return;
    GLuint host_index = index;
    if (zelvar_call_on_target() &&
        !zelvar_data_model_get_host_uniform_index_by_target_uniform_index(found, index, &host_index)) {
        LOG_WARN("The uniform with index[%d] is not active on host side, host call will not execute.", index);
        return;
    }
    ask_active_variable<&gles_table::glGetActiveUniform>(
        call, found->second, {program, host_index, bufsize, length, size, type, name});
}

void gles30_glGetTransformFeedbackVarying(pid_t pid, tid_t tid, GLuint program, GLuint index, GLsizei bufsize,
                                          target_ptr length, target_ptr size, target_ptr type,
                                          target_ptr name, gles_target_error target_error)
{
    program_handler call{"gles30_glGetTransformFeedbackVarying", "glGetTransformFeedbackVarying", pid, tid,
                         target_error};
    call.trace("program", program, "index", index, "bufsize", bufsize, "name", name);
    if (!call.enter() || !is_bufsize_valid(call, bufsize))
        return;
    auto found = call.find_program(program);
    if (found != call.no_program())
        ask_active_variable<&gles_table::glGetTransformFeedbackVarying>(
            call, found->second, {program, index, bufsize, length, size, type, name});
}

void gles20_glGetAttribLocation(pid_t pid, tid_t tid, GLuint program, target_ptr name, result_of<GLint>,
                                gles_target_error target_error)
{
    program_handler call{"gles20_glGetAttribLocation", "glGetAttribLocation", pid, tid, target_error};
    call.reply(ask_location<&gles_table::glGetAttribLocation>(call, program, name));
}

void gles30_glGetFragDataLocation(pid_t pid, tid_t tid, GLuint program, target_ptr name, result_of<GLint>,
                                  gles_target_error target_error)
{
    program_handler call{"gles30_glGetFragDataLocation", "glGetFragDataLocation", pid, tid, target_error};
    call.reply(ask_location<&gles_table::glGetFragDataLocation>(call, program, name));
}

void gles20_glGetUniformLocation(pid_t pid, tid_t tid, GLuint program, target_ptr name,
                                 result_of<GLint> target_result, gles_target_error target_error)
{
    program_handler call{"gles20_glGetUniformLocation", "glGetUniformLocation", pid, tid, target_error};
    call.trace("program", program, "name", name);
    GLint location = -1;
    if (call.enter()) {
        call.fail(zelvar_helpers_get_gl_error_code_checking_as_program(call.context(), program));
        if (call.error != GL_NO_ERROR) {
            LOG_WARN(
                "glGetUniformLocation(): Could not find program object descriptor for target-side program id "
                "[%d]",
                program);
        } else if (auto text = call.read_text(name)) {
            auto host = call.host<&gles_table::glGetUniformLocation>(
                call.shared().programs.find(program)->second.host_id, text->c_str());
            location = host.ok() ? host.result : -1;
            if (zelvar_call_on_target())
                compare_locations(*text, location, target_result.value);
        }
    }
    call.reply(location);
}

void gles20_glGetUniformfv(pid_t pid, tid_t tid, GLuint program, GLint location, target_ptr params,
                           gles_target_error target_error)
{
    program_handler call{"gles20_glGetUniformfv", "glGetUniformfv", pid, tid, target_error};
    gles20_shared_get_uniform_handle<&gles_table::glGetUniformfv, GLfloat>(call, program, location, params);
}

void gles20_glGetUniformiv(pid_t pid, tid_t tid, GLuint program, GLint location, target_ptr params,
                           gles_target_error target_error)
{
    program_handler call{"gles20_glGetUniformiv", "glGetUniformiv", pid, tid, target_error};
    gles20_shared_get_uniform_handle<&gles_table::glGetUniformiv, GLint>(call, program, location, params);
}

void gles30_glGetUniformuiv(pid_t pid, tid_t tid, GLuint program, GLint location, target_ptr params,
                            gles_target_error target_error)
{
    program_handler call{"gles30_glGetUniformuiv", "glGetUniformuiv", pid, tid, target_error};
    gles20_shared_get_uniform_handle<&gles_table::glGetUniformuiv, GLuint>(call, program, location, params);
}
