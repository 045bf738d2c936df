#include "pixels/read_host_pixels.h"

#include "pixels/fourcc.h"
#include "pixels/swizzle.h"
#include "registration/host_call.h"
#include "settings/zelvar_settings.h"
#include "sidechannel_log.h"
#include "wire/pixel_order.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

using gles_table = sidechannel_gles_imports;

namespace {
struct pack_parameter
{
    uint32_t pname;
    int32_t current_pack_params::*field;
    int32_t default_value;
    bool gles3_only;
    const char* name;
};

constexpr pack_parameter pack_parameters[] = {
    {GL_PACK_ROW_LENGTH, &current_pack_params::row_length, 0, true, "GL_PACK_ROW_LENGTH"},
    {0x806C, &current_pack_params::image_height, 0, true, "GL_PACK_IMAGE_HEIGHT"},
    {GL_PACK_SKIP_PIXELS, &current_pack_params::skip_pixels, 0, true, "GL_PACK_SKIP_PIXELS"},
    {GL_PACK_SKIP_ROWS, &current_pack_params::skip_rows, 0, true, "GL_PACK_SKIP_ROWS"},
    {0x806B, &current_pack_params::skip_images, 0, true, "GL_PACK_SKIP_IMAGES"},
    {GL_PACK_ALIGNMENT, &current_pack_params::alignment, 4, false, "GL_PACK_ALIGNMENT"},
};

/// Visits the parameters that the application has set to something else and that this host context knows.
template <class Visit>
void for_each_changed(const current_pack_params& params, bool is_gles3, Visit visit)
{
    for (const pack_parameter& p : pack_parameters)
        if (params.*p.field != p.default_value && (is_gles3 || !p.gles3_only))
            visit(p);
}

using pixel_block = std::unique_ptr<uint8_t, decltype(&std::free)>;

/// The block of this thread's last frame.
struct kept_block
{
    pixel_block pixels{nullptr, &std::free};
    uint64_t size = 0;
};
thread_local kept_block kept;

enum class contents
{
    zeros,
    anything, // every byte is about to be written
};

pixel_block make_block(uint64_t size, contents wanted)
{
    if (kept.pixels && kept.size == size && size) {
        if (wanted == contents::zeros)
            std::memset(kept.pixels.get(), 0, size);
        return std::move(kept.pixels);
    }
    auto* bytes = static_cast<uint8_t*>(std::calloc(size ? size : 1, 1));
    if (!bytes)
        LOG_FATAL("zelvar_helpers_read_pixels_from_host_GPU(): Could not allocate memory for pixel_data.");
    return {bytes, &std::free};
}

/// Below it, asking the host costs as much as it saves.
constexpr uint64_t least_pixels_worth_a_question = 4096;

/// Whether the host keeps the pixels blue first. Drivers then copy such pixels but turn each one when they
/// are asked for red first, at several times the price of turning them here.
bool host_keeps_blue_first()
{
    GLint format = 0;
    GLint type = 0;
    auto asked = host::gl<&gles_table::glGetIntegerv>(GL_IMPLEMENTATION_COLOR_READ_FORMAT, &format);
    if (!asked.ok() || format != GL_BGRA_EXT)
        return false;
    asked = host::gl<&gles_table::glGetIntegerv>(GL_IMPLEMENTATION_COLOR_READ_TYPE, &type);
    return asked.ok() && type == GL_UNSIGNED_BYTE;
}

bool read_blue_first(uint8_t* block, uint32_t width, uint32_t height, bool* left_so)
{
    const uint64_t pixels = uint64_t{width} * height;
    if (pixels < least_pixels_worth_a_question || !host_keeps_blue_first())
        return false;
    auto read =
        host::gl<&gles_table::glReadPixels>(0, 0, width, height, GL_BGRA_EXT, GL_UNSIGNED_BYTE, block);
    if (!read.ok())
        return false;
    if (left_so)
        *left_so = true;
    else
        wire::swap_red_and_blue(block, block, pixels);
    return true;
}

bool framebuffer_is_complete()
{
    auto status = host::gl<&gles_table::glCheckFramebufferStatus>(GL_FRAMEBUFFER);
    if (status.ok() && status.result == GL_FRAMEBUFFER_COMPLETE)
        return true;
    LOG_ERROR("Currently bound framebuffer is not framebuffer complete, host_status is 0x%04X.",
              status.result);
    return false;
}

/// A multisampled default framebuffer of an OpenGL ES 3 context can be read, no other multisampled one.
bool samples_allow_reading(bool is_gles3)
{
    GLint read_framebuffer = 0;
    if (is_gles3)
        host::gl<&gles_table::glGetIntegerv>(GL_READ_FRAMEBUFFER_BINDING, &read_framebuffer);
    GLint sample_buffers = 0;
    host::gl<&gles_table::glGetIntegerv>(GL_SAMPLE_BUFFERS, &sample_buffers);
    if (sample_buffers == 0 || (is_gles3 && read_framebuffer == 0))
        return true;
    LOG_WARN("Combiner to skip the coming ReadPixels call, since FBO has associated sample buffers.");
    return false;
}

/// The host can't deliver this layout: read RGBA8 and convert.
bool read_converted(uint8_t* block, uint32_t width, uint32_t height, uint32_t bytes_per_pixel,
                    uint32_t format, uint32_t type)
{
    bool direct = bytes_per_pixel == 4;
    pixel_block temporary{nullptr, &std::free};
    if (!direct) {
        temporary = make_block(uint64_t{width} * height * 4, contents::zeros);
        if (!temporary)
            return false;
    }
    uint8_t* source = direct ? block : temporary.get();
    auto read = host::gl<&gles_table::glReadPixels>(0, 0, width, height, GL_RGBA, GL_UNSIGNED_BYTE, source);
    if (!read.ok()) {
        LOG_ERROR("HOST_GL_READ_PIXELS failed during swizzling: %x native format: %x native type: %x",
                  read.error, GL_RGBA, GL_UNSIGNED_BYTE);
        return false;
    }
    uint32_t bits = bytes_per_pixel * 8;
    return zelvar_helpers_swizzle_pixels(format, type, GL_RGBA, GL_UNSIGNED_BYTE, height, width,
                                         direct ? bits : 32, bits, source, block);
}

bool read_into(uint8_t* block, uint32_t width, uint32_t height, uint32_t bytes_per_pixel, uint32_t format,
               uint32_t type, bool* blue_first)
{
    if (uint32_t fourcc = setting(zelvar_only_settings.forceHostDRM4CC)) {
        LOG_WARN("We're forcing DRM4CC value 0x%x on HOST_GL_READ_PIXELS", fourcc);
        wire::winsys_buffer_object_descriptor forced{};
        zelvar_helper_breakdown_fourcc_color(fourcc, &forced, fourcc_for_gles);
        // A code of more bytes than the frame has would write behind the block.
        if (forced.bits_per_pixel <= bytes_per_pixel * 8) {
            format = forced.format;
            type = forced.type;
        }
    }
    if (format == GL_RGBA && type == GL_UNSIGNED_BYTE && bytes_per_pixel == 4 &&
        read_blue_first(block, width, height, blue_first))
        return true;
    auto read = host::gl<&gles_table::glReadPixels>(0, 0, width, height, format, type, block);
    if (read.ok())
        return true;
    if (read.error == GL_INVALID_OPERATION || read.error == GL_INVALID_ENUM)
        return read_converted(block, width, height, bytes_per_pixel, format, type);
    LOG_ERROR("unknown error from HOST_GL_READ_PIXELS: %x format: %x type: %x", read.error, format, type);
    return false;
}

/// False leaves the zeroed block as the frame.
bool can_read(uint32_t bytes_per_pixel, uint32_t format, uint32_t type)
{
    if (bytes_per_pixel < 2 || bytes_per_pixel > 4) {
        LOG_FATAL("zelvar_helpers_read_pixels_from_host_GPU(): bytesPerPixel %d not supported",
                  bytes_per_pixel);
        return false;
    }
    if (format == 0 || type == 0) {
        LOG_ERROR(
            "In Reading Pixels from host for image pixels at %lx format passed in was : %x type passed in "
            "was: %x.",
            0ul, format, type);
        return false;
    }
    return true;
}
} // namespace

