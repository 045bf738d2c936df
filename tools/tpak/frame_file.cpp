#include "frame_file.h"

#include "picture_file.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace tpak_tool {
namespace {

constexpr uint64_t most_pixels = uint64_t{1} << 28;
constexpr unsigned rgb565 = 1;
constexpr unsigned rgb888 = 2;
constexpr unsigned rgba8888 = 3;

std::vector<uint8_t> read_file(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::vector<uint8_t> data{std::istreambuf_iterator<char>(in), {}};
    if (!in.good() && !in.eof())
        throw std::runtime_error(path + " can't be read");
    return data;
}

unsigned format_of(const std::string& name)
{
    return name == "rgb565" ? rgb565 : name == "rgb888" ? rgb888 : rgba8888;
}

void parse_size(const std::string& text, uint32_t& width, uint32_t& height)
{
    char behind;
    if (std::sscanf(text.c_str(), "%ux%u%c", &width, &height, &behind) != 2 || width == 0 || height == 0 ||
        uint64_t{width} * height > most_pixels || width > 65535 || height > 65535)
        throw std::runtime_error("--size wants WIDTHxHEIGHT, at most 65535 each and not " + text);
}

bool is_png(const std::vector<uint8_t>& data)
{
    static constexpr uint8_t signature[] = {0x89, 'P', 'N', 'G'};
    return data.size() > sizeof signature && std::memcmp(data.data(), signature, sizeof signature) == 0;
}

/// From RGBA to the pixels of a format.
std::vector<uint8_t> pack(const std::vector<uint8_t>& rgba, unsigned format)
{
    if (format == rgba8888)
        return rgba;
    std::vector<uint8_t> out;
    out.reserve(rgba.size() / 4 * (format + 1));
    for (size_t i = 0; i + 3 < rgba.size(); i += 4) {
        if (format == rgb888) {
            out.insert(out.end(), rgba.begin() + static_cast<std::ptrdiff_t>(i),
                       rgba.begin() + static_cast<std::ptrdiff_t>(i) + 3);
        } else {
            const unsigned packed = (rgba[i] >> 3u) << 11 | (rgba[i + 1] >> 2u) << 5 | rgba[i + 2] >> 3u;
            out.push_back(static_cast<uint8_t>(packed));
            out.push_back(static_cast<uint8_t>(packed >> 8));
        }
    }
    return out;
}

uint8_t to_8_bits(uint32_t value, int bits)
{
    if (bits <= 0)
        return 0;
    const uint32_t most = (1u << bits) - 1;
    return static_cast<uint8_t>((std::min(value, most) * 255u + most / 2) / most);
}

uint8_t clamp(double value)
{
    return static_cast<uint8_t>(std::clamp(value, 0.0, 255.0) + 0.5);
}

/// Luma and chroma in full range, as in JPEG files.
void chroma_to_rgb(uint8_t* pixel)
{
    const double y = pixel[0];
    const double cb = pixel[1] - 128.0;
    const double cr = pixel[2] - 128.0;
    pixel[0] = clamp(y + 1.402 * cr);
    pixel[1] = clamp(y - 0.344136 * cb - 0.714136 * cr);
    pixel[2] = clamp(y + 1.772 * cb);
}

} // namespace

tpak_opts options_of(const frame_description& description)
{
    tpak_opts options;
    options.version = description.version == "1.0" ? 3 : description.version == "1.1" ? 4 : 5;
    options.yuv_trans = description.yuv == "on";
    options.block_split = description.split;
    options.tiled = description.tiled;
    return options;
}

packed_picture read_pixels(const std::string& path, const frame_description& description)
{
    const std::vector<uint8_t> data = read_file(path);
    packed_picture picture;
    picture.format = format_of(description.format);
    if (is_png(data)) {
        std::vector<uint8_t> rgba;
        const std::string fault = read_picture_file(path, picture.width, picture.height, rgba);
        if (!fault.empty())
            throw std::runtime_error(fault);
        picture.pixels = pack(rgba, picture.format);
        return picture;
    }
    if (description.format.empty() || description.size.empty())
        throw std::runtime_error(path + " is no PNG file, and raw pixels want --format and --size");
    parse_size(description.size, picture.width, picture.height);
    const size_t size = size_t{picture.width} * picture.height * (picture.format + 1);
    if (data.size() != size)
        throw std::runtime_error(path + " has " + std::to_string(data.size()) + " bytes and not the " +
                                 std::to_string(size) + " of such pixels");
    picture.pixels = data;
    return picture;
}

