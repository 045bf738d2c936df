#pragma once
// Files of encoded frames, with or without a file header, and files of pixels.

#include "tpakutil/tpak_main.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tpak_tool {

/// What the command line says about a frame.
struct frame_description
{
    std::string version = "1.2";
    std::string yuv = "on";
    std::string format; // rgba8888, rgb888, rgb565
    std::string size;   // WxH
    bool split = false;
    bool tiled = false;
    bool reverse = false;
    bool header = false;
};

/// Packed pixels, rows without gaps.
struct packed_picture
{
    unsigned format = 3; // as the codec counts them: bytes of a pixel less one
    uint32_t width = 0;
    uint32_t height = 0;
    std::vector<uint8_t> pixels;
};

/// An encoded frame and what it is.
struct frame_file
{
    tpak_frame_info info;
    std::vector<uint8_t> data; // without the file header
    bool has_header = false;
};

// All of these throw std::runtime_error with a sentence.

tpak_opts options_of(const frame_description& description);
/// Reads a PNG, or raw pixels when a format and a size are given and the file is no PNG.
packed_picture read_pixels(const std::string& path, const frame_description& description);
/// Reads an encoded frame; one without a file header is what the description says.
frame_file read_frame(const std::string& path, const frame_description& description);
void write_file(const std::string& path, const std::vector<uint8_t>& data);
/// Decodes to RGBA, 8 bits each.
std::vector<uint8_t> decode_to_rgba(frame_file& file, bool reversed);

} // namespace tpak_tool
