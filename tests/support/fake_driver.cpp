#include "support/fake_driver.h"

#include "hosttables/table_slots.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <iterator>
#include <string>

namespace fake_driver {
const config configs[4] = {
    {1, 8, 8, 8, 8, 24, 8, 0, EGL_PBUFFER_BIT | EGL_WINDOW_BIT},
    {2, 8, 8, 8, 0, 24, 8, 0, EGL_PBUFFER_BIT | EGL_WINDOW_BIT | EGL_PIXMAP_BIT},
    {3, 8, 8, 8, 8, 24, 8, 4, EGL_PBUFFER_BIT},
    {4, 8, 8, 8, 8, 24, 8, 0, EGL_PBUFFER_BIT},
};

namespace {
// Any function that has no behaviour of its own below: EGL says yes, OpenGL ES says nothing; names are made
// up where a caller asks for some.
std::atomic<unsigned> last_name{0};

template <auto Field, class F = decltype(Field)>
struct plain;
template <auto Field, class Table, class R, class... P>
struct plain<Field, R (*Table::*)(P...)>
{
    static R call([[maybe_unused]] P... arguments)
    {
        if constexpr (std::is_same_v<R(P...), void(GLsizei, GLuint*)>)
            generate(arguments...);
        else if constexpr (std::is_same_v<Table, sidechannel_egl_imports> && std::is_same_v<R, EGLBoolean>)
            return EGL_TRUE;
        else if constexpr (!std::is_void_v<R>)
            return R{};
    }

