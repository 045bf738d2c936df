// eglQueryString: strings live in target memory. Extension strings are what both sides can do.

#include "handlers/egl/egl_common.h"

#include <cstring>

namespace {
/// The target's copy of a display's filtered extension string.
target_ptr display_extensions(const egl_handler& call, uint64_t dpy)
{
    std::string text;
    std::shared_ptr<_zelvar_extensions> slot;
    if (!zelvar_object_manager_get_egl_extensions_string(call.pid, dpy, &text, &slot)) {
        LOG_FATAL(
            "Could not find common part of target and host EGL extensions string. NULL will be reported.");
        return {};
    }
    target_ptr copy;
    if (!text.empty())
        copy = copy_string_to_target(call, text.c_str(), text.size());
    Autolock process_lock{pid_to_process_data_map_cs};
    if (!text.empty())
        slot->target_address = copy; // an earlier copy stays: the application may still read it
    return slot->target_address;
}

/// The same for the extensions of the client, which only the target's own driver has.
target_ptr client_extensions(const egl_handler& call, target_ptr target_string)
{
    target_ptr* slot = nullptr;
    if (zelvar_target_gpu() != TARGET_GPU_REAL) {
        LOG_FATAL(" Retrieving EGL client extensions via eglQueryString is only supported when using a Kelvo "
                  "driver "
                  "on a Kelvo GPU model.");
        return {};
    }
    std::string text;
    if (!zelvar_data_model_get_filtered_egl_client_extensions(call.pid, call.tid, target_string, &text) ||
        !zelvar_object_manager_get_target_client_extension_region(call.pid, &slot))
        return {};
    target_ptr copy;
    if (!text.empty())
        copy = copy_string_to_target(call, text.c_str(), text.size());
    Autolock process_lock{pid_to_process_data_map_cs};
    if (!text.empty())
        *slot = copy;
    return *slot;
}

/// Threads without a context share a record that has no lock of its own, so its map is only touched under the
/// process lock.
target_ptr find_cached_string(_zelvar_context_data* context, uint64_t dpy, EGLint name)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    const auto& strings = context->target_egl_strings[dpy];
    auto found = strings.find(name);
    return found == strings.end() ? target_ptr{} : found->second;
}

/// A host string's copy in target memory, made once for each context.
target_ptr host_string(egl_handler& call, uint64_t dpy, EGLint name)
{
    EGLDisplay host_display = EGL_NO_DISPLAY;
    if (!call.lock("eglQueryString"))
        return {};
    if (!zelvar_object_manager_get_host_display(call.pid, call.tid, dpy, &host_display)) {
        LOG_FATAL("eglQueryString(): could not map target-side display [%ld].", shown(dpy));
        return {};
    }
    target_ptr copy = find_cached_string(call.context(), dpy, name);
    if (copy)
        return copy;
    auto host = call.host<&egl_table::eglQueryString>(host_display, name);
    if (!host.result)
        return {};
    copy = copy_string_to_target(call, host.result, std::strlen(host.result));
    Autolock process_lock{pid_to_process_data_map_cs};
    call.context()->target_egl_strings[dpy][name] = copy;
    return copy;
}
} // namespace

void egl_eglQueryString(pid_t pid, tid_t tid, uint64_t dpy, EGLint name, result_of<uint64_t> target_result,
                        egl_target_error target_error)
{
    egl_handler call{"egl_eglQueryString", pid, tid, target_error};
    call.trace("dpy", dpy, "name", name);
    if (name == EGL_EXTENSIONS) {
        target_ptr copy =
            dpy ? display_extensions(call, dpy) : client_extensions(call, {target_result.value});
        call.reply_force(copy.address);
    } else if (!zelvar_call_on_target()) {
        call.reply(host_string(call, dpy, name).address);
    }
}
