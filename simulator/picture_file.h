#pragma once
// PNG files in and out.

#include <cstdint>
#include <string>
#include <vector>

/// Writes rows of 8-bit RGB or RGBA, top row first. Returns an empty text, or what went wrong.
std::string write_picture_file(const std::string& path, uint32_t width, uint32_t height, uint32_t channels,
                               const uint8_t* pixels);

/// Reads any PNG as RGBA, top row first. Returns an empty text, or what went wrong.
std::string read_picture_file(const std::string& path, uint32_t& width, uint32_t& height,
                              std::vector<uint8_t>& rgba);