    static void generate(GLsizei count, GLuint* names)
    {
        for (GLsizei i = 0; i < count; i++)
            names[i] = ++last_name;
    }
};

template <class Handle>
Handle new_handle(uintptr_t kind)
{
    return reinterpret_cast<Handle>(kind + ++last_name);
}

thread_local EGLContext current_context;
thread_local EGLSurface current_draw;
thread_local EGLSurface current_read;

EGLint no_egl_error()
{
    return EGL_SUCCESS;
}

EGLDisplay get_display(EGLNativeDisplayType)
{
    return reinterpret_cast<EGLDisplay>(uintptr_t{0xd15});
}

EGLBoolean initialize(EGLDisplay, EGLint* major, EGLint* minor)
{
    if (major)
        *major = 1;
    if (minor)
        *minor = 5;
    return EGL_TRUE;
}

const char* query_string(EGLDisplay, EGLint name)
{
    switch (name) {
    case EGL_VENDOR:
        return egl_vendor;
    case EGL_VERSION:
        return "1.5";
    case EGL_CLIENT_APIS:
        return "OpenGL_ES";
    case EGL_EXTENSIONS:
        return egl_extensions;
    }
    return nullptr;
}

EGLBoolean get_configs(EGLDisplay, EGLConfig* out, EGLint size, EGLint* count)
{
    auto all = static_cast<EGLint>(std::size(configs));
    *count = out ? std::clamp(size, 0, all) : all;
    for (EGLint i = 0; out && i < *count; i++)
        out[i] = reinterpret_cast<EGLConfig>(static_cast<uintptr_t>(configs[i].id));
    return EGL_TRUE;
}

EGLBoolean choose_config(EGLDisplay display, const EGLint*, EGLConfig* out, EGLint size, EGLint* count)
{
    return get_configs(display, out, size, count);
}

EGLBoolean get_config_attrib(EGLDisplay, EGLConfig handle, EGLint attribute, EGLint* value)
{
    auto id = static_cast<EGLint>(reinterpret_cast<uintptr_t>(handle));
    auto found = std::find_if(std::begin(configs), std::end(configs), [id](auto& c) { return c.id == id; });
    if (found == std::end(configs))
        return EGL_FALSE;
    switch (attribute) {
    case EGL_ALPHA_SIZE:
        return *value = found->alpha, EGL_TRUE;
    case EGL_BLUE_SIZE:
        return *value = found->blue, EGL_TRUE;
    case EGL_CONFIG_ID:
        return *value = found->id, EGL_TRUE;
    case EGL_CONFIG_CAVEAT:
        return *value = EGL_NONE, EGL_TRUE;
    case EGL_DEPTH_SIZE:
        return *value = found->depth, EGL_TRUE;
    case EGL_GREEN_SIZE:
        return *value = found->green, EGL_TRUE;
    case EGL_RED_SIZE:
        return *value = found->red, EGL_TRUE;
    case EGL_SAMPLES:
        return *value = found->samples, EGL_TRUE;
    case EGL_STENCIL_SIZE:
        return *value = found->stencil, EGL_TRUE;
    case EGL_SURFACE_TYPE:
        return *value = found->surface_type, EGL_TRUE;
    case EGL_RENDERABLE_TYPE:
    case EGL_CONFORMANT:
        return *value = EGL_OPENGL_ES_BIT | EGL_OPENGL_ES2_BIT | EGL_OPENGL_ES3_BIT, EGL_TRUE;
    }
    *value = 0;
    return EGL_TRUE;
}

EGLContext create_context(EGLDisplay, EGLConfig, EGLContext, const EGLint*)
{
    return new_handle<EGLContext>(0xc0000000);
}

EGLSurface create_pbuffer_surface(EGLDisplay, EGLConfig, const EGLint*)
{
    return new_handle<EGLSurface>(0x50000000);
}

EGLImageKHR create_image(EGLDisplay, EGLContext, EGLenum, EGLClientBuffer, const EGLint*)
{
    return new_handle<EGLImageKHR>(0x10000000);
}

EGLSyncKHR create_sync(EGLDisplay, EGLenum, const EGLint*)
{
    return new_handle<EGLSyncKHR>(0x60000000);
}

EGLint client_wait_sync(EGLDisplay, EGLSyncKHR, EGLint, EGLTimeKHR)
{
    return EGL_CONDITION_SATISFIED_KHR;
}

EGLenum query_api()
{
    return EGL_OPENGL_ES_API;
}

EGLBoolean make_current(EGLDisplay, EGLSurface draw, EGLSurface read, EGLContext context)
{
    current_context = context;
    current_draw = draw;
    current_read = read;
    return EGL_TRUE;
}

EGLBoolean release_thread()
{
    return make_current(nullptr, nullptr, nullptr, nullptr);
}

EGLContext get_current_context()
{
    return current_context;
}

EGLSurface get_current_surface(EGLint which)
{
    return which == EGL_DRAW ? current_draw : current_read;
}

EGLDisplay get_current_display()
{
    return current_context ? get_display(nullptr) : nullptr;
}

EGLBoolean query_surface(EGLDisplay, EGLSurface, EGLint, EGLint* value)
{
    *value = 16; // width and height of the smallest surface that the library makes
    return EGL_TRUE;
}

EGLBoolean query_context(EGLDisplay, EGLContext, EGLint attribute, EGLint* value)
{
    *value = attribute == EGL_CONTEXT_CLIENT_VERSION ? 3 : 0;
    return EGL_TRUE;
}

EGLBoolean get_sync_attrib(EGLDisplay, EGLSyncKHR, EGLint, EGLint* value)
{
    *value = EGL_SIGNALED_KHR;
    return EGL_TRUE;
}

// Filled through the list, then given the behaviours above.
sidechannel_egl_imports make_egl()
{
    sidechannel_egl_imports table{};
    size_t slot = 0;
#define ZELVAR_HOST_EGL(name)                                                                                \
    set_table_slot(&table, slot++, reinterpret_cast<void*>(&plain<&sidechannel_egl_imports::name>::call));
#include "hosttables/egl.inc"
#undef ZELVAR_HOST_EGL
    table.eglGetError = no_egl_error;
    table.eglGetDisplay = get_display;
    table.eglInitialize = initialize;
    table.eglQueryString = query_string;
    table.eglGetConfigs = get_configs;
    table.eglChooseConfig = choose_config;
    table.eglGetConfigAttrib = get_config_attrib;
    table.eglCreateContext = create_context;
    table.eglCreatePbufferSurface = create_pbuffer_surface;
    table.eglCreateImageKHR = create_image;
    table.eglCreateSyncKHR = create_sync;
    table.eglClientWaitSyncKHR = client_wait_sync;
    table.eglQueryAPI = query_api;
    table.eglMakeCurrent = make_current;
    table.eglReleaseThread = release_thread;
    table.eglGetCurrentContext = get_current_context;
    table.eglGetCurrentSurface = get_current_surface;
    table.eglGetCurrentDisplay = get_current_display;
    table.eglQuerySurface = query_surface;
    table.eglQueryContext = query_context;
    table.eglGetSyncAttribKHR = get_sync_attrib;
    return table;
}

const GLubyte* get_string(GLenum name)
{
    static const std::string& all = *new std::string(std::string(gl_extensions[0]) + " " + gl_extensions[1]);
    const char* text = nullptr;
    switch (name) {
    case GL_VENDOR:
        text = gl_vendor;
        break;
    case GL_RENDERER:
        text = "Fake";
        break;
    case GL_VERSION:
        text = "OpenGL ES 3.1 fake";
        break;
    case GL_SHADING_LANGUAGE_VERSION:
        text = "OpenGL ES GLSL ES 3.10";
        break;
    case GL_EXTENSIONS:
        text = all.c_str();
        break;
    }
    return reinterpret_cast<const GLubyte*>(text);
}

const GLubyte* get_string_i(GLenum name, GLuint index)
{
    if (name != GL_EXTENSIONS || index >= std::size(gl_extensions))
        return nullptr;
    return reinterpret_cast<const GLubyte*>(gl_extensions[index]);
}

void get_integer(GLenum name, GLint* value)
{
    switch (name) {
    case GL_NUM_EXTENSIONS:
        *value = std::size(gl_extensions);
        break;
    case GL_MAJOR_VERSION:
        *value = 3;
        break;
    case GL_MINOR_VERSION:
        *value = 1;
        break;
    case GL_MAX_VERTEX_ATTRIBS:
        *value = 16;
        break;
    case GL_MAX_COMBINED_TEXTURE_IMAGE_UNITS:
        *value = 48;
        break;
    case GL_VIEWPORT:
    case GL_SCISSOR_BOX:
        std::fill_n(value, 4, 0);
        break;
    default:
        *value = 0;
    }
}

void get_shader(GLuint, GLenum name, GLint* value)
{
    *value = name == GL_COMPILE_STATUS;
}

void get_program(GLuint, GLenum name, GLint* value)
{
    *value = name == GL_LINK_STATUS || name == GL_VALIDATE_STATUS;
}

GLuint create_shader(GLenum)
{
    return ++last_name;
}

GLuint create_program()
{
    return ++last_name;
}

GLenum check_framebuffer_status(GLenum)
{
    return GL_FRAMEBUFFER_COMPLETE;
}

GLsync fence_sync(GLenum, GLbitfield)
{
    return new_handle<GLsync>(0x70000000);
}

sidechannel_gles_imports make_gles()
{
    sidechannel_gles_imports table{};
    size_t slot = host_gles_optional_count;
#define ZELVAR_MESSAGE(id, name, group, function)                                                            \
    set_table_slot(&table, slot++,                                                                           \
                   reinterpret_cast<void*>(&plain<&sidechannel_gles_imports::function>::call));
#include "wire/messages_gles.inc"
#undef ZELVAR_MESSAGE
    table.glGetString = get_string;
    table.glGetStringi = get_string_i;
    table.glGetIntegerv = get_integer;
    table.glGetShaderiv = get_shader;
    table.glGetProgramiv = get_program;
    table.glCreateShader = create_shader;
    table.glCreateProgram = create_program;
    table.glCheckFramebufferStatus = check_framebuffer_status;
    table.glFenceSync = fence_sync;
    return table;
}
} // namespace

const sidechannel_egl_imports& egl()
{
    static const sidechannel_egl_imports& table = *new sidechannel_egl_imports(make_egl());
    return table;
}

const sidechannel_gles_imports& gles()
{
    static const sidechannel_gles_imports& table = *new sidechannel_gles_imports(make_gles());
    return table;
}
} // namespace fake_driver
