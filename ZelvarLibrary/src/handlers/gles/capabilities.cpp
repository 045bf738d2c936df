// glEnable and glDisable, guided by the model: what already holds is not asked of the host, and a buffer that
// the target's surface doesn't have is never tested, though the host's may have one.

#include "handlers/gles/gles_handlers.h"
#include "handlers/handler.h"

using gles_table = sidechannel_gles_imports;

namespace {
enum class wanted : bool
{
    disabled,
    enabled,
};

/// Depth and stencil sizes of the config of the thread's bound draw surface; false when there is none.
bool bound_surface_sizes(const gles_handler& call, int32_t* depth, int32_t* stencil)
{
    uint64_t draw = 0;
    uint64_t read = 0;
    uint64_t config = 0;
    uint64_t display = 0;
    EGLDisplay host_display = EGL_NO_DISPLAY;
    return zelvar_object_manager_get_bound_target_surfaces(call.pid, call.tid, &draw, &read) &&
           zelvar_object_manager_get_surface_config(call.pid, draw, &config) &&
           zelvar_object_manager_get_display(call.pid, 0, &host_display, &display) &&
           zelvar_object_manager_get_config_data(call.pid, call.tid, display, config, false,
                                                 {.depth = depth, .stencil = stencil});
}

/// Whether the target's surface lacks the buffer that `cap` tests.
bool surface_lacks_buffer(const gles_handler& call, GLenum cap, const char* function)
{
    if (cap != GL_DEPTH_TEST && cap != GL_STENCIL_TEST)
        return false;
    int32_t depth = 0;
    int32_t stencil = 0;
    if (!bound_surface_sizes(call, &depth, &stencil))
        return false;
    if (cap == GL_DEPTH_TEST && depth == 0) {
        LOG_DEBUG(
            "Target side EGLConfig has no depth size, but %sd(GL_DEPTH_TEST) is called on target side.The "
            "host side will ignore the call of %sd(GL_DEPTH_TEST), but this potentially maycause some "
            "unexpected behaviors.",
            function, function);
        return true;
    }
    if (cap == GL_STENCIL_TEST && stencil == 0) {
        LOG_DEBUG(
            "Target side EGLConfig has no stencil size, but %sd(GL_STENCIL_TEST) is called on target "
            "side.The host side will ignore the call of %sd(GL_STENCIL_TEST), but this potentially maycause "
            "some unexpected behaviors.",
            function, function);
        return true;
    }
    return false;
}

template <auto Field>
void switch_capability(gles_handler& call, GLenum cap, wanted state, const char* function)
{
    call.trace("cap", cap);
    _zelvar_context_data* context = call.lock(function);
    if (!context)
        return;
    bool enabled = state == wanted::enabled;
    bool known = zelvar_data_model_is_cap_valid(cap);
    if (known && zelvar_data_model_is_rendering_mode_enabled(context, cap) == enabled) {
        if (enabled)
            LOG_DEBUG("%d is already enabled, host side won't be executed.", cap);
        else
            LOG_DEBUG("%d is already disabled, host side won't be executed.", cap);
        return;
    }
    if (surface_lacks_buffer(call, cap, function))
        return;
    if (call.host<Field>(cap).ok() && known)
        zelvar_data_model_update_rendering_mode_status(context, cap, enabled);
}
} // namespace

void gles20_glEnable(pid_t pid, tid_t tid, GLenum cap, gles_target_error target_error)
{
    gles_handler call{"gles20_glEnable", pid, tid, target_error};
    switch_capability<&gles_table::glEnable>(call, cap, wanted::enabled, "glEnable");
}

void gles20_glDisable(pid_t pid, tid_t tid, GLenum cap, gles_target_error target_error)
{
    gles_handler call{"gles20_glDisable", pid, tid, target_error};
    switch_capability<&gles_table::glDisable>(call, cap, wanted::disabled, "glDisable");
}

void gles20_glIsEnabled(pid_t pid, tid_t tid, GLenum cap, result_of<GLboolean>,
                        gles_target_error target_error)
{
    gles_handler call{"gles20_glIsEnabled", pid, tid, target_error};
    call.trace("cap", cap);
    GLboolean enabled = GL_FALSE;
    if (_zelvar_context_data* context = call.lock("glIsEnabled")) {
        enabled = call.host<&gles_table::glIsEnabled>(cap).result;
        // The default of dithering lives in the model.
        if (cap == GL_DITHER)
            enabled = zelvar_data_model_is_rendering_mode_enabled(context, cap);
    }
    call.reply(enabled);
}
