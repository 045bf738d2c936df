// Occlusion and transform feedback queries, of version 3 and of the extension.

#include "handlers/gles/buffers_handlers.h"
#include "handlers/gles/object_kinds.h"

using gles_table = sidechannel_gles_imports;

namespace {
_zelvar_query_object_descriptor* find_query(_zelvar_context_data* context, GLuint id)
{
    auto found = context->data_nonshared->queries.find(id);
    return found == context->data_nonshared->queries.end() ? nullptr : &found->second;
}

/// The context, locked, where this kind of queries may be used.
_zelvar_context_data* enter(gles_handler& call, const char* function, _shared_gen_handler_type kind)
{
    _zelvar_context_data* context = call.lock(function);
    return context && is_kind_supported(call, context, kind) ? context : nullptr;
}

template <auto Field>
void begin_query(gles_handler& call, const char* function, _shared_gen_handler_type kind, GLenum target,
                 GLuint id)
{
    call.trace("target", target, "id", id);
    _zelvar_context_data* context = enter(call, function, kind);
    if (!context)
        return;
    if (id == 0) {
        LOG_ERROR("id can't be 0");
        call.error = GL_INVALID_OPERATION;
        return;
    }
    auto* query = find_query(context, id);
    if (!query) {
        LOG_ERROR(
            "The id[%d] is not a name returned from a previous call to glGenQueries. GL_INVALID_OPERATION is "
            "generated and Host-side will NOT execute the call!",
            id);
        call.error = GL_INVALID_OPERATION;
        return;
    }
    if (call.host<Field>(target, query->host_id).ok())
        query->was_begun = true;
}

template <auto Field>
void end_query(gles_handler& call, const char* function, _shared_gen_handler_type kind, GLenum target)
{
    call.trace("target", target);
    if (enter(call, function, kind))
        call.host<Field>(target);
}

template <auto Field>
void get_query(gles_handler& call, const char* function, _shared_gen_handler_type kind, GLenum target,
               GLenum pname, target_ptr params)
{
    call.trace("target", target, "pname", pname, "params", params);
    _zelvar_context_data* context = enter(call, function, kind);
    if (!context)
        return;
    GLint value = 0;
    if (!call.host<Field>(target, pname, &value).ok())
        return;
    if (pname == GL_CURRENT_QUERY && value) {
        GLint of_target = 0;
        for (const auto& [id, query] : context->data_nonshared->queries)
            if (query.host_id == static_cast<uint32_t>(value)) {
                of_target = static_cast<GLint>(id);
                break;
            }
        value = of_target;
    }
    call.write(params, value);
}

/// Only the host has counted, so its answer holds in every mode.
template <auto Field>
void get_query_object(gles_handler& call, const char* function, _shared_gen_handler_type kind, GLuint id,
                      GLenum pname, target_ptr params)
{
    call.trace("id", id, "pname", pname, "params", params);
    _zelvar_context_data* context = enter(call, function, kind);
    if (!context)
        return;
    auto* query = find_query(context, id);
    if (!query) {
        LOG_FATAL(
            "Could not find target<=>host query object ID mapping! glGetQueryObjectuivEXT() call will not be "
            "executed.");
        call.error = GL_INVALID_OPERATION;
        return;
    }
    GLuint value = 0;
    if (call.host<Field>(query->host_id, pname, &value).ok())
        call.write_force(params, value);
}

void is_query(gles_handler& call, const char* function, _shared_gen_handler_type kind, GLuint id)
{
    call.trace("id", id);
    GLboolean known = GL_FALSE;
    if (_zelvar_context_data* context = enter(call, function, kind)) {
        auto* query = id ? find_query(context, id) : nullptr;
        known = query && query->was_begun;
    }
    call.reply(known);
}
} // namespace

void gles30_glBeginQuery(pid_t pid, tid_t tid, GLenum target, GLuint id, gles_target_error target_error)
{
    gles_handler call{"gles30_glBeginQuery", pid, tid, target_error};
    begin_query<&gles_table::glBeginQuery>(call, "glBeginQuery", shared_queries, target, id);
}
void gles20_glBeginQueryEXT(pid_t pid, tid_t tid, GLenum target, GLuint id, gles_target_error target_error)
{
    gles_handler call{"gles20_glBeginQueryEXT", pid, tid, target_error};
    begin_query<&gles_table::glBeginQueryEXT>(call, "glBeginQueryEXT", shared_queries_ext, target, id);
}
void gles30_glEndQuery(pid_t pid, tid_t tid, GLenum target, gles_target_error target_error)
{
    gles_handler call{"gles30_glEndQuery", pid, tid, target_error};
    end_query<&gles_table::glEndQuery>(call, "glEndQuery", shared_queries, target);
}
void gles20_glEndQueryEXT(pid_t pid, tid_t tid, GLenum target, gles_target_error target_error)
{
    gles_handler call{"gles20_glEndQueryEXT", pid, tid, target_error};
    end_query<&gles_table::glEndQueryEXT>(call, "glEndQueryEXT", shared_queries_ext, target);
}
void gles30_glGetQueryiv(pid_t pid, tid_t tid, GLenum target, GLenum pname, target_ptr params,
                         gles_target_error target_error)
{
    gles_handler call{"gles30_glGetQueryiv", pid, tid, target_error};
    get_query<&gles_table::glGetQueryiv>(call, "glGetQueryiv", shared_queries, target, pname, params);
}
void gles20_glGetQueryivEXT(pid_t pid, tid_t tid, GLenum target, GLenum pname, target_ptr params,
                            gles_target_error target_error)
{
    gles_handler call{"gles20_glGetQueryivEXT", pid, tid, target_error};
    get_query<&gles_table::glGetQueryivEXT>(call, "glGetQueryivEXT", shared_queries_ext, target, pname,
                                            params);
}
void gles30_glGetQueryObjectuiv(pid_t pid, tid_t tid, GLuint id, GLenum pname, target_ptr params,
                                gles_target_error target_error)
{
    gles_handler call{"gles30_glGetQueryObjectuiv", pid, tid, target_error};
    get_query_object<&gles_table::glGetQueryObjectuiv>(call, "glGetQueryObjectuiv", shared_queries, id, pname,
                                                       params);
}
void gles20_glGetQueryObjectuivEXT(pid_t pid, tid_t tid, GLuint id, GLenum pname, target_ptr params,
                                   gles_target_error target_error)
{
    gles_handler call{"gles20_glGetQueryObjectuivEXT", pid, tid, target_error};
    get_query_object<&gles_table::glGetQueryObjectuivEXT>(call, "glGetQueryObjectuivEXT", shared_queries_ext,
                                                          id, pname, params);
}
void gles30_glIsQuery(pid_t pid, tid_t tid, GLuint id, result_of<GLboolean>, gles_target_error target_error)
{
    gles_handler call{"gles30_glIsQuery", pid, tid, target_error};
    is_query(call, "glIsQuery", shared_queries, id);
}
void gles20_glIsQueryEXT(pid_t pid, tid_t tid, GLuint id, result_of<GLboolean>,
                         gles_target_error target_error)
{
    gles_handler call{"gles20_glIsQueryEXT", pid, tid, target_error};
    is_query(call, "glIsQueryEXT", shared_queries_ext, id);
}
