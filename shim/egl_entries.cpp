// The EGL entry points that have a message of their own.

#include "shim/call.h"
#include "shim/configs.h"
#include "shim/egl_support.h"
#include "shim/exports.h"
#include "shim/hardware_buffers.h"
#include "shim/late_frames.h"
#include "shim/proc_address.h"
#include "shim/sync_objects.h"
#include "shim/windows.h"
#include "shim/x_windows.h"

#include <algorithm>
#include <vector>

namespace shim {

namespace in = wire::inbound;

namespace {

/// A native window as a number; some platforms' headers have pointers for windows.
template <class T>
uint64_t native_handle(T window)
{
    if constexpr (std::is_pointer_v<T>)
        return reinterpret_cast<uintptr_t>(window);
    else
        return static_cast<uint64_t>(window);
}

} // namespace

template <>
struct entry<in::egl_get_display, decltype(eglGetDisplay)>
{
    static EGLDisplay call(EGLNativeDisplayType native)
    {
        void* const xlib = reinterpret_cast<void*>(native);
        return get_display(is_xlib_display(xlib) ? xlib : nullptr);
    }
};

template <>
struct entry<in::egl_get_error, decltype(eglGetError)>
{
    static EGLint call()
    {
        const auto error = send_message<in::egl_get_error, EGLint>();
        // No answer at all: there is no device.
        return error ? error : EGL_NOT_INITIALIZED;
    }
};

template <>
struct entry<in::egl_get_proc_address, decltype(eglGetProcAddress)>
{
    static __eglMustCastToProperFunctionPointerType call(const char* name)
    {
        return name ? find_entry_point(name) : nullptr;
    }
};

template <>
struct entry<in::egl_query_string, decltype(eglQueryString)>
{
    static const char* call(EGLDisplay display, EGLint name)
    {
        const auto* text = send_message<in::egl_query_string, const char*>(display, name);
        return name == EGL_EXTENSIONS && display ? with_android_extensions(text) : text;
    }
};

template <>
struct entry<in::egl_get_config_attrib, decltype(eglGetConfigAttrib)>
{
    static EGLBoolean call(EGLDisplay display, EGLConfig config, EGLint attribute, EGLint* value)
    {
        const auto result = send_message<in::egl_get_config_attrib, EGLBoolean>(display, known_config(config),
                                                                                attribute, value);
        if (!result || !value)
            return result;
        // The library knows no window systems but that of phones, so the visual is ours to tell.
        const uint32_t visual = attribute == EGL_NATIVE_VISUAL_ID ? window_visual() : 0;
        if (visual)
            *value = static_cast<EGLint>(visual);
        if (is_twin_config(config))
            *value = twin_attribute(attribute, *value);
        return result;
    }
};

namespace {

/// The two calls that list configs: `ask` fills an array, as the library would. Clients of a window server
/// get the twin as well.
template <class Ask>
EGLBoolean list_configs(const Ask& ask, EGLDisplay display, EGLConfig* configs, EGLint size, EGLint* count)
{
    const auto attribute_of = [display](EGLConfig config, EGLint attribute) {
        EGLint value = 0;
        send_message<in::egl_get_config_attrib, EGLBoolean>(display, config, attribute, &value);
        return value;
    };
    if (!count || size < 0)
        return ask(configs, size, count);
    EGLint known = 0;
    if (!ask(nullptr, 0, &known))
        return EGL_FALSE;
    std::vector<EGLConfig> all(static_cast<size_t>(std::max(known, 0)));
    if (!all.empty() && !ask(all.data(), known, &known))
        return EGL_FALSE;
    add_twin_config(all, attribute_of);
    *count = static_cast<EGLint>(all.size());
    if (configs) {
        *count = std::min(*count, size);
        std::copy_n(all.begin(), *count, configs);
    }
    return EGL_TRUE;
}

} // namespace

template <>
struct entry<in::egl_choose_config, decltype(eglChooseConfig)>
{
    static EGLBoolean call(EGLDisplay display, const EGLint* wishes, EGLConfig* configs, EGLint size,
                           EGLint* count)
    {
        const auto ask = [display, wishes](EGLConfig* into, EGLint most, EGLint* found) {
            return send_message<in::egl_choose_config, EGLBoolean>(display, wishes, into, most, found);
        };
        return window_visual() && twin_may_serve(wishes) ? list_configs(ask, display, configs, size, count)
                                                         : ask(configs, size, count);
    }
};

template <>
struct entry<in::egl_get_configs, decltype(eglGetConfigs)>
{
    static EGLBoolean call(EGLDisplay display, EGLConfig* configs, EGLint size, EGLint* count)
    {
        const auto ask = [display](EGLConfig* into, EGLint most, EGLint* found) {
            return send_message<in::egl_get_configs, EGLBoolean>(display, into, most, found);
        };
        return window_visual() ? list_configs(ask, display, configs, size, count) : ask(configs, size, count);
    }
};

template <>
struct entry<in::egl_create_context, decltype(eglCreateContext)>
{
    static EGLContext call(EGLDisplay display, EGLConfig config, EGLContext share, const EGLint* attributes)
    {
        const auto context = send_message<in::egl_create_context, EGLContext>(display, known_config(config),
                                                                              share, attributes);
        if (context)
            note_context(context, share);
        return context;
    }
};

template <>
struct entry<in::egl_create_pbuffer_surface, decltype(eglCreatePbufferSurface)>
{
    static EGLSurface call(EGLDisplay display, EGLConfig config, const EGLint* attributes)
    {
        const auto surface = send_message<in::egl_create_pbuffer_surface, EGLSurface>(
            display, known_config(config), attributes);
        note_surface_config(surface, config);
        return surface;
    }
};

template <>
struct entry<in::egl_create_pixmap_surface, decltype(eglCreatePixmapSurface)>
{
    static EGLSurface call(EGLDisplay display, EGLConfig config, EGLNativePixmapType pixmap,
                           const EGLint* attributes)
    {
        const auto surface = send_message<in::egl_create_pixmap_surface, EGLSurface>(
            display, known_config(config), pixmap, attributes);
        note_surface_config(surface, config);
        return surface;
    }
};

template <>
struct entry<in::egl_create_window_surface, decltype(eglCreateWindowSurface)>
{
    static EGLSurface call(EGLDisplay display, EGLConfig config, EGLNativeWindowType window,
                           const EGLint* attributes)
    {
        settle_x_display(x_display_of(display));
        const auto surface = send_message<in::egl_create_window_surface, EGLSurface>(
            display, known_config(config), window, attributes);
        note_surface_config(surface, config);
        if (surface)
            add_window_surface(surface, native_handle(window));
        return surface;
    }
};

template <>
struct entry<in::egl_get_platform_display_ext, decltype(eglGetPlatformDisplayEXT)>
{
    static EGLDisplay call(EGLenum platform, void* native, const EGLint* attributes)
    {
        const auto display =
            send_message<in::egl_get_platform_display_ext, EGLDisplay>(platform, native, attributes);
        if (display)
            note_platform_display(display, platform, native);
        return display;
    }
};

template <>
struct entry<in::egl_create_platform_window_surface_ext, decltype(eglCreatePlatformWindowSurfaceEXT)>
{
    static EGLSurface call(EGLDisplay display, EGLConfig config, void* window, const EGLint* attributes)
    {
        settle_x_display(x_display_of(display));
        const uint64_t handle = platform_window_handle(display, window);
        const auto surface =
            send_message<in::egl_create_platform_window_surface_ext, EGLSurface, EGLDisplay, EGLConfig,
                         uint64_t>(display, known_config(config), handle, attributes);
        note_surface_config(surface, config);
        if (surface)
            add_window_surface(surface, handle);
        return surface;
    }
};

template <>
struct entry<in::egl_destroy_surface, decltype(eglDestroySurface)>
{
    static EGLBoolean call(EGLDisplay display, EGLSurface surface)
    {
        const auto result = send_message<in::egl_destroy_surface, EGLBoolean>(display, surface);
        if (result) {
            remove_window_surface(surface);
            forget_surface_config(surface);
        }
        return result;
    }
};

template <>
struct entry<in::egl_destroy_context, decltype(eglDestroyContext)>
{
    static EGLBoolean call(EGLDisplay display, EGLContext context)
    {
        const auto result = send_message<in::egl_destroy_context, EGLBoolean>(display, context);
        if (result)
            forget_vertex_state(context);
        return result;
    }
};

template <>
struct entry<in::egl_make_current, decltype(eglMakeCurrent)>
{
    static EGLBoolean call(EGLDisplay display, EGLSurface draw, EGLSurface read, EGLContext context)
    {
        const auto result = send_message<in::egl_make_current, EGLBoolean>(display, draw, read, context);
        thread_state* self = result ? this_thread() : nullptr;
        if (self) {
            self->current = {display, draw, read, context, is_twin_surface(draw)};
            self->vertices = context ? vertex_state_of(context) : nullptr;
        }
        return result;
    }
};

template <>
struct entry<in::egl_release_thread, decltype(eglReleaseThread)>
{
    static EGLBoolean call()
    {
        const auto result = send_message<in::egl_release_thread, EGLBoolean>();
        thread_state* self = result ? this_thread() : nullptr;
        if (self) {
            self->current = {};
            self->vertices = nullptr;
        }
        return result;
    }
};

namespace {

/// The library reads and writes frames with the size that it asked for last, and asks only after something
/// has been made current. Another surface or a new size of the window therefore needs that again.
void have_size_asked_again(const current_objects& current)
{
    if (current.context)
        send_message<in::egl_make_current, EGLBoolean>(current.display, current.draw, current.read,
                                                       current.context);
}

/// Names the surface that is being swapped to the services.
struct swap_scope
{
    swap_scope(thread_state& thread, EGLSurface surface) : self{thread} { self.swapping = surface; }
    ~swap_scope() { self.swapping = nullptr; }
    thread_state& self;
};

} // namespace

template <>
struct entry<in::egl_swap_buffers, decltype(eglSwapBuffers)>
{
    static EGLBoolean call(EGLDisplay display, EGLSurface surface)
    {
        thread_state* self = this_thread();
        if (!self)
            return EGL_FALSE;
        const frame_buffer frame = frame_buffer_for_swap(surface);
        const swap_scope scope{*self, surface};
        if (frame.address && told_frame_size() != window_size{} && told_frame_size() != frame.size)
            have_size_asked_again(self->current);
        constexpr uint64_t format = 0;
        constexpr uint64_t attributes = 0;
        constexpr uint32_t bits_per_pixel = 32;
        if (!build_message<in::egl_swap_buffers, EGLBoolean>(
                *self, nullptr, display, surface, frame.address, frame.length, format, attributes,
                bits_per_pixel, frame.size.height, frame.size.width, frame.stride))
            return EGL_FALSE;
        const pause_before_showing pause;
        const std::optional<return_value> answer = self->messages.send_swap(surface);
        if (!answer) {
            pause.take();
            show_arrived_frames(); // the one before this
            return EGL_TRUE;
        }
        const auto result = result_of<EGLBoolean>(*answer);
        if (frame.address)
            frame_swapped(surface, result == EGL_TRUE);
        return result;
    }
};

template <>
struct entry<in::egl_client_wait_sync_khr, decltype(eglClientWaitSyncKHR)>
{
    static EGLint call(EGLDisplay display, EGLSyncKHR sync, EGLint flags, EGLTimeKHR timeout)
    {
        // Not inside the call's own conversation, or no other thread could signal.
        const auto id = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(sync));
        uint64_t must_wait = 0;
        const uint64_t seen = sync_object_signals(id);
        const auto at_once =
            send_message<in::egl_client_wait_sync_khr, EGLint>(display, sync, flags, timeout, &must_wait);
        if (!must_wait)
            return at_once;
        const bool woken = wait_for_sync_object(id, seen, timeout);
        constexpr uint64_t* after_the_wait = nullptr;
        const auto answer =
            send_message<in::egl_client_wait_sync_khr, EGLint>(display, sync, flags, timeout, after_the_wait);
        return woken ? answer : EGL_TIMEOUT_EXPIRED_KHR;
    }
};

#define ZELVAR_MESSAGE(id, name, group, function) using entry_##id = entry<id, decltype(::function)>;
#include "wire/messages_egl.inc"
#undef ZELVAR_MESSAGE

} // namespace shim

// The entry points of Wayland's windows and of the buffer manager belong to other libraries: the libraries in
// front of applications keep these names to themselves.
#define ZELVAR_MESSAGE(id, name, group, function) SHIM_EXPORT_AS(function, shim::entry_##id::call)
#include "wire/messages_egl.inc"
#undef ZELVAR_MESSAGE

namespace shim {

const named_entry_point egl_entry_points[] = {
#define ZELVAR_MESSAGE(id, name, group, function)                                                            \
    {#function, reinterpret_cast<entry_point>(&entry_##id::call)},
#include "wire/messages_egl.inc"
#undef ZELVAR_MESSAGE
    {nullptr, nullptr},
};

} // namespace shim
