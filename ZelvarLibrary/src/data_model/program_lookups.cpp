// Entries of programs, and the questions to their tables.
#include "data_model/program_interface.h"

#include "sidechannel_log.h"

namespace {
template <class Key, class Row, class Value>
bool look_up(const std::map<Key, uint32_t>& positions, const std::vector<Row>& rows, Key key,
             Value Row::*field, Value* out)
{
    auto found = positions.find(key);
    if (found == positions.end() || found->second >= rows.size())
        return false;
    *out = rows[found->second].*field;
    return true;
}

using uniform = _zelvar_program_uniform_descriptor;
using block = _zelvar_program_uniform_block_descriptor;

/// The first row in key order whose array covers `location`.
template <class Map>
auto find_covering(Map& positions, const std::vector<uniform>& rows, int32_t uniform::*first,
                   int32_t location)
{
    for (auto at = positions.begin(); at != positions.end() && at->first <= location; ++at) {
        if (at->second >= rows.size())
            continue;
        const uniform& row = rows[at->second];
        if (int64_t{location} < int64_t{row.*first} + row.array_size)
            return at;
    }
    return positions.end();
}

/// The element of the other side's array. Sizes are a target's word, so the sum may leave the range.
int32_t moved(int32_t base, int32_t first, int32_t location)
{
    return static_cast<int32_t>(int64_t{base} + location - first);
}
} // namespace

void zelvar_data_model_init_program_descriptor_prelink(_zelvar_context_data* data, uint32_t target_program_id,
                                                       uint32_t host_program_id)
{
    auto [entry, is_new] = data->data_shared->programs.try_emplace(target_program_id);
    if (!is_new)
        LOG_WARN("Program mapping for target program id [%d] already exists! Overwriting.",
                 target_program_id);
    _zelvar_program_descriptor fresh;
    fresh.attached_shaders = std::move(entry->second.attached_shaders);
    fresh.host_id = host_program_id;
    entry->second = std::move(fresh);
}

std::map<int32_t, uint32_t>::iterator find_target_location(program_iterator program, int32_t target_location)
{
    return find_covering(program->second.uniforms_by_target_location, program->second.uniforms,
                         &uniform::target_location, target_location);
}

bool zelvar_data_model_get_host_uniform_location_by_target_uniform_location(program_iterator program,
                                                                            int32_t target_location,
                                                                            int32_t* host_location)
{
    auto found = find_target_location(program, target_location);
    if (found == program->second.uniforms_by_target_location.end())
        return false;
    const uniform& row = program->second.uniforms[found->second];
    *host_location =
        row.host_location < 0 ? -1 : moved(row.host_location, row.target_location, target_location);
    return true;
}

bool zelvar_data_model_get_host_uniform_index_by_target_uniform_index(program_iterator program,
                                                                      uint32_t target_index,
                                                                      uint32_t* host_index)
{
    const auto& p = program->second;
    if (look_up(p.uniforms_by_target_index, p.uniforms, target_index, &uniform::host_index, host_index))
        return true;
    LOG_WARN("Could not get host side uniform index of the target side uniform with index [%d]",
             target_index);
    return false;
}

bool zelvar_data_model_get_target_uniform_index_by_host_uniform_index(program_iterator program,
                                                                      uint32_t host_index,
                                                                      uint32_t* target_index)
{
    const auto& p = program->second;
    if (look_up(p.uniforms_by_host_index, p.uniforms, host_index, &uniform::target_index, target_index))
        return true;
    LOG_WARN("Could not get target side uniform index of the host side uniform with index [%d]", host_index);
    return false;
}

bool zelvar_data_model_get_host_uniform_block_index_by_target_uniform_block_index(program_iterator program,
                                                                                  uint32_t target_index,
                                                                                  uint32_t* host_index)
{
    const auto& p = program->second;
    if (look_up(p.uniform_blocks_by_target_index, p.uniform_blocks, target_index, &block::host_index,
                host_index))
        return true;
    LOG_WARN("Could not get host side uniform_block index of the target side uniform_block with index [%d]",
             target_index);
    return false;
}

bool zelvar_data_model_get_target_uniform_block_index_by_host_uniform_block_index(program_iterator program,
                                                                                  uint32_t host_index,
                                                                                  uint32_t* target_index)
{
    const auto& p = program->second;
    if (look_up(p.uniform_blocks_by_host_index, p.uniform_blocks, host_index, &block::target_index,
                target_index))
        return true;
    LOG_WARN("Could not get target side uniform_block index of the host side uniform_block with index [%d]",
             host_index);
    return false;
}

bool zelvar_data_model_get_target_uniform_location_by_host_uniform_location(program_iterator program,
                                                                            int32_t host_location,
                                                                            int32_t* target_location)
{
    auto& p = program->second;
    auto found =
        find_covering(p.uniforms_by_host_location, p.uniforms, &uniform::host_location, host_location);
    if (found == p.uniforms_by_host_location.end()) {
        LOG_WARN("Could not get target side uniform location of the host side uniform with location [%d]",
                 host_location);
        return false;
    }
    const uniform& row = p.uniforms[found->second];
    *target_location =
        row.target_location < 0 ? -1 : moved(row.target_location, row.host_location, host_location);
    return true;
}
