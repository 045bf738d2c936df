#include "picture_file.h"

#include <cstring>

#include <png.h>

namespace {

png_image describe(uint32_t width, uint32_t height, uint32_t format)
{
    png_image image;
    std::memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    image.width = width;
    image.height = height;
    image.format = format;
    image.flags = PNG_IMAGE_FLAG_FAST;
    return image;
}

} // namespace

std::string write_picture_file(const std::string& path, uint32_t width, uint32_t height, uint32_t channels,
                               const uint8_t* pixels)
{
    png_image image = describe(width, height, channels == 4 ? PNG_FORMAT_RGBA : PNG_FORMAT_RGB);
    if (png_image_write_to_file(&image, path.c_str(), 0, pixels, 0, nullptr))
        return {};
    return path + ": " + image.message;
}

std::string read_picture_file(const std::string& path, uint32_t& width, uint32_t& height,
                              std::vector<uint8_t>& rgba)
{
    png_image image = describe(0, 0, 0);
    if (!png_image_begin_read_from_file(&image, path.c_str()))
        return path + ": " + image.message;
    image.format = PNG_FORMAT_RGBA;
    rgba.resize(PNG_IMAGE_SIZE(image));
    if (!png_image_finish_read(&image, nullptr, rgba.data(), 0, nullptr))
        return path + ": " + image.message;
    width = image.width;
    height = image.height;
    return {};
}
