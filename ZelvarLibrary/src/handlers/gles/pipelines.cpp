// Separable programs and program pipelines. Names are made and deleted in gen_handles.cpp and
// delete_handles.cpp.

#include "handlers/gles/gles_programs.h"
#include "handlers/gles/inline_split.h"
#include "handlers/gles/program_support.h"
#include "handlers/gles/shader_filter.h"
#include "handlers/gles/shader_source.h"
#include "settings/zelvar_settings.h"

using gles_table = sidechannel_gles_imports;

namespace {
/// Stage bits in the order of a pipeline's `stage_programs`: vertex, fragment, tessellation control and
/// evaluation, geometry, compute.
constexpr GLbitfield program_stage_bits[] = {1, 2, 8, 16, 4, 32};

/// Null, with a line and GL_INVALID_OPERATION, when there is none.
_zelvar_program_pipeline_object_descriptor* find_pipeline(program_handler& call, GLuint pipeline)
{
    auto& pipelines = call.context()->data_nonshared->program_pipelines;
    auto found = pipelines.find(pipeline);
    if (found != pipelines.end())
        return &found->second;
    LOG_ERROR("Can't find target program pipeline object %d.", pipeline);
    call.fail(GL_INVALID_OPERATION);
    return nullptr;
}

/// The host's program for a stage; 0 takes the stage away. False with the error set.
bool find_stage_program(program_handler& call, GLuint program, GLuint* host_program)
{
    *host_program = 0;
    if (program == 0)
        return true;
    call.fail(zelvar_helpers_get_gl_error_code_checking_as_program(call.context(), program));
    if (call.error != GL_NO_ERROR) {
        LOG_ERROR(
            "glUseProgramStages() Could not find program object descriptor for target-side program id [%d].",
            program);
        return false;
    }
    const auto& object = call.shared().programs.find(program)->second;
    if (!object.link_status) {
        call.fail(GL_INVALID_OPERATION);
        LOG_ERROR("glUseProgramStages: program [%d] has not been successfully linked in the past! [%d]",
                  program, call.error);
        return false;
    }
    *host_program = object.host_id;
    return true;
}

bool returns_program(GLenum pname)
{
    switch (pname) {
    case GL_ACTIVE_PROGRAM:
    case GL_VERTEX_SHADER:
    case GL_FRAGMENT_SHADER:
    case GL_COMPUTE_SHADER:
    case GL_GEOMETRY_SHADER:
    case GL_TESS_CONTROL_SHADER:
    case GL_TESS_EVALUATION_SHADER:
        return true;
    default:
        return false;
    }
}

/// No reverse map is kept: programs are scanned.
GLint target_program_of(const program_handler& call, GLint host_program)
{
    if (host_program == 0)
        return 0;
    for (const auto& [id, program] : call.shared().programs)
        if (program.host_id == static_cast<uint32_t>(host_program))
            return static_cast<GLint>(id);
    LOG_FATAL("glGetProgramPipelineiv(): can not find mapped target program for host program [%d]",
              host_program);
    return 0;
}

std::string filtered_text(inline_array<uint8_t> texts, GLsizei count)
{
    std::vector<std::string> strings;
    inline_split split{texts};
    while (static_cast<GLsizei>(strings.size()) < count && split.left() > 0)
        strings.push_back(split.take_string());
    std::vector<const char*> pointers;
    for (const auto& string : strings)
        pointers.push_back(string.c_str());
    return filtered_shader_source(
        mergeShaderSourceStrings(static_cast<int>(pointers.size()), pointers.data(), nullptr), pointers);
}

/// The entry of a program that is linked already.
void map_linked_program(program_handler& call, uint32_t id, GLuint host_program)
{
    zelvar_data_model_init_program_descriptor_prelink(call.context(), id, host_program);
    zelvar_data_model_init_attributes_location(call.pid, call.tid, call.context(), id);
    zelvar_data_model_init_program_descriptor_postlink(call.pid, call.tid, call.context(), id);
    GLint status = GL_FALSE;
    host::gl<&gles_table::glGetProgramiv>(host_program, GL_LINK_STATUS, &status);
    auto& object = call.shared().programs.find(id)->second;
    object.link_requested = true;
    object.link_status = status != 0;
}
} // namespace

void gles31_glCreateShaderProgramv(pid_t pid, tid_t tid, GLenum type, GLsizei count, target_ptr strings,
                                   inline_array<uint8_t> texts, result_of<GLuint> target_id,
                                   gles_target_error target_error)
{
    program_handler call{"gles31_glCreateShaderProgramv", "glCreateShaderProgramv", pid, tid, target_error};
    call.trace("type", type, "count", count, "strings", strings);
    if (count < 0) {
        LOG_ERROR("Negative number of string specified [%d].", count);
        call.fail(GL_INVALID_VALUE);
        return call.reply(GLuint{0});
    }
    if (!call.enter())
        return call.reply(GLuint{0});
    // The program has no entry yet, so there is nothing that could be bound.
    if (zelvar_call_on_target() &&
        zelvar_data_model_bind_attributes_location_on_host_side(pid, tid, call.context(), target_id.value)) {
        LOG_FATAL("glCreateShaderProgramv(): Bind target attributes location failed.");
        return;
    }
    const std::string text = filtered_text(texts, count);
    const char* one = text.c_str();
    auto made = call.host<&gles_table::glCreateShaderProgramv>(type, 1, &one);
    const uint32_t id = !made.ok() || made.result == 0 ? 0
                        : zelvar_call_on_target()
                            ? target_id.value
                            : zelvar_object_manager_create_target_program(call.context());
    if (id != 0)
        map_linked_program(call, id, made.result);
    call.reply(GLuint{id});
}

