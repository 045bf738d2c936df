#pragma once
// Bytes on their way from the target to a texture or a buffer.

#include "data_model/zelvar_data_model.h"
#include "handlers/handler.h"

/// What a call hands the host for pixels: a block with a copy of target memory, an offset into a bound
/// buffer, or null. Lives as long as its call, which holds the context.
class upload
{
public:
    const void* pixels() const { return _pixels; }

    /// Whether `address` means target memory.
    static bool is_in_target(_zelvar_context_data* context, target_ptr address);
    void pass_through(target_ptr address) { _pixels = reinterpret_cast<const void*>(address.address); }
    /// Room for `size` bytes of any use, at least 1, which `pixels` then leads to; null when there is no
    /// memory.
    uint8_t* make_room(_zelvar_context_data* context, uint64_t size);
    /// Reads `told` bytes of the target straight into the block that the host will read; what the host may
    /// touch beyond, up to `reach`, is zero. False when there is no memory for it.
    bool read(const gles_handler& call, _zelvar_context_data* context, target_ptr address, uint64_t told,
              uint64_t reach);

private:
    const void* _pixels = nullptr;
    owned_block _large;
};
