// eglChooseConfig and eglGetConfigs: the application's list is asked of the host in words that the host can
// serve, and only configs that have a partner on the host are offered.

#include "handlers/egl/egl_common.h"

#include <algorithm>
#include <new>

namespace {
/// What became of the application's list on its way to the host.
struct host_request
{
    std::vector<EGLint> list; // empty: the application gave none
    bool failure_tolerated = false;

    const EGLint* data() const { return list.empty() ? nullptr : list.data(); }
};

/// A host has no windows and need not know OpenGL ES 1: asks for pbuffers, and lets the host refuse.
host_request rewrite(attribute_pairs pairs)
{
    host_request request;
    if (pairs.empty()) {
        LOG_WARN("Empty configuration list provided by target.");
        return request;
    }
    bool renderable_seen = false;
    bool surface_type_seen = false;
    bool es1_asked = false;
    for (auto& [attribute, value] : pairs) {
        if (attribute == EGL_RENDERABLE_TYPE) {
            renderable_seen = request.failure_tolerated = true;
            if (value == EGL_OPENGL_ES_BIT)
                es1_asked = true;
            else
                value &= ~EGL_OPENGL_ES_BIT;
        } else if (attribute == EGL_SURFACE_TYPE) {
            surface_type_seen = true;
            if (value & EGL_WINDOW_BIT) {
                value = (value & ~EGL_WINDOW_BIT) | EGL_PBUFFER_BIT;
                request.failure_tolerated = true;
            }
        }
    }
    if (!renderable_seen)
        es1_asked = request.failure_tolerated = true; // the default is OpenGL ES 1
    if (!surface_type_seen) {
        pairs.insert(pairs.begin(), {EGL_SURFACE_TYPE, EGL_PBUFFER_BIT});
        request.failure_tolerated = true;
    }
    if (es1_asked)
        LOG_WARN("Unsupported OpenGL ES 1.0 config.");
    std::erase_if(pairs, [](const auto& pair) {
        return pair.first == EGL_SAMPLES || pair.first == EGL_RECORDABLE_ANDROID ||
               pair.first == EGL_FRAMEBUFFER_TARGET_ANDROID;
    });
    request.list = terminated(pairs);
    return request;
}

/// Room for what can be found: no display offers more.
std::vector<uint64_t> room_for(EGLint config_size)
{
    constexpr EGLint most = 0x10000;
    return std::vector<uint64_t>(static_cast<size_t>(std::clamp(config_size, 0, most)));
}

/// Writes the configs that `find(out array, size, out count)` gives.
template <class Find>
EGLBoolean offer(const egl_handler& call, uint64_t dpy, target_ptr configs, EGLint config_size,
                 target_ptr num_config, Find find)
{
    std::vector<uint64_t> handles = room_for(configs ? config_size : 0);
    uint64_t none = 0; // never a null array when the application gave one: that would only count
    uint64_t* out = !configs ? nullptr : handles.empty() ? &none : handles.data();
    int32_t count = 0;
    if (!find(out, static_cast<int32_t>(handles.size()), &count)) {
        LOG_FATAL("Could not get target-side EGLconfigs for target_display[%16ld]", shown(dpy));
        return EGL_FALSE;
    }
    if (configs) {
        handles.resize(static_cast<size_t>(count));
        write_handles(call, handles, configs);
    }
    call.write(num_config, count);
    return EGL_TRUE;
}

EGLBoolean choose_config(egl_handler& call, uint64_t dpy, target_ptr attrib_list, target_ptr configs,
                         EGLint config_size, target_ptr num_config)
{
    EGLDisplay host_display = EGL_NO_DISPLAY;
    if (!zelvar_object_manager_get_host_display(call.pid, call.tid, dpy, &host_display)) {
        LOG_FATAL("eglChooseConfig(): no host-side display for target-side display [%16ld].", shown(dpy));
        return EGL_FALSE;
    }
    attribute_pairs pairs;
    if (!read_attribute_list(call.pid, call.tid, attrib_list, &pairs)) {
        LOG_FATAL("eglChooseConfig(): the attribute list at [%#lx] can't be read.", attrib_list.address);
        call.error = EGL_BAD_ATTRIBUTE;
        return EGL_FALSE;
    }
    host_request request = rewrite(std::move(pairs));
    EGLint host_count = 0;
    auto check = call.host<&egl_table::eglChooseConfig>(
        host_display, request.data(), static_cast<EGLConfig*>(nullptr), config_size, &host_count);
    if (!check.result) {
        if (request.failure_tolerated)
            call.error = EGL_SUCCESS;
        else
            LOG_ERROR(
                "eglChooseConfig(): the arguments checking is failed for target-side display [%16ld]. Error "
                "code [%d] is returned.",
                shown(dpy), static_cast<int>(check.error));
        return EGL_FALSE;
    }
    return offer(call, dpy, configs, config_size, num_config,
                 [&](uint64_t* out, int32_t size, int32_t* count) {
                     return request.list.empty()
                                ? zelvar_object_manager_egl_get_configs_for_target(call.pid, call.tid, dpy,
                                                                                   out, size, count)
                                : zelvar_object_manager_egl_choose_config_for_target(
                                      call.pid, call.tid, dpy, request.data(), out, size, count);
                 });
}

EGLBoolean get_configs(egl_handler& call, uint64_t dpy, target_ptr configs, EGLint config_size,
                       target_ptr num_config)
{
    EGLDisplay host_display = EGL_NO_DISPLAY;
    if (!zelvar_object_manager_get_host_display(call.pid, call.tid, dpy, &host_display)) {
        LOG_FATAL("eglGetConfigs(): no host-side display for target-side display [%16ld].", shown(dpy));
        return EGL_FALSE;
    }
    EGLint host_count = 0;
    auto check = call.host<&egl_table::eglGetConfigs>(host_display, static_cast<EGLConfig*>(nullptr),
                                                      config_size, &host_count);
    if (!check.result && !check.ok()) {
        LOG_ERROR(
            "eglGetConfigs(): the arguments checking is failed for target-side display [%16ld]. Error code "
            "[%d] is returned.",
            shown(dpy), static_cast<int>(check.error));
        return EGL_FALSE;
    }
    return offer(call, dpy, configs, config_size, num_config,
                 [&](uint64_t* out, int32_t size, int32_t* count) {
                     return zelvar_object_manager_egl_get_configs_for_target(call.pid, call.tid, dpy, out,
                                                                             size, count);
                 });
}
} // namespace

