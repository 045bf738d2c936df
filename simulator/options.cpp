#include "options.h"

#include "launch.h"

#include <cstdio>

#include <CLI/CLI.hpp>

namespace simulator {

bool parse_size(const std::string& text, uint32_t& width, uint32_t& height)
{
    unsigned long w = 0, h = 0;
    int used = 0;
    const bool shaped = std::sscanf(text.c_str(), "%5lux%5lu%n", &w, &h, &used) == 2;
    if (!shaped || used != static_cast<int>(text.size()) || w < 1 || h < 1 || w > 16384 || h > 16384)
        return false;
    width = static_cast<uint32_t>(w);
    height = static_cast<uint32_t>(h);
    return true;
}

bool read_command_line(int argc, char** argv, options& chosen, int& status)
{
    CLI::App parser{
        "zelvar-sim [options] -- APP [ARGS...]\n"
        "zelvar-sim [options] --listen SOCKET\n\n"
        "Runs an application as a target process of libZelvar.so and simulates the machine around it.\n"
        "The exit status is the application's; 128 and the signal when it was killed; 125 when\n"
        "zelvar-sim itself failed."};
    std::string size = "640x480";
    parser.positionals_at_end();
    parser.add_option("--frames", chosen.frames, "Write each finished frame as PNG into this folder")
        ->type_name("DIR");
    parser.add_option("--every", chosen.every, "Write only every N-th frame of a window")
        ->type_name("N")
        ->check(CLI::PositiveNumber);
    parser
        .add_option("--max-frames", chosen.max_frames,
                    "End a target (SIGTERM) after N frames; this is a success")
        ->type_name("N");
    parser.add_option("--fb", size, "Size of the frame buffer (default 640x480)")->type_name("WxH");
    parser.add_option("--settings", chosen.settings, "Settings file of the library")->type_name("FILE");
    parser.add_option("--set", chosen.extra_settings, "One more setting, \"key value\"; may be repeated")
        ->type_name("SETTING")
        ->expected(1)
        ->take_all();
    parser.add_option("--libzelvar", chosen.library, "The library (default: beside this program)")
        ->type_name("FILE");
    parser.add_option("--shim", chosen.shim, "Folder of the target library (default: beside this program)")
        ->type_name("DIR");
    parser
        .add_option("--listen", chosen.listen,
                    "Serve targets that zelvar-run starts, until SIGINT or SIGTERM")
        ->type_name("SOCKET");
    parser
        .add_option(
            "--host-vk-layers", chosen.vulkan_layers,
            "Vulkan layers around the host's driver, with colons between; the target has none of them")
        ->type_name("LAYERS");
    parser.add_flag("--exit-when-idle", chosen.exit_when_idle,
                    "With --listen: end when all targets have left");
    parser.add_flag("--alpha", chosen.alpha,
                    "Keep the alpha channel in the pictures instead of making them opaque");
    parser.add_flag("--stats", chosen.stats, "Print more figures in the summary");
    parser.add_flag("--list-messages", chosen.list_messages,
                    "Print all message types and whether they are built");
    parser.add_flag("--help-settings", chosen.list_settings,
                    "Print all keys of the settings file with type, default and meaning");
    parser.add_option("APP", chosen.application, "Application and its arguments");
    try {
        parser.parse(argc, argv);
        if (!parse_size(size, chosen.width, chosen.height))
            throw CLI::ValidationError("--fb", "wants WIDTHxHEIGHT, from 1x1 to 16384x16384");
        if (chosen.application.empty() && chosen.listen.empty() && !chosen.list_messages &&
            !chosen.list_settings)
            throw CLI::ValidationError("APP", "an application to run is missing (or --listen SOCKET)");
        if (chosen.exit_when_idle && chosen.listen.empty())
            throw CLI::ValidationError("--exit-when-idle", "needs --listen");
    } catch (const CLI::ParseError& fault) {
        status = parser.exit(fault) == 0 ? 0 : status_own_failure;
        return false;
    }
    return true;
}

} // namespace simulator
