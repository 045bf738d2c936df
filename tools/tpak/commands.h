#pragma once
// What each command does. They return the exit status and throw std::runtime_error with a sentence.

#include "frame_file.h"

namespace tpak_tool {

/// What `check` looks at beyond the format itself.
struct check_options
{
    int alignment = 0;     // bytes
    int base = 0;          // bytes
    int stripe_height = 0; // pixels
    bool spacing = false;
    bool tile_starts = false;
};

int encode(const std::string& in, const std::string& out, const frame_description& description);
int decode(const std::string& in, const std::string& out, const frame_description& description);
int info(const std::string& in, const frame_description& description);
int check(const std::string& in, const frame_description& description, const check_options& options);
int map(const std::string& in, const std::string& out, const frame_description& description);

} // namespace tpak_tool