bool zelvar_helpers_is_gles3_context(const sidechannel_gles_imports*, int32_t major)
{
    if (major != 0)
        return major >= 3;
    auto version = host::gl<&gles_table::glGetString>(GL_VERSION);
    // The text begins with a letter on every host known, so an unknown version counts as 3.
    return version.result && *version.result > '2';
}

void zelvar_helpers_reset_pack_params(const sidechannel_gles_imports*, const current_pack_params& pack_params,
                                      bool is_gles3)
{
    for_each_changed(pack_params, is_gles3, [](const pack_parameter& p) {
        auto set = host::gl<&gles_table::glPixelStorei>(p.pname, p.default_value);
        if (!set.ok())
            LOG_ERROR("FAIL to reset the %s param. glPixelStorei failed with error code %#x\n, the later "
                      "glReadPixels() call may lead the Combiner to crash.",
                      p.name, set.error);
    });
}

void zelvar_helpers_set_pack_params_value_back(const sidechannel_gles_imports*,
                                               const current_pack_params& pack_params, bool is_gles3)
{
    for_each_changed(pack_params, is_gles3, [&](const pack_parameter& p) {
        auto set = host::gl<&gles_table::glPixelStorei>(p.pname, pack_params.*p.field);
        if (!set.ok())
            LOG_ERROR("FAIL to set the %s param back. glPixelStorei failed with error code %#x", p.name,
                      set.error);
    });
}

bool zelvar_helpers_read_pixels_from_host_GPU(uint8_t** pixels, uint32_t width, uint32_t height,
                                              uint32_t bytes_per_pixel, int32_t host_major_version,
                                              const current_pack_params& pack_params, uint32_t format,
                                              uint32_t type, bool covered, bool* blue_first)
{
    const sidechannel_gles_imports* gles = zelvar_imports_get_gles_ptrs();
    if (!framebuffer_is_complete())
        return false;
    bool is_gles3 = zelvar_helpers_is_gles3_context(gles, host_major_version);
    if (!samples_allow_reading(is_gles3))
        return false;
    zelvar_helpers_reset_pack_params(gles, pack_params, is_gles3);
    // At the default alignment the host pads each row of narrow pixels to 4 bytes: room for that.
    const uint64_t row = uint64_t{width} * bytes_per_pixel;
    const uint64_t size = row * height + (row % 4 ? 3 * uint64_t{height} : 0);
    pixel_block block = make_block(size, covered ? contents::anything : contents::zeros);
    bool delivered = block != nullptr;
    if (delivered && can_read(bytes_per_pixel, format, type))
        delivered = read_into(block.get(), width, height, bytes_per_pixel, format, type, blue_first);
    else if (delivered)
        std::memset(block.get(), 0, size);
    zelvar_helpers_set_pack_params_value_back(gles, pack_params, is_gles3);
    if (delivered)
        *pixels = block.release();
    return delivered;
}

void zelvar_helpers_reuse_pixels(uint8_t* pixels, uint64_t size)
{
    kept.pixels.reset(pixels);
    kept.size = size;
}
