#include "object_manager/service_scope.h"

#include "object_manager/zelvar_object_manager.h"
#include "sidechannel_log.h"

service_scope::service_scope(pid_t pid, tid_t tid, EGLDisplay host_display)
    : _pid(pid), _tid(tid), _display(host_display)
{
    EGLSurface draw = EGL_NO_SURFACE;
    EGLSurface read = EGL_NO_SURFACE;
    if (zelvar_object_manager_checkout_service_host_egl_context(pid, tid, host_display, &draw, &read,
                                                                &_context)) {
        _swapped = zelvar_helpers_swap_host_current_context(host_display, draw, read, _context, &_old_context,
                                                            &_old_draw, &_old_read);
        if (!_swapped)
            zelvar_object_manager_checkin_service_host_egl_context(pid, tid);
    }
    if (!_swapped)
        LOG_FATAL("Failed to switch to service context containing intermediate texture.");
}

service_scope::~service_scope()
{
    if (!_swapped)
        return;
    EGLContext service = EGL_NO_CONTEXT;
    EGLSurface draw = EGL_NO_SURFACE;
    EGLSurface read = EGL_NO_SURFACE;
    if (!zelvar_helpers_swap_host_current_context(_display, _old_draw, _old_read, _old_context, &service,
                                                  &draw, &read))
        LOG_FATAL("Failed to set back current context. Contexts desync ahead.");
    zelvar_object_manager_checkin_service_host_egl_context(_pid, _tid);
}
