// The host's own driver. Draws and dispatches that would take for ever are left out, as every driver obeys
// them.

#include "gles_stream_host.h"

#include "hosttables/host_tables.h"
#include "settings/zelvar_settings.h"
#include "zelvar/test_support.h"

#include <cstdlib>
#include <thread>

namespace {
sidechannel_gles_imports driver;

/// Within what a test can wait for.
template <class... N>
bool is_short(N... counts)
{
    constexpr double most = 1e5;
    return (1.0 * ... * counts) < most;
}

void draw_arrays(GLenum mode, GLint first, GLsizei count)
{
    if (is_short(count))
        driver.glDrawArrays(mode, first, count);
}

void draw_arrays_instanced(GLenum mode, GLint first, GLsizei count, GLsizei instances)
{
    if (is_short(count, instances))
        driver.glDrawArraysInstanced(mode, first, count, instances);
}

void draw_elements(GLenum mode, GLsizei count, GLenum type, const void* indices)
{
    if (is_short(count))
        driver.glDrawElements(mode, count, type, indices);
}

void draw_range_elements(GLenum mode, GLuint start, GLuint end, GLsizei count, GLenum type,
                         const void* indices)
{
    if (is_short(count))
        driver.glDrawRangeElements(mode, start, end, count, type, indices);
}

void draw_elements_instanced(GLenum mode, GLsizei count, GLenum type, const void* indices, GLsizei instances)
{
    if (is_short(count, instances))
        driver.glDrawElementsInstanced(mode, count, type, indices, instances);
}

void dispatch(GLuint x, GLuint y, GLuint z)
{
    if (is_short(x, y, z))
        driver.glDispatchCompute(x, y, z);
}
const std::thread::id fuzz_thread = std::this_thread::get_id();
sidechannel_egl_imports driver_egl;

/// The registry asks a context of its own for the vendor each time it starts, on the fuzzer's thread: one is
/// enough for all times.
EGLContext create_context(EGLDisplay display, EGLConfig config, EGLContext share, const EGLint* attributes)
{
    static EGLContext asked = nullptr;
    if (std::this_thread::get_id() != fuzz_thread)
        return driver_egl.eglCreateContext(display, config, share, attributes);
    if (!asked)
        asked = driver_egl.eglCreateContext(display, config, share, attributes);
    return asked;
}

EGLBoolean destroy_context(EGLDisplay display, EGLContext context)
{
    return std::this_thread::get_id() == fuzz_thread || driver_egl.eglDestroyContext(display, context);
}

/// To build a screen or a context up takes longer than all the rest of an input.
const sidechannel_egl_imports& quick_egl()
{
    static sidechannel_egl_imports table = driver_egl = *zelvar_imports_get_egl_ptrs();
    table.eglTerminate = [](EGLDisplay) -> EGLBoolean { return EGL_TRUE; };
    table.eglCreateContext = create_context;
    table.eglDestroyContext = destroy_context;
    return table;
}
} // namespace

void gles_stream_host::install()
{
    setenv("EGL_PLATFORM", "surfaceless", 1);
    setenv("LIBGL_ALWAYS_SOFTWARE", "1", 1);
    setenv("MESA_SHADER_CACHE_DISABLE", "true", 1);
    zelvar_settings.requireKelvoEmulator = false;
    zelvar_imports_init();
    driver = *zelvar_imports_get_gles_ptrs();
    sidechannel_gles_imports table = driver;
    table.glDrawArrays = draw_arrays;
    table.glDrawArraysInstanced = draw_arrays_instanced;
    table.glDrawElements = draw_elements;
    table.glDrawRangeElements = draw_range_elements;
    table.glDrawElementsInstanced = draw_elements_instanced;
    table.glDispatchCompute = dispatch;
    // Their counts stand in buffers, where they aren't seen.
    table.glDrawArraysIndirect = [](GLenum, const void*) {};
    table.glDrawElementsIndirect = [](GLenum, GLenum, const void*) {};
    table.glDispatchComputeIndirect = [](GLintptr) {};
    zelvar_test_support_imports_init(&quick_egl(), &table);
}

void gles_stream_host::begin() {}
