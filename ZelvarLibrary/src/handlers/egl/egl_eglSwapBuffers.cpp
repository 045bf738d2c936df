// The moment at which a finished frame leaves the host's pbuffer: read back and written to the target's frame
// buffer, or parked for the GPU model.

#include "combiner.h"
#include "handlers/egl/egl_handlers.h"
#include "handlers/handler.h"
#include "object_manager/images.h"
#include "pixels/pack_buffer.h"
#include "pixels/read_buffer.h"
#include "pixels/read_host_pixels.h"

#include <algorithm>
#include <utility>

namespace {
/// No host has a pbuffer beyond this; a frame that claims more is a target's mistake, not a frame.
constexpr uint64_t largest_frame = uint64_t{1} << 30; // bytes

constexpr uint32_t bytes_of(uint32_t bits_per_pixel)
{
    return bits_per_pixel / 8 + (bits_per_pixel % 8 != 0);
}

/// One swap being delivered.
struct frame_delivery
{
    egl_handler& call;
    buffer_info info;
    uint64_t draw_surface = 0; // the bound one, whatever the call named
    uint64_t read_surface = 0; // 0 when the context reads from a framebuffer object
    current_pack_params pack_params;
    int32_t host_major = 0;
};

struct read_layout
{
    uint32_t format;
    uint32_t type;
};

read_layout layout_for(uint32_t bytes_per_pixel)
{
    if (bytes_per_pixel == 4)
        return {GL_RGBA, GL_UNSIGNED_BYTE};
    if (bytes_per_pixel == 2)
        return {GL_RGB, GL_UNSIGNED_SHORT_5_6_5};
    return {GL_RGB, GL_UNSIGNED_BYTE};
}

bool frame_is_possible(uint32_t width, uint32_t height, uint32_t stride, uint32_t bytes_per_pixel)
{
    uint64_t pixels = uint64_t{std::max(width, stride)} * height;
    if (bytes_per_pixel == 0 || pixels <= largest_frame / bytes_per_pixel)
        return true;
    LOG_ERROR(
        "A frame of %u x %u pixels with a stride of %u is too large. Visual data will not be copied from "
        "host-side to target-side.",
        width, height, stride);
    return false;
}

/// Whether the read-back writes every pixel of the frame: the surface that is read isn't smaller.
bool frame_is_covered(const frame_delivery& delivery)
{
    uint16_t width = 0;
    uint16_t height = 0;
    return delivery.read_surface &&
           zelvar_object_manager_get_host_surface_properties(delivery.call.pid, delivery.read_surface, &width,
                                                             &height) &&
           width >= delivery.info.width && height >= delivery.info.height;
}

/// Reads the frame and writes it to the target's frame buffer.
void combine(frame_delivery& delivery)
{
    LOG_DEBUG("Calling combiner to recover pixels, format, and write to target : TARGET_GPU_NONE or _DUMMY");
    buffer_info& info = delivery.info;
    uint32_t bytes_per_pixel = bytes_of(info.bits_per_pixel);
    if (!frame_is_possible(info.width, info.height, info.stride, bytes_per_pixel))
        return;
    read_layout layout = layout_for(bytes_per_pixel);
    _inter_frame_data frame;
    frame.reversed = true;
    if (zelvar_helpers_read_pixels_from_host_GPU(&frame.pCurrentFrame, info.width, info.height,
                                                 bytes_per_pixel, delivery.host_major, delivery.pack_params,
                                                 layout.format, layout.type, frame_is_covered(delivery),
                                                 &frame.blue_first)) {
        const uint64_t size = uint64_t{info.width} * info.height * bytes_per_pixel;
        frame.current_size = size;
        combiner(delivery.call.pid, delivery.call.tid, &info, &frame, true);
        if (!frame.pCurrentFrame && frame.previous_size == size)
            zelvar_helpers_reuse_pixels(std::exchange(frame.previous_frame, nullptr), size);
    }
    release_inter_frame_data(&frame);
}

/// Frame buffer size of a target without Android: asked for once after each bind.
bool find_framebuffer_size(frame_delivery& delivery)
{
    egl_handler& call = delivery.call;
    uint32_t width = 0;
    uint32_t height = 0;
    if (!zelvar_object_manager_has_draw_surface_been_changed_since_last_swap()) {
        zelvar_object_manager_framebuffer_resolution_get(&width, &height);
    } else {
        zelvar_shim_dispatch_get_fb_height(call.pid, call.tid, &height);
        if (height == 0)
            LOG_FATAL("Could not query target-side framebuffer height.");
        zelvar_shim_dispatch_get_fb_width(call.pid, call.tid, &width);
        if (width == 0)
            LOG_FATAL("Could not query target-side framebuffer width.");
        if (width == 0 || height == 0)
            return false;
        zelvar_object_manager_framebuffer_resolution_set(width, height);
    }
    delivery.info.width = width;
    delivery.info.height = height;
    return true;
}

void deliver_without_android(frame_delivery& delivery)
{
    egl_handler& call = delivery.call;
    uint64_t config = 0;
    if (!zelvar_object_manager_get_surface_config(call.pid, delivery.draw_surface, &config)) {
        LOG_FATAL("Could not retrieve details of bound draw surface. Visual data will not be copied from "
                  "host-side to target-side.");
        return;
    }
    if (delivery.info.buffer == 0)
        return;
    if (find_framebuffer_size(delivery))
        combine(delivery);
    zelvar_object_manager_reset_draw_surface_changed_flag();
}

/// A container without a bit depth gets it from the surface's config.
void describe_container(const frame_delivery& delivery, uint64_t target_display,
                        zelvar_host_pixel_container* container)
{
    if (container->description.bits_per_pixel != 0)
        return;
    egl_handler& call = delivery.call;
    uint64_t config = 0;
    uint32_t bpp = 0;
    if (zelvar_object_manager_get_surface_config(call.pid, delivery.draw_surface, &config))
        zelvar_object_manager_get_target_config_bpp(call.pid, call.tid, target_display, config, &bpp);
    zelvar_object_manager_set_host_pixel_container_desc(container, bpp);
}

/// Parks the frame for the GPU model, which fetches it later.
void park(frame_delivery& delivery, uint64_t target_display, uint64_t target_surface)
{
    LOG_DEBUG("Calling combiner to recover pixels but not writing them to target : TARGET_GPU_REAL");
    egl_handler& call = delivery.call;
    constexpr uint32_t swap_label = 1;
    zelvar_host_pixel_container* container = zelvar_object_manager_get_host_pixel_container(
        call.pid & model_pid_mask, swap_label, target_surface, 0, true);
    if (!container) {
        LOG_FATAL(
            "Could not get zelvar_host_pixel_container cache for target EGLSurface [%ld] at process %d. "
            "eglSwapBuffers will not draw any pixels",
            static_cast<long>(target_surface), call.pid);
        return;
    }
    describe_container(delivery, target_display, container);
    uint16_t width = 0;
    uint16_t height = 0;
    if (!zelvar_object_manager_get_host_surface_properties(call.pid, target_surface, &width, &height)) {
        LOG_FATAL(
            "Could not get dimensions of host EGLSurface [%#lx]. eglSwapBuffers will not draw any pixels",
            static_cast<unsigned long>(target_surface));
        return;
    }
    zelvar_object_manager_set_host_pixel_container_height(container, height);
    zelvar_object_manager_set_host_pixel_container_width(container, width);
    uint32_t bytes_per_pixel = bytes_of(container->description.bits_per_pixel);
    uint8_t* pixels = nullptr;
    if (!zelvar_helpers_read_pixels_from_host_GPU(&pixels, width, height, bytes_per_pixel,
                                                  delivery.host_major, delivery.pack_params,
                                                  container->description.format, container->description.type))
        return;
    if (_zelvar_is_framebuffer_size(width, height))
        calculateFps(width, height);
    zelvar_object_manager_set_host_pixel_container_data(container, pixels,
                                                        uint64_t{width} * height * bytes_per_pixel);
}

/// The bound draw surface when it is a window: anything else delivers nothing.
bool find_bound_window(const egl_handler& call, uint64_t* draw, uint64_t* read)
{
    if (!zelvar_object_manager_get_bound_target_surfaces(call.pid, call.tid, draw, read)) {
        LOG_FATAL("Could not retrieve bound surfaces. Visual data will not be copied from host-side to "
                  "target-side");
        return false;
    }
    zelvar_surface_type type = surface_pbuffer;
    if (!zelvar_object_manager_get_surface_type(call.pid, *draw, &type)) {
        LOG_FATAL(
            "Could not retrieve bound draw surface's type. Visual data will not be copied from host-side to "
            "target-side.");
        return false;
    }
    return type == surface_window;
}

void deliver(egl_handler& call, const _zelvar_context_data& context, const buffer_info& info,
             uint64_t target_display, uint64_t target_surface)
{
    frame_delivery delivery{call, info, 0, 0, context.pack_params, context.host_major_version};
    if (!find_bound_window(call, &delivery.draw_surface, &delivery.read_surface))
        return;
    if (context.read_framebuffer != 0)
        delivery.read_surface = 0;
    auto& vertex_arrays = context.data_nonshared->vertex_arrays;
    auto vertex_array = vertex_arrays.find(context.bound_vertex_array);
    if (vertex_array == vertex_arrays.end()) {
        LOG_FATAL("Could not find currently bound vertex array object descriptor id [%d].",
                  context.bound_vertex_array);
        return;
    }
    if (reads_nothing(context)) {
        LOG_WARN("There is no read buffer. Visual data will not be copied from host-side to target-side.");
        return;
    }
    if (delivery.info.stride < delivery.info.width) {
        LOG_DEBUG("pixel_stride < display_width, adjusting pixel_stride");
        delivery.info.stride = delivery.info.width;
    }
    pack_buffer_off pack_buffer{context, context.host_bindings.pixel_pack_buffer};
    if (zelvar_target_gpu() == TARGET_GPU_REAL)
        park(delivery, target_display, target_surface);
    else if (zelvar_helpers_is_shim_runs_android(call.pid, call.tid))
        combine(delivery);
    else
        deliver_without_android(delivery);
}
} // namespace

