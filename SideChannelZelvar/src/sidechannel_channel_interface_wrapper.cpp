#include "sidechannel_channel_interface_wrapper.h"

#include "sidechannel_log.h"
#include "sidechannel_plugin_interface_wrapper.h"
#include "sidechannel_upcalls.h"
#include "sidechannel_zelvar_init.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

// Where a message keeps its words: size, type, pid, then the thread id; the header is 20 bytes.
constexpr uint32_t size_word_bytes = 4;
constexpr uint32_t pid_offset = 8;
constexpr uint32_t header_bytes = 20;
constexpr uint32_t pid_mask = 0xffffff;
constexpr uint64_t growth_step = 0x100000;

// The core that is asked for the VMID of a message. No simulator tells yet which core a message came from:
// -1 switches the tagging off, and messages keep the VMID bits that the target has set.
constexpr int32_t no_core = -1;
constinit std::atomic<int32_t> vmid_core_id{no_core};

void tag_with_vmid(uint8_t* message, uint32_t size, scModelInterface* model)
{
    const int32_t core = vmid_core_id.load(std::memory_order_relaxed);
    if (core == no_core || size < header_bytes)
        return;
    const uint64_t vmid = model->queryCore(static_cast<uint32_t>(core)) >> 48;
    if (vmid > 255)
        LOG_WARN("VMID > 255 detected. The sidechannel currently only supports 8 bit VMIDs. "
                 "VMID will be truncated.");
    scTargetIdentifier target;
    std::memcpy(&target.value, message + pid_offset, sizeof target.value);
    target.value = (target.value & pid_mask) | static_cast<uint32_t>(vmid & 0xff) << 24;
    std::memcpy(message + pid_offset, &target.value, sizeof target.value);
    LOG_TRACE("ChannelInterfaceWrapper received message from target %s", target.toString().c_str());
}

/// Takes the VMID out of the word where a message's pid stands.
void mask_pid_word(uint8_t* bytes)
{
    uint32_t word;
    std::memcpy(&word, bytes + pid_offset, sizeof word);
    word &= pid_mask;
    std::memcpy(bytes + pid_offset, &word, sizeof word);
}

} // namespace

ChannelInterfaceBuffer::ChannelInterfaceBuffer()
    : _cs{critical_section_create()}, _buffer{static_cast<uint8_t*>(std::calloc(capacity + slack, 1))}
{
}

ChannelInterfaceBuffer::~ChannelInterfaceBuffer()
{
    std::free(_buffer);
    critical_section_release(_cs);
}

void ChannelInterfaceBuffer::write(const void* data, uint32_t length)
{
    Autolock buffer_lock{_cs};
    ZELVAR_ASSERT_TEXT(_outPos == 0, "outPos == 0");
    if (_buffer == nullptr || uint64_t{length} + _inPos >= capacity) {
        LOG_FATAL("Sidechannel buffer full");
        return;
    }
    if (length != 0)
        std::memcpy(_buffer + _inPos, data, length);
    _inPos += length;
}

uint8_t* ChannelInterfaceBuffer::read(uint32_t len)
{
    Autolock buffer_lock{_cs};
    uint8_t* bytes = _buffer == nullptr ? nullptr : _buffer + _outPos;
    if (length() > len) {
        _outPos += len;
    } else {
        ZELVAR_ASSERT(len == length());
        _inPos = 0;
        _outPos = 0;
    }
    return bytes;
}

uint32_t ChannelInterfaceBuffer::length()
{
    Autolock buffer_lock{_cs};
    return _inPos - _outPos;
}

ChannelInterfaceWrapper::ChannelInterfaceWrapper(PluginInterfaceWrapperChannelCallbackInterface* owner,
                                                 SOCKET socket)
    : _owner_callback{owner}, _socket{socket}, _ready_to_send{semaphore_create(0)},
      _channel_cs{critical_section_create()}, _send_cs{critical_section_create()},
      _inbound{static_cast<uint8_t*>(std::calloc(inbound_capacity, 1))}, _inbound_size{_inbound == nullptr
                                                                                           ? 0
                                                                                           : inbound_capacity}
{
    lock();
}

// The channel lock and the inbound buffer stay as they are: a worker may wait for the lock, and the
// simulator's thread may be in a write.
ChannelInterfaceWrapper::~ChannelInterfaceWrapper()
{
    critical_section_release(_send_cs);
    semaphore_release(_ready_to_send);
}

