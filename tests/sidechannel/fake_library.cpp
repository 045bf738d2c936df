#include "fake_library.h"

#include "sidechannel_upcalls.h"
#include "sidechannel_zelvar_init.h"
#include "sidechannel_zelvar_ipc.h"

FakeLibrary& fake_library()
{
    static auto* library = new FakeLibrary;
    return *library;
}

void zelvar_init(PluginInterfaceWrapper* plugin)
{
    fake_library().init_calls++;
    sidechannel_init_zelvar(plugin);
    sidechannel_ipc_start_server();
}

void zelvar_inbound_traffic_api_host_data_callback(void* message, uint32_t length)
{
    const auto* bytes = static_cast<const uint8_t*>(message);
    const Bytes copy(bytes, bytes + length);
    if (fake_library().on_message)
        fake_library().on_message(copy);
    else
        fake_library().messages.push_back(copy);
}

// Channels live to the end of the process by design.
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:ChannelInterfaceWrapper\nleak:PluginInterfaceWrapper::open\nleak:TestChannel";
}
