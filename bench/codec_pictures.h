#pragma once
// Frames to compress: drawn here, so that every machine has the same ones, or a folder's PNG files.

#include <cstdint>
#include <string>
#include <vector>

struct bench_picture
{
    std::string name;
    uint32_t width = 0;
    uint32_t height = 0;
    std::vector<uint8_t> rgba;
};

/// Frames that may cost more than others, by number: noise of every height, extremes in every order, and
/// mixtures of all kinds of blocks, so that nothing can be foretold.
inline constexpr unsigned costly_pictures = 64;
bench_picture costly_picture(unsigned number);

/// Noise, one colour, a desktop, a lit scene, a textured landscape; and the pictures in
/// ZELVAR_BENCH_PICTURES.
std::vector<bench_picture> bench_pictures();
