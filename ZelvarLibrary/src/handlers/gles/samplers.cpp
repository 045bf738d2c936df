// Sampler objects.

#include "handlers/gles/shared_guard.h"
#include "handlers/gles/textures_handlers.h"
#include "handlers/handler.h"

#include <array>

using gles_table = sidechannel_gles_imports;

namespace {
/// The host's id of a sampler, 0 for 0. False, with the error set, for a name that nobody has generated.
bool host_sampler(gles_handler& call, _zelvar_context_data* context, GLuint sampler, GLuint* host_id)
{
    *host_id = 0;
    if (sampler == 0)
        return true;
    auto found = context->data_shared->samplers.find(sampler);
    if (found == context->data_shared->samplers.end()) {
        LOG_ERROR(
            "Could not find host-side sampler object for target-side sampler object id [%d] for process "
            "id [%d]. Reporting error code [%#x].",
            sampler, call.pid, GL_INVALID_OPERATION);
        call.error = GL_INVALID_OPERATION;
        return false;
    }
    *host_id = found->second.host_id;
    return true;
}

enum class sampler_parameter_variant
{
    f = 0,
    fv = 1,
    i = 2,
    iv = 3,
};

/// Room for the largest parameter, a colour: the host decides how much of it it looks at.
template <class T>
std::array<T, 4> colour_of(T value)
{
    return {value};
}

/// One of `real` and `whole` is the value, by variant.
void gles30_shared_sampler_parameter(gles_handler& call, const char* function,
                                     sampler_parameter_variant variant, GLuint sampler, GLenum pname,
                                     GLfloat real, GLint whole)
{
    _zelvar_context_data* context = call.lock(function);
    if (!context)
        return;
    shared_guard group_lock{context};
    GLuint host_id = 0;
    if (!host_sampler(call, context, sampler, &host_id))
        return;
    switch (variant) {
    case sampler_parameter_variant::f:
        call.host<&gles_table::glSamplerParameterf>(host_id, pname, real);
        return;
    case sampler_parameter_variant::fv:
        call.host<&gles_table::glSamplerParameterfv>(host_id, pname, colour_of(real).data());
        return;
    case sampler_parameter_variant::i:
        call.host<&gles_table::glSamplerParameteri>(host_id, pname, whole);
        return;
    case sampler_parameter_variant::iv:
        call.host<&gles_table::glSamplerParameteriv>(host_id, pname, colour_of(whole).data());
        return;
    }
}

template <class T, auto Field>
void get_sampler_parameter(gles_handler& call, const char* function, GLuint sampler, GLenum pname,
                           target_ptr params)
{
    call.trace("sampler", sampler, "pname", pname, "params", params);
    _zelvar_context_data* context = call.lock(function);
    if (!context)
        return;
    shared_guard group_lock{context};
    GLuint host_id = 0;
    auto values = colour_of(T{});
    if (host_sampler(call, context, sampler, &host_id) &&
        call.host<Field>(host_id, pname, values.data()).ok())
        call.write(params, values[0]);
}
} // namespace

void gles30_glIsSampler(pid_t pid, tid_t tid, GLuint sampler, result_of<GLboolean>,
                        gles_target_error target_error)
{
    gles_handler call{"gles30_glIsSampler", pid, tid, target_error};
    call.trace("sampler", sampler);
    GLboolean known = GL_FALSE;
    if (_zelvar_context_data* context = call.lock("glIsSampler")) {
        shared_guard group_lock{context};
        auto found = context->data_shared->samplers.find(sampler);
        if (found != context->data_shared->samplers.end())
            known = call.host<&gles_table::glIsSampler>(found->second.host_id).result;
    }
    call.reply(known);
}

void gles30_glBindSampler(pid_t pid, tid_t tid, GLuint unit, GLuint sampler, gles_target_error target_error)
{
    gles_handler call{"gles30_glBindSampler", pid, tid, target_error};
    call.trace("unit", unit, "sampler", sampler);
    _zelvar_context_data* context = call.lock("glBindSampler");
    if (!context)
        return;
    shared_guard group_lock{context};
    GLuint host_id = 0;
    if (host_sampler(call, context, sampler, &host_id))
        call.host<&gles_table::glBindSampler>(unit, host_id);
}

void gles30_glSamplerParameterf(pid_t pid, tid_t tid, GLuint sampler, GLenum pname, GLfloat param,
                                gles_target_error target_error)
{
    gles_handler call{"gles30_glSamplerParameterf", pid, tid, target_error};
    call.trace("sampler", sampler, "pname", pname, "param", param);
    gles30_shared_sampler_parameter(call, "glSamplerParameterf", sampler_parameter_variant::f, sampler, pname,
                                    param, 0);
}

void gles30_glSamplerParameterfv(pid_t pid, tid_t tid, GLuint sampler, GLenum pname, target_ptr params,
                                 inline_array<GLfloat> values, gles_target_error target_error)
{
    gles_handler call{"gles30_glSamplerParameterfv", pid, tid, target_error};
    call.trace("sampler", sampler, "pname", pname, "params", params);
    gles30_shared_sampler_parameter(call, "glSamplerParameterfv", sampler_parameter_variant::fv, sampler,
                                    pname, values.count ? values.data[0] : 0, 0);
}

void gles30_glSamplerParameteri(pid_t pid, tid_t tid, GLuint sampler, GLenum pname, GLint param,
                                gles_target_error target_error)
{
    gles_handler call{"gles30_glSamplerParameteri", pid, tid, target_error};
    call.trace("sampler", sampler, "pname", pname, "param", param);
    gles30_shared_sampler_parameter(call, "glSamplerParameteri", sampler_parameter_variant::i, sampler, pname,
                                    0, param);
}

void gles30_glSamplerParameteriv(pid_t pid, tid_t tid, GLuint sampler, GLenum pname, target_ptr params,
                                 inline_array<GLint> values, gles_target_error target_error)
{
    gles_handler call{"gles30_glSamplerParameteriv", pid, tid, target_error};
    call.trace("sampler", sampler, "pname", pname, "params", params);
    gles30_shared_sampler_parameter(call, "glSamplerParameteriv", sampler_parameter_variant::iv, sampler,
                                    pname, 0, values.count ? values.data[0] : 0);
}

void gles30_glGetSamplerParameterfv(pid_t pid, tid_t tid, GLuint sampler, GLenum pname, target_ptr params,
                                    gles_target_error target_error)
{
    gles_handler call{"gles30_glGetSamplerParameterfv", pid, tid, target_error};
    get_sampler_parameter<GLfloat, &gles_table::glGetSamplerParameterfv>(call, "glGetSamplerParameterfv",
                                                                         sampler, pname, params);
}

void gles30_glGetSamplerParameteriv(pid_t pid, tid_t tid, GLuint sampler, GLenum pname, target_ptr params,
                                    gles_target_error target_error)
{
    gles_handler call{"gles30_glGetSamplerParameteriv", pid, tid, target_error};
    get_sampler_parameter<GLint, &gles_table::glGetSamplerParameteriv>(call, "glGetSamplerParameteriv",
                                                                       sampler, pname, params);
}
