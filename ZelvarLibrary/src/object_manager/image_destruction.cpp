// The end of an EGL image on the host: the image itself, and the texture that stood for its native buffer.
#include "object_manager/images.h"
#include "object_manager/service_scope.h"
#include "object_manager/zelvar_object_manager.h"
#include "registration/host_call.h"
#include "sidechannel_log.h"

#include <optional>

namespace {
using egl_table = sidechannel_egl_imports;
using gles_table = sidechannel_gles_imports;

void destroy_host_image(EGLDisplay display, EGLImageKHR image, EGLBoolean* result, unsigned* error)
{
    auto destroyed = host::egl<&egl_table::eglDestroyImageKHR>(display, image);
    *result = destroyed.result;
    *error = destroyed.error;
    if (!destroyed.result)
        LOG_ERROR("Could not execute eglDestroyImageKHR() call on host side! CANNOT revert on target-side. "
                  "host_egl_get_error_result = %d . result_to_report = %d",
                  destroyed.error, destroyed.result);
}
} // namespace

bool is_native_image_kind(uint32_t target)
{
    return target == EGL_NATIVE_PIXMAP_KHR || target == EGL_NATIVE_BUFFER_ANDROID ||
           target == EGL_WAYLAND_BUFFER_WL || target == EGL_LINUX_DMA_BUF_EXT;
}

void zelvar_object_manager_delete_service_texture(pid_t pid, uint32_t texture)
{
    host::gl<&gles_table::glDeleteTextures>(1, &texture);
    zelvar_object_manager_delete_image_sibling(pid, texture);
}

void zelvar_object_manager_destroy_eglimage_common(pid_t pid, tid_t tid, uint64_t target_display,
                                                   uint64_t target_image, EGLBoolean* result, unsigned* error)
{
    EGLDisplay display = EGL_NO_DISPLAY;
    _zelvar_object_manager_egl_image_data image;
    if (!zelvar_object_manager_get_egl_image_data(pid, target_image, &image)) {
        LOG_ERROR(
            "Could not retrieve host-side EGLImageKHR for target-side EGLImageKHR [%16ld] for process id "
            "[%d] Host-side will not execute the call.",
            target_image, pid);
        return;
    }
    if (image.host_image != EGL_NO_IMAGE_KHR &&
        zelvar_object_manager_get_host_display(pid, tid, target_display, &display)) {
        std::optional<service_scope> service;
        if (image.service_texture && is_native_image_kind(image.target))
            service.emplace(pid, tid, display);
        destroy_host_image(display, image.host_image, result, error);
        if (service && *service)
            zelvar_object_manager_delete_service_texture(pid, image.service_texture);
    }
    zelvar_object_manager_delete_target_egl_image(pid, target_image);
}