int32_t ChannelInterfaceWrapper::write(uint64_t address, uint32_t length, scModelInterface* model)
{
    LOG_FINE("ChannelInterfaceWrapper::write(this=%p, length=%u) enter", static_cast<void*>(this), length);
    const auto taken = static_cast<int32_t>(length);
    if (model == nullptr) {
        LOG_ERROR("Can't read data from VPLAT.");
        return taken;
    }
    const uint64_t total = _inbound_fill + length;
    if (total > inbound_capacity)
        LOG_FATAL("VPLAT read buffer is to small @ %d.", static_cast<int>(total));
    // Once more has come than was declared, only the count goes on and the data lands behind the size word,
    // so that a stuck channel doesn't gather memory.
    const bool is_stuck = _inbound_fill >= size_word_bytes && _inbound_fill > declaredSize();
    uint8_t* space = inboundSpace(is_stuck ? size_word_bytes : _inbound_fill, length);
    if (space == nullptr) {
        LOG_FATAL("Out of memory: %u bytes from VPLAT are dropped.", length);
        return taken;
    }
    model->read(address, space, length);
    _inbound_fill = total;
    if (total < size_word_bytes) {
        LOG_ERROR("No data received");
        return taken;
    }
    const uint32_t declared = declaredSize();
    if (total == declared)
        dispatchInbound(declared, model);
    else if (total > declared)
        LOG_FATAL("too much data read from VPLAT for command.");
    else
        LOG_FATAL("partial data read from VPLAT for command.");
    LOG_FINE("ChannelInterfaceWrapper::write(this=%p) leaves with %u", static_cast<void*>(this), length);
    return taken;
}

uint32_t ChannelInterfaceWrapper::declaredSize() const
{
    uint32_t size;
    std::memcpy(&size, _inbound, sizeof size);
    return size;
}

/// Room for `length` bytes at `offset`; null when there is no memory for it, from then on for ever.
uint8_t* ChannelInterfaceWrapper::inboundSpace(uint64_t offset, uint32_t length)
{
    const uint64_t wanted = std::max<uint64_t>(offset + length, inbound_capacity);
    if (wanted > _inbound_size && !_inbound_lost) {
        const uint64_t size = (wanted + growth_step - 1) / growth_step * growth_step;
        if (auto* grown = static_cast<uint8_t*>(std::realloc(_inbound, size))) {
            // A model may deliver less than asked; a target must not get at what the heap held before.
            std::memset(grown + _inbound_size, 0, size - _inbound_size);
            _inbound = grown;
            _inbound_size = size;
        } else {
            _inbound_lost = true;
        }
    }
    return _inbound_lost ? nullptr : _inbound + offset;
}

void ChannelInterfaceWrapper::dispatchInbound(uint32_t size, scModelInterface* model)
{
    tag_with_vmid(_inbound, size, model);
    bindTargetProcess(_inbound, size);
    try {
        zelvar_inbound_traffic_api_host_data_callback(_inbound, size);
    } catch (const std::bad_alloc&) {
        LOG_FATAL("Out of memory: a message of %u bytes is dropped.", size);
    }
    _inbound_fill = 0;
    if (_inbound_size > inbound_capacity) {
        if (auto* usual = static_cast<uint8_t*>(std::realloc(_inbound, inbound_capacity))) {
            _inbound = usual;
            _inbound_size = inbound_capacity;
        }
    }
}

void ChannelInterfaceWrapper::bindTargetProcess(const void* message, uint32_t length)
{
    if (getBoundTargetProcess() == 0 && message != nullptr) {
        if (length >= header_bytes) {
            pid_t pid;
            std::memcpy(&pid, static_cast<const uint8_t*>(message) + pid_offset, sizeof pid);
            pid_t bound = 0;
            if (_bound_target_process.compare_exchange_strong(bound, pid)) {
                LOG_TRACE("Target pid [%d] will be serviced by ChannelInterfaceWrapper [%p]", pid,
                          static_cast<void*>(this));
            } else if (bound != pid) {
                LOG_FATAL("This channel interface [%p] is bound to target process [%d]. Servicing messages "
                          "from target process [%d] will lead to hangup.",
                          static_cast<void*>(this), bound, pid);
            }
        } else {
            LOG_FATAL("Cannot extract target pid due to message size is too small ([%d] bytes)",
                      static_cast<int>(length));
        }
    }
    if (getBoundTargetProcess() == 0) {
        LOG_FATAL("Channel interface [%p] is not bound to any of target threads. Communication for this "
                  "sidechannel interface is impossible!",
                  static_cast<void*>(this));
    }
}

