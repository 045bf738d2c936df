#include "handlers/vk/shader_numbers.h"

#include <algorithm>
#include <cstring>

vk_shader_numbers::vk_shader_numbers(const VkSpecializationInfo* given)
{
    for (uint32_t i = 0; given && given->pMapEntries && i < given->mapEntryCount; ++i) {
        const VkSpecializationMapEntry entry = given->pMapEntries[i];
        uint32_t value = 0;
        std::memcpy(&value, static_cast<const uint8_t*>(given->pData) + entry.offset,
                    std::min(entry.size, sizeof(value)));
        _given[entry.constantID] = value;
    }
}

void vk_shader_numbers::note(uint32_t opcode, std::span<const uint32_t> operands)
{
    const auto at = [operands](size_t i) { return i < operands.size() ? operands[i] : 0; };
    switch (opcode) {
    case spirv::decorate:
        if (at(1) == spirv::constant_id)
            _special[at(0)] = at(2);
        break;
    case spirv::constant:
        _values[at(1)] = at(2);
        break;
    case spirv::special_constant: {
        const auto id = _special.find(at(1));
        const auto given = id == _special.end() ? _given.end() : _given.find(id->second);
        _values[at(1)] = given == _given.end() ? at(2) : given->second;
        break;
    }
    case spirv::composite:
    case spirv::special_composite:
        if (operands.size() > 2)
            _composites[at(1)].assign(operands.begin() + 2, operands.end());
        break;
    case spirv::special_operation:
        if (operands.size() > 3)
            _values[at(1)] = operation(operands.subspan(2));
        break;
    default:
        break;
    }
}

uint32_t vk_shader_numbers::value(uint32_t id) const
{
    const auto found = _values.find(id);
    return found == _values.end() ? UINT32_MAX : found->second;
}

uint32_t vk_shader_numbers::part(uint32_t id, uint32_t index) const
{
    const auto found = _composites.find(id);
    return found == _composites.end() || index >= found->second.size() ? UINT32_MAX
                                                                       : value(found->second[index]);
}

/// Those on whole numbers that lengths are made with.
uint32_t vk_shader_numbers::operation(std::span<const uint32_t> operands) const
{
    const uint32_t a = value(operands[1]);
    const uint32_t b = operands.size() > 2 ? value(operands[2]) : 0;
    const auto signed_a = static_cast<int32_t>(a);
    const auto signed_b = static_cast<int32_t>(b);
    switch (operands[0]) {
    case 81: // of a composite
        return part(operands[1], operands.size() > 2 ? operands[2] : 0);
    case 113: // conversions
    case 114:
    case 124:
        return a;
    case 126:
        return 0 - a;
    case 128:
        return a + b;
    case 130:
        return a - b;
    case 132:
        return a * b;
    case 134:
        return b ? a / b : UINT32_MAX;
    case 135:
        return b && signed_a >= 0 && signed_b > 0 ? a / b : UINT32_MAX;
    case 137:
        return b ? a % b : UINT32_MAX;
    case 138:
    case 139:
        return b && signed_a >= 0 && signed_b > 0 ? a % b : UINT32_MAX;
    case 169: // one or the other
        return operands.size() > 3 ? std::max(b, value(operands[3])) : UINT32_MAX;
    case 194:
        return b < 32 ? a >> b : 0;
    case 195:
        return b < 32 ? static_cast<uint32_t>(signed_a >> b) : 0;
    case 196:
        return b < 32 ? a << b : 0;
    case 197:
        return a | b;
    case 198:
        return a ^ b;
    case 199:
        return a & b;
    case 200:
        return ~a;
    default:
        return UINT32_MAX;
    }
}
