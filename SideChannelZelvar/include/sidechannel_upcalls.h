#pragma once
// The two functions of the library above that this room calls: the only way up.

#include <cstdint>

class PluginInterfaceWrapper;

/// Brings the library up around a new plug-in object.
void zelvar_init(PluginInterfaceWrapper* plugin);

/// Takes one complete message from a channel. `message` is the channel's inbound buffer, valid only for the
/// length of this call. Runs on the simulator's thread and never blocks on a worker.
void zelvar_inbound_traffic_api_host_data_callback(void* message, uint32_t length);
