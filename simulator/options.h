#pragma once
// Command line of zelvar-sim.

#include <cstdint>
#include <string>
#include <vector>

namespace simulator {

struct options
{
    std::vector<std::string> application;
    std::string frames;
    uint32_t every = 1;
    uint64_t max_frames = 0;
    uint32_t width = 640;
    uint32_t height = 480;
    std::string settings;
    std::vector<std::string> extra_settings;
    std::string library;
    std::string shim;
    std::string listen;
    std::string vulkan_layers;
    bool exit_when_idle = false;
    bool alpha = false;
    bool stats = false;
    bool list_messages = false;
    bool list_settings = false;
};

/// Reads the command line. When nothing is left to do (help, version, a mistake) returns false with the exit
/// status in `status`.
bool read_command_line(int argc, char** argv, options& chosen, int& status);

/// "640x480" to numbers of 1 to 16384; false when it is no size.
bool parse_size(const std::string& text, uint32_t& width, uint32_t& height);

} // namespace simulator