void gles31_glUseProgramStages(pid_t pid, tid_t tid, GLuint pipeline, GLbitfield stages, GLuint program,
                               gles_target_error target_error)
{
    program_handler call{"gles31_glUseProgramStages", "glUseProgramStages", pid, tid, target_error};
    call.trace("pipeline", pipeline, "stages", stages, "program", program);
    if (!call.enter())
        return;
    auto* object = find_pipeline(call, pipeline);
    GLuint host_program = 0;
    if (!object || !find_stage_program(call, program, &host_program))
        return;
    if (!call.host<&gles_table::glUseProgramStages>(object->host_id, stages, host_program).ok())
        return;
    for (size_t i = 0; i < object->stage_programs.size(); ++i)
        if (stages & program_stage_bits[i])
            object->stage_programs[i] = program;
}

void gles31_glActiveShaderProgram(pid_t pid, tid_t tid, GLuint pipeline, GLuint program,
                                  gles_target_error target_error)
{
    program_handler call{"gles31_glActiveShaderProgram", "glActiveShaderProgram", pid, tid, target_error};
    call.trace("pipeline", pipeline, "program", program);
    if (!call.enter())
        return;
    auto* object = find_pipeline(call, pipeline);
    if (!object)
        return;
    GLuint host_program = 0;
    if (program != 0) {
        auto found = call.find_program(program);
        if (found == call.no_program())
            return;
        host_program = found->second.host_id;
    }
    if (call.host<&gles_table::glActiveShaderProgram>(object->host_id, host_program).ok())
        object->active_program = program;
}

void gles31_glBindProgramPipeline(pid_t pid, tid_t tid, GLuint pipeline, gles_target_error target_error)
{
    program_handler call{"gles31_glBindProgramPipeline", "glBindProgramPipeline", pid, tid, target_error};
    call.trace("pipeline", pipeline);
    if (!call.enter())
        return;
    GLuint host_pipeline = 0;
    if (pipeline != 0) {
        auto* object = find_pipeline(call, pipeline);
        if (!object)
            return;
        host_pipeline = object->host_id;
    }
    if (call.host<&gles_table::glBindProgramPipeline>(host_pipeline).ok())
        call.context()->bound_program_pipeline = pipeline;
}

void gles31_glIsProgramPipeline(pid_t pid, tid_t tid, GLuint pipeline, result_of<GLboolean>,
                                gles_target_error target_error)
{
    program_handler call{"gles31_glIsProgramPipeline", "glIsProgramPipeline", pid, tid, target_error};
    call.trace("pipeline", pipeline);
    GLboolean is_pipeline = GL_FALSE;
    if (call.enter()) {
        const auto& pipelines = call.context()->data_nonshared->program_pipelines;
        auto found = pipelines.find(pipeline);
        if (found != pipelines.end())
            is_pipeline = call.host<&gles_table::glIsProgramPipeline>(found->second.host_id).result;
    }
    call.reply(is_pipeline);
}

void gles31_glGetProgramPipelineiv(pid_t pid, tid_t tid, GLuint pipeline, GLenum pname, target_ptr params,
                                   gles_target_error target_error)
{
    program_handler call{"gles31_glGetProgramPipelineiv", "glGetProgramPipelineiv", pid, tid, target_error};
    call.trace("pipeline", pipeline, "pname", pname, "params", params);
    if (!call.enter())
        return;
    auto* object = find_pipeline(call, pipeline);
    GLint value = 0;
    if (!object || !call.host<&gles_table::glGetProgramPipelineiv>(object->host_id, pname, &value).ok())
        return;
    call.write(params, returns_program(pname) ? target_program_of(call, value) : value);
}

void gles31_glValidateProgramPipeline(pid_t pid, tid_t tid, GLuint pipeline, gles_target_error target_error)
{
    program_handler call{"gles31_glValidateProgramPipeline", "glValidateProgramPipeline", pid, tid,
                         target_error};
    call.trace("pipeline", pipeline);
    if (!call.enter())
        return;
    if (auto* object = find_pipeline(call, pipeline))
        call.host<&gles_table::glValidateProgramPipeline>(object->host_id);
}

void gles31_glGetProgramPipelineInfoLog(pid_t pid, tid_t tid, GLuint pipeline, GLsizei bufsize,
                                        target_ptr length, target_ptr infolog, gles_target_error target_error)
{
    program_handler call{"gles31_glGetProgramPipelineInfoLog", "glGetProgramPipelineInfoLog", pid, tid,
                         target_error};
    call.trace("pipeline", pipeline, "bufsize", bufsize, "length", length, "infolog", infolog);
    if (!call.enter() || !is_log_size_valid(call, bufsize))
        return;
    auto* object = find_pipeline(call, pipeline);
    if (!object)
        return call.fail(GL_INVALID_VALUE); // here the host calls a wrong name a wrong value
    text_room room{bufsize};
    GLsizei written = 0;
    if (call.host<&gles_table::glGetProgramPipelineInfoLog>(object->host_id, room.size(), &written,
                                                            room.data())
            .ok())
        call.write_text(infolog, length, room.text(), bufsize);
}
