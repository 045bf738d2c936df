#include "handlers/gles/winsys_buffers.h"

#include "handlers/gles/texture_update.h"
#include "pixels/color_swizzle.h"
#include "settings/zelvar_settings.h"
#include "shim/zelvar_shim_dispatch.h"
#include "sidechannel_log.h"

#include <utility>

namespace {
using descriptor_type = wire::winsys_buffer_object_descriptor;

/// Bytes of the whole buffer; 0, with a line, when it can't have any.
uint32_t size_of_buffer(const descriptor_type& buffer)
{
    if (buffer.stride == 0)
        LOG_FATAL("winsys_buffer stride (in Bpp) reported as 0. This may point to a HAL integration issue. "
                  "Make sure the stride is correctly filled out from the HAL.");
    const uint64_t size = buffer.get_buffer_size();
    if (size != 0 && size <= largest_winsys_buffer)
        return static_cast<uint32_t>(size);
    LOG_FATAL("Invalide target buffer size requested [%u]. Please check android native window buffer "
              "parameters: format=[%#x] type=[%#x] width=[%u] height=[%u] bpp=[%u] remove_alpha=%d",
              static_cast<unsigned>(size), buffer.format, buffer.type, buffer.width, buffer.height,
              buffer.bits_per_pixel, buffer.remove_alpha);
    return 0;
}

/// A buffer of the target, mapped for as long as this lives.
class mapped_winsys_buffer
{
public:
    mapped_winsys_buffer(pid_t pid, tid_t tid, uint64_t buffer, const descriptor_type& descriptor,
                         uint32_t size)
        : _pid(pid), _tid(tid), _buffer(buffer), _mapped(descriptor), _size(size)
    {
        _mapped.pixels = 0;
        _mapped.mapped = 0;
        zelvar_shim_dispatch_winsys_map_buffer_object(pid, tid, buffer, &_mapped);
        _usable = _mapped.pixels != 0 && _mapped.get_buffer_size() >= size;
        if (!_usable)
            LOG_FATAL("Invalid Android native window buffer parameters target data ptr=[%ld], target data "
                      "size [%u], expected size [%u]",
                      static_cast<long>(_mapped.pixels), static_cast<unsigned>(_mapped.get_buffer_size()),
                      size);
    }
    ~mapped_winsys_buffer()
    {
        if (!_mapped.mapped)
            return;
        uint32_t ok = 0;
        zelvar_shim_dispatch_winsys_unmap_buffer_object(_pid, _tid, pixels(), _size, &ok);
        if (!ok)
            LOG_ERROR("Target side has failed to unmap buffer [%ld].", static_cast<long>(_buffer));
    }
    mapped_winsys_buffer(const mapped_winsys_buffer&) = delete;
    mapped_winsys_buffer& operator=(const mapped_winsys_buffer&) = delete;

    explicit operator bool() const { return _usable; }
    target_ptr pixels(uint64_t offset = 0) const { return {_mapped.pixels + offset}; }

private:
    pid_t _pid;
    tid_t _tid;
    uint64_t _buffer;
    descriptor_type _mapped;
    uint32_t _size;
    bool _usable = false;
};

/// Buffers that promise no alpha may hold anything in its place.
void make_opaque(const descriptor_type& buffer, uint8_t* pixels, uint32_t size)
{
    if (zelvar_target_gpu() == TARGET_GPU_REAL || !buffer.remove_alpha || buffer.bits_per_pixel != 32)
        return;
    LOG_DEBUG("Zeroing out fourth channel in buffer - this assumes the format is in RGBA or BGRA. If it is "
              "not - expect the colors to be wrong.");
    for (uint32_t at = 3; at < size; at += 4)
        pixels[at] = 255;
}
} // namespace

uint8_t* zelvar_helpers_read_winsys_buffer_pixels(pid_t pid, tid_t tid, uint64_t buffer,
                                                  const descriptor_type& descriptor)
{
    const uint32_t size = size_of_buffer(descriptor);
    if (size == 0)
        return nullptr;
    mapped_winsys_buffer mapped{pid, tid, buffer, descriptor, size};
    if (!mapped)
        return nullptr;
    // Zeros: a target that can't be asked leaves them as they are.
    malloc_block pixels{static_cast<uint8_t*>(std::calloc(size, 1))};
    if (!pixels) {
        LOG_ERROR("There is no memory for the %u bytes of buffer [%ld].", size, static_cast<long>(buffer));
        return nullptr;
    }
    zelvar_shim_dispatch_read_from_shim_address_space(pid, tid, size, mapped.pixels(), pixels.get());
    make_opaque(descriptor, pixels.get(), size);
    return pixels.release();
}

bool write_winsys_buffer_pixels(pid_t pid, tid_t tid, uint64_t buffer, const descriptor_type& descriptor,
                                const uint8_t* pixels, uint64_t pitch, uint64_t row, uint32_t height)
{
    const uint32_t size = size_of_buffer(descriptor);
    if (size == 0 || row > descriptor.stride || height > descriptor.height)
        return false;
    mapped_winsys_buffer mapped{pid, tid, buffer, descriptor, size};
    if (!mapped)
        return false;
    auto write = [&](uint64_t offset, uint64_t length, const uint8_t* from) {
        zelvar_shim_dispatch_write_to_shim_address_space_force(pid, tid, static_cast<uint32_t>(length), from,
                                                               mapped.pixels(offset));
    };
    if (pitch == row && row == descriptor.stride) {
        write(0, row * height, pixels);
        return true;
    }
    for (uint32_t y = 0; y < height; ++y)
        write(uint64_t{y} * descriptor.stride, row, pixels + y * pitch);
    return true;
}

bool update_service_texture(const _zelvar_context_data& context, uint32_t texture,
                            const descriptor_type& descriptor, const uint8_t* pixels)
{
    const auto [format, type] = host_layout_of(descriptor);
    // What the host steps by, whatever depth the target claims.
    const uint64_t bytes = zelvar_data_get_pixel_reach(format, type);
    const uint64_t pixel_count = uint64_t{descriptor.width} * descriptor.height;
    if (pixel_count > largest_winsys_buffer / bytes) {
        LOG_ERROR("A buffer of %u x %u pixels is too large for a texture.", descriptor.width,
                  descriptor.height);
        return false;
    }
    return zelvar_helpers_update_texture_pixel_data(&context, texture, descriptor.width, descriptor.height,
                                                    format, type, descriptor.stride,
                                                    static_cast<uint32_t>(bytes * 8), pixels);
}

bool refresh_service_texture(pid_t pid, tid_t tid, const _zelvar_context_data& context,
                             const _zelvar_object_manager_egl_image_data& image)
{
    malloc_block pixels{
        zelvar_helpers_read_winsys_buffer_pixels(pid, tid, image.native_buffer, image.native_parameters)};
    if (!pixels) {
        LOG_FATAL("Failed to read pixels data from target side.");
        return false;
    }
    return update_service_texture(context, image.service_texture, image.native_parameters, pixels.get());
}
