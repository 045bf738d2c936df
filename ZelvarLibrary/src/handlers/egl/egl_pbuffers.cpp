// Surfaces without a window.

#include "handlers/egl/egl_common.h"

#include <new>

namespace {
/// The application's list; false, with the reason in `call`, when it can't be had.
bool read_pbuffer_list(egl_handler& call, target_ptr attrib_list, std::vector<EGLint>* list)
{
    try {
        attribute_pairs pairs;
        if (read_attribute_list(call.pid, call.tid, attrib_list, &pairs)) {
            *list = terminated(pairs);
            return true;
        }
        LOG_FATAL("Failed to align egl attribute list on host side.");
        call.error = EGL_BAD_ATTRIBUTE;
    } catch (const std::bad_alloc&) {
        LOG_FATAL("Host-side memory allocation failed.");
        call.error = EGL_BAD_ALLOC;
    }
    return false;
}

/// While the target has no EGL, the id is the address of 8 bytes of its memory; 0 when it has none.
uint64_t new_target_pbuffer(const egl_handler& call)
{
    constexpr uint64_t contents = 0;
    target_ptr block;
    zelvar_shim_dispatch_allocate_memory_block(call.pid, call.tid, sizeof(contents), &block);
    call.write(block, contents);
    return block.address;
}

/// What the call reports.
uint64_t create_pbuffer(egl_handler& call, uint64_t dpy, uint64_t config, target_ptr attrib_list,
                        uint64_t target_result)
{
    EGLDisplay host_display = EGL_NO_DISPLAY;
    EGLConfig host_config = nullptr;
    if (!zelvar_object_manager_get_host_display(call.pid, call.tid, dpy, &host_display)) {
        LOG_FATAL("eglCreatePbufferSurface(): could not map target-side display [%ld].", shown(dpy));
        call.error = EGL_BAD_DISPLAY;
        return 0;
    }
    if (!zelvar_object_manager_get_host_config(call.pid, call.tid, dpy, config, &host_config)) {
        LOG_FATAL("eglCreatePbufferSurface(): could not map target-side config [%ld].", shown(config));
        call.error = EGL_BAD_CONFIG;
        return 0;
    }
    std::vector<EGLint> list;
    if (!read_pbuffer_list(call, attrib_list, &list))
        return 0;
    auto host = call.host<&egl_table::eglCreatePbufferSurface>(
        host_display, host_config, attrib_list ? list.data() : static_cast<const EGLint*>(nullptr));
    if (!host.result)
        return 0;
    uint64_t surface = zelvar_call_on_target() ? target_result : new_target_pbuffer(call);
    if (surface != 0 && zelvar_object_manager_add_surface(call.pid, host.result, surface, surface_pbuffer,
                                                          config, 0, 0, 0, 0))
        return surface;
    LOG_FATAL("Could not add a pbuffer surface to the object manager.");
    host::egl_unchecked<&egl_table::eglDestroySurface>(host_display, host.result);
    call.error = EGL_BAD_ALLOC;
    return 0;
}
} // namespace

void egl_eglCreatePbufferSurface(pid_t pid, tid_t tid, uint64_t dpy, uint64_t config, target_ptr attrib_list,
                                 result_of<uint64_t> target_result, egl_target_error target_error)
{
    egl_handler call{"egl_eglCreatePbufferSurface", pid, tid, target_error};
    call.trace("dpy", dpy, "config", config, "attrib_list", attrib_list);
    call.reply(create_pbuffer(call, dpy, config, attrib_list, target_result.value));
}

void egl_eglCreatePixmapSurface(pid_t pid, tid_t tid, uint64_t dpy, uint64_t config, uint64_t pixmap,
                                target_ptr attrib_list, result_of<uint64_t>, egl_target_error target_error)
{
    egl_handler call{"egl_eglCreatePixmapSurface", pid, tid, target_error};
    call.trace("dpy", dpy, "config", config, "pixmap", pixmap, "attrib_list", attrib_list);
    LOG_WARN("eglCreatePixmapSurface is not supported.");
    call.error = EGL_BAD_MATCH;
    call.reply(uint64_t{0});
}

void egl_eglCreatePbufferFromClientBuffer(pid_t pid, tid_t tid, uint64_t dpy, EGLenum buftype,
                                          uint64_t buffer, uint64_t config, target_ptr attrib_list,
                                          result_of<uint64_t>, egl_target_error target_error)
{
    egl_handler call{"egl_eglCreatePbufferFromClientBuffer", pid, tid, target_error};
    call.trace("dpy", dpy, "buftype", buftype, "buffer", buffer, "config", config, "attrib_list",
               attrib_list);
    LOG_WARN("eglCreatePbufferFromClientBuffer is not supported.");
    call.error = EGL_BAD_ACCESS;
    call.reply(uint64_t{0});
}

void egl_eglBindTexImage(pid_t pid, tid_t tid, uint64_t dpy, uint64_t surface, EGLint buffer,
                         result_of<EGLBoolean>, egl_target_error target_error)
{
    egl_handler call{"egl_eglBindTexImage", pid, tid, target_error};
    call.trace("dpy", dpy, "surface", surface, "buffer", buffer);
    EGLDisplay host_display = EGL_NO_DISPLAY;
    EGLSurface host_surface = EGL_NO_SURFACE;
    EGLBoolean result = EGL_FALSE;
    if (zelvar_object_manager_get_host_display(pid, tid, dpy, &host_display) &&
        zelvar_object_manager_get_host_surface(pid, surface, &host_surface))
        result = call.host<&egl_table::eglBindTexImage>(host_display, host_surface, buffer).result;
    else
        LOG_ERROR("eglBindTexImage(): could not map target-side surface [%ld] of display [%ld].",
                  shown(surface), shown(dpy));
    call.reply(result);
}

void egl_eglReleaseTexImage(pid_t pid, tid_t tid, uint64_t dpy, uint64_t surface, EGLint buffer,
                            result_of<EGLBoolean>, egl_target_error target_error)
{
    egl_handler call{"egl_eglReleaseTexImage", pid, tid, target_error};
    call.trace("dpy", dpy, "surface", surface, "buffer", buffer);
    EGLDisplay host_display = EGL_NO_DISPLAY;
    EGLSurface host_surface = EGL_NO_SURFACE;
    EGLBoolean result = EGL_FALSE;
    if (!zelvar_object_manager_get_host_display(pid, tid, dpy, &host_display))
        call.error = EGL_BAD_DISPLAY;
    else if (!zelvar_object_manager_get_host_surface(pid, surface, &host_surface))
        call.error = EGL_BAD_SURFACE;
    else
        result = call.host<&egl_table::eglReleaseTexImage>(host_display, host_surface, buffer).result;
    call.reply(result);
}
