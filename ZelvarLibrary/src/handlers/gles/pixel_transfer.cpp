// Pixel store state and glReadPixels.

#include "handlers/gles/buffer_lookup.h"
#include "handlers/gles/gles_handlers.h"
#include "handlers/gles/sizes.h"
#include "handlers/handler.h"

#include <algorithm>
#include <cstring>

using gles_table = sidechannel_gles_imports;

namespace {
/// No driver reads back more than this in one call.
constexpr uint64_t largest_transfer = uint64_t{1} << 31; // bytes

/// The model's field of a pixel store parameter; null for one that it doesn't hold.
int32_t* pixel_store_field(_zelvar_context_data* context, GLenum pname)
{
    switch (pname) {
    case GL_PACK_ALIGNMENT:
        return &context->pack_params.alignment;
    case GL_PACK_ROW_LENGTH:
        return &context->pack_params.row_length;
    case GL_PACK_SKIP_PIXELS:
        return &context->pack_params.skip_pixels;
    case GL_PACK_SKIP_ROWS:
        return &context->pack_params.skip_rows;
    case GL_UNPACK_ALIGNMENT:
        return &context->unpack_params.alignment;
    case GL_UNPACK_ROW_LENGTH:
        return &context->unpack_params.row_length;
    case GL_UNPACK_IMAGE_HEIGHT:
        return &context->unpack_params.image_height;
    case GL_UNPACK_SKIP_PIXELS:
        return &context->unpack_params.skip_pixels;
    case GL_UNPACK_SKIP_ROWS:
        return &context->unpack_params.skip_rows;
    case GL_UNPACK_SKIP_IMAGES:
        return &context->unpack_params.skip_images;
    default:
        return nullptr;
    }
}

/// Whether an address is an offset into a pack buffer. Bindings go with vertex arrays in the model and don't
/// on the host, and where the host has none it would take the target's address for one of its own.
bool reads_into_buffer(_zelvar_context_data* context)
{
    auto* vertex_array = bound_vertex_array(context);
    if (!vertex_array || !vertex_array->pixel_pack_buffer)
        return false;
    GLint on_host = 0;
    host::gl<&gles_table::glGetIntegerv>(GL_PIXEL_PACK_BUFFER_BINDING, &on_host);
    return on_host != 0;
}

struct read_request
{
    GLint x;
    GLint y;
    GLsizei width;
    GLsizei height;
    GLenum format;
    GLenum type;
};

/// Reads on the host into a block and writes the told amount to the target, in every mode: what a target
/// without a GPU has read by itself is no picture.
void read_to_target(gles_handler& call, const _zelvar_context_data& context, const read_request& read,
                    target_ptr pixels)
{
    uint64_t pixel_bytes = zelvar_data_get_pixel_size(read.format, read.type);
    uint64_t size = read_pixels_size(context.pack_params, read.width, read.height, pixel_bytes);
    uint64_t reach = read_pixels_reach(context.pack_params, read.width, read.height,
                                       zelvar_data_get_pixel_reach(read.format, read.type));
    owned_block block;
    if (size <= largest_transfer && reach <= 16 * largest_transfer)
        block = allocate_block(std::max<uint64_t>({size, reach, 1}));
    if (!block.bytes) {
        LOG_FATAL("Zelvar failed to allocate [%d] bytes.",
                  static_cast<int>(std::min<uint64_t>(size, INT32_MAX)));
        return;
    }
    std::memset(block.bytes.get(), 0, size); // what the host leaves out goes to the target too
    auto done = call.host<&gles_table::glReadPixels>(read.x, read.y, read.width, read.height, read.format,
                                                     read.type, block.bytes.get());
    if (done.ok() && size > 0 && pixels)
        zelvar_shim_dispatch_write_to_shim_address_space_force(
            call.pid, call.tid, static_cast<uint32_t>(size), block.bytes.get(), pixels);
}
} // namespace

void gles20_glPixelStorei(pid_t pid, tid_t tid, GLenum pname, GLint param, gles_target_error target_error)
{
    gles_handler call{"gles20_glPixelStorei", pid, tid, target_error};
    call.trace("pname", pname, "param", param);
    _zelvar_context_data* context = call.lock("glPixelStorei");
    if (!context || !call.host<&gles_table::glPixelStorei>(pname, param).ok())
        return;
    if (int32_t* field = pixel_store_field(context, pname))
        *field = param;
}

void gles20_glReadPixels(pid_t pid, tid_t tid, GLint x, GLint y, GLsizei width, GLsizei height, GLenum format,
                         GLenum type, target_ptr pixels, gles_target_error target_error)
{
    gles_handler call{"gles20_glReadPixels", pid, tid, target_error};
    call.trace("x", x, "y", y, "width", width, "height", height, "format", format, "type", type, "pixels",
               pixels);
    _zelvar_context_data* context = call.lock("glReadPixels");
    if (!context)
        return;
    if (reads_into_buffer(context))
        call.host<&gles_table::glReadPixels>(x, y, width, height, format, type,
                                             reinterpret_cast<void*>(pixels.address));
    else
        read_to_target(call, *context, {x, y, width, height, format, type}, pixels);
}
