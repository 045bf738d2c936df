#pragma once
// The interfaces between a simulator and this library. Slot order is binary interface: a simulator may be
// built by another compiler, so virtual functions are never reordered. The Itanium C++ ABI gives each
// virtual destructor two slots.

#include <cstdint>
#include <string>

/// Identifies a target process: VMID in bits 24-31, process id in bits 0-23.
struct scTargetIdentifier
{
    uint32_t value = 0;

    /// "VMID: <vmid>PID: <pid>", both decimal.
    std::string toString() const
    {
        return "VMID: " + std::to_string(value >> 24) + "PID: " + std::to_string(value & 0xffffff);
    }
};

/// The simulator's accessor of target memory, valid only for the length of the call that hands it in.
class scModelInterface
{
public:
    virtual ~scModelInterface() = default;

    /// Copies `length` bytes of target memory to `destination`; returns the number of bytes copied. Called
    /// from any thread while the target waits in `scChannelInterface::read`.
    virtual uint32_t read(uint64_t target_address, void* destination, uint32_t length) = 0;

    /// Copies `length` bytes to target memory; returns the number of bytes written.
    virtual uint32_t write(uint64_t target_address, const void* source, uint32_t length) = 0;

    /// Not used by this library.
    virtual uint64_t reserved() = 0;

    /// Register state of a core; bits 48 and up are the VMID.
    virtual uint64_t queryCore(uint32_t core_id) = 0;
};

/// One connection from the target. `read` and `write` of one channel are called on the thread that opened
/// it, since the channel's lock belongs to that thread while the target runs.
class scChannelInterface
{
public:
    virtual ~scChannelInterface() = default;

    /// The target reads: blocks until an answer is there, writes up to `length` bytes of it to `address` on
    /// the target. Returns the bytes delivered, or -1 when the model did not take them all.
    virtual int32_t read(uint64_t address, uint32_t length, scModelInterface* model) = 0;

    /// The target writes: takes `length` bytes from `address` on the target. Never blocks on a worker.
    /// Returns `length`.
    virtual int32_t write(uint64_t address, uint32_t length, scModelInterface* model) = 0;

    /// The connection ended. The channel object stays and is never freed by the library.
    virtual void close() = 0;

    /// For the library's own senders: appends `length` bytes at host address `data` to the answer.
    virtual void writeSideChannel(uint64_t data, uint32_t length, scModelInterface* model) = 0;
};

/// The plug-in object that `scPluginEntryPoint` returns.
class scPluginInterface
{
public:
    virtual ~scPluginInterface() = default;

    /// Opens a channel for a new connection from the target; the channel lives to the end of the process.
    /// The calling thread must be the one that will call the channel's `read` and `write`.
    virtual scChannelInterface* open() = 0;
};
