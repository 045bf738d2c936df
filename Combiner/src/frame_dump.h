#pragma once
// Frame dumps: delivered frames as raw pixel files, per application, with a count, a skip and a loop.

#include <cstdint>
#include <string>

/// Whether settings ask for a dump of this frame.
bool zelvar_screenshot_should_proceed(uint32_t width, uint32_t height, const std::string& app_name);
/// Writes `width * height * (bits_per_pixel / 8)` bytes; `pixels` holds `pixels_size` bytes, what lies beyond
/// is written as zeros.
bool zelvar_screenshot_dump_frame_to_file(uint32_t bits_per_pixel, const uint8_t* pixels,
                                          uint64_t pixels_size, uint32_t width, uint32_t height,
                                          const std::string& app_name);
/// Starts all counters afresh.
void reset_zelvar_screenshot();
bool write_file_binary(const std::string& path, const void* data, uint64_t size);
bool directory_exists(const std::string& path);
