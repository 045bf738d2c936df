// Preloaded into an application that runs straight on the host's driver, for comparison with its run as a
// target: window surfaces become pbuffers of the frame buffer's size, and each swapped frame is written as a
// picture, named as the simulator names it. ZELVAR_RECORD names the folder, ZELVAR_FB the size,
// ZELVAR_RECORD_ALPHA=1 keeps the alpha channel. Applications that load EGL themselves are met at dlsym.

#include "picture_file.h"

#include <EGL/egl.h>
#include <GLES3/gl3.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <unistd.h>

#define RECORDER_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

struct window
{
    int index = -1; // by first swap
    unsigned long frames = 0;
    EGLint width = 0;
    EGLint height = 0;
};

struct recorder
{
    std::mutex lock;
    std::map<EGLSurface, window> windows; // guarded by lock
    int next_index = 0;                   // guarded by lock
};

recorder& the_recorder()
{
    static auto* one = new recorder; // never destroyed: threads may swap while the process ends
    return *one;
}

using find_function = void* (*)(void*, const char*);

/// The C library's dlsym, under the version that it has on this machine.
find_function real_dlsym()
{
    static const find_function found = [] {
        void* at = nullptr;
        for (const char* version : {"GLIBC_2.34", "GLIBC_2.17", "GLIBC_2.2.5", "GLIBC_2.0"})
            if (!at)
                at = dlvsym(RTLD_NEXT, "dlsym", version);
        return reinterpret_cast<find_function>(at);
    }();
    return found;
}

template <class Function>
Function next_in_line(const char* name)
{
    return reinterpret_cast<Function>(real_dlsym()(RTLD_NEXT, name));
}

#define HOST(name) next_in_line<decltype(&name)>(#name)

void frame_buffer_size(EGLint& width, EGLint& height)
{
    const char* text = std::getenv("ZELVAR_FB");
    if (!text || std::sscanf(text, "%dx%d", &width, &height) != 2) {
        width = 640;
        height = 480;
    }
}

/// The same list with the window bit replaced by the pbuffer bit; a list that names no surface type asks for
/// a pbuffer, as the default would be a window.
std::vector<EGLint> without_windows(const EGLint* attributes)
{
    std::vector<EGLint> list;
    bool named = false;
    for (; attributes && *attributes != EGL_NONE; attributes += 2) {
        EGLint value = attributes[1];
        if (attributes[0] == EGL_SURFACE_TYPE) {
            named = true;
            if (value & EGL_WINDOW_BIT)
                value = (value & ~EGL_WINDOW_BIT) | EGL_PBUFFER_BIT;
        }
        list.insert(list.end(), {attributes[0], value});
    }
    if (!named)
        list.insert(list.end(), {EGL_SURFACE_TYPE, EGL_PBUFFER_BIT});
    list.push_back(EGL_NONE);
    return list;
}

std::string application_name()
{
    char name[64] = {};
    if (FILE* file = std::fopen("/proc/self/comm", "r")) {
        if (!std::fgets(name, sizeof name, file))
            name[0] = 0;
        std::fclose(file);
    }
    name[std::strcspn(name, "\n")] = 0;
    return name[0] ? name : "target";
}

std::string picture_path(const char* folder, const window& at)
{
    char tail[64];
    if (at.index == 0)
        std::snprintf(tail, sizeof tail, "_%d_%04lu.png", static_cast<int>(getpid()), at.frames);
    else
        std::snprintf(tail, sizeof tail, "_%d_w%d_%04lu.png", static_cast<int>(getpid()), at.index,
                      at.frames);
    return std::string(folder) + "/" + application_name() + tail;
}

/// The current read frame buffer, top row first. Leaves the application's pixel store state as it was.
std::vector<uint8_t> read_frame(EGLint width, EGLint height)
{
    constexpr GLenum states[] = {GL_PACK_ALIGNMENT, GL_PACK_ROW_LENGTH, GL_PACK_SKIP_PIXELS,
                                 GL_PACK_SKIP_ROWS};
    constexpr GLint plain[] = {4, 0, 0, 0};
    GLint saved[4] = {4, 0, 0, 0};
    EGLint version = 2;
    HOST(eglQueryContext)
    (HOST(eglGetCurrentDisplay)(), HOST(eglGetCurrentContext)(), EGL_CONTEXT_CLIENT_VERSION, &version);
    const int count = version >= 3 ? 4 : 1;
    for (int i = 0; i < count; ++i) {
        glGetIntegerv(states[i], &saved[i]);
        glPixelStorei(states[i], plain[i]);
    }
    const size_t row = size_t{4} * static_cast<size_t>(width);
    std::vector<uint8_t> bottom_up(row * static_cast<size_t>(height));
    glReadPixels(0, 0, width, height, GL_RGBA, GL_UNSIGNED_BYTE, bottom_up.data());
    for (int i = 0; i < count; ++i)
        glPixelStorei(states[i], saved[i]);
    std::vector<uint8_t> frame(bottom_up.size());
    for (size_t y = 0; y < static_cast<size_t>(height); ++y)
        std::memcpy(frame.data() + y * row, bottom_up.data() + (static_cast<size_t>(height) - 1 - y) * row,
                    row);
    return frame;
}

