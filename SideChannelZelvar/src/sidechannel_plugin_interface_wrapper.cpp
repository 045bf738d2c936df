#include "sidechannel_plugin_interface_wrapper.h"

#include "sidechannel_log.h"

#include <algorithm>
#include <new>

PluginInterfaceWrapper::PluginInterfaceWrapper()
    : _channel_list_cs{critical_section_create()}, _plugin_cs{critical_section_create()}
{
}

PluginInterfaceWrapper::~PluginInterfaceWrapper()
{
    {
        Autolock channel_list_lock{_channel_list_cs};
        for (ChannelInterfaceWrapper* channel : _channel_interfaces)
            channel->forgetOwner();
    }
    critical_section_release(_plugin_cs);
    critical_section_release(_channel_list_cs);
}

scChannelInterface* PluginInterfaceWrapper::open()
{
    auto* new_channel = new (std::nothrow) ChannelInterfaceWrapper{this, _socket.load()};
    ZELVAR_ASSERT_TEXT(new_channel != nullptr, "new_channel != __null");
    try {
        Autolock channel_list_lock{_channel_list_cs};
        _channel_interfaces.push_back(new_channel);
        _channel_count.store(_channel_interfaces.size());
    } catch (const std::bad_alloc&) {
        LOG_FATAL("Out of memory: the channel is not opened.");
        delete new_channel;
        return nullptr;
    }
    _socket.store(-1);
    return new_channel;
}

ChannelInterfaceWrapper* PluginInterfaceWrapper::getSidechannelInterface(int pid)
{
    Autolock channel_list_lock{_channel_list_cs};
    if (auto known = _process_to_channel.find(pid); known != _process_to_channel.end())
        return known->second;
    // An unbound channel has process 0, so the list must not be asked for it.
    if (pid == 0) {
        LOG_ERROR("PluginInterfaceWrapper::getSidechannelInterface() for target pid 0.");
        return nullptr;
    }
    auto bound = std::find_if(_channel_interfaces.begin(), _channel_interfaces.end(),
                              [pid](auto* channel) { return channel->getBoundTargetProcess() == pid; });
    if (bound == _channel_interfaces.end())
        return nullptr;
    try {
        _process_to_channel.emplace(pid, *bound);
    } catch (const std::bad_alloc&) {
        return *bound; // found again the long way next time
    }
    LOG_DEBUG("Add mapping: queries for target process [%d] will be serviced by channel interface [%p].", pid,
              static_cast<void*>(*bound));
    return *bound;
}

void PluginInterfaceWrapper::onChannelClosed(ChannelInterfaceWrapper* channel)
{
    // A sanity check ahead of the lock, no guard.
    ZELVAR_ASSERT_TEXT(_channel_count.load() > 0, "_channel_interfaces.size() > 0");
    Autolock channel_list_lock{_channel_list_cs};
    if (auto open = std::find(_channel_interfaces.begin(), _channel_interfaces.end(), channel);
        open != _channel_interfaces.end())
        _channel_interfaces.erase(open);
    _channel_count.store(_channel_interfaces.size());
    // The first entry only: a process that has found this channel under a second pid keeps it.
    auto mapped = std::find_if(_process_to_channel.begin(), _process_to_channel.end(),
                               [channel](const auto& entry) { return entry.second == channel; });
    if (mapped != _process_to_channel.end())
        _process_to_channel.erase(mapped);
}

scPluginInterface* PluginInterfaceWrapper::getPluginInterface()
{
    return this;
}

ZELVAR_TSA(no_thread_safety_analysis) void PluginInterfaceWrapper::lock()
{
    critical_section_enter(_plugin_cs);
}

void PluginInterfaceWrapper::setSocket(SOCKET socket)
{
    _socket.store(socket);
}

ZELVAR_TSA(no_thread_safety_analysis) void PluginInterfaceWrapper::unlock()
{
    critical_section_leave(_plugin_cs);
}
