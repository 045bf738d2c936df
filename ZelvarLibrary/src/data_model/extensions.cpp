// Which extensions the target is told of: those that both sides have and this library knows, and for EGL
// those that the library brings along itself.
#include "data_model/zelvar_data_model.h"
#include "object_manager/zelvar_object_manager.h"
#include "registration/host_call.h"
#include "registration/zelvar_test_support.h"
#include "settings/zelvar_settings.h"
#include "shim/zelvar_shim_calls.h"
#include "shim/zelvar_shim_dispatch.h"
#include "sidechannel_log.h"

#include <algorithm>
#include <atomic>
#include <new>
#include <span>
#include <string_view>

const char* const gl_extension_list[gl_extension_count] = {
    "GL_CORVANE_rgba8",
    "GL_EXT_blend_minmax",
    "GL_EXT_discard_framebuffer",
    "GL_EXT_multisampled_render_to_texture",
    "GL_EXT_occlusion_query_boolean",
    "GL_EXT_read_format_bgra",
    "GL_EXT_texture_format_BGRA8888",
    "GL_EXT_texture_rg",
    "GL_EXT_texture_storage",
    "GL_EXT_texture_type_2_10_10_10_REV",
    "GL_OES_compressed_ETC1_RGB8_texture",
    "GL_OES_compressed_paletted_texture",
    "GL_OES_depth24",
    "GL_OES_depth_texture",
    "GL_OES_EGL_image",
    "GL_OES_EGL_image_external",
    "GL_OES_element_index_uint",
    "GL_OES_fbo_render_mipmap",
    "GL_OES_packed_depth_stencil",
    "GL_OES_read_format",
    "GL_OES_required_internalformat",
    "GL_OES_rgb8_rgba8",
    "GL_OES_standard_derivatives",
    "GL_OES_texture_3D",
    "GL_OES_texture_npot",
    "GL_OES_vertex_array_object",
    "GL_OES_vertex_half_float",
};

const char* const egl_extension_list[egl_extension_count] = {
    "EGL_ANDROID_image_native_buffer",
    "EGL_KHR_create_context",
    "EGL_KHR_gl_renderbuffer_image",
    "EGL_KHR_gl_texture_2D_image",
    "EGL_KHR_gl_texture_cubemap_image",
    "EGL_KHR_image",
    "EGL_KHR_image_base",
    "EGL_KHR_image_pixmap",
    "EGL_ANDROID_recordable",
    "EGL_ANDROID_native_fence_sync",
    "EGL_ANDROID_framebuffer_target",
    "EGL_ANDROID_image_crop",
    "EGL_ANDROID_blob_cache",
    "EGL_KHR_fence_sync",
    "EGL_WL_bind_wayland_display",
    "EGL_EXT_image_dma_buf_import",
};