frame_file read_frame(const std::string& path, const frame_description& description)
{
    frame_file file;
    file.data = read_file(path);
    unsigned long frame_size = 0;
    file.has_header =
        file.data.size() >= tpak_fileheader_size && std::memcmp(file.data.data(), "TPAK", 4) == 0;
    if (file.has_header) {
        const int result = tpak_parse_fileheader(file.data.data(), &file.info, &frame_size);
        if (result < -1)
            throw std::runtime_error(path + " is of version " + std::to_string(-result) +
                                     ", which isn't known");
        if (result != 0)
            throw std::runtime_error(path + " has a file header that describes no frame");
        const size_t header_size = file.data[4];
        file.data.erase(file.data.begin(), file.data.begin() + static_cast<std::ptrdiff_t>(
                                                                   std::min(header_size, file.data.size())));
        file.info.zero_header_allowed = file.info.version >= 5;
    } else {
        if (description.format.empty() || description.size.empty())
            throw std::runtime_error(path + " has no file header, so that --format and --size are needed");
        uint32_t width;
        uint32_t height;
        parse_size(description.size, width, height);
        const tpak_opts options = options_of(description);
        file.info = TpakDecoder{format_of(description.format), width, height, &options}.frame_info();
        file.info.frame_size = file.data.size();
    }
    if (file.data.size() > 0x7fffffff || file.data.size() < tpak_get_header_area_size(&file.info))
        throw std::runtime_error(path + " ends within its header blocks");
    if (file.info.width == 0 || file.info.height == 0 ||
        static_cast<uint64_t>(file.info.width) * static_cast<uint64_t>(file.info.height) > most_pixels)
        throw std::runtime_error(path + " holds a frame of an impossible size");
    return file;
}

void write_file(const std::string& path, const std::vector<uint8_t>& data)
{
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(data.size()));
    out.close();
    if (!out)
        throw std::runtime_error(path + " can't be written");
}

std::vector<uint8_t> decode_to_rgba(frame_file& file, bool reversed)
{
    tpak_frame_info& info = file.info;
    const int components = info.ncomponents_of_type[0] + info.ncomponents_of_type[1];
    const int subsampling = sl_subsampling[info.layout];
    uint32_t* planes[tpak_most_components];
    alloc_frame_planes(planes, info);
    decode_frame(info, file.data.data(), static_cast<int>(file.data.size()), planes);
    // A 16-bit pixel has its first component, which is blue, in its low bits.
    const bool blue_first = info.component_bits[0] == 5 && info.component_bits[1] == 6;
    const bool exchanged = components >= 3 && blue_first != reversed;
    const auto width = static_cast<size_t>(info.width);
    std::vector<uint8_t> rgba(width * static_cast<size_t>(info.height) * 4);
    for (size_t i = 0; i < rgba.size() / 4; i++) {
        std::array<uint8_t, 4> pixel{0, 0, 0, 255};
        for (int c = 0; c < components; c++) {
            const size_t x = c > 0 && subsampling ? i % width / 2 : i % width;
            const size_t y = c > 0 && subsampling == 1 ? i / width / 2 : i / width;
            const size_t stride = c > 0 && subsampling ? (width + 1) / 2 : width;
            pixel[static_cast<size_t>(c)] = to_8_bits(planes[c][y * stride + x], info.component_bits[c]);
        }
        if (components < 3) {
            if (components == 2)
                pixel[3] = pixel[1];
            pixel[1] = pixel[2] = pixel[0];
        }
        if (exchanged)
            std::swap(pixel[0], components == 4 && reversed ? pixel[3] : pixel[2]);
        if (components == 4 && reversed)
            std::swap(pixel[1], pixel[2]);
        if (subsampling)
            chroma_to_rgb(pixel.data());
        std::copy(pixel.begin(), pixel.end(), rgba.begin() + static_cast<std::ptrdiff_t>(4 * i));
    }
    free_planes(planes);
    return rgba;
}

} // namespace tpak_tool
