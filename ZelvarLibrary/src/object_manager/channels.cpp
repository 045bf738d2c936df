// The channel of a target process. The live road is the plug-in's own look-up; channels that are made and
// registered by hand are kept beside it.
#include "object_manager/zelvar_object_manager.h"
#include "sidechannel_log.h"
#include "sidechannel_plugin_interface_wrapper.h"
#include "sidechannel_zelvar_init.h"

namespace {
/// Under pid_to_process_net_data_map_cs.
auto find_socket(uint32_t socket)
{
    auto entry = pid_to_process_net_data_map.begin();
    while (entry != pid_to_process_net_data_map.end() && entry->second.socket != socket)
        ++entry;
    return entry;
}

bool may_register(pid_t pid, const PluginInterfaceWrapperSandbox* sandbox, const scPluginInterface* wrapper)
{
    Autolock net_lock{pid_to_process_net_data_map_cs};
    if (pid_to_process_net_data_map.contains(pid)) {
        LOG_ERROR("PID [%d] is already recognized! Cannot create channel instance!", pid);
        return false;
    }
    if (!sandbox)
        LOG_ERROR("Sandbox plugin interface pointer is NULL!");
    if (!wrapper)
        LOG_ERROR("Plugin interface wrapper pointer is NULL!");
    return sandbox && wrapper;
}

bool store_channel(pid_t pid, uint32_t socket, scChannelInterface* channel)
{
    Autolock net_lock{pid_to_process_net_data_map_cs};
    return pid_to_process_net_data_map
        .try_emplace(pid, _zelvar_object_manager_process_net_data{channel, socket})
        .second;
}
} // namespace

bool zelvar_object_manager_get_channel_interface(pid_t pid, ChannelInterfaceWrapper** channel)
{
    sidechannel_plugin_access plugin;
    if (!plugin) {
        LOG_ERROR("Plugin interface does not exist. Communication with target side is impossible!.");
        return false;
    }
    auto* found = plugin->getSidechannelInterface(pid);
    if (!found)
        return false;
    *channel = found;
    return true;
}

bool zelvar_object_manager_register_channel_interface_for_current_communication_thread(
    pid_t pid, uint32_t socket, PluginInterfaceWrapperSandbox* sandbox, scPluginInterface* wrapper)
{
    if (!may_register(pid, sandbox, wrapper))
        return false;
    sandbox->lock();
    sandbox->setSocket(static_cast<SOCKET>(socket));
    auto* channel = wrapper->open();
    bool stored = store_channel(pid, socket, channel);
    sandbox->unlock();
    if (!stored && channel) {
        channel->close();
        delete channel;
    }
    return stored;
}

bool zelvar_object_manager_unregister_channel_interface_for_current_communication_thread(uint32_t socket)
{
    _zelvar_object_manager_process_net_data ended;
    {
        Autolock net_lock{pid_to_process_net_data_map_cs};
        auto entry = find_socket(socket);
        if (entry == pid_to_process_net_data_map.end()) {
            LOG_ERROR("Cannot unregister channel instance - socket has an unknown owner!");
            return false;
        }
        if (!entry->second.channel)
            LOG_ERROR("Cannot unregister channel instance - PID [%d] not assigned one", entry->first);
        ended = entry->second;
        pid_to_process_net_data_map.erase(entry);
    }
    if (!ended.channel)
        return false;
    ended.channel->close();
    delete ended.channel;
    return true;
}

bool zelvar_object_manager_get_target_pid_for_socket(uint32_t socket, pid_t* pid)
{
    Autolock net_lock{pid_to_process_net_data_map_cs};
    auto entry = find_socket(socket);
    if (entry == pid_to_process_net_data_map.end())
        return false;
    *pid = entry->first;
    return true;
}