namespace {
using names = std::vector<std::string>;

/// Count even when the host lacks them. The last is not in the known list, so it is never reported.
constexpr const char* provided_egl_extensions[] = {
    "EGL_ANDROID_image_native_buffer", "EGL_ANDROID_recordable", "EGL_ANDROID_native_fence_sync",
    "EGL_ANDROID_framebuffer_target",  "EGL_KHR_fence_sync",     "EGL_WL_bind_wayland_display",
    "EGL_EXT_image_dma_buf_import",    "EGL_KHR_wait_sync",
};

constexpr const char* client_extensions[] = {
    "EGL_EXT_platform_base",
    "EGL_EXT_client_extensions",
    "EGL_KHR_platform_gbm",
    "EGL_KHR_platform_wayland",
};

bool contains(std::span<const char* const> list, std::string_view name)
{
    return std::find(list.begin(), list.end(), name) != list.end();
}

names split_at_blanks(std::string_view text)
{
    names words;
    while (!text.empty()) {
        size_t end = std::min(text.find(' '), text.size());
        if (end > 0)
            words.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return words;
}

names sorted_names(std::string_view text)
{
    names words = split_at_blanks(text);
    std::sort(words.begin(), words.end());
    words.erase(std::unique(words.begin(), words.end()), words.end());
    return words;
}

/// What is known of one API's extensions.
struct known_extensions
{
    const char* api;
    std::span<const char* const> list;
    std::span<const char* const> provided;
};

const known_extensions known_gl{"GL", gl_extension_list, {}};
const known_extensions known_egl{"EGL", egl_extension_list, provided_egl_extensions};

/// Null after the lines for a missing record or missing memory.
bool allocate_rows(_zelvar_extensions* extensions, size_t count)
{
    extensions->supported.reset(new (std::nothrow) uint8_t[count]());
    extensions->text.clear();
    return extensions->supported != nullptr;
}

void filter(const known_extensions& known, const names& host, const names& target,
            _zelvar_extensions* extensions, std::atomic_flag& reported)
{
    std::string ignored;
    size_t supported_count = 0;
    for (const auto& name : target) {
        const auto* row = std::find(known.list.data(), known.list.data() + known.list.size(), name);
        bool is_known = row != known.list.data() + known.list.size();
        bool counts = std::binary_search(host.begin(), host.end(), name) || contains(known.provided, name);
        if (!is_known || !counts) {
            ignored += name + " ";
            continue;
        }
        extensions->supported[row - known.list.data()] = 1;
        extensions->text += name + " ";
        supported_count++;
    }
    if (reported.test_and_set())
        return;
    LOG_INFO(
        "\n%s extensions info:\nSummary: Total(%d), Supported(%d), Ignored(%d)\nSupported:\n%s\nIgnored:\n%s",
        known.api, static_cast<int>(target.size()), static_cast<int>(supported_count),
        static_cast<int>(target.size() - supported_count),
        extensions->text.empty() ? "N/A" : extensions->text.c_str(),
        ignored.empty() ? "N/A" : ignored.c_str());
}

/// Reads a list that the target's driver has reported.
bool read_target_list(pid_t pid, tid_t tid, target_ptr address, names* list)
{
    if (!address) {
        LOG_ERROR("Extensions string on target side has not been retrieved!");
        return false;
    }
    std::string text;
    zelvar_shim_dispatch_get_string(pid, tid, address, &text);
    if (text.empty())
        LOG_WARN("Target returned 0 length GL extensions string!?");
    *list = sorted_names(text);
    return true;
}

bool host_gl_list(names* list)
{
    auto answer = host::gl<&sidechannel_gles_imports::glGetString>(GL_EXTENSIONS);
    if (!answer.ok()) {
        LOG_ERROR("zelvar_data_model_init_gl_extensions_data(): glGetString() on host returns error 0x%x",
                  answer.error);
        return false;
    }
    if (!answer.result) {
        LOG_ERROR("Extensions string on host side has not been retrieved!");
        return false;
    }
    *list = sorted_names(reinterpret_cast<const char*>(answer.result));
    return true;
}

bool target_gl_list(pid_t pid, tid_t tid, names* list)
{
    target_ptr address;
    unsigned error = GL_NO_ERROR;
    zelvar_shim_dispatch_gles20_get_string_call(pid, tid, GL_EXTENSIONS, &address.address,
                                                sizeof(address.address), &error);
    if (error != GL_NO_ERROR) {
        LOG_ERROR("zelvar_data_model_init_gl_extensions_data(): glGetString() on target returns error 0x%x",
                  error);
        return false;
    }
    return read_target_list(pid, tid, address, list);
}

bool host_egl_list(pid_t pid, tid_t tid, uint64_t target_display, names* list)
{
    EGLDisplay display = EGL_NO_DISPLAY;
    const char* text = nullptr;
    if (zelvar_object_manager_get_host_display(pid, tid, target_display, &display))
        text = host::egl<&sidechannel_egl_imports::eglQueryString>(display, EGL_EXTENSIONS).result;
    if (!text) {
        LOG_ERROR("Extensions string on host side has not been retrieved!");
        return false;
    }
    *list = sorted_names(text);
    return true;
}

bool target_egl_list(pid_t pid, tid_t tid, uint64_t target_display, names* list)
{
    target_ptr address;
    unsigned error = EGL_SUCCESS;
    zelvar_shim_dispatch_egl_query_string_call(pid, tid, target_display, EGL_EXTENSIONS, &address.address,
                                               sizeof(address.address), &error);
    return read_target_list(pid, tid, address, list);
}

/// A handler may ask before the context was first made current.
_zelvar_extensions& built_gl_extensions(pid_t pid, tid_t tid, _zelvar_context_data* data)
{
    if (!data->extensions.supported)
        zelvar_data_model_init_gl_extensions_data(pid, tid, &data->extensions);
    return data->extensions;
}

/// A queued answer of the call registration.
bool faked_answer(_zelvar_data_model_call call, bool* answer)
{
    uint64_t stack = 0;
    if (!zelvar_test_support_dequeue_zelvar_data_model_call_result(call, &stack))
        return false;
    *answer = stack != 0;
    return true;
}

/// Under the lock; false for an unknown process.
bool cached_client_extensions(pid_t pid, std::string* text)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto process = pid_to_process_data_map.find(pid);
    if (process == pid_to_process_data_map.end())
        return false;
    *text = process->second.client_extensions;
    return true;
}
} // namespace

