#pragma once
// Start and end of the side channel, and the way to the one plug-in object.

class PluginInterfaceWrapper;
class PluginInterfaceWrapperSandbox;

void sidechannel_init_zelvar(PluginInterfaceWrapper* plugin);
/// Deletes the plug-in object.
void sidechannel_deinit_zelvar();
/// Asserts that there is a plug-in.
PluginInterfaceWrapper* sidechannel_get_plugin_interface_ptr();
/// Null when there is no plug-in yet; callers must test.
PluginInterfaceWrapperSandbox* sidechannel_get_plugin_interface_sandbox_ptr();
/// Forgets the plug-in singleton so that the next entry call starts afresh.
void sidechannel_forget_plugin_singleton();
