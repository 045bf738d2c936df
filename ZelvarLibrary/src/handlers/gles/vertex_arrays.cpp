// Vertex array objects.

#include "handlers/gles/buffer_lookup.h"
#include "handlers/gles/buffers_handlers.h"
#include "handlers/gles/object_kinds.h"
#include "handlers/gles/shared_guard.h"

using gles_table = sidechannel_gles_imports;

namespace {
template <auto Field>
void gles20_shared_bind_vertex_array(gles_handler& call, const char* function, GLuint array,
                                     _shared_gen_handler_type kind)
{
    call.trace("array", array);
    _zelvar_context_data* context = call.lock(function);
    if (!context || !is_kind_supported(call, context, kind))
        return;
    uint32_t host_id = 0;
    if (array) {
        auto found = context->data_nonshared->vertex_arrays.find(array);
        if (found == context->data_nonshared->vertex_arrays.end()) {
            call.error = GL_INVALID_OPERATION;
            LOG_ERROR("Could not find host-side vertex array object for target-side vertex array object id "
                      "[%d] for "
                      "process id [%d]. Reporting error code [%#x].",
                      array, call.pid, call.error);
            return;
        }
        host_id = found->second.host_id;
    }
    if (!call.host<Field>(host_id).ok())
        return;
    context->bound_vertex_array = array;
    if (auto* bound = bound_vertex_array(context))
        bound->was_bound = true;
    recount_enabled_arrays(context);
}

void is_vertex_array(gles_handler& call, const char* function, GLuint array, _shared_gen_handler_type kind)
{
    call.trace("array", array);
    GLboolean known = GL_FALSE;
    _zelvar_context_data* context = call.lock(function);
    if (context && is_kind_supported(call, context, kind) && array) {
        auto found = context->data_nonshared->vertex_arrays.find(array);
        known = found != context->data_nonshared->vertex_arrays.end() && found->second.was_bound;
    }
    call.reply(known);
}
} // namespace

void gles30_glBindVertexArray(pid_t pid, tid_t tid, GLuint array, gles_target_error target_error)
{
    gles_handler call{"gles30_glBindVertexArray", pid, tid, target_error};
    gles20_shared_bind_vertex_array<&gles_table::glBindVertexArray>(call, "glBindVertexArray", array,
                                                                    shared_vertex_arrays);
}

void gles20_glBindVertexArrayOES(pid_t pid, tid_t tid, GLuint array, gles_target_error target_error)
{
    gles_handler call{"gles20_glBindVertexArrayOES", pid, tid, target_error};
    gles20_shared_bind_vertex_array<&gles_table::glBindVertexArrayOES>(call, "glBindVertexArrayOES", array,
                                                                       shared_vertex_arrays_oes);
}

void gles30_glIsVertexArray(pid_t pid, tid_t tid, GLuint array, result_of<GLboolean>,
                            gles_target_error target_error)
{
    gles_handler call{"gles30_glIsVertexArray", pid, tid, target_error};
    is_vertex_array(call, "glIsVertexArray", array, shared_vertex_arrays);
}

void gles20_glIsVertexArrayOES(pid_t pid, tid_t tid, GLuint array, result_of<GLboolean>,
                               gles_target_error target_error)
{
    gles_handler call{"gles20_glIsVertexArrayOES", pid, tid, target_error};
    is_vertex_array(call, "glIsVertexArrayOES", array, shared_vertex_arrays_oes);
}