void zelvar_data_model_init_zelvar_extensions(_zelvar_extensions* extensions)
{
    extensions->supported.reset();
    extensions->target_address = {};
    extensions->name_addresses.fill({});
}

void zelvar_data_model_init_gl_extensions_data(pid_t pid, tid_t tid, _zelvar_extensions* extensions)
{
    static std::atomic_flag reported;
    if (!extensions) {
        LOG_FATAL("Pointer to extensions data is NULL!");
        return;
    }
    if (!allocate_rows(extensions, gl_extension_count)) {
        LOG_ERROR("Could not allocate memory to retrieve extensions data");
        return;
    }
    names host_list;
    if (!host_gl_list(&host_list))
        return;
    names target_list = host_list;
    if (zelvar_call_on_target() && !target_gl_list(pid, tid, &target_list))
        return;
    filter(known_gl, host_list, target_list, extensions, reported);
}

void zelvar_data_model_init_egl_extensions_data(pid_t pid, tid_t tid, uint64_t target_display,
                                                _zelvar_extensions* extensions)
{
    static std::atomic_flag reported;
    if (!extensions) {
        LOG_FATAL("Pointer to extensions data is NULL!");
        return;
    }
    if (!allocate_rows(extensions, egl_extension_count)) {
        LOG_ERROR("Could not allocate memory to retieve extension data");
        return;
    }
    names host_list;
    if (!host_egl_list(pid, tid, target_display, &host_list))
        return;
    names target_list = host_list;
    if (zelvar_call_on_target() && !target_egl_list(pid, tid, target_display, &target_list))
        return;
    filter(known_egl, host_list, target_list, extensions, reported);
}

bool zelvar_data_is_gl_extension_supported(pid_t pid, tid_t tid, _zelvar_context_data* data, uint32_t index)
{
    bool answer = false;
    if (faked_answer(zelvar_data_model_is_gl_extension_supported, &answer))
        return answer;
    const auto& extensions = built_gl_extensions(pid, tid, data);
    return index < gl_extension_count && extensions.supported && extensions.supported[index] != 0;
}

bool zelvar_data_is_egl_extension_supported(pid_t pid, uint64_t target_display, uint32_t index)
{
    bool answer = false;
    if (faked_answer(zelvar_data_model_is_egl_extension_supported, &answer))
        return answer;
    return zelvar_object_manager_is_egl_extension_supported(pid, target_display, index);
}

uint32_t zelvar_data_num_of_gl_extension_supported(pid_t pid, tid_t tid, _zelvar_context_data* data)
{
    const auto& extensions = built_gl_extensions(pid, tid, data);
    if (!extensions.supported)
        return 0;
    const uint8_t* rows = extensions.supported.get();
    return static_cast<uint32_t>(std::count(rows, rows + gl_extension_count, 1));
}

bool zelvar_data_model_get_extension_by_index(const _zelvar_extensions* extensions, uint32_t index,
                                              const char** out_name)
{
    const names reported = split_at_blanks(extensions->text);
    if (index < reported.size()) {
        const auto* row =
            std::find(std::begin(gl_extension_list), std::end(gl_extension_list), reported[index]);
        if (row != std::end(gl_extension_list)) {
            *out_name = *row;
            return true;
        }
    }
    LOG_ERROR("GL extension with index [%d] is not found.", index);
    return false;
}

bool zelvar_data_model_get_filtered_egl_client_extensions(pid_t pid, tid_t tid, target_ptr target_string,
                                                          std::string* out_string)
{
    std::string filtered;
    if (!cached_client_extensions(pid, &filtered))
        return false;
    if (filtered.empty()) {
        std::string reported;
        zelvar_shim_dispatch_get_string(pid, tid, target_string, &reported);
        for (const auto& name : split_at_blanks(reported))
            if (contains(client_extensions, name))
                filtered += name + " ";
        Autolock process_lock{pid_to_process_data_map_cs};
        pid_to_process_data_map[pid].client_extensions = filtered;
    }
    *out_string = std::move(filtered);
    return true;
}
