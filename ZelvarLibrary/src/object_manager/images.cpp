// The EGL images of a target process. An image may not go when the target destroys it, for its siblings still
// show its pixels: it goes when all of them are orphaned.
#include "object_manager/images.h"
#include "object_manager/registry.h"
#include "object_manager/zelvar_object_manager.h"
#include "shim/zelvar_shim_dispatch.h"
#include "sidechannel_log.h"

#include <algorithm>

namespace {
using image_data = _zelvar_object_manager_egl_image_data;
using process_data = _zelvar_object_manager_process_data;

/// Generations that a key has room for.
constexpr uint32_t max_generations = 0x10000;
constexpr unsigned generation_shift = 48;
// Of destroyed images, over all processes; under pid_to_process_data_map_cs.
uint64_t reuse_generation = 0;

image_data* find_image(process_data& process, uint64_t target_image)
{
    auto found = process.images.find(target_image);
    if (found == process.images.end()) {
        LOG_ERROR("Cannot find eglImageKHR descriptor for target eglImageKHR [%16ld]", target_image);
        return nullptr;
    }
    return &found->second;
}

/// Runs `act` on an image's record under the lock; false, with a line, when there is none.
template <class Act>
bool with_image(pid_t pid, uint64_t target_image, Act act)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto* process = registry::find_process_or_log(pid);
    auto* image = process ? find_image(*process, target_image) : nullptr;
    if (!image)
        return false;
    act(*image);
    return true;
}

void check_sibling_type(uint32_t type)
{
    if (type != GL_TEXTURE && type != GL_RENDERBUFFER)
        LOG_ERROR("Unrecognized eglImageKHR sibling type [%#x]", type);
}

/// The target may use the id of a destroyed image again, so the record moves out of its way.
void move_to_generation_key(process_data& process, uint64_t target_image)
{
    for (uint32_t tries = 0; tries < max_generations; tries++) {
        uint64_t key = (++reuse_generation << generation_shift) | target_image;
        if (process.images.contains(key))
            continue;
        auto record = process.images.extract(target_image);
        record.key() = key;
        process.images.insert(std::move(record));
        return;
    }
}

bool mark_orphans(process_data& process, const uint32_t* objects, uint32_t type, uint32_t count)
{
    bool any = false;
    for (uint32_t i = 0; i < count; i++) {
        for (auto& [key, image] : process.images) {
            auto sibling = image.siblings.find({objects[i], type});
            if (sibling == image.siblings.end())
                continue;
            sibling->second = true;
            any = true;
        }
    }
    return any;
}

bool may_go(const image_data& image)
{
    return image.delete_postponed &&
           std::all_of(image.siblings.begin(), image.siblings.end(), [](const auto& s) { return s.second; });
}

/// Destroys what may go; returns the native buffers that the target must be told of.
std::vector<uint64_t> destroy_finished_images(pid_t pid, tid_t tid)
{
    std::vector<uint64_t> buffers;
    Autolock process_lock{pid_to_process_data_map_cs};
    auto* process = registry::find_process_or_log(pid);
    if (!process)
        return buffers;
    const auto images = process->images;
    for (const auto& [key, image] : images) {
        if (!may_go(image))
            continue;
        if (image.target == EGL_NATIVE_BUFFER_ANDROID)
            buffers.push_back(image.native_buffer);
        EGLBoolean result = EGL_FALSE;
        unsigned error = EGL_SUCCESS;
        zelvar_object_manager_destroy_eglimage_common(pid, tid, image.target_display, key, &result, &error);
    }
    return buffers;
}
} // namespace

bool zelvar_object_manager_add_egl_image(pid_t pid, EGLImageKHR host_image, uint64_t target_image)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto* process = registry::find_process_or_log(pid);
    if (!process)
        return false;
    auto [entry, added] = process->images.try_emplace(target_image);
    if (added)
        entry->second.host_image = host_image;
    else
        LOG_DEBUG("Skipping addition of EGLImage to object manager - object [%16p] is already known!",
                  reinterpret_cast<void*>(target_image));
    return true;
}

bool zelvar_object_manager_delete_target_egl_image(pid_t pid, uint64_t target_image)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto* process = registry::find_process_or_log(pid);
    if (!process || !find_image(*process, target_image))
        return false;
    process->images.erase(target_image);
    LOG_INFO("Image [%16ld] of process [%d] is no longer considered valid.", target_image, pid);
    return true;
}

bool zelvar_object_manager_get_host_egl_image(pid_t pid, uint64_t target_image, EGLImageKHR* host_image)
{
    return with_image(pid, target_image, [=](const auto& image) { *host_image = image.host_image; });
}

bool zelvar_object_manager_get_egl_image(pid_t pid, uint32_t object, uint32_t type, uint64_t* target_image)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto* process = registry::find_process_or_log(pid);
    if (!process)
        return false;
    for (const auto& [key, image] : process->images) {
        auto sibling = image.siblings.find({object, type});
        if (sibling != image.siblings.end() && !sibling->second) {
            *target_image = key;
            return true;
        }
    }
    return false;
}

bool zelvar_object_manager_get_egl_image_data(pid_t pid, uint64_t target_image, image_data* out)
{
    return with_image(pid, target_image, [=](const auto& image) { *out = image; });
}

