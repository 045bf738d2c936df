// Target memory: blocks that the target allocates for us, reads, writes and strings.

#include "object_manager/zelvar_object_manager.h"
#include "settings/zelvar_settings.h"
#include "shim/zelvar_shim_dispatch.h"
#include "shim/zelvar_shim_service.h"
#include "sidechannel_channel_interface_wrapper.h"
#include "sidechannel_log.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

using shim_service::registered_or_faked;
using shim_service::request;
namespace out = wire::outbound;

namespace {
/// The model interface of a process for the length of an access. Without a channel there is no memory to
/// reach: whatever pid a message names, that is no reason to stop.
class model_access
{
public:
    explicit model_access(pid_t pid) : _pid(pid)
    {
        ChannelInterfaceWrapper* channel = nullptr;
        zelvar_object_manager_get_channel_interface(pid, &channel);
        if (channel)
            _model = sidechannel_model_interface_lock_and_get(pid);
        else
            LOG_FATAL("Cannot handle request - channel interface pointer is NULL.");
    }
    ~model_access()
    {
        if (_model)
            sidechannel_model_interface_unlock(_pid);
    }
    model_access(const model_access&) = delete;
    model_access& operator=(const model_access&) = delete;
    explicit operator bool() const { return _model != nullptr; }
    scModelInterface* operator->() const { return _model; }

private:
    pid_t _pid;
    scModelInterface* _model = nullptr;
};

/// No name or text of an honest target comes near it.
constexpr uint64_t longest_string = uint64_t{64} << 20; // bytes

/// Fills with zeros. Sizes are the target's word, up to 4 GiB: memory that was never written reads as zeros
/// already and stays unused that way, so only what holds something is cleared.
void clear(char* at, uint64_t size)
{
    static constexpr char zeros[4096] = {};
    while (size > 0) {
        const uint64_t piece = std::min<uint64_t>(size, sizeof zeros);
        if (std::memcmp(at, zeros, piece) != 0)
            std::memset(at, 0, piece);
        at += piece;
        size -= piece;
    }
}

/// What the target doesn't have reads as zeros.
bool read_through_model(pid_t pid, uint32_t size, target_ptr address, void* destination)
{
    uint32_t got = 0;
    if (model_access model{pid})
        got = model->read(address.address, destination, size);
    if (got >= size)
        return true;
    clear(static_cast<char*>(destination) + got, size - got);
    LOG_ERROR("Process %d has no memory at [0x%lx-0x%lx]: %u of %u bytes read, zeros taken for the rest.",
              pid, address.address, address.address + size, got, size);
    return false;
}

void write_through_model(pid_t pid, uint32_t size, const void* source, target_ptr address)
{
    model_access model{pid};
    if (model && model->write(address.address, source, size) != size)
        StackDump();
}
} // namespace

bool zelvar_shim_dispatch_read_from_shim_address_space(pid_t pid, tid_t tid, uint32_t size,
                                                       target_ptr address, void* destination)
{
    if (registered_or_faked(out::read_from_shim_address_space, destination, size, address.address))
        return true;
    if (!setting(zelvar_only_settings.directTargetMemoryReads)) {
        LOG_DEBUG("Slow read from shim [0x%lx-0x%lx]:%d", address.address, address.address + size, size);
        const shim_request::wire_field fields[] = {{&size, 4}, {&address.address, 8}};
        if (!shim_request::ask(out::read_from_shim_address_space, pid, tid, wire::header_size + 12, fields, 2,
                               nullptr, 0, nullptr, nullptr, true))
            return false;
    }
    return read_through_model(pid, size, address, destination);
}

void zelvar_shim_dispatch_write_to_shim_address_space(pid_t pid, tid_t tid, uint32_t size, const void* source,
                                                      target_ptr address)
{
    if (!zelvar_call_on_target())
        zelvar_shim_dispatch_write_to_shim_address_space_force(pid, tid, size, source, address);
}

void zelvar_shim_dispatch_write_to_shim_address_space_force(pid_t pid, tid_t tid, uint32_t size,
                                                            const void* source, target_ptr address)
{
    if (registered_or_faked(out::write_to_shim_address_space, nullptr, size, source, address.address))
        return;
    if (!setting(zelvar_only_settings.directTargetMemoryWrites)) {
        // Address before size here, size before address in a read.
        const shim_request::wire_field fields[] = {{&address.address, 8}, {&size, 4}};
        if (!shim_request::ask(out::write_to_shim_address_space, pid, tid, wire::header_size + 12, fields, 2,
                               nullptr, 0, nullptr, nullptr, true))
            return;
    }
    write_through_model(pid, size, source, address);
}

void zelvar_shim_dispatch_allocate_memory_block(pid_t pid, tid_t tid, uint32_t size, target_ptr* address)
{
    request(out::allocate_memory_block, pid, tid, &address->address, 8, size);
}

void zelvar_shim_dispatch_deallocate_memory_block(pid_t pid, tid_t tid, target_ptr address)
{
    if (registered_or_faked(out::deallocate_memory_block, nullptr, address.address))
        return;
    const shim_request::wire_field fields[] = {{&address.address, 8}};
    shim_request::post(out::deallocate_memory_block, pid, tid, fields, 1);
}

void zelvar_shim_dispatch_get_string(pid_t pid, tid_t tid, target_ptr address, std::string* out)
{
    uint32_t length = 0;
    zelvar_shim_dispatch_get_string_length(pid, tid, address, &length);
    if (length == 0)
        return;
    uint64_t size = uint64_t{length} + 1; // with the terminator
    std::unique_ptr<char, decltype(&std::free)> block{
        size <= longest_string ? static_cast<char*>(std::calloc(size, 1)) : nullptr, &std::free};
    if (!block) {
        LOG_ERROR("String on target side has not been retrieved!");
        return;
    }
    zelvar_shim_dispatch_read_from_shim_address_space(pid, tid, static_cast<uint32_t>(size), address,
                                                      block.get());
    out->assign(block.get(), strnlen(block.get(), length));
}

void zelvar_shim_dispatch_get_target_process_name(pid_t pid, tid_t tid, std::string* out)
{
    target_ptr address;
    zelvar_shim_dispatch_get_target_process_name_address(pid, tid, &address);
    zelvar_shim_dispatch_get_string(pid, tid, address, out);
}
