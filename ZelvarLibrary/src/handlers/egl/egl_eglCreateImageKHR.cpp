// EGL images: made of the application's textures and renderbuffers as they are, of the target's native
// buffers through a texture in the service context, which GLES handlers fill with the buffer's pixels.

#include "handlers/egl/egl_common.h"
#include "handlers/egl/service_textures.h"
#include "handlers/gles/shared_guard.h"
#include "object_manager/images.h"
#include "object_manager/service_scope.h"
#include "object_manager/share_groups.h"
#include "pixels/fourcc.h"

#include <new>
#include <optional>

namespace {
/// Rows of the known list of EGL extensions.
enum extension_row : uint32_t
{
    renderbuffer_image = 2,
    texture_2d_image = 3,
    cubemap_image = 4,
    khr_image = 5,
    khr_image_base = 6,
    dma_buf_import = 15,
};

bool is_supported(uint64_t display, pid_t pid, extension_row row)
{
    return zelvar_data_is_egl_extension_supported(pid, display, row);
}

bool images_are_supported(egl_handler& call, uint64_t display)
{
    if (is_supported(display, call.pid, khr_image) || is_supported(display, call.pid, khr_image_base))
        return true;
    call.error = EGL_BAD_ACCESS;
    return false;
}

bool is_cube_face(EGLenum kind)
{
    return kind >= EGL_GL_TEXTURE_CUBE_MAP_POSITIVE_X_KHR && kind <= EGL_GL_TEXTURE_CUBE_MAP_NEGATIVE_Z_KHR;
}

bool is_kind_accepted(const egl_handler& call, uint64_t display, EGLenum kind)
{
    if (is_cube_face(kind))
        return is_supported(display, call.pid, cubemap_image);
    switch (kind) {
    case EGL_NATIVE_PIXMAP_KHR:
        LOG_FATAL("eglCreateImageKHR doesn't support EGL_NATIVE_PIXMAP_KHR on host.");
        return false;
    case EGL_GL_TEXTURE_2D_KHR:
        return is_supported(display, call.pid, texture_2d_image);
    case EGL_GL_RENDERBUFFER_KHR:
        return is_supported(display, call.pid, renderbuffer_image);
    case EGL_NATIVE_BUFFER_ANDROID:
        return zelvar_helpers_is_shim_runs_android(call.pid, call.tid) &&
               is_supported(display, call.pid, texture_2d_image);
    case EGL_WAYLAND_BUFFER_WL:
        return true;
    case EGL_LINUX_DMA_BUF_EXT:
        return is_supported(display, call.pid, dma_buf_import);
    }
    return false;
}

/// One eglCreateImageKHR, and what the host's image will be made of.
struct image_request
{
    egl_handler& call;
    uint64_t target_display;
    uint64_t target_context;
    EGLenum kind;
    uint64_t buffer;
    EGLDisplay display = EGL_NO_DISPLAY;
    attribute_pairs attributes{};
    bool has_list = false;