void egl_eglChooseConfig(pid_t pid, tid_t tid, uint64_t dpy, target_ptr attrib_list, target_ptr configs,
                         EGLint config_size, target_ptr num_config, result_of<EGLBoolean>,
                         egl_target_error target_error)
{
    egl_handler call{"egl_eglChooseConfig", pid, tid, target_error};
    call.trace("dpy", dpy, "attrib_list", attrib_list, "configs", configs, "config_size", config_size,
               "num_config", num_config);
    if (zelvar_call_on_target()) {
        LOG_DEBUG(
            "callOnTargetAPI is enabled. The API eglChooseConfig() do not need to execute on host side.");
        return;
    }
    call.reply(choose_config(call, dpy, attrib_list, configs, config_size, num_config));
}

void egl_eglGetConfigs(pid_t pid, tid_t tid, uint64_t dpy, target_ptr configs, EGLint config_size,
                       target_ptr num_config, result_of<EGLBoolean>, egl_target_error target_error)
{
    egl_handler call{"egl_eglGetConfigs", pid, tid, target_error};
    call.trace("dpy", dpy, "configs", configs, "config_size", config_size, "num_config", num_config);
    if (zelvar_call_on_target()) {
        LOG_DEBUG("callOnTargetAPI is enabled. The API eglGetConfigs() do not need to execute on host side.");
        return;
    }
    call.reply(get_configs(call, dpy, configs, config_size, num_config));
}
