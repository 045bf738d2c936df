#include "handlers/egl/service_textures.h"

#include "object_manager/images.h"
#include "pixels/color_swizzle.h"

#include <vector>

using gles_table = sidechannel_gles_imports;

namespace {
/// No host has larger textures.
constexpr uint32_t largest_side = 1 << 16;

bool can_be_texture(const wire::winsys_buffer_object_descriptor& buffer)
{
    if (buffer.format == 0 || buffer.height == 0 || buffer.width == 0 || buffer.height > largest_side ||
        buffer.width > largest_side) {
        LOG_ERROR("Cannot map target-side native window buffer. Reported target-side buffer parameters: "
                  "format=[%#x] type=[%#x] width=[%u] height=[%u] bpp=[%u]",
                  buffer.format, buffer.type, buffer.width, buffer.height, buffer.bits_per_pixel);
        return false;
    }
    if (buffer.format == GL_RGBA || buffer.format == GL_RGB || buffer.format == GL_BGRA_EXT)
        return true;
    LOG_ERROR("Unsupported OpenGL ES type reported by target side [%#x]", buffer.format);
    return false;
}

/// A name that no sibling of an image has: hosts use the names of deleted textures again, also while an image
/// still shows such a texture.
GLuint make_name(pid_t pid)
{
    GLuint name = 0;
    std::vector<GLuint> set_aside;
    while (host::gl<&gles_table::glGenTextures>(1, &name).ok() && name &&
           zelvar_object_manager_is_image_sibling(pid, name)) {
        set_aside.push_back(name);
        name = 0;
    }
    if (name)
        zelvar_object_manager_set_image_sibling(pid, name);
    if (!set_aside.empty())
        host::gl<&gles_table::glDeleteTextures>(static_cast<GLsizei>(set_aside.size()), set_aside.data());
    return name;
}
} // namespace

GLuint create_service_texture(pid_t pid, const wire::winsys_buffer_object_descriptor& buffer)
{
    const GLuint texture = can_be_texture(buffer) ? make_name(pid) : 0;
    if (!texture)
        return 0;
    const auto [format, type] = host_layout_of(buffer);
    constexpr GLenum target = GL_TEXTURE_2D;
    GLint bound = 0;
    host::gl<&gles_table::glGetIntegerv>(GLenum{GL_TEXTURE_BINDING_2D}, &bound);
    unsigned error = host::gl<&gles_table::glBindTexture>(target, texture).error;
    if (error == GL_NO_ERROR)
        error = host::gl<&gles_table::glTexImage2D>(target, 0, format, buffer.width, buffer.height, 0, format,
                                                    type, nullptr)
                    .error;
    host::gl<&gles_table::glBindTexture>(target, static_cast<GLuint>(bound));
    if (error == GL_NO_ERROR)
        return texture;
    LOG_FATAL("Received error code %x while specifying service texture for new EGLImage", error);
    zelvar_object_manager_delete_service_texture(pid, texture);
    return 0;
}