int32_t ChannelInterfaceWrapper::read(uint64_t address, uint32_t length, scModelInterface* model)
{
    LOG_FINE("ChannelInterfaceWrapper::read(this=%p, length=%u) enter", static_cast<void*>(this), length);
    if (_model_interface != nullptr) {
        LOG_FATAL("Setting model interface %p while another still active %p in channel interface %p for "
                  "pid=%u",
                  static_cast<void*>(model), static_cast<void*>(_model_interface), static_cast<void*>(this),
                  static_cast<unsigned>(getBoundTargetProcess()));
    }
    _model_interface = model;
    unlock();
    waitForReadyToSend();
    // The worker has signalled, so it is done with the model.
    lock();
    _model_interface = nullptr;
    const int32_t delivered = deliver(address, length, model);
    LOG_FINE("ChannelInterfaceWrapper::read(this=%p) leaves with %d", static_cast<void*>(this), delivered);
    return delivered;
}

int32_t ChannelInterfaceWrapper::deliver(uint64_t address, uint32_t length, scModelInterface* model)
{
    Autolock outbound_lock{_outbound.lock()};
    // Counted under the lock: a read that takes everything must not leave behind what another worker has just
    // appended.
    const uint32_t n = std::min(length, _outbound.length());
    uint8_t* bytes = _outbound.read(n);
    if (bytes != nullptr)
        mask_pid_word(bytes);
    const uint32_t written = model == nullptr ? 0 : model->write(address, bytes, n);
    if (model == nullptr || written != n) {
        LOG_FATAL("Can't write data to VPLAT ( writeLength = %d, written = %d .", static_cast<int>(n),
                  static_cast<int>(written));
        StackDump();
        return -1;
    }
    if (_outbound.length() > 0)
        allowMainThreadToSendMessage();
    return static_cast<int32_t>(n);
}

void ChannelInterfaceWrapper::close()
{
    if (auto* owner = _owner_callback.load(std::memory_order_acquire))
        owner->onChannelClosed(this);
}

void ChannelInterfaceWrapper::writeSideChannel(uint64_t data, uint32_t length,
                                               [[maybe_unused]] scModelInterface* model)
{
    _outbound.write(reinterpret_cast<const void*>(data), length);
}

scModelInterface* ChannelInterfaceWrapper::getModelInterface()
{
    if (_model_interface == nullptr) {
        LOG_FATAL("ChannelInterfaceWrapper::getModelInterface(this=%p for pid=%u): Attempt to use NULL model "
                  "interface crash ahead",
                  static_cast<void*>(this), static_cast<unsigned>(getBoundTargetProcess()));
    }
    ZELVAR_ASSERT_TEXT(_model_interface != nullptr, "_model_interface != __null");
    return _model_interface;
}

ZELVAR_TSA(no_thread_safety_analysis) void ChannelInterfaceWrapper::lock()
{
    critical_section_enter(_channel_cs);
}

ZELVAR_TSA(no_thread_safety_analysis) void ChannelInterfaceWrapper::unlock()
{
    critical_section_leave(_channel_cs);
}

void ChannelInterfaceWrapper::waitForReadyToSend()
{
    semaphore_lower(_ready_to_send);
}

void ChannelInterfaceWrapper::allowMainThreadToSendMessage()
{
    semaphore_raise(_ready_to_send);
}

scModelInterface* sidechannel_model_interface_lock_and_get(pid_t pid)
{
    ChannelInterfaceWrapper* channel = nullptr;
    if (sidechannel_plugin_access plugin; plugin) {
        channel = plugin->getSidechannelInterface(pid);
        if (channel == nullptr)
            LOG_FATAL("No sidechannel interface found for process %u. Crash ahead.",
                      static_cast<unsigned>(pid));
    } else {
        LOG_FATAL("Plugin interface does not exist. Crash ahead.");
    }
    scModelInterface* result = nullptr;
    if (channel != nullptr) {
        channel->lock();
        result = channel->getModelInterface();
        if (result == nullptr) {
            LOG_FATAL("SidechannelInterfaceWrapper %p returned invalid model interface for process %u. "
                      "Crash ahead.",
                      static_cast<void*>(channel), static_cast<unsigned>(pid));
            channel->unlock();
        }
    }
    ZELVAR_ASSERT_TEXT(result != nullptr, "result != __null");
    return result;
}

void sidechannel_model_interface_unlock(pid_t pid)
{
    ChannelInterfaceWrapper* channel = nullptr;
    if (sidechannel_plugin_access plugin; plugin) {
        channel = plugin->getSidechannelInterface(pid);
        if (channel == nullptr)
            LOG_FATAL("No sidechannel interface found for process %u.", static_cast<unsigned>(pid));
    } else {
        LOG_FATAL("Plugin interface does not exist.");
    }
    if (channel != nullptr)
        channel->unlock();
}
