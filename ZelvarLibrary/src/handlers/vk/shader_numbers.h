#pragma once
// Instructions of SPIR-V, and the whole numbers among a shader's constants.

#include "wire/vk_structures.h"

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <vector>

/// The few opcodes and numbers that tell.
namespace spirv {
constexpr uint32_t entry_point = 15, execution_mode = 16, type_int = 21, type_float = 22, type_vector = 23,
                   type_matrix = 24, type_image = 25, type_sampler = 26, type_sampled_image = 27,
                   type_array = 28, type_runtime_array = 29, type_struct = 30, type_pointer = 32,
                   constant = 43, composite = 44, special_constant = 50, special_composite = 51,
                   special_operation = 52, function = 54, call = 57, variable = 59, copy_memory = 63,
                   decorate = 71, member_decorate = 72, execution_mode_id = 331;
constexpr uint32_t constant_id = 1, builtin = 11, location = 30;                        // decorations
constexpr uint32_t input = 1, output = 3, of_group = 4, of_thread = 6, of_function = 7; // storage
constexpr uint32_t clip_distance = 3, cull_distance = 4, workgroup_size = 25;           // builtins
constexpr uint32_t local_size = 17, local_size_id = 38;                                 // modes

/// Calls with opcode and operands of each instruction; false at once for words that don't hang together.
template <class F>
bool for_each(std::span<const uint32_t> module, F each)
{
    constexpr size_t header = 5;
    constexpr uint32_t magic = 0x07230203;
    if (module.size() < header || module[0] != magic)
        return false;
    for (auto rest = module.subspan(header); !rest.empty();) {
        const size_t length = rest[0] >> 16;
        if (length == 0 || length > rest.size())
            return false;
        each(rest[0] & 0xffff, rest.subspan(1, length - 1));
        rest = rest.subspan(length);
    }
    return true;
}
} // namespace spirv

class vk_shader_numbers
{
public:
    /// With the values that a pipeline gives, or null for those of the shader; sound ones.
    explicit vk_shader_numbers(const VkSpecializationInfo* given);

    void note(uint32_t opcode, std::span<const uint32_t> operands);
    /// UINT32_MAX for what isn't known.
    uint32_t value(uint32_t id) const;
    /// Of a vector.
    uint32_t part(uint32_t id, uint32_t index) const;

private:
    uint32_t operation(std::span<const uint32_t> operands) const;

    std::map<uint32_t, uint32_t> _given;   // by constant id
    std::map<uint32_t, uint32_t> _special; // constant ids
    std::map<uint32_t, uint32_t> _values;
    std::map<uint32_t, std::vector<uint32_t>> _composites;
};
