#pragma once
// Start and end of the whole library, in a fixed order.

class PluginInterfaceWrapper;
void zelvar_init(PluginInterfaceWrapper* plugin);