    EGLContext host_context = EGL_NO_CONTEXT;
    EGLenum host_kind = 0;
    uint32_t host_object = 0;
    uint32_t service_texture = 0; // the host object, for native buffers
    bool in_use = false;          // the target has been told that its buffer is
    wire::winsys_buffer_object_descriptor descriptor{};
};

template <class Objects>
bool find_host_object(image_request& request, const Objects& objects, const char* word)
{
    auto found =
        request.buffer <= UINT32_MAX ? objects.find(static_cast<uint32_t>(request.buffer)) : objects.end();
    if (found == objects.end()) {
        LOG_ERROR(
            "Cannot find %s object descriptor for id=%d. Host-side will not execute glCreateImageKHR().",
            word, static_cast<int>(request.buffer));
        return false;
    }
    request.host_kind = request.kind;
    request.host_object = found->second.host_id;
    return true;
}

/// The objects are those of the context that the call names, whichever is current.
bool take_gl_object(image_request& request)
{
    visited_group group{request.call.pid, request.target_context};
    _zelvar_context_data* owner = group ? group.model() : request.call.context();
    shared_guard group_lock{owner};
    const auto& objects = *owner->data_shared;
    return request.kind == EGL_GL_RENDERBUFFER_KHR
               ? find_host_object(request, objects.renderbuffers, "renderbuffer")
               : find_host_object(request, objects.textures, "texture");
}

bool take_dma_buf(image_request& request)
{
    auto& descriptor = request.descriptor;
    descriptor.source_kind = EGL_LINUX_DMA_BUF_EXT;
    for (auto [attribute, value] : request.attributes) {
        switch (attribute) {
        case EGL_LINUX_DRM_FOURCC_EXT:
            // An unknown code leaves no format, which is refused with the rest.
            zelvar_helper_breakdown_fourcc_color(static_cast<uint32_t>(value), &descriptor, fourcc_for_gles);
            break;
        case EGL_HEIGHT:
            descriptor.height = static_cast<uint32_t>(value);
            break;
        case EGL_WIDTH:
            descriptor.width = static_cast<uint32_t>(value);
            break;
        case EGL_DMA_BUF_PLANE0_FD_EXT:
            request.buffer = static_cast<uint32_t>(value);
            break;
        case EGL_DMA_BUF_PLANE0_PITCH_EXT:
            descriptor.stride = static_cast<uint32_t>(value);
            break;
        case EGL_DMA_BUF_PLANE0_OFFSET_EXT:
            if (value == 0)
                break;
            LOG_ERROR("Trying to create an EGLImage from a dma_buf with a non-zero offset. Currently "
                      "Unsupported");
            return false;
        default:
            LOG_WARN("Multiplane attributes are not supported for EXT_image_dma_buf_import. Attributes will "
                     "be ignored.");
        }
    }
    request.attributes.clear();
    return true;
}

void begin_use(image_request& request)
{
    zelvar_shim_dispatch_winsys_buffer_object_begin_use(request.call.pid, request.call.tid, request.buffer,
                                                        request.kind, &request.descriptor);
    request.in_use = request.kind == EGL_NATIVE_BUFFER_ANDROID; // others are not given back either
    if (request.kind == EGL_WAYLAND_BUFFER_WL)
        request.attributes.clear();
}

bool take_native_buffer(image_request& request, EGLContext service_context)
{
    if (request.kind != EGL_LINUX_DMA_BUF_EXT)
        begin_use(request);
    else if (!take_dma_buf(request))
        return false;
    request.service_texture = create_service_texture(request.call.pid, request.descriptor);
    request.host_object = request.service_texture;
    request.host_kind = EGL_GL_TEXTURE_2D_KHR;
    request.host_context = service_context;
    return request.service_texture != 0;
}

/// The application's list; false, with a line, when it can't be had.
bool read_list(image_request& request, target_ptr list)
{
    request.has_list = static_cast<bool>(list);
    if (read_attribute_list(request.call.pid, request.call.tid, list, &request.attributes))
        return true;
    LOG_FATAL("Could not retrieve host-side attribute list from address [%16ld]", shown(list.address));
    return false;
}

EGLImageKHR make_host_image(image_request& request)
{
    const auto list = terminated(request.attributes);
    auto made = request.call.host<&egl_table::eglCreateImageKHR>(
        request.display, request.host_context, request.host_kind,
        reinterpret_cast<EGLClientBuffer>(uintptr_t{request.host_object}),
        request.has_list ? list.data() : static_cast<const EGLint*>(nullptr));
    if (made.result != EGL_NO_IMAGE_KHR && made.ok())
        return made.result;
    LOG_ERROR("An error ocurred during host-side glCreateImageKHR() call. Error code =[%d] result=[%p]",
              static_cast<int>(made.error), made.result);
    return EGL_NO_IMAGE_KHR;
}

bool register_image(const image_request& request, EGLImageKHR host_image, uint64_t target_image)
{
    const pid_t pid = request.call.pid;
    return zelvar_object_manager_add_egl_image(pid, host_image, target_image) &&
           zelvar_object_manager_set_egl_image_target(pid, target_image, request.kind) &&
           zelvar_object_manager_set_egl_image_target_display(pid, target_image, request.target_display) &&
           (!request.service_texture ||
            (zelvar_object_manager_set_egl_image_service_texture(pid, target_image,
                                                                 request.service_texture) &&
             zelvar_object_manager_set_egl_image_android_native_window_buffer_parameters(
                 pid, target_image, request.buffer, request.descriptor)));
}

void destroy_unregistered(const image_request& request, EGLImageKHR host_image)
{
    if (!host::egl<&egl_table::eglDestroyImageKHR>(request.display, host_image).result)
        LOG_ERROR("An error ocurred during host-side reversion call. Desync ahead.");
}

/// Makes the image of what has been found; 0 when nothing came of it.
uint64_t make_image(image_request& request, uint64_t target_image, EGLContext service_context)
{
    const bool found = is_native_image_kind(request.kind) ? take_native_buffer(request, service_context)
                                                          : take_gl_object(request);
    if (EGLImageKHR host_image = found ? make_host_image(request) : EGL_NO_IMAGE_KHR) {
        if (register_image(request, host_image, target_image))
            return target_image;
        destroy_unregistered(request, host_image);
    }
    if (request.service_texture)
        zelvar_object_manager_delete_service_texture(request.call.pid, request.service_texture);
    return 0;
}

uint64_t create_image(egl_handler& call, uint64_t dpy, uint64_t context, EGLenum kind, uint64_t buffer,
                      target_ptr attrib_list, uint64_t target_result, unsigned target_error)
{
    image_request request{
        .call = call, .target_display = dpy, .target_context = context, .kind = kind, .buffer = buffer};
    request.descriptor.type = GL_UNSIGNED_BYTE;
    if (!zelvar_object_manager_get_host_display(call.pid, call.tid, dpy, &request.display)) {
        call.error = EGL_BAD_DISPLAY;
        return 0;
    }
    if (!images_are_supported(call, dpy)) {
        LOG_FATAL("Cannot execute eglCreateImageKHR() call as neither EGL_KHR_image nor EGL_KHR_image_base "
                  "extensions are supported on both target and host.");
        return 0;
    }
    if (!is_kind_accepted(call, dpy, kind)) {
        LOG_ERROR("The target argument [%d] is invalid or there is no EGL extension support for such target.",
                  static_cast<int>(kind));
        call.error = EGL_BAD_PARAMETER;
        return 0;
    }
    if (!zelvar_object_manager_get_host_context(call.pid, context, &request.host_context)) {
        LOG_FATAL("Could not retrieve host-side context instance for target-side context [%16ld] for process "
                  "id [%d]",
                  shown(context), call.pid);
        return 0;
    }
    uint64_t image_id = 0;
    {
        std::optional<service_scope> service;
        if (is_native_image_kind(kind)) {
            service.emplace(call.pid, call.tid, request.display);
            if (!*service)
                return 0;
        }
        const uint64_t target_image =
            zelvar_call_on_target() ? target_result : zelvar_object_manager_generate_target_egl_image();
        if (target_image == 0) {
            LOG_ERROR("Target-side eglCreateImageKHR() call failed: image reported=[%16ld] EGL error "
                      "code=[%d]. Host side will NOT execute the call.",
                      shown(target_image), static_cast<int>(target_error));
            return 0;
        }
        if (read_list(request, attrib_list))
            image_id = make_image(request, target_image, service ? service->context() : EGL_NO_CONTEXT);
    }
    // A failed image gives the target's buffer back, which nothing else would.
    if (image_id == 0 && request.in_use)
        zelvar_object_manager_end_native_buffer_use(call.pid, call.tid, buffer);
    return image_id;
}
} // namespace

