// zelvar-sim: runs applications as target processes of libZelvar.so.

#include "connection.h"
#include "frame_sink.h"
#include "host_library.h"
#include "launch.h"
#include "options.h"
#include "report.h"
#include "server.h"
#include "settings_file.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>

#include <malloc.h>
#include <unistd.h>
#ifdef __SANITIZE_ADDRESS__
#include <dlfcn.h>
#include <vulkan/vulkan.h>
#endif

using namespace simulator;

namespace {

/// A folder for the socket of a run with an application; it goes with this object.
class private_folder
{
public:
    private_folder()
    {
        _path = std::filesystem::temp_directory_path().string() + "/zelvar-sim-XXXXXX";
        if (!mkdtemp(_path.data()))
            throw std::runtime_error("no temporary folder can be made in " +
                                     std::filesystem::temp_directory_path().string());
    }
    ~private_folder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(_path, ignored);
    }
    private_folder(const private_folder&) = delete;
    private_folder& operator=(const private_folder&) = delete;
    std::string socket() const { return _path + "/socket"; }

private:
    std::string _path;
};

std::string find_library(const options& chosen)
{
    const std::string base = program_folder() + "/../lib/";
    std::string file =
        chosen.library.empty() ? first_existing({base + "libZelvar.so"}) : first_existing({chosen.library});
    if (file.empty())
        throw std::runtime_error((chosen.library.empty() ? base + "libZelvar.so" : chosen.library) +
                                 " is missing; name the library with --libzelvar FILE");
    return file;
}

/// The host's own driver: a software or hardware renderer without windows, of the version that the library
/// takes.
void prepare_host_driver(const options& chosen, const settings_file& settings)
{
    if (!chosen.vulkan_layers.empty())
        setenv("VK_INSTANCE_LAYERS", chosen.vulkan_layers.c_str(), 1);
    setenv("EGL_PLATFORM", "surfaceless", 0);
    setenv("MESA_GLES_VERSION_OVERRIDE", "3.1", 0);
    setenv("TRV_ZELVAR_SETTINGS_PATH", settings.path().c_str(), 1);
}

#ifdef __SANITIZE_ADDRESS__
/// The Vulkan loader drops its drivers with the last instance, and then the leak checker can't name what they
/// have left. This instance stays.
void keep_vulkan_drivers()
{
    void* loader = dlopen("libvulkan.so.1", RTLD_NOW);
    const auto create =
        loader ? reinterpret_cast<PFN_vkCreateInstance>(dlsym(loader, "vkCreateInstance")) : nullptr;
    static VkInstance kept = VK_NULL_HANDLE;
    const VkInstanceCreateInfo plain{
        VK_STRUCTURE_TYPE_INSTANCE_CREATE_INFO, nullptr, 0, nullptr, 0, nullptr, 0, nullptr};
    if (create)
        create(&plain, nullptr, &kept);
}
#endif

std::string settings_wish(const options& chosen)
{
    const char* from_environment = std::getenv("TRV_ZELVAR_SETTINGS_PATH");
    return chosen.settings.empty() && from_environment ? from_environment : chosen.settings;
}

std::unique_ptr<frame_writer> make_writer(const options& chosen, bool compressed)
{
    if (chosen.frames.empty())
        return nullptr;
    std::filesystem::create_directories(chosen.frames);
    return std::make_unique<frame_writer>(
        frame_options{chosen.frames, chosen.every, chosen.alpha, compressed});
}

std::string frame_buffer_text(const options& chosen)
{
    return std::to_string(chosen.width) + "x" + std::to_string(chosen.height);
}

/// Starts the application if there is one. Returns -1 when it could not be started, with `status` set.
pid_t start_application(const options& chosen, const std::vector<std::string>& environment,
                        const server& house, int& status)
{
    const pid_t child = launch(chosen.application, environment, house.outer_mask());
    if (child < 0) {
        status = launch_failure_status(errno);
        std::fprintf(stderr, "zelvar-sim: %s: %s\n", chosen.application[0].c_str(), std::strerror(errno));
    }
    return child;
}

int serve(const options& chosen, host_library& library, const settings_file& settings)
{
    totals sums;
    report progress{sums};
    std::optional<private_folder> folder;
    if (chosen.listen.empty())
        folder.emplace();
    const std::string socket = folder ? folder->socket() : chosen.listen;
    const std::string shims = shim_folders(chosen.shim);
    if (shims.empty() && !chosen.application.empty())
        throw std::runtime_error("the target library is missing; name its folder with --shim DIR");
    const auto environment = target_environment(environ, shims, socket, frame_buffer_text(chosen));

    server house{{socket, chosen.exit_when_idle, [&] { progress.tick(); }}};
    prepare_host_driver(chosen, settings);
#ifdef __SANITIZE_ADDRESS__
    keep_vulkan_drivers();
#endif
    const auto writer = make_writer(chosen, settings.compresses_frames());
    surroundings around;
    around.plugin = library.plugin();
    around.sums = &sums;
    around.frames = writer.get();
    around.offered = {chosen.width, chosen.height, settings.compresses_frames()};
    around.max_frames = chosen.max_frames;
    around.initial_settings = settings.shape();

    int status = 0;
    pid_t child = -1;
    if (!chosen.application.empty() && (child = start_application(chosen, environment, house, status)) < 0)
        return status;
    if (child < 0)
        std::fprintf(stderr, "zelvar-sim: listening at %s\n", socket.c_str());
    status = house.run(around, child);
    if (writer)
        writer->flush();
    progress.summary(writer.get(), house.parked(), chosen.stats);
    if (chosen.stats)
        library.print_live_objects();
    if (writer && writer->failed() && status == 0)
        status = status_own_failure;
    if (house.parked()) {
        // Threads of targets that never came to their end still use all of this.
        folder.reset();
        unlink(socket.c_str());
        std::fflush(nullptr);
        _exit(status);
    }
    return status;
}

int run(const options& chosen)
{
    host_library library{find_library(chosen)};
    if (chosen.list_messages) {
        if (library.list_messages())
            return 0;
        throw std::runtime_error("this library doesn't tell which messages are built");
    }
    if (chosen.list_settings) {
        if (library.list_settings())
            return 0;
        throw std::runtime_error("this library doesn't tell its settings");
    }
    const settings_file settings{settings_wish(chosen), chosen.extra_settings};
    const int status = serve(chosen, library, settings);
    library.release();
    return status;
}

} // namespace

namespace {
/// Drivers take and give back large blocks with each draw. On threads other than the first, the C library
/// returns them to the kernel each time, and the page faults that follow cost more than the draw.
void keep_freed_memory()
{
    mallopt(M_MMAP_THRESHOLD, 32 << 20);
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
}
} // namespace

int main(int argc, char** argv)
{
    keep_freed_memory();
    options chosen;
    int status = 0;
    if (!read_command_line(argc, argv, chosen, status))
        return status;
    try {
        return run(chosen);
    } catch (const std::exception& fault) {
        std::fprintf(stderr, "zelvar-sim: %s\n", fault.what());
        return status_own_failure;
    }
}
