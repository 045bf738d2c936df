#include "shim/egl_support.h"

#include "shim/call.h"
#include "shim/process_lock.h"
#include "shim/x_windows.h"

#include <map>

namespace shim {

namespace {

struct x_client
{
    void* xlib_display = nullptr; // null for a display of libxcb
};

// Guarded by clients_lock; never destroyed.
process_lock& clients_lock = *new process_lock;
std::map<EGLDisplay, x_client>& clients = *new std::map<EGLDisplay, x_client>;

void become_x_client(EGLDisplay display, void* xlib_display)
{
    use_window_server(open_x_server(xlib_display));
    const std::lock_guard<process_lock> guard{clients_lock};
    clients[display] = {xlib_display};
}

} // namespace

EGLDisplay get_display(void* xlib_display)
{
    // The library has one display, and takes any other id for a mistake.
    const auto display = send_message<wire::inbound::egl_get_display, EGLDisplay>(EGL_DEFAULT_DISPLAY);
    if (display && xlib_display)
        become_x_client(display, xlib_display);
    return display;
}

void note_platform_display(EGLDisplay display, EGLenum platform, void* native)
{
    if (platform == EGL_PLATFORM_X11_KHR)
        become_x_client(display, native);
    else if (platform == EGL_PLATFORM_XCB_EXT)
        become_x_client(display, nullptr);
}

void* x_display_of(EGLDisplay display)
{
    const std::lock_guard<process_lock> guard{clients_lock};
    const auto found = clients.find(display);
    return found == clients.end() ? nullptr : found->second.xlib_display;
}

uint64_t platform_window_handle(EGLDisplay display, void* window)
{
    const std::lock_guard<process_lock> guard{clients_lock};
    const auto found = clients.find(display);
    if (found == clients.end() || !window)
        return reinterpret_cast<uintptr_t>(window);
    if (found->second.xlib_display)
        return *static_cast<const unsigned long*>(window);
    return *static_cast<const uint32_t*>(window);
}

} // namespace shim
