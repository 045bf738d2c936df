// eglCreateContext: whatever version the target asks for, the host makes an OpenGL ES 3.1 context unless told
// otherwise, and all contexts of a process share objects through its service context.

#include "handlers/egl/egl_common.h"

namespace {
struct version
{
    EGLint major;
    EGLint minor;
};

/// What is asked for, and what the host is asked for in its place.
struct context_request
{
    version target{2, 0};
    version host{3, 1};
    std::vector<EGLint> host_list;
};

context_request rewrite(const attribute_pairs& pairs)
{
    context_request request;
    attribute_pairs host_pairs;
    for (auto [attribute, value] : pairs) {
        switch (attribute) {
        case EGL_CONTEXT_CLIENT_VERSION:
            request.target.major = value;
            if (value == 2 && setting(zelvar_only_settings.forceHostContext2))
                request.host = {2, 0};
            host_pairs.emplace_back(attribute, request.host.major);
            break;
        case EGL_CONTEXT_MINOR_VERSION_KHR:
            request.target.minor = value;
            break;
        case EGL_CONTEXT_PRIORITY_LEVEL_IMG:
            break;
        default:
            host_pairs.emplace_back(attribute, value);
        }
    }
    host_pairs.emplace_back(EGL_CONTEXT_MINOR_VERSION_KHR, request.host.minor);
    request.host_list = terminated(host_pairs);
    return request;
}

bool version_is_refused(const version& target)
{
    if (target.major != 3 || target.minor != 2)
        return false;
    LOG_WARN("Target side creates OpenGL ES %d.%d context. But host side can't support this version.",
             target.major, target.minor);
    if (setting(zelvar_only_settings.skipTargetGLVersionCheck))
        return false;
    LOG_ERROR("The host does not support the target context. Will return EGL_NO_CONTEXT");
    return true;
}

void check_share_context(pid_t pid, uint64_t share_context)
{
    if (share_context == 0)
        return;
    LOG_DEBUG("On the host side, we are ignoring this, because ALL contexts are one shared context.");
    EGLContext host_context = EGL_NO_CONTEXT;
    if (!zelvar_object_manager_get_host_context(pid, share_context, &host_context))
        LOG_ERROR("Target shared context 0x%lx does not have an associated host context", share_context);
}

/// The host's context, or null with the error in `call`.
EGLContext create_host_context(egl_handler& call, EGLDisplay display, EGLConfig config, const EGLint* list)
{
    EGLSurface draw = EGL_NO_SURFACE;
    EGLSurface read = EGL_NO_SURFACE;
    EGLContext service_context = EGL_NO_CONTEXT;
    if (!zelvar_object_manager_checkout_service_host_egl_context(call.pid, call.tid, display, &draw, &read,
                                                                 &service_context)) {
        call.error = EGL_NOT_INITIALIZED; // a process has it from eglInitialize on
        return EGL_NO_CONTEXT;
    }
    auto created = call.host<&egl_table::eglCreateContext>(display, config, service_context, list);
    zelvar_object_manager_checkin_service_host_egl_context(call.pid, call.tid);
    return created.result;
}

bool register_context(egl_handler& call, EGLDisplay display, EGLContext host_context, uint64_t context,
                      uint64_t share_context, const context_request& request)
{
    const auto& [target, host, list] = request;
    if (!zelvar_object_manager_add_context(call.pid, call.tid, host_context, display, context, share_context,
                                           target.major, target.minor, host.major, host.minor)) {
        LOG_FATAL("Could not add context [%16ld] to the object manager.", shown(context));
        host::egl_unchecked<&egl_table::eglDestroyContext>(display, host_context);
        call.error = EGL_BAD_ALLOC;
        return false;
    }
    if (target.major != host.major)
        LOG_WARN("Target side creates OpenGL ES %d.%d context. But host side forces to create %d.%d context "
                 "instead.",
                 target.major, target.minor, host.major, host.minor);
    if (!zelvar_object_manager_bind_context_to_thread(call.pid, context, call.tid, 0, 0, true))
        LOG_FATAL(
            "Could not bind newly created context to caller's pid/tid pair. GL calls will work correctly on "
            "zelvar end!");
    return true;
}

/// What the call reports.
uint64_t create_context(egl_handler& call, uint64_t dpy, uint64_t config, uint64_t share_context,
                        target_ptr attrib_list, uint64_t target_result)
{
    uint64_t context =
        zelvar_call_on_target() ? target_result : zelvar_object_manager_generate_target_context();
    if (config == config_all_bits_set) {
        LOG_ERROR("Target EGLconfig instance [%16ld] is not an EGL configuration.", shown(config));
        return EGL_BAD_CONFIG; // in the context's place, without an error
    }
    EGLDisplay host_display = EGL_NO_DISPLAY;
    EGLConfig host_config = nullptr;
    if (!zelvar_object_manager_get_host_display(call.pid, call.tid, dpy, &host_display)) {
        LOG_FATAL("eglCreateContext(): could not map target-side display [%ld].", shown(dpy));
        return context;
    }
    if (!zelvar_object_manager_get_host_config(call.pid, call.tid, dpy, config, &host_config)) {
        LOG_FATAL("eglCreateContext(): could not map target-side config [%ld].", shown(config));
        return context;
    }
    attribute_pairs pairs;
    if (!read_attribute_list(call.pid, call.tid, attrib_list, &pairs)) {
        LOG_FATAL("Could not retrieve host-side attribute list from address [%16ld]",
                  shown(attrib_list.address));
        return context;
    }
    context_request request = rewrite(pairs);
    if (version_is_refused(request.target))
        return 0;
    check_share_context(call.pid, share_context);
    EGLContext host_context = create_host_context(call, host_display, host_config, request.host_list.data());
    if (!host_context) {
        LOG_ERROR("Host-side eglCreateContext() call failed - EGL error code=[%d] context reported=[%16ld]",
                  static_cast<int>(call.error), shown(number_of(host_context)));
        return 0;
    }
    return register_context(call, host_display, host_context, context, share_context, request) ? context : 0;
}
} // namespace

void egl_eglCreateContext(pid_t pid, tid_t tid, uint64_t dpy, uint64_t config, uint64_t share_context,
                          target_ptr attrib_list, result_of<uint64_t> target_result,
                          egl_target_error target_error)
{
    egl_handler call{"egl_eglCreateContext", pid, tid, target_error};
    call.trace("dpy", dpy, "config", config, "share_context", share_context, "attrib_list", attrib_list);
    call.reply(create_context(call, dpy, config, share_context, attrib_list, target_result.value));
}
