#pragma once
// Start and end of the side channel, and the way to the one plug-in object.

#include "sidechannel_primitives.h"

class PluginInterfaceWrapper;
class PluginInterfaceWrapperSandbox;

void sidechannel_init_zelvar(PluginInterfaceWrapper* plugin);
/// Deletes the plug-in object.
void sidechannel_deinit_zelvar();
/// Asserts that there is a plug-in.
PluginInterfaceWrapper* sidechannel_get_plugin_interface_ptr();
/// Null when there is no plug-in yet; callers must test.
PluginInterfaceWrapperSandbox* sidechannel_get_plugin_interface_sandbox_ptr();

/// Keeps the plug-in object alive for the scope in which it is used, however soon another thread takes the
/// library down. Short look-ups only: it holds a process-wide lock.
class sidechannel_plugin_access
{
public:
    sidechannel_plugin_access();
    explicit operator bool() const { return _plugin != nullptr; }
    PluginInterfaceWrapperSandbox* operator->() const { return _plugin; }

private:
    Autolock _plugin_lifetime_lock;
    PluginInterfaceWrapperSandbox* _plugin;
};

/// Forgets the plug-in singleton so that the next entry call starts afresh.
void sidechannel_forget_plugin_singleton();

/// Run by the loader: create and release the lock of `scPluginEntryPoint`.
void zelvar_library_init();
void zelvar_library_deinit();
