#include "handlers/vk/shader_check.h"

#include "shadercheck/shader_check.h"
#include "sidechannel_log.h"

#include <dlfcn.h>

namespace {
/// The folder that this code was loaded from, with a slash at its end.
std::string own_folder()
{
    Dl_info here{};
    if (!dladdr(reinterpret_cast<const void*>(&vk_check_shader), &here) || !here.dli_fname)
        return {};
    const std::string path = here.dli_fname;
    return path.substr(0, path.rfind('/') + 1);
}

shader_check* find_check()
{
    const std::string beside = own_folder() + shader_check_library;
    void* library = dlopen(beside.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library)
        library = dlopen(shader_check_library, RTLD_NOW | RTLD_LOCAL);
    void* function = library ? dlsym(library, shader_check_function) : nullptr;
    if (!function)
        LOG_ALWAYS("WARN",
                   "%s is not there, so shaders aren't checked: senseless ones may end the host's driver.",
                   shader_check_library);
    return reinterpret_cast<shader_check*>(function);
}
} // namespace

std::string vk_check_shader(std::span<const uint32_t> words)
{
    static shader_check* const check = find_check();
    char text[256];
    if (!check || check(words.data(), words.size(), text, sizeof(text)) == 0)
        return {};
    return *text ? text : "it makes no sense"; // what is refused without a word is refused all the same
}
