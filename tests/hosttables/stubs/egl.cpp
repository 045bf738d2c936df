// A libEGL.so for tests of the loader: the fake driver behind `eglGetProcAddress`. Names in the environment
// variable STUB_HOST_LACKS (separated by commas) are unknown to it.

#include "support/fake_driver.h"

#include <cstdlib>
#include <cstring>
#include <string>

namespace {
bool is_lacking(const char* name)
{
    const char* list = std::getenv("STUB_HOST_LACKS");
    return list && ("," + std::string(list) + ",").find("," + std::string(name) + ",") != std::string::npos;
}

void* find(const char* name)
{
#define ZELVAR_HOST_EGL(function)                                                                            \
    if (!std::strcmp(name, #function))                                                                       \
        return reinterpret_cast<void*>(fake_driver::egl().function);
#include "hosttables/egl.inc"
#undef ZELVAR_HOST_EGL
#define ZELVAR_MESSAGE(id, snake, group, function)                                                           \
    if (!std::strcmp(name, #function))                                                                       \
        return reinterpret_cast<void*>(fake_driver::gles().function);
#include "wire/messages_gles.inc"
#undef ZELVAR_MESSAGE
    return nullptr;
}
} // namespace

extern "C" {
__eglMustCastToProperFunctionPointerType eglGetProcAddress(const char* name)
{
    // As with a real driver, what the library exports itself is no extension.
    if (is_lacking(name) || !std::strncmp(name, "wl_egl_", 7) || !std::strcmp(name, "eglGetProcAddress"))
        return nullptr;
    return reinterpret_cast<__eglMustCastToProperFunctionPointerType>(find(name));
}

wl_egl_window* wl_egl_window_create(wl_surface*, int, int)
{
    return nullptr;
}

void wl_egl_window_destroy(wl_egl_window*) {}
}
