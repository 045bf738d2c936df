#pragma once
// The service context of a process, current on this thread for a while. What was current comes back with the
// end of the scope. Scopes of a thread are not nested: the inner one would check the context in for both.

#include "zelvar_types.h"

#include "wire/api.h"

class service_scope
{
public:
    service_scope(pid_t pid, tid_t tid, EGLDisplay host_display);
    ~service_scope();
    service_scope(const service_scope&) = delete;
    service_scope& operator=(const service_scope&) = delete;

    /// Whether the service context is current; the reason why not has been logged.
    explicit operator bool() const { return _swapped; }
    EGLContext context() const { return _context; }

private:
    pid_t _pid;
    tid_t _tid;
    EGLDisplay _display;
    EGLContext _context = EGL_NO_CONTEXT;
    EGLContext _old_context = EGL_NO_CONTEXT;
    EGLSurface _old_draw = EGL_NO_SURFACE;
    EGLSurface _old_read = EGL_NO_SURFACE;
    bool _swapped = false;
};
