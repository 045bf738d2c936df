// tpak: encodes, decodes and examines compressed frame buffers.

#include "commands.h"

#include <cstdio>
#include <exception>

#include <CLI/CLI.hpp>

using namespace tpak_tool;

namespace {

constexpr int own_failure = 2;

/// How a frame lies in a buffer that has no file header.
void add_description(CLI::App& command, frame_description& description)
{
    command.add_option("--version", description.version, "Version of the format (default 1.2)")
        ->type_name("1.0|1.1|1.2")
        ->check(CLI::IsMember({"1.0", "1.1", "1.2"}));
    command.add_option("--yuv", description.yuv, "Colour transform (default on)")
        ->type_name("on|off")
        ->check(CLI::IsMember({"on", "off"}));
    command.add_flag("--split", description.split, "Payloads in two halves");
    command.add_flag("--tiled", description.tiled, "Superblocks in paging tiles");
    command.add_flag("--reverse", description.reverse,
                     "Components in reverse order, as in 16-bit frame buffers");
    command.add_option("--format", description.format, "Pixels of a raw file, or to encode a PNG as")
        ->type_name("rgba8888|rgb888|rgb565")
        ->check(CLI::IsMember({"rgba8888", "rgb888", "rgb565"}));
    command.add_option("--size", description.size, "Size of raw pixels, or of a frame without a file header")
        ->type_name("WxH");
}

} // namespace

int main(int argc, char** argv)
{
    CLI::App parser{"tpak COMMAND\n\nEncodes, decodes and examines compressed frame buffers. A file without "
                    "a file header\n"
                    "wants --format and --size, and the options that it was encoded with. Exit status 1\n"
                    "when a check finds a fault, 2 when a command fails."};
    parser.require_subcommand(1);
    std::string in;
    std::string out;
    frame_description description;
    check_options checks;
    int status = 0;
    const auto add = [&](const char* name, const char* what, const char* out_name, auto run) {
        CLI::App* command = parser.add_subcommand(name, what);
        add_description(*command, description);
        command->add_option("IN", in, "Input file")->required()->check(CLI::ExistingFile);
        if (out_name)
            command->add_option(out_name, out, "Output file")->required();
        command->final_callback([&status, run] { status = run(); });
        return command;
    };
    CLI::App* encoding = add("encode", "Encodes a PNG file or raw pixels", "OUT.tpak",
                             [&] { return encode(in, out, description); });
    encoding->add_flag("--header", description.header, "Put a file header in front");
    add("decode", "Decodes to a PNG file", "OUT.png", [&] { return decode(in, out, description); });
    add("info", "Prints geometry, sizes and what the blocks are", nullptr,
        [&] { return info(in, description); });
    CLI::App* checking = add("check", "Runs all checks of the format and tells every fault", nullptr,
                             [&] { return check(in, description, checks); });
    checking->add_option("--alignment", checks.alignment, "Payload must be aligned to so many bytes")
        ->check(CLI::Range(1, 1 << 30));
    checking->add_option("--payload-base", checks.base, "Offset that alignment and spacing count from")
        ->check(CLI::NonNegativeNumber);
    checking->add_option("--stripe-height", checks.stripe_height, "Check stripes of so many pixels")
        ->check(CLI::Range(1, 65535));
    checking->add_flag("--spacing", checks.spacing, "Superblocks must be spaced by whole largest payloads");
    checking->add_flag("--tile-starts", checks.tile_starts,
                       "A paging tile's first superblock must be at its start");
    add("map", "Draws each superblock in a colour of its kind and cost", "OUT.png",
        [&] { return map(in, out, description); });
    try {
        parser.parse(argc, argv);
        return status;
    } catch (const CLI::ParseError& fault) {
        return parser.exit(fault) == 0 ? 0 : own_failure;
    } catch (const std::exception& fault) {
        std::fflush(stdout);
        std::fprintf(stderr, "tpak: %s\n", fault.what());
        return own_failure;
    }
}
