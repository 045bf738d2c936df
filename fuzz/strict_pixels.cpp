// What the strict host reads of images, and writes of pixels.

#include "strict_host.h"

#include <cstring>

namespace strict_host {
namespace {
uint64_t components_of(GLenum format)
{
    switch (format) {
    case GL_RGB:
    case GL_RGB_INTEGER:
        return 3;
    case GL_RG:
    case GL_RG_INTEGER:
    case GL_LUMINANCE_ALPHA:
    case GL_DEPTH_STENCIL:
        return 2;
    case GL_RED:
    case GL_RED_INTEGER:
    case GL_ALPHA:
    case GL_LUMINANCE:
    case GL_DEPTH_COMPONENT:
    case GL_STENCIL_INDEX:
        return 1;
    }
    return 4;
}

/// Zero for a type that is none.
uint64_t bytes_of_pixel(GLenum format, GLenum type)
{
    switch (type) {
    case GL_BYTE:
    case GL_UNSIGNED_BYTE:
        return components_of(format);
    case GL_SHORT:
    case GL_UNSIGNED_SHORT:
    case GL_HALF_FLOAT:
    case GL_HALF_FLOAT_OES:
        return 2 * components_of(format);
    case GL_INT:
    case GL_UNSIGNED_INT:
    case GL_FLOAT:
        return 4 * components_of(format);
    case GL_UNSIGNED_SHORT_5_6_5:
    case GL_UNSIGNED_SHORT_4_4_4_4:
    case GL_UNSIGNED_SHORT_5_5_5_1:
        return 2;
    case GL_UNSIGNED_INT_2_10_10_10_REV:
    case GL_UNSIGNED_INT_24_8:
    case GL_UNSIGNED_INT_10F_11F_11F_REV:
    case GL_UNSIGNED_INT_5_9_9_9_REV:
        return 4;
    case GL_FLOAT_32_UNSIGNED_INT_24_8_REV:
        return 8;
    }
    return 0;
}

/// How pixels lie in memory; the row length and what follows it may be zero.
struct layout
{
    GLenum alignment, row_length, skip_pixels, skip_rows, image_height, skip_images;
};
constexpr layout unpack{GL_UNPACK_ALIGNMENT, GL_UNPACK_ROW_LENGTH,   GL_UNPACK_SKIP_PIXELS,
                        GL_UNPACK_SKIP_ROWS, GL_UNPACK_IMAGE_HEIGHT, GL_UNPACK_SKIP_IMAGES};
constexpr layout pack{GL_PACK_ALIGNMENT, GL_PACK_ROW_LENGTH, GL_PACK_SKIP_PIXELS, GL_PACK_SKIP_ROWS, 0, 0};

struct stretch
{
    uint64_t from = 0, size = 0;
};

stretch stretch_of(const layout& by, uint64_t width, uint64_t height, uint64_t depth, uint64_t pixel)
{
    auto stored = [](GLenum name, uint64_t otherwise) {
        const GLint value = name ? pixel_store(name) : 0;
        return value > 0 ? static_cast<uint64_t>(value) : otherwise;
    };
    if (!width || !height || !depth || !pixel)
        return {};
    const uint64_t alignment = stored(by.alignment, 4);
    const uint64_t row = (stored(by.row_length, width) * pixel + alignment - 1) / alignment * alignment;
    const uint64_t image = row * stored(by.image_height, height);
    return {stored(by.skip_images, 0) * image + stored(by.skip_rows, 0) * row +
                stored(by.skip_pixels, 0) * pixel,
            (depth - 1) * image + (height - 1) * row + width * pixel};
}

/// As a driver refuses it. Larger pictures than any driver takes have no memory.
bool is_size_good(GLsizei width, GLsizei height, GLsizei depth)
{
    constexpr GLsizei largest = 4096;
    if (width >= 0 && height >= 0 && depth >= 0 && width <= largest && height <= largest && depth <= largest)
        return true;
    fail(GL_INVALID_VALUE);
    return false;
}

void upload(GLsizei width, GLsizei height, GLsizei depth, GLenum format, GLenum type, const void* pixels)
{
    const uint64_t pixel = bytes_of_pixel(format, type);
    if (!pixel)
        return fail(GL_INVALID_ENUM);
    if (!is_size_good(width, height, depth) || !pixels || !moves_memory(GL_PIXEL_UNPACK_BUFFER))
        return;
    const bool is_flat = depth == 1;
    layout by = unpack;
    if (is_flat)
        by.image_height = by.skip_images = 0;
    const stretch read = stretch_of(by, static_cast<uint64_t>(width), static_cast<uint64_t>(height),
                                    static_cast<uint64_t>(depth), pixel);
    touch(static_cast<const uint8_t*>(pixels) + read.from, read.size);
}

void upload_compressed(GLsizei width, GLsizei height, GLsizei depth, GLsizei size, const void* bytes)
{
    if (size < 0)
        return fail(GL_INVALID_VALUE);
    if (is_size_good(width, height, depth) && bytes && moves_memory(GL_PIXEL_UNPACK_BUFFER))
        touch(bytes, static_cast<uint64_t>(size));
}

void read_pixels(GLint, GLint, GLsizei width, GLsizei height, GLenum format, GLenum type, void* pixels)
{
    const uint64_t pixel = bytes_of_pixel(format, type);
    if (!pixel)
        return fail(GL_INVALID_ENUM);
    if (!is_size_good(width, height, 1) || !moves_memory(GL_PIXEL_PACK_BUFFER))
        return;
    const stretch written =
        stretch_of(pack, static_cast<uint64_t>(width), static_cast<uint64_t>(height), 1, pixel);
    if (written.size)
        std::memset(static_cast<uint8_t*>(pixels) + written.from, 1, written.size);
}
} // namespace

void add_pixels(sidechannel_gles_imports& table)
{
    table.glTexImage2D = [](GLenum, GLint, GLint, GLsizei w, GLsizei h, GLint, GLenum format, GLenum type,
                            const void* pixels) { upload(w, h, 1, format, type, pixels); };
    table.glTexSubImage2D = [](GLenum, GLint, GLint, GLint, GLsizei w, GLsizei h, GLenum format, GLenum type,
                               const void* pixels) { upload(w, h, 1, format, type, pixels); };
    table.glTexImage3D = [](GLenum, GLint, GLint, GLsizei w, GLsizei h, GLsizei d, GLint, GLenum format,
                            GLenum type, const void* pixels) { upload(w, h, d, format, type, pixels); };
    table.glTexSubImage3D = table.glTexSubImage3DOES =
        [](GLenum, GLint, GLint, GLint, GLint, GLsizei w, GLsizei h, GLsizei d, GLenum format, GLenum type,
           const void* pixels) { upload(w, h, d, format, type, pixels); };
    table.glTexImage3DOES = [](GLenum, GLint, GLenum, GLsizei w, GLsizei h, GLsizei d, GLint, GLenum format,
                               GLenum type, const void* pixels) { upload(w, h, d, format, type, pixels); };
    table.glCompressedTexImage2D = [](GLenum, GLint, GLenum, GLsizei w, GLsizei h, GLint, GLsizei size,
                                      const void* bytes) { upload_compressed(w, h, 1, size, bytes); };
    table.glCompressedTexSubImage2D = [](GLenum, GLint, GLint, GLint, GLsizei w, GLsizei h, GLenum,
                                         GLsizei size,
                                         const void* bytes) { upload_compressed(w, h, 1, size, bytes); };
    table.glCompressedTexImage3D = table.glCompressedTexImage3DOES =
        [](GLenum, GLint, GLenum, GLsizei w, GLsizei h, GLsizei d, GLint, GLsizei size, const void* bytes) {
            upload_compressed(w, h, d, size, bytes);
        };
    table.glCompressedTexSubImage3D = table.glCompressedTexSubImage3DOES =
        [](GLenum, GLint, GLint, GLint, GLint, GLsizei w, GLsizei h, GLsizei d, GLenum, GLsizei size,
           const void* bytes) { upload_compressed(w, h, d, size, bytes); };
    table.glReadPixels = read_pixels;
}
} // namespace strict_host
