// astc2png: shows what is in an .astc file.

#include "astc_file.h"
#include "picture_file.h"

#include <cstdio>
#include <fstream>
#include <iterator>

#include <CLI/CLI.hpp>

namespace {
std::string convert(const std::string& from, const std::string& to, bool srgb)
{
    std::ifstream file{from, std::ios::binary};
    if (!file)
        return from + " can't be opened";
    astc_file astc;
    const std::string fault = parse_astc_file(
        std::vector<uint8_t>{std::istreambuf_iterator<char>{file}, std::istreambuf_iterator<char>{}}, astc);
    if (!fault.empty())
        return from + " can't be read: " + fault;
    astc.image.srgb = srgb;
    std::vector<uint8_t> rgba(size_t{astc.image.width} * astc.image.height * 4);
    if (!astc_decode_image(astc.image, rgba.data()))
        return "there is not enough memory to decode " + from;
    return write_picture_file(to, astc.image.width, astc.image.height, 4, rgba.data());
}
} // namespace

int main(int argc, char** argv)
{
    CLI::App options{"Decodes an ASTC file (2D, LDR profile) into a PNG file."};
    std::string from;
    std::string to;
    bool srgb = false;
    options.add_option("IN.astc", from, "The ASTC file")->required();
    options.add_option("OUT.png", to, "The picture to write")->required();
    options.add_flag("--srgb", srgb, "Widen endpoints as sRGB formats do");
    CLI11_PARSE(options, argc, argv);
    try {
        const std::string fault = convert(from, to, srgb);
        if (fault.empty())
            return 0;
        std::fprintf(stderr, "astc2png: %s\n", fault.c_str());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "astc2png: %s\n", error.what());
    }
    return 1;
}