std::vector<uint8_t> without_alpha(const std::vector<uint8_t>& rgba)
{
    std::vector<uint8_t> rgb;
    rgb.reserve(rgba.size() / 4 * 3);
    for (size_t i = 0; i < rgba.size(); i += 4)
        rgb.insert(rgb.end(), rgba.begin() + static_cast<ptrdiff_t>(i),
                   rgba.begin() + static_cast<ptrdiff_t>(i) + 3);
    return rgb;
}

void record(EGLSurface surface)
{
    const char* folder = std::getenv("ZELVAR_RECORD");
    window at;
    {
        recorder& all = the_recorder();
        std::lock_guard guard{all.lock};
        const auto found = all.windows.find(surface);
        if (!folder || found == all.windows.end())
            return;
        if (found->second.index < 0)
            found->second.index = all.next_index++;
        at = found->second;
        ++found->second.frames;
    }
    const char* keep = std::getenv("ZELVAR_RECORD_ALPHA");
    const bool alpha = keep && *keep == '1';
    std::vector<uint8_t> frame = read_frame(at.width, at.height);
    if (!alpha)
        frame = without_alpha(frame);
    const std::string fault =
        write_picture_file(picture_path(folder, at), static_cast<uint32_t>(at.width),
                           static_cast<uint32_t>(at.height), alpha ? 4 : 3, frame.data());
    if (!fault.empty()) {
        std::fprintf(stderr, "libdirect_record: %s\n", fault.c_str());
        std::abort(); // a comparison must not take the lack of a picture for agreement
    }
}

/// The function below that an application gets under this name; null for others.
void* function_of_ours(const char* name);

} // namespace

RECORDER_EXPORT EGLBoolean eglChooseConfig(EGLDisplay display, const EGLint* attributes, EGLConfig* configs,
                                           EGLint size, EGLint* count)
{
    return HOST(eglChooseConfig)(display, without_windows(attributes).data(), configs, size, count);
}

RECORDER_EXPORT EGLSurface eglCreateWindowSurface(EGLDisplay display, EGLConfig config, EGLNativeWindowType,
                                                  const EGLint*)
{
    window fresh;
    frame_buffer_size(fresh.width, fresh.height);
    const EGLint attributes[] = {EGL_WIDTH, fresh.width, EGL_HEIGHT, fresh.height, EGL_NONE};
    const EGLSurface surface = HOST(eglCreatePbufferSurface)(display, config, attributes);
    if (surface != EGL_NO_SURFACE) {
        recorder& all = the_recorder();
        std::lock_guard guard{all.lock};
        all.windows[surface] = fresh;
    }
    return surface;
}

RECORDER_EXPORT EGLBoolean eglDestroySurface(EGLDisplay display, EGLSurface surface)
{
    {
        recorder& all = the_recorder();
        std::lock_guard guard{all.lock};
        all.windows.erase(surface);
    }
    return HOST(eglDestroySurface)(display, surface);
}

RECORDER_EXPORT EGLBoolean eglSwapBuffers(EGLDisplay display, EGLSurface surface)
{
    record(surface);
    return HOST(eglSwapBuffers)(display, surface);
}

RECORDER_EXPORT __eglMustCastToProperFunctionPointerType eglGetProcAddress(const char* name)
{
    const auto ours = reinterpret_cast<__eglMustCastToProperFunctionPointerType>(function_of_ours(name));
    return ours ? ours : HOST(eglGetProcAddress)(name);
}

RECORDER_EXPORT void* dlsym(void* handle, const char* name) noexcept
{
    // Who asks for the next in line has found us already.
    void* ours = handle == RTLD_NEXT ? nullptr : function_of_ours(name);
    return ours ? ours : real_dlsym()(handle, name);
}

namespace {

void* function_of_ours(const char* name)
{
    struct named
    {
        const char* name;
        void* function;
    };
    static const named all[] = {
        {"eglChooseConfig", reinterpret_cast<void*>(&eglChooseConfig)},
        {"eglCreateWindowSurface", reinterpret_cast<void*>(&eglCreateWindowSurface)},
        {"eglDestroySurface", reinterpret_cast<void*>(&eglDestroySurface)},
        {"eglSwapBuffers", reinterpret_cast<void*>(&eglSwapBuffers)},
        {"eglGetProcAddress", reinterpret_cast<void*>(&eglGetProcAddress)},
    };
    for (const named& each : all)
        if (std::strcmp(each.name, name) == 0)
            return each.function;
    return nullptr;
}

} // namespace
