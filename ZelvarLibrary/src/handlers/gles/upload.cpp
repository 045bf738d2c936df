#include "handlers/gles/upload.h"

#include "handlers/gles/buffer_lookup.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {
/// More than one read of target memory can bring.
constexpr uint64_t largest_upload = INT32_MAX; // bytes
/// Blocks up to this size stay with the context, so that a stream of uploads allocates once.
constexpr uint64_t largest_kept_block = uint64_t{16} << 20; // bytes
} // namespace

bool upload::is_in_target(_zelvar_context_data* context, target_ptr address)
{
    return address && !context->host_bindings.pixel_unpack_buffer;
}

uint8_t* upload::make_room(_zelvar_context_data* context, uint64_t size)
{
    owned_block& block = size <= largest_kept_block ? context->upload_block : _large;
    if (block.size < size) {
        block.bytes.reset(static_cast<uint8_t*>(std::malloc(size)));
        block.size = block.bytes ? size : 0;
    }
    _pixels = block.bytes.get();
    return block.bytes.get();
}

bool upload::read(const gles_handler& call, _zelvar_context_data* context, target_ptr address, uint64_t told,
                  uint64_t reach)
{
    const uint64_t size = std::max<uint64_t>({told, reach, 1});
    if (size > largest_upload)
        return false;
    uint8_t* room = make_room(context, size);
    if (!room)
        return false;
    std::memset(room + told, 0, size - told);
    // A short read has zeros where the target has nothing, and keeps what it has.
    if (told)
        zelvar_shim_dispatch_read_from_shim_address_space(call.pid, call.tid, static_cast<uint32_t>(told),
                                                          address, room);
    return true;
}