bool zelvar_object_manager_set_egl_image_target(pid_t pid, uint64_t target_image, uint32_t target)
{
    return with_image(pid, target_image, [=](auto& image) { image.target = target; });
}

bool zelvar_object_manager_get_egl_image_target(pid_t pid, uint64_t target_image, uint32_t* target)
{
    return with_image(pid, target_image, [=](const auto& image) { *target = image.target; });
}

bool zelvar_object_manager_set_egl_image_target_display(pid_t pid, uint64_t target_image, uint64_t display)
{
    return with_image(pid, target_image, [=](auto& image) { image.target_display = display; });
}

bool zelvar_object_manager_get_egl_image_target_display(pid_t pid, uint64_t target_image, uint64_t* display)
{
    return with_image(pid, target_image, [=](const auto& image) { *display = image.target_display; });
}

bool zelvar_object_manager_set_egl_image_service_texture(pid_t pid, uint64_t target_image, uint32_t texture)
{
    return with_image(pid, target_image, [=](auto& image) { image.service_texture = texture; });
}

bool zelvar_object_manager_get_egl_image_service_texture(pid_t pid, uint64_t target_image, uint32_t* texture)
{
    return with_image(pid, target_image, [=](const auto& image) { *texture = image.service_texture; });
}

bool zelvar_object_manager_set_egl_image_android_native_window_buffer_parameters(
    pid_t pid, uint64_t target_image, uint64_t buffer,
    const wire::winsys_buffer_object_descriptor& descriptor)
{
    return with_image(pid, target_image, [&](auto& image) {
        image.native_buffer = buffer;
        image.native_parameters = descriptor;
    });
}

bool zelvar_object_manager_get_winsys_buffer_parameters(pid_t pid, uint64_t target_image, uint64_t* buffer,
                                                        wire::winsys_buffer_object_descriptor* descriptor)
{
    return with_image(pid, target_image, [=](const auto& image) {
        *buffer = image.native_buffer;
        *descriptor = image.native_parameters;
    });
}

bool zelvar_object_manager_set_egl_image_target_sibling(pid_t pid, uint64_t target_image, uint32_t object,
                                                        uint32_t type)
{
    check_sibling_type(type);
    return with_image(pid, target_image, [=](auto& image) {
        // Those that are cut off count for nothing, and an image may see any number of them.
        std::erase_if(image.siblings, [](const auto& sibling) { return sibling.second; });
        image.siblings[{object, type}] = false;
    });
}

bool zelvar_object_manager_set_egl_image_sibling_orphaned(pid_t pid, tid_t tid, const uint32_t* objects,
                                                          uint32_t type, uint32_t count)
{
    check_sibling_type(type);
    {
        Autolock process_lock{pid_to_process_data_map_cs};
        auto* process = registry::find_process_or_log(pid);
        if (!process)
            return false;
        if (!mark_orphans(*process, objects, type, count))
            return true;
    }
    zelvar_object_manager_clean_eglimage_structures(pid, tid);
    return true;
}

bool zelvar_object_manager_set_egl_image_delete_postponed(pid_t pid, tid_t tid, uint64_t,
                                                          uint64_t target_image)
{
    {
        Autolock process_lock{pid_to_process_data_map_cs};
        auto* process = registry::find_process_or_log(pid);
        auto* image = process ? find_image(*process, target_image) : nullptr;
        if (!image)
            return false;
        image->delete_postponed = true;
        move_to_generation_key(*process, target_image);
    }
    zelvar_object_manager_clean_eglimage_structures(pid, tid);
    return true;
}

void zelvar_object_manager_clean_eglimage_structures(pid_t pid, tid_t tid)
{
    for (uint64_t buffer : destroy_finished_images(pid, tid))
        zelvar_object_manager_end_native_buffer_use(pid, tid, buffer);
}

void zelvar_object_manager_end_native_buffer_use(pid_t pid, tid_t tid, uint64_t buffer)
{
    uint32_t finished = 0;
    zelvar_shim_dispatch_winsys_buffer_object_end_use(pid, tid, buffer, &finished);
    if (!finished)
        LOG_ERROR("Target side has failed to finish buffer [%ld] usage.", static_cast<long>(buffer));
}

bool zelvar_object_manager_is_image_sibling(pid_t pid, uint32_t texture)
{
    Autolock thread_lock{process_thread_id_pair_to_thread_data_map_cs};
    auto siblings = egl_target_to_source_sibling_map.find(pid);
    return siblings != egl_target_to_source_sibling_map.end() &&
           std::find(siblings->second.begin(), siblings->second.end(), texture) != siblings->second.end();
}

void zelvar_object_manager_set_image_sibling(pid_t pid, uint32_t texture)
{
    Autolock thread_lock{process_thread_id_pair_to_thread_data_map_cs};
    egl_target_to_source_sibling_map[pid].push_back(texture);
}

void zelvar_object_manager_delete_image_sibling(pid_t pid, uint32_t texture)
{
    Autolock thread_lock{process_thread_id_pair_to_thread_data_map_cs};
    auto siblings = egl_target_to_source_sibling_map.find(pid);
    if (siblings != egl_target_to_source_sibling_map.end())
        std::erase(siblings->second, texture);
}
