#include "launch.h"

#include "protocol.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace simulator {
namespace {

std::vector<char*> pointers(const std::vector<std::string>& texts)
{
    std::vector<char*> list;
    for (const std::string& text : texts)
        list.push_back(const_cast<char*>(text.c_str()));
    list.push_back(nullptr);
    return list;
}

bool assigns(const std::string& entry, const std::string& name)
{
    return entry.size() > name.size() && entry[name.size()] == '=' &&
           entry.compare(0, name.size(), name) == 0;
}

} // namespace

std::string program_folder()
{
    std::error_code fault;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", fault);
    return fault ? "." : program.parent_path().string();
}

std::string first_existing(const std::vector<std::string>& candidates)
{
    std::error_code fault;
    for (const std::string& candidate : candidates) {
        if (!candidate.empty() && std::filesystem::exists(candidate, fault))
            return std::filesystem::canonical(candidate, fault).string();
    }
    return {};
}

std::string shim_folders(const std::string& wish)
{
    const std::string base = program_folder() + "/..";
    std::string path = first_existing({wish, base + "/shim", base + "/lib/zelvar/shim"});
    const std::string narrow = first_existing({base + "/shim32", base + "/lib/zelvar/shim32"});
    if (!path.empty() && !narrow.empty())
        path += ":" + narrow;
    return path;
}

namespace {

/// The descriptions of the target's Vulkan driver in the folders of the shim, 64-bit and 32-bit.
std::string vulkan_drivers(const std::string& shim_path)
{
    std::string drivers;
    for (size_t at = 0; at <= shim_path.size();) {
        const size_t end = std::min(shim_path.find(':', at), shim_path.size());
        const std::string file = first_existing({shim_path.substr(at, end - at) + "/zelvar_vk.json"});
        if (!file.empty())
            drivers += (drivers.empty() ? "" : ":") + file;
        at = end + 1;
    }
    return drivers;
}

/// What an environment tells the Vulkan loader about drivers. The second is an older name of the first.
bool names_vulkan_drivers(const std::string& entry)
{
    return assigns(entry, "VK_DRIVER_FILES") || assigns(entry, "VK_ICD_FILENAMES") ||
           assigns(entry, "VK_ADD_DRIVER_FILES");
}

} // namespace

std::vector<std::string> target_environment(char** environment, const std::string& shim_path,
                                            const std::string& socket_path, const std::string& frame_buffer)
{
    const std::string library_path = "LD_LIBRARY_PATH";
    // SDL takes OpenGL ES from GLX where it finds that, past every libEGL.so; a target has none.
    const std::string sdl_driver = "SDL_OPENGL_ES_DRIVER";
    std::vector<std::string> result;
    std::string search = shim_path;
    bool sdl_is_told = false;
    for (char** entry = environment; *entry; ++entry) {
        const std::string text = *entry;
        if (assigns(text, device_link::socket_variable) || assigns(text, device_link::frame_buffer_variable))
            continue;
        if (names_vulkan_drivers(text)) // which are the host's
            continue;
        sdl_is_told = sdl_is_told || assigns(text, sdl_driver);
        if (!assigns(text, library_path))
            result.push_back(text);
        else if (text.size() > library_path.size() + 1)
            search += ":" + text.substr(library_path.size() + 1);
    }
    if (!sdl_is_told)
        result.push_back(sdl_driver + "=1");
    result.push_back(library_path + "=" + search);
    const std::string drivers = vulkan_drivers(shim_path);
    if (!drivers.empty()) {
        result.push_back("VK_DRIVER_FILES=" + drivers);
        result.push_back("VK_ICD_FILENAMES=" + drivers);
    }
    result.push_back(std::string(device_link::socket_variable) + "=" + socket_path);
    result.push_back(std::string(device_link::frame_buffer_variable) + "=" + frame_buffer);
    return result;
}

pid_t launch(const std::vector<std::string>& arguments, const std::vector<std::string>& environment,
             const sigset_t& mask)
{
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    posix_spawnattr_setsigmask(&attributes, &mask);
    pid_t child = -1;
    errno = posix_spawnp(&child, arguments[0].c_str(), nullptr, &attributes, pointers(arguments).data(),
                         pointers(environment).data());
    const int fault = errno;
    posix_spawnattr_destroy(&attributes);
    errno = fault;
    return fault ? -1 : child;
}

void become(const std::vector<std::string>& arguments, const std::vector<std::string>& environment)
{
    execvpe(arguments[0].c_str(), pointers(arguments).data(), pointers(environment).data());
}

int exit_status(int wait_status)
{
    return WIFSIGNALED(wait_status) ? 128 + WTERMSIG(wait_status) : WEXITSTATUS(wait_status);
}

int launch_failure_status(int error)
{
    return error == ENOENT ? status_not_found : status_not_executable;
}

} // namespace simulator
