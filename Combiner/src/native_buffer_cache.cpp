#include "combiner.h"

#include <cstdlib>
#include <utility>

critical_section__* andorid_native_buffer_data_map_cs = critical_section_create();
std::map<kept_frame_key, kept_frame>& andorid_native_buffer_data_map =
    *new std::map<kept_frame_key, kept_frame>;

void keep_native_buffer(const kept_frame_key& key, uint8_t* pixels, uint64_t size)
{
    Autolock cache_guard{andorid_native_buffer_data_map_cs};
    kept_frame& kept = andorid_native_buffer_data_map[key];
    std::free(kept.pixels);
    kept = {pixels, size, 0};
}

kept_frame take_native_buffer(const kept_frame_key& key)
{
    Autolock cache_guard{andorid_native_buffer_data_map_cs};
    auto found = andorid_native_buffer_data_map.find(key);
    if (found == andorid_native_buffer_data_map.end())
        return {};
    return std::exchange(found->second, {});
}

void give_native_buffer_back(const kept_frame_key& key, const kept_frame& frame)
{
    Autolock cache_guard{andorid_native_buffer_data_map_cs};
    kept_frame& kept = andorid_native_buffer_data_map[key];
    if (kept.pixels)
        std::free(frame.pixels);
    else
        kept = frame;
}
