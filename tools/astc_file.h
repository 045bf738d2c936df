#pragma once
// The file format of ASTC images: a header of 16 bytes, then the blocks in raster order.

#include "astc/astc.h"

#include <string>
#include <vector>

struct astc_file
{
    astc_image image; // its blocks lie in `bytes`
    std::vector<uint8_t> bytes;
};

/// Takes the file's content apart. Returns an empty text, or in a few words what is wrong with it.
std::string parse_astc_file(std::vector<uint8_t> bytes, astc_file& out);
