#pragma once
// Target memory for the results of calls that the target runs for us, freed with its owner.

#include "shim/zelvar_shim_dispatch.h"
#include "zelvar_types.h"

class target_block
{
public:
    target_block(pid_t pid, tid_t tid, uint32_t bytes) : _pid(pid), _tid(tid)
    {
        zelvar_shim_dispatch_allocate_memory_block(pid, tid, bytes, &_address);
    }
    ~target_block()
    {
        if (_address)
            zelvar_shim_dispatch_deallocate_memory_block(_pid, _tid, _address);
    }
    target_block(const target_block&) = delete;
    target_block& operator=(const target_block&) = delete;

    /// False when the target had no room.
    explicit operator bool() const { return static_cast<bool>(_address); }
    target_ptr address() const { return _address; }
    /// A value that the target has written; zero when it can't be read.
    template <class T>
    T read(uint64_t offset = 0) const
    {
        T value{};
        if (!zelvar_shim_dispatch_read_from_shim_address_space(_pid, _tid, sizeof(T), _address + offset,
                                                               &value))
            value = T{};
        return value;
    }

private:
    pid_t _pid;
    tid_t _tid;
    target_ptr _address;
};
