#include "host_library.h"

#include "wire/wire.h"
#include "zelvar/zelvar.h"

#include <cstdio>
#include <stdexcept>

#include <dlfcn.h>

namespace simulator {

host_library::host_library(const std::string& file) : _handle(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL))
{
    if (!_handle)
        throw std::runtime_error(dlerror());
}

void* host_library::symbol(const char* name) const
{
    return dlsym(_handle, name);
}

scPluginInterface* host_library::plugin()
{
    if (_plugin)
        return _plugin;
    const auto enter = reinterpret_cast<decltype(&scPluginEntryPoint)>(symbol("scPluginEntryPoint"));
    _plugin = enter ? enter() : nullptr;
    if (!_plugin)
        throw std::runtime_error("the library has no plug-in entry point");
    return _plugin;
}

bool host_library::list_messages() const
{
    const auto ask = reinterpret_cast<decltype(&zelvar_message_info)>(symbol("zelvar_message_info"));
    if (!ask)
        return false;
    uint32_t built_rows = 0;
    uint32_t rows = 0;
    for (uint32_t type = 1; type <= wire::inbound::row_count; ++type) {
        const char* name = nullptr;
        int built = 0;
        if (!ask(type, &name, &built) || !name)
            continue;
        ++rows;
        built_rows += built ? 1 : 0;
        std::printf("%3u %-56s %s\n", type, name, built ? "built" : "not built yet");
    }
    std::printf("%u of %u messages are built\n", built_rows, rows);
    return true;
}

bool host_library::list_settings() const
{
    const auto ask = reinterpret_cast<decltype(&zelvar_settings_key)>(symbol("zelvar_settings_key"));
    if (!ask)
        return false;
    const char *key = nullptr, *type = nullptr, *value = nullptr, *sentence = nullptr;
    for (uint32_t index = 0; ask(index, &key, &type, &value, &sentence); ++index)
        std::printf("%s (%s, default \"%s\")\n    %s\n", key, type, value, sentence);
    return true;
}

void host_library::print_live_objects() const
{
    const auto ask = reinterpret_cast<decltype(&zelvar_live_objects)>(symbol("zelvar_live_objects"));
    if (!ask || !_plugin)
        return;
    const char* name = nullptr;
    uint64_t count = 0;
    std::fputs("zelvar-sim: left in the library:", stderr);
    for (uint32_t kind = 0; ask(kind, &name, &count); ++kind)
        std::fprintf(stderr, "%s %llu %s", kind ? "," : "", static_cast<unsigned long long>(count), name);
    std::fputc('\n', stderr);
}

void host_library::release()
{
    const auto leave = reinterpret_cast<decltype(&zelvar_deinit)>(symbol("zelvar_deinit"));
    if (_plugin && leave)
        leave();
    _plugin = nullptr;
}

} // namespace simulator
