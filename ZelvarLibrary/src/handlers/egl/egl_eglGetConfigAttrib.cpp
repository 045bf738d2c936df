// eglGetConfigAttrib: the application sees a config of the size that it was promised and that can be a
// window, while the host has one that can be a pbuffer.

#include "handlers/egl/egl_common.h"

namespace {
/// Nobody promises OpenGL ES 1.
bool names_client_apis(EGLint attribute)
{
    return attribute == EGL_RENDERABLE_TYPE || attribute == EGL_CONFORMANT;
}

/// The target has answered its application; only what the host can't keep is taken out of the answer.
void mend_target_answer(const egl_handler& call, EGLint attribute, target_ptr value)
{
    EGLint answer = 0;
    if (!names_client_apis(attribute) || !value ||
        !zelvar_shim_dispatch_read_from_shim_address_space(call.pid, call.tid, sizeof(answer), value,
                                                           &answer))
        return;
    call.write_force(value, answer & ~EGL_OPENGL_ES_BIT);
}

/// Where an attribute stands that the target's row knows better than the host; null for all others.
int32_t* config_attributes::*field_of(EGLint attribute)
{
    switch (attribute) {
    case EGL_ALPHA_SIZE:
        return &config_attributes::alpha;
    case EGL_BLUE_SIZE:
        return &config_attributes::blue;
    case EGL_GREEN_SIZE:
        return &config_attributes::green;
    case EGL_RED_SIZE:
        return &config_attributes::red;
    case EGL_DEPTH_SIZE:
        return &config_attributes::depth;
    case EGL_STENCIL_SIZE:
        return &config_attributes::stencil;
    case EGL_SAMPLES:
        return &config_attributes::samples;
    case EGL_CONFIG_ID:
        return &config_attributes::config_id;
    }
    return nullptr;
}

/// Turns the host's value into what the target's config has.
void translate_value(const egl_handler& call, uint64_t dpy, uint64_t config, EGLint attribute, EGLint* value)
{
    if (auto field = field_of(attribute)) {
        config_attributes out;
        out.*field = value;
        zelvar_object_manager_get_config_data(call.pid, call.tid, dpy, config, false, out);
    } else if (names_client_apis(attribute)) {
        *value &= ~EGL_OPENGL_ES_BIT;
    } else if (attribute == EGL_SURFACE_TYPE) {
        if (*value & EGL_PBUFFER_BIT)
            *value |= EGL_WINDOW_BIT;
    } else if (attribute == EGL_NATIVE_VISUAL_ID) {
        *value = zelvar_object_manager_get_target_config_visual_id(call.pid, call.tid, dpy, config);
    }
}

/// What the call reports while the target has no EGL.
EGLBoolean answer(egl_handler& call, uint64_t dpy, uint64_t config, EGLint attribute, target_ptr value)
{
    if (config == config_all_bits_set) {
        LOG_ERROR(
            "Target EGLconfig instance [%16ld] for target-side display [%16ld] is not an EGL configuration ",
            shown(config), shown(dpy));
        call.error = EGL_BAD_CONFIG;
        return EGL_FALSE;
    }
    EGLDisplay host_display = EGL_NO_DISPLAY;
    if (!zelvar_object_manager_get_host_display(call.pid, call.tid, dpy, &host_display)) {
        call.error = EGL_BAD_DISPLAY;
        return EGL_FALSE;
    }
    EGLConfig host_config = nullptr;
    if (!zelvar_object_manager_get_host_config(call.pid, call.tid, dpy, config, &host_config)) {
        call.error = EGL_BAD_CONFIG;
        return EGL_FALSE;
    }
    if (attribute == EGL_COLOR_COMPONENT_TYPE_EXT) {
        call.write_force(value, EGLint{EGL_COLOR_COMPONENT_TYPE_FIXED_EXT});
        return EGL_SUCCESS; // not EGL_TRUE; any value but 0 reads as true
    }
    EGLint host_value = 0;
    auto host = call.host<&egl_table::eglGetConfigAttrib>(host_display, host_config, attribute, &host_value);
    if (!host.result)
        return EGL_FALSE;
    translate_value(call, dpy, config, attribute, &host_value);
    call.write_force(value, host_value);
    return EGL_TRUE;
}
} // namespace

void egl_eglGetConfigAttrib(pid_t pid, tid_t tid, uint64_t dpy, uint64_t config, EGLint attribute,
                            target_ptr value, result_of<EGLBoolean> target_result,
                            egl_target_error target_error)
{
    egl_handler call{"egl_eglGetConfigAttrib", pid, tid, target_error};
    call.trace("dpy", dpy, "config", config, "attribute", attribute, "value", value);
    if (!zelvar_call_on_target())
        call.reply(answer(call, dpy, config, attribute, value));
    else if (target_result.value && target_error.code == EGL_SUCCESS)
        mend_target_answer(call, attribute, value);
}
