#include "handlers/gles/copy_aligned.h"

#include "sidechannel_log.h"

#include <algorithm>
#include <cstring>

bool zelvar_helpers_copy_aligned(void* destination, uint64_t destination_item_size, const void* source,
                                 uint64_t source_item_size, uint64_t count)
{
    const char* fault = nullptr;
    if (!source_item_size)
        fault = "source item size";
    else if (!destination_item_size)
        fault = "destination item size";
    else if (!source)
        fault = "source address";
    else if (!destination)
        fault = "destination address";
    if (fault) {
        LOG_ERROR("zelvar_helpers_copy_aligned: invalid %s", fault);
        return false;
    }
    auto* to = static_cast<uint8_t*>(destination);
    auto* from = static_cast<const uint8_t*>(source);
    std::memset(to, 0, destination_item_size * count);
    for (uint64_t i = 0; i < count; ++i)
        std::memcpy(to + i * destination_item_size, from + i * source_item_size,
                    std::min(destination_item_size, source_item_size));
    return true;
}
