// Any bytes as any Vulkan structure of a target of either width: the first byte chooses, the rest stands
// behind a message's header. What was received is read to its last byte, as a driver would.

#include "inbound/vk_reader.h"
#include "support/vk_touch.h"
#include "vk/vk_structure_functions.h"

#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

/// A block that ends where its bytes do, so that a sanitizer sees a byte too much.
struct exact_message
{
    exact_message(const uint8_t* payload, size_t bytes)
        : size(static_cast<uint32_t>(wire::header_size + bytes)),
          data(static_cast<uint8_t*>(std::malloc(size)))
    {
        std::memset(data, 0, wire::header_size);
        if (bytes)
            std::memcpy(data + wire::header_size, payload, bytes);
    }
    ~exact_message() { std::free(data); }
    exact_message(const exact_message&) = delete;
    exact_message& operator=(const exact_message&) = delete;

    uint32_t size;
    uint8_t* data;
};

void require(bool holds)
{
    if (!holds)
        std::abort();
}

template <class S>
void receive_one(uint64_t (*receive)(S**, vk_reader&, bool),
                 bool (*prepare)(_zelvar_object_manager_data_vk_device*, S**), vk_reader& in,
                 _zelvar_object_manager_data_vk_device* device)
{
    S* structure = reinterpret_cast<S*>(&in); // any but null
    uint64_t consumed = receive(&structure, in, true);
    require(consumed >= (in.wide() ? sizeof(S) : sizeof(vk_structure32<S>)));
    require(in.wanted() == wire::header_size + consumed);
    vk_touch::touch(structure);
    prepare(device, &structure);
    vk_touch::touch(structure);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0 || size > 1u << 20)
        return 0;
    static auto* device = new _zelvar_object_manager_data_vk_device; // knows no handle
    exact_message message{data + 1, size - 1};
    // Without an arena every unpacked structure has a block of its own.
    vk_reader in{message.data, message.size, data[0] & 0x80 ? 32 : 64, nullptr};
    unsigned chosen = data[0] & 0x7f;
#define VK_STRUCTURE(name, size32)                                                                           \
    if (chosen-- == 0)                                                                                       \
        receive_one<name>(receive_##name, prepare_host_##name, in, device);
#include "wire/vk_structure_names.inc"
#undef VK_STRUCTURE
    return 0;
}
