#include "handlers/gles/texture_update.h"

#include "registration/host_call.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

using gles_table = sidechannel_gles_imports;

namespace {
void report(unsigned error, const char* while_doing)
{
    if (error == GL_INVALID_OPERATION)
        LOG_ERROR(
            "Received GL_INVALID_OPERATION while updating texture with glTexSubImage2D - did you forget "
            "to specify the texture with glTexImage2D or similar?");
    else
        LOG_ERROR("An error occured [%d] while %s host-side texture object.", error, while_doing);
}

void set_unpack(GLenum pname, int32_t value)
{
    host::gl<&gles_table::glPixelStorei>(pname, value);
}

/// How the rows of a picture stand in memory, and how the host will be told to read them.
struct row_layout
{
    uint64_t row;    // bytes of pixels
    uint64_t stride; // bytes from row to row as given
    uint64_t pitch;  // bytes from row to row as the host steps
    int32_t row_length;
};

uint64_t align(uint64_t bytes, uint64_t alignment)
{
    return (bytes + alignment - 1) / alignment * alignment;
}

row_layout layout_of(uint32_t width, uint32_t stride, uint64_t bytes, uint64_t alignment, bool has_row_length)
{
    const uint64_t row = width * bytes;
    const auto row_length = static_cast<int32_t>(has_row_length && bytes ? stride / bytes : 0);
    const uint64_t stepped = row_length ? static_cast<uint64_t>(row_length) * bytes : row;
    return {row, stride, align(stepped, alignment), row_length};
}

/// The picture again with rows where the host expects them without a row length; null without memory.
std::unique_ptr<uint8_t[]> repack(const void* pixels, row_layout& rows, uint32_t height, uint64_t alignment)
{
    rows.pitch = align(rows.row, alignment);
    rows.row_length = 0;
    std::unique_ptr<uint8_t[]> packed{new (std::nothrow) uint8_t[rows.pitch * height]()};
    for (uint32_t y = 0; packed && y < height; ++y)
        std::memcpy(packed.get() + y * rows.pitch, static_cast<const uint8_t*>(pixels) + y * rows.stride,
                    std::min(rows.row, rows.stride));
    return packed;
}

void set_unpack_state(const _zelvar_context_data& context, int32_t alignment, const current_pack_params& rows)
{
    set_unpack(GL_UNPACK_ALIGNMENT, alignment);
    if (context.host_major_version < 3)
        return;
    set_unpack(GL_UNPACK_ROW_LENGTH, rows.row_length);
    set_unpack(GL_UNPACK_SKIP_ROWS, rows.skip_rows);
    set_unpack(GL_UNPACK_SKIP_PIXELS, rows.skip_pixels);
}

/// The host takes pixels for an offset while an application's buffer is bound.
void bind_unpack_buffer(const _zelvar_context_data& context, bool bound)
{
    if (!context.host_bindings.pixel_unpack_buffer)
        return;
    auto buffer = context.data_shared->buffers.find(context.host_bindings.pixel_unpack_buffer);
    if (buffer != context.data_shared->buffers.end())
        host::gl<&gles_table::glBindBuffer>(GLenum{GL_PIXEL_UNPACK_BUFFER},
                                            bound ? buffer->second.host_id : 0u);
}
} // namespace

bool zelvar_helpers_update_texture_pixel_data(const _zelvar_context_data* context_data, uint32_t host_texture,
                                              uint32_t width, uint32_t height, uint32_t format, uint32_t type,
                                              uint32_t stride, uint32_t bits_per_pixel, const void* pixels)
{
    const auto& context = *context_data;
    GLint bound = 0;
    if (auto asked = host::gl<&gles_table::glGetIntegerv>(GLenum{GL_TEXTURE_BINDING_2D}, &bound); !asked.ok())
        LOG_ERROR("An error occured [%d] querying currently bound texture.", asked.error);
    constexpr GLenum target = GL_TEXTURE_2D;
    if (auto bind = host::gl<&gles_table::glBindTexture>(target, host_texture); !bind.ok()) {
        report(bind.error, "binding");
        return false;
    }
    const int32_t alignment = format == GL_RGBA ? 1 : 4;
    row_layout rows = layout_of(width, stride, (uint64_t{bits_per_pixel} + 7) / 8,
                                static_cast<uint64_t>(alignment), context.host_major_version >= 3);
    std::unique_ptr<uint8_t[]> packed;
    // Rows that are shorter than the picture's would have the host read behind the last one.
    const bool must_repack = pixels && (rows.pitch != rows.stride || rows.row > rows.stride);
    if (must_repack)
        pixels = (packed = repack(pixels, rows, height, static_cast<uint64_t>(alignment))).get();
    unsigned error = GL_OUT_OF_MEMORY;
    if (!must_repack || packed) {
        bind_unpack_buffer(context, false);
        set_unpack_state(context, alignment, {.row_length = rows.row_length});
        error = host::gl<&gles_table::glTexSubImage2D>(target, 0, 0, 0, width, height, format, type, pixels)
                    .error;
        set_unpack_state(context, context.unpack_params.alignment, context.unpack_params);
        bind_unpack_buffer(context, true);
    }
    if (error != GL_NO_ERROR)
        report(error, "updating");
    if (auto back = host::gl<&gles_table::glBindTexture>(target, static_cast<GLuint>(bound)); !back.ok())
        LOG_ERROR("An error occured [%d] while reverting host-side binding operation. Desync ahead.",
                  back.error);
    return error == GL_NO_ERROR;
}
