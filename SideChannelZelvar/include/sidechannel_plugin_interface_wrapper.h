#pragma once
// The plug-in object: one per process, above all channels.

#include "sidechannel_channel_interface_wrapper.h"
#include "sidechannel_primitives.h"
#include "zelvar/sc_interfaces.h"

#include <atomic>
#include <map>
#include <vector>

/// What the rest of the library sees of the plug-in. No virtual destructor: slot order is
/// getPluginInterface, getSidechannelInterface, lock, setSocket, unlock.
class PluginInterfaceWrapperSandbox
{
public:
    virtual scPluginInterface* getPluginInterface() = 0;
    /// The channel that serves a target process: the first opened channel bound to it. Null if none.
    virtual ChannelInterfaceWrapper* getSidechannelInterface(int pid) = 0;
    virtual void lock() = 0;
    virtual void setSocket(SOCKET socket) = 0;
    virtual void unlock() = 0;

protected:
    ~PluginInterfaceWrapperSandbox() = default;
};

/// Owns the two locks; the containers point at channels and own none.
class PluginInterfaceWrapper : public scPluginInterface,
                               public PluginInterfaceWrapperChannelCallbackInterface,
                               public PluginInterfaceWrapperSandbox
{
public:
    PluginInterfaceWrapper();
    ~PluginInterfaceWrapper() override;

    scChannelInterface* open() override;
    void onChannelClosed(ChannelInterfaceWrapper* channel) override;
    scPluginInterface* getPluginInterface() override;
    ChannelInterfaceWrapper* getSidechannelInterface(int pid) override;
    void lock() override;
    void setSocket(SOCKET socket) override;
    void unlock() override;

private:
    std::vector<ChannelInterfaceWrapper*> _channel_interfaces;     // guarded by _channel_list_cs
    std::map<pid_t, ChannelInterfaceWrapper*> _process_to_channel; // guarded by _channel_list_cs
    critical_section__* _channel_list_cs;
    std::atomic<SOCKET> _socket{-1};
    critical_section__* _plugin_cs;
    std::atomic<size_t> _channel_count{0}; // mirrors the vector's size for the unlocked sanity check
};
