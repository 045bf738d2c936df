// Entry points of EGL 1.5 that no message was made for: each is another spelling of one that has a message.

#include "shim/call.h"
#include "shim/egl_support.h"
#include "shim/exports.h"
#include "shim/proc_address.h"

#include <vector>

namespace {

namespace in = wire::inbound;

/// The list with elements of 32 bits, as the older spelling takes it. Null stays null.
class narrow_list
{
public:
    explicit narrow_list(const EGLAttrib* wide)
    {
        if (!wide)
            return;
        for (; *wide != EGL_NONE; wide += 2) {
            values_.push_back(static_cast<EGLint>(wide[0]));
            values_.push_back(static_cast<EGLint>(wide[1]));
        }
        values_.push_back(EGL_NONE);
    }
    const EGLint* get() const { return values_.empty() ? nullptr : values_.data(); }

private:
    std::vector<EGLint> values_;
};

} // namespace

extern "C" {

SHIM_EXPORT EGLDisplay SHIM_NAME(eglGetPlatformDisplay)(EGLenum platform, void* native, const EGLAttrib*)
{
    const EGLDisplay display = shim::get_display(nullptr);
    if (display)
        shim::note_platform_display(display, platform, native);
    return display;
}

SHIM_EXPORT EGLSurface SHIM_NAME(eglCreatePlatformWindowSurface)(EGLDisplay display, EGLConfig config,
                                                                 void* window, const EGLAttrib* attributes)
{
    const narrow_list list{attributes};
    const auto handle = static_cast<uintptr_t>(shim::platform_window_handle(display, window));
    return SHIM_NAME(eglCreateWindowSurface)(display, config, (EGLNativeWindowType)handle, list.get());
}

SHIM_EXPORT EGLSurface SHIM_NAME(eglCreatePlatformPixmapSurface)(EGLDisplay display, EGLConfig config,
                                                                 void* pixmap, const EGLAttrib* attributes)
{
    const narrow_list list{attributes};
    const auto handle = reinterpret_cast<uintptr_t>(pixmap);
    return SHIM_NAME(eglCreatePixmapSurface)(display, config, (EGLNativePixmapType)handle, list.get());
}

SHIM_EXPORT EGLSync SHIM_NAME(eglCreateSync)(EGLDisplay display, EGLenum type, const EGLAttrib* attributes)
{
    const narrow_list list{attributes};
    return SHIM_NAME(eglCreateSyncKHR)(display, type, list.get());
}

SHIM_EXPORT EGLBoolean SHIM_NAME(eglDestroySync)(EGLDisplay display, EGLSync sync)
{
    return SHIM_NAME(eglDestroySyncKHR)(display, sync);
}

SHIM_EXPORT EGLint SHIM_NAME(eglClientWaitSync)(EGLDisplay display, EGLSync sync, EGLint flags,
                                                EGLTime timeout)
{
    return SHIM_NAME(eglClientWaitSyncKHR)(display, sync, flags, timeout);
}

SHIM_EXPORT EGLBoolean SHIM_NAME(eglGetSyncAttrib)(EGLDisplay display, EGLSync sync, EGLint attribute,
                                                   EGLAttrib* value)
{
    EGLint narrow = 0;
    const EGLBoolean result =
        SHIM_NAME(eglGetSyncAttribKHR)(display, sync, attribute, value ? &narrow : nullptr);
    if (result && value)
        *value = narrow;
    return result;
}

SHIM_EXPORT EGLBoolean SHIM_NAME(eglWaitSync)(EGLDisplay display, EGLSync sync, EGLint flags)
{
    return static_cast<EGLBoolean>(SHIM_NAME(eglWaitSyncKHR)(display, sync, flags));
}

SHIM_EXPORT EGLImage SHIM_NAME(eglCreateImage)(EGLDisplay display, EGLContext context, EGLenum target,
                                               EGLClientBuffer buffer, const EGLAttrib* attributes)
{
    const narrow_list list{attributes};
    return SHIM_NAME(eglCreateImageKHR)(display, context, target, buffer, list.get());
}

SHIM_EXPORT EGLBoolean SHIM_NAME(eglDestroyImage)(EGLDisplay display, EGLImage image)
{
    return SHIM_NAME(eglDestroyImageKHR)(display, image);
}

} // extern "C"

namespace shim {

#define NAMED(function)                                                                                      \
    {                                                                                                        \
#function, reinterpret_cast < entry_point>(&SHIM_NAME(function))                                     \
    }
const named_entry_point egl15_entry_points[] = {
    NAMED(eglGetPlatformDisplay),
    NAMED(eglCreatePlatformWindowSurface),
    NAMED(eglCreatePlatformPixmapSurface),
    NAMED(eglCreateSync),
    NAMED(eglDestroySync),
    NAMED(eglClientWaitSync),
    NAMED(eglGetSyncAttrib),
    NAMED(eglWaitSync),
    NAMED(eglCreateImage),
    NAMED(eglDestroyImage),
    {nullptr, nullptr},
};
#undef NAMED

} // namespace shim