void egl_eglCreateImageKHR(pid_t pid, tid_t tid, uint64_t dpy, uint64_t context, EGLenum target,
                           uint64_t buffer, target_ptr attrib_list, result_of<uint64_t> target_result,
                           egl_target_error target_error)
{
    egl_handler call{"egl_eglCreateImageKHR", pid, tid, target_error};
    call.trace("dpy", dpy, "ctx", context, "target", target, "buffer", buffer, "attrib_list", attrib_list);
    if (!call.lock("eglCreateImageKHR"))
        return;
    uint64_t image = 0;
    try {
        image = create_image(call, dpy, context, target, buffer, attrib_list, target_result.value,
                             target_error.code);
    } catch (const std::bad_alloc&) {
        LOG_FATAL("Host-side memory allocation failed.");
        call.error = EGL_BAD_ALLOC;
    }
    call.reply(image);
}

void egl_eglDestroyImageKHR(pid_t pid, tid_t tid, uint64_t dpy, uint64_t image, result_of<EGLBoolean>,
                            egl_target_error target_error)
{
    egl_handler call{"egl_eglDestroyImageKHR", pid, tid, target_error};
    call.trace("dpy", dpy, "image", image);
    EGLBoolean result = EGL_FALSE;
    if (!images_are_supported(call, dpy))
        LOG_FATAL("Cannot execute eglDestroyImageKHR() call - either EGL_KHR_image or EGL_KHR_image_base "
                  "must be supported on both the host and target");
    else if (zelvar_object_manager_set_egl_image_delete_postponed(pid, tid, dpy, image))
        result = EGL_TRUE;
    else
        LOG_DEBUG("Image [%16ld] of process [%d] is already gone.", shown(image), pid);
    call.reply(result);
}
