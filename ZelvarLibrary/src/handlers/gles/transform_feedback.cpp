// Transform feedback: its state and its objects.

#include "handlers/gles/buffers_handlers.h"
#include "handlers/gles/shared_guard.h"
#include "handlers/handler.h"

using gles_table = sidechannel_gles_imports;

void gles30_glBeginTransformFeedback(pid_t pid, tid_t tid, GLenum mode, gles_target_error target_error)
{
    gles_handler call{"gles30_glBeginTransformFeedback", pid, tid, target_error};
    call.trace("primitiveMode", mode);
    _zelvar_context_data* context = call.lock("glBeginTransformFeedback");
    if (context && call.host<&gles_table::glBeginTransformFeedback>(mode).ok())
        context->transform_feedback_active = true;
}

void gles30_glEndTransformFeedback(pid_t pid, tid_t tid, gles_target_error target_error)
{
    gles_handler call{"gles30_glEndTransformFeedback", pid, tid, target_error};
    call.trace();
    _zelvar_context_data* context = call.lock("glEndTransformFeedback");
    if (context && call.host<&gles_table::glEndTransformFeedback>().ok())
        context->transform_feedback_active = false;
}

void gles30_glPauseTransformFeedback(pid_t pid, tid_t tid, gles_target_error target_error)
{
    gles_handler call{"gles30_glPauseTransformFeedback", pid, tid, target_error};
    call.trace();
    if (call.lock("glPauseTransformFeedback"))
        call.host<&gles_table::glPauseTransformFeedback>();
}

void gles30_glResumeTransformFeedback(pid_t pid, tid_t tid, gles_target_error target_error)
{
    gles_handler call{"gles30_glResumeTransformFeedback", pid, tid, target_error};
    call.trace();
    if (call.lock("glResumeTransformFeedback"))
        call.host<&gles_table::glResumeTransformFeedback>();
}

void gles30_glBindTransformFeedback(pid_t pid, tid_t tid, GLenum target, GLuint id,
                                    gles_target_error target_error)
{
    gles_handler call{"gles30_glBindTransformFeedback", pid, tid, target_error};
    call.trace("target", target, "id", id);
    if (target != GL_TRANSFORM_FEEDBACK) {
        LOG_WARN("target [%d] is not GL_TRANSFORM_FEEDBACK.", target);
        call.error = GL_INVALID_ENUM;
        return;
    }
    _zelvar_context_data* context = call.lock("glBindTransformFeedback");
    if (!context)
        return;
    shared_guard group_lock{context};
    auto& objects = context->data_shared->transform_feedbacks;
    auto found = objects.find(id);
    if (id && found == objects.end()) {
        LOG_ERROR("Can't find target transform feedback object %d.", id);
        call.error = GL_INVALID_OPERATION;
        return;
    }
    if (call.host<&gles_table::glBindTransformFeedback>(target, id ? found->second.host_id : 0).ok() && id)
        found->second.was_bound = true;
}

void gles30_glIsTransformFeedback(pid_t pid, tid_t tid, GLuint id, result_of<GLboolean>,
                                  gles_target_error target_error)
{
    gles_handler call{"gles30_glIsTransformFeedback", pid, tid, target_error};
    call.trace("id", id);
    GLboolean known = GL_FALSE;
    if (_zelvar_context_data* context = call.lock("glIsTransformFeedback")) {
        shared_guard group_lock{context};
        auto found = context->data_shared->transform_feedbacks.find(id);
        known = id && found != context->data_shared->transform_feedbacks.end() && found->second.was_bound;
    }
    call.reply(known);
}
