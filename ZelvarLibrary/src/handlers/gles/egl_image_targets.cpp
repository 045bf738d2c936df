// Textures and renderbuffers that show EGL images. Behind an image of a native buffer stands its service
// texture, which gets the buffer's pixels first.

#include "combiner.h"
#include "handlers/gles/textures_handlers.h"
#include "handlers/gles/winsys_buffers.h"
#include "handlers/handler.h"
#include "object_manager/service_scope.h"
#include "pixels/color_swizzle.h"

#include <utility>

using gles_table = sidechannel_gles_imports;
using image_data = _zelvar_object_manager_egl_image_data;

namespace {
/// A kept frame is looked at anew after so many uses.
constexpr uint32_t uses_of_kept_frame = 10;

/// The service context's own state: nothing bound, pixel store as it begins.
const _zelvar_context_data& service_state()
{
    static const _zelvar_context_data& state = *[] {
        auto* made = new _zelvar_context_data;
        made->host_major_version = 3;
        return made;
    }();
    return state;
}

bool update(const image_data& image, const uint8_t* pixels)
{
    return update_service_texture(service_state(), image.service_texture, image.native_parameters, pixels);
}

/// Fills the texture from the frame that the combiner has kept for buffers of this size; false when there is
/// none or the target's own is due.
bool fill_from_kept_frame(const image_data& image, const kept_frame_key& key)
{
    kept_frame kept = take_native_buffer(key);
    if (!kept.pixels)
        return false;
    const bool serves =
        ++kept.use_count % uses_of_kept_frame != 0 && kept.size >= image.native_parameters.get_buffer_size();
    if (serves) {
        LOG_DEBUG("Use cached texture on %dbpp %d * %d", key.bits_per_pixel, key.width, key.height);
        update(image, kept.pixels);
    }
    give_native_buffer_back(key, kept);
    return serves;
}

void fill_service_texture(const gles_handler& call, const image_data& image)
{
    if (!setting(zelvar_only_settings.cacheAndroidNativeBuffer)) {
        refresh_service_texture(call.pid, call.tid, service_state(), image);
        return;
    }
    const auto& buffer = image.native_parameters;
    const kept_frame_key key{buffer.width, buffer.height, buffer.bits_per_pixel};
    if (fill_from_kept_frame(image, key))
        return;
    malloc_block pixels{
        zelvar_helpers_read_winsys_buffer_pixels(call.pid, call.tid, image.native_buffer, buffer)};
    if (!pixels) {
        LOG_FATAL("Failed to read pixels data from target side.");
        return;
    }
    update(image, pixels.get());
    LOG_DEBUG("Read texture on %dbpp %d * %d", key.bits_per_pixel, key.width, key.height);
    keep_native_buffer(key, pixels.get(), buffer.get_buffer_size());
    static_cast<void>(pixels.release()); // the cache's from now on
}

bool shows_native_buffer(const image_data& image)
{
    return image.service_texture != 0;
}

/// The pixels of a native buffer go to its service texture. What fails is logged: the object shows the image
/// all the same, with the pixels that the texture has.
void prepare_image(const gles_handler& call, const image_data& image)
{
    EGLDisplay display = EGL_NO_DISPLAY;
    if (!shows_native_buffer(image) ||
        !zelvar_object_manager_get_host_display(call.pid, call.tid, image.target_display, &display))
        return;
    if (service_scope service{call.pid, call.tid, display})
        fill_service_texture(call, image);
}

/// The object shows this image from now on and no other.
void note_sibling(const gles_handler& call, const image_data& image, uint64_t target_image, uint32_t object,
                  uint32_t type)
{
    zelvar_object_manager_set_egl_image_sibling_orphaned(call.pid, call.tid, &object, type, 1);
    if (shows_native_buffer(image) && object)
        zelvar_object_manager_set_egl_image_target_sibling(call.pid, target_image, object, type);
}

bool is_shown_swizzled(const gles_handler& call, uint32_t texture)
{
    uint64_t target_image = 0;
    image_data image;
    color_swizzle swizzle;
    return texture && zelvar_object_manager_get_egl_image(call.pid, texture, GL_TEXTURE, &target_image) &&
           zelvar_object_manager_get_egl_image_data(call.pid, target_image, &image) &&
           zelvar_helpers_get_color_swizzle(image.native_parameters, &swizzle);
}

/// Sampling puts the channels right; the order that an earlier image had goes.
void set_swizzle(const image_data& image, GLenum target, bool had_one)
{
    color_swizzle swizzle{GL_RED, GL_GREEN, GL_BLUE, GL_ALPHA};
    const bool applies =
        shows_native_buffer(image) && zelvar_helpers_get_color_swizzle(image.native_parameters, &swizzle);
    if (!applies && !had_one)
        return;
    if (applies)
        LOG_WARN(
            "Using Swizzling to support the color format. Calls to glTexParameter with TEXTURE_SWIZZLE_* "
            "are not supported on this texture after this point for target binding point %d",
            static_cast<int>(target));
    constexpr GLenum channels[] = {GL_TEXTURE_SWIZZLE_R, GL_TEXTURE_SWIZZLE_G, GL_TEXTURE_SWIZZLE_B,
                                   GL_TEXTURE_SWIZZLE_A};
    for (size_t i = 0; i < swizzle.size(); ++i)
        host::gl<&gles_table::glTexParameteri>(target, channels[i], swizzle[i]);
}
} // namespace

void gles20_glEGLImageTargetTexture2DOES(pid_t pid, tid_t tid, GLenum target, uint64_t image,
                                         gles_target_error target_error)
{
    gles_handler call{"gles20_glEGLImageTargetTexture2DOES", pid, tid, target_error};
    call.trace("target", target, "image", image);
    _zelvar_context_data* context = call.lock("glEGLImageTargetTexture2DOES");
    if (!context)
        return;
    image_data data;
    if (!zelvar_object_manager_get_egl_image_data(pid, image, &data)) {
        LOG_ERROR("Cannot find target<=>host image mapping. Host-side will not execute "
                  "glEGLImageTargetTexture2DOES() call.");
        call.error = GL_INVALID_VALUE;
        return;
    }
    prepare_image(call, data);
    if (!call.host<&gles_table::glEGLImageTargetTexture2DOES>(target, data.host_image).ok())
        return;
    const uint32_t texture = bound_texture(*context, target);
    set_swizzle(data, target, is_shown_swizzled(call, texture));
    note_sibling(call, data, image, texture, GL_TEXTURE);
}

void gles20_glEGLImageTargetRenderbufferStorageOES(pid_t pid, tid_t tid, GLenum target, uint64_t image,
                                                   gles_target_error target_error)
{
    gles_handler call{"gles20_glEGLImageTargetRenderbufferStorageOES", pid, tid, target_error};
    call.trace("target", target, "image", image);
    _zelvar_context_data* context = call.lock("glEGLImageTargetRenderbufferStorageOES");
    if (!context)
        return;
    image_data data;
    if (!zelvar_object_manager_get_egl_image_data(pid, image, &data)) {
        LOG_ERROR("Cannot find target<=>host egl image mapping. Host-side will not execute "
                  "glEGLImageTargetRenderbufferStorageOES() call.");
        call.error = GL_INVALID_VALUE;
        return;
    }
    prepare_image(call, data);
    if (call.host<&gles_table::glEGLImageTargetRenderbufferStorageOES>(target, data.host_image).ok())
        note_sibling(call, data, image, context->bound_renderbuffer, GL_RENDERBUFFER);
}
