#pragma once
// One channel: the road between a target process and this library.

#include "sidechannel_primitives.h"
#include "zelvar/sc_interfaces.h"

#include <atomic>
#include <cstddef>
#include <sys/types.h>

using SOCKET = int;
class ChannelInterfaceWrapper;

/// What a channel sees of its owner.
class PluginInterfaceWrapperChannelCallbackInterface
{
public:
    virtual void onChannelClosed(ChannelInterfaceWrapper* channel) = 0;

protected:
    ~PluginInterfaceWrapperChannelCallbackInterface() = default;
};

/// The outbound byte queue of a channel. Writers append a message field by field; the reader drains it
/// completely before the next writer begins. A leaf mutex covers both ends.
class ChannelInterfaceBuffer
{
public:
    static constexpr uint32_t capacity = 0x100000;
    /// The reader masks a word beyond a short read, inside this slack.
    static constexpr uint32_t slack = 16;

    ChannelInterfaceBuffer();
    ~ChannelInterfaceBuffer();
    ChannelInterfaceBuffer(const ChannelInterfaceBuffer&) = delete;
    ChannelInterfaceBuffer& operator=(const ChannelInterfaceBuffer&) = delete;

    /// Appends when the result stays strictly below `capacity`; otherwise the data is dropped and logged.
    void write(const void* data, uint32_t length);
    /// Consumes `len` bytes, no more than are pending; the address stays valid until the next write. Null
    /// when the buffer could not be allocated.
    uint8_t* read(uint32_t len);
    uint32_t length();
    /// Keeps writers off while the bytes that `read` returned are still in use.
    critical_section__*& lock() { return _cs; }

private:
    critical_section__* _cs;
    uint8_t* _buffer;
    uint32_t _inPos = 0;
    uint32_t _outPos = 0;
};

/// A channel of the simulator. States: created (lock held by the opening thread, unbound) -> bound by its
/// first complete message -> alternating between running (lock with the simulator's thread) and waiting
/// (simulator's thread inside `read`, lock free, model interface valid) -> closed.
class ChannelInterfaceWrapper : public scChannelInterface
{
public:
    static constexpr uint32_t inbound_capacity = 0x400000;

    /// Takes the channel lock for the calling thread, which must be the one that calls `read` and `write`.
    ChannelInterfaceWrapper(PluginInterfaceWrapperChannelCallbackInterface* owner, SOCKET socket);
    ~ChannelInterfaceWrapper() override;

    int32_t read(uint64_t address, uint32_t length, scModelInterface* model) override;
    int32_t write(uint64_t address, uint32_t length, scModelInterface* model) override;
    void close() override;
    void writeSideChannel(uint64_t data, uint32_t length, scModelInterface* model) override;

    /// Forgets the owner, so that a channel may still be closed after the plug-in object is gone.
    void forgetOwner() { _owner_callback.store(nullptr, std::memory_order_release); }

    /// Binds the channel to the pid of its first message; later messages are not compared.
    void bindTargetProcess(const void* message, uint32_t length);
    /// 0 while unbound.
    pid_t getBoundTargetProcess() const { return _bound_target_process.load(std::memory_order_acquire); }

    /// The simulator's accessor; asserts that the simulator's thread is inside `read`. Call with the channel
    /// locked.
    scModelInterface* getModelInterface();

    /// The channel lock, held by workers while they touch target memory.
    void lock();
    void unlock();
    /// The send lock: a leaf held for one whole outbound message, so that fields of two workers' messages
    /// can't interleave.
    critical_section__*& sendLock() { return _send_cs; }

    void waitForReadyToSend();
    /// Makes everything written so far visible to the target: releases one `read`.
    void allowMainThreadToSendMessage();

private:
    uint32_t declaredSize() const;
    uint8_t* inboundSpace(uint64_t offset, uint32_t length);
    void dispatchInbound(uint32_t size, scModelInterface* model);
    int32_t deliver(uint64_t address, uint32_t length, scModelInterface* model);

    std::atomic<PluginInterfaceWrapperChannelCallbackInterface*> _owner_callback;
    [[maybe_unused]] SOCKET _socket; // what the plug-in was given for this channel; nothing reads it
    std::atomic<pid_t> _bound_target_process{0};
    semaphore__* _ready_to_send;
    scModelInterface* _model_interface = nullptr; // guarded by _channel_cs
    critical_section__* _channel_cs;
    critical_section__* _send_cs;
    ChannelInterfaceBuffer _outbound;
    // The inbound side belongs to the simulator's thread alone.
    uint8_t* _inbound;
    uint64_t _inbound_size;
    uint64_t _inbound_fill = 0;
    bool _inbound_lost = false; // bytes had to be dropped: the message boundaries are gone
};

/// Locks the channel of a target process and returns its model interface: the only way for a worker to reach
/// target memory. Blocks until the target waits in `read`. Asserts that there is an interface.
scModelInterface* sidechannel_model_interface_lock_and_get(pid_t pid);
/// Undoes `sidechannel_model_interface_lock_and_get`.
void sidechannel_model_interface_unlock(pid_t pid);
