#include "sidechannel_zelvar_init.h"

#include "sidechannel_log.h"
#include "sidechannel_plugin_interface_wrapper.h"
#include "sidechannel_primitives.h"
#include "sidechannel_upcalls.h"
#include "sidechannel_zelvar_ipc.h"
#include "zelvar/zelvar.h"

#include <atomic>
#include <exception>
#include <new>

namespace {

/// Lets one caller at a time through the entry point; exists from load to unload.
critical_section__* zelvar_initialization_cs = nullptr;
PluginInterfaceWrapper* plugin_singleton = nullptr; // guarded by zelvar_initialization_cs
constinit std::atomic<PluginInterfaceWrapper*> _plugin_ptr{nullptr};

/// Held while the plug-in object is used by a worker and while it is deleted. Never released: workers
/// outlive the library's end.
critical_section__*& plugin_lifetime_cs()
{
    static critical_section__* cs = critical_section_create();
    return cs;
}

} // namespace

__attribute__((constructor)) void zelvar_library_init()
{
    zelvar_initialization_cs = critical_section_create();
}

__attribute__((destructor)) void zelvar_library_deinit()
{
    critical_section_release(zelvar_initialization_cs);
    zelvar_initialization_cs = nullptr;
}

ZELVAR_EXPORT scPluginInterface* scPluginEntryPoint()
{
    Autolock initialization_lock{zelvar_initialization_cs};
    if (plugin_singleton != nullptr)
        return plugin_singleton;
    auto* plugin = new (std::nothrow) PluginInterfaceWrapper;
    if (plugin == nullptr) {
        LOG_FATAL("Out of memory: there is no plug-in.");
        return nullptr;
    }
    plugin_singleton = plugin;
    try {
        zelvar_init(plugin);
    } catch (const std::exception& failure) {
        LOG_FATAL("The library can't come up: %s", failure.what());
        plugin_singleton = nullptr; // the object stays, it may be known elsewhere already
        return nullptr;
    }
    return plugin;
}

void sidechannel_forget_plugin_singleton()
{
    Autolock initialization_lock{zelvar_initialization_cs};
    plugin_singleton = nullptr;
}

void sidechannel_init_zelvar(PluginInterfaceWrapper* plugin)
{
    sidechannel_ipc_init_zelvar();
    ZELVAR_ASSERT_TEXT(_plugin_ptr.load() == nullptr, "_plugin_ptr == __null");
    _plugin_ptr.store(plugin);
    ZELVAR_ASSERT_TEXT(_plugin_ptr.load() != nullptr, "_plugin_ptr != __null");
}

void sidechannel_deinit_zelvar()
{
    {
        Autolock plugin_lifetime_lock{plugin_lifetime_cs()};
        scPluginInterface* plugin = _plugin_ptr.exchange(nullptr);
        delete plugin;
    }
    sidechannel_ipc_deinit_zelvar();
}

PluginInterfaceWrapper* sidechannel_get_plugin_interface_ptr()
{
    PluginInterfaceWrapper* plugin = _plugin_ptr.load();
    ZELVAR_ASSERT_TEXT(plugin != nullptr, "_plugin_ptr != __null");
    return plugin;
}

PluginInterfaceWrapperSandbox* sidechannel_get_plugin_interface_sandbox_ptr()
{
    return _plugin_ptr.load();
}

sidechannel_plugin_access::sidechannel_plugin_access()
    : _plugin_lifetime_lock{plugin_lifetime_cs()}, _plugin{sidechannel_get_plugin_interface_sandbox_ptr()}
{
}