void egl_eglSwapBuffers(pid_t pid, tid_t tid, uint64_t target_display, uint64_t target_surface,
                        uint64_t framebuffer, uint32_t framebuffer_length, uint64_t format,
                        uint64_t attributes, uint32_t bpp, uint32_t height, uint32_t width, uint32_t stride,
                        result_of<EGLBoolean>, egl_target_error target_error)
{
    egl_handler call{"egl_eglSwapBuffers", pid, tid, target_error};
    call.trace("dpy", target_display, "surface", target_surface, "framebuffer", framebuffer, "length",
               framebuffer_length, "format", format, "attributes", attributes, "bpp", bpp, "height", height,
               "width", width, "stride", stride);
    _zelvar_context_data* context = call.lock(nullptr);
    if (!context)
        return;
    EGLDisplay host_display = EGL_NO_DISPLAY;
    EGLSurface host_surface = EGL_NO_SURFACE;
    if (!zelvar_object_manager_get_host_display(pid, tid, target_display, &host_display)) {
        LOG_FATAL(
            "Host-side representation of EGLDisplay object [%16ld] not found. Host-side call not executed.",
            static_cast<long>(target_display));
        return call.reply(EGLBoolean{EGL_FALSE});
    }
    if (!zelvar_object_manager_get_host_surface(pid, target_surface, &host_surface)) {
        LOG_FATAL(
            "Host-side representation of EGLSurface object [%16ld] not found. Host-side call not executed.",
            static_cast<long>(target_surface));
        return call.reply(EGLBoolean{EGL_FALSE});
    }
    auto swapped = call.host<&sidechannel_egl_imports::eglSwapBuffers>(host_display, host_surface);
    if (swapped.ok())
        deliver(call, *context,
                {framebuffer, format, attributes, framebuffer_length, bpp, height, width, stride},
                target_display, target_surface);
    else
        LOG_ERROR(
            "Host-side eglSwapBuffers() call failed for host_display=[%ld], host_surface=[%ld] with code "
            "=[%d]! Cannot revert.",
            reinterpret_cast<long>(host_display), reinterpret_cast<long>(host_surface), swapped.error);
    call.reply(swapped.result);
}
