#include "handlers/vk/shader_scan.h"

#include "handlers/vk/shader_numbers.h"

#include <algorithm>
#include <cstring>

namespace {
using words = std::span<const uint32_t>;

constexpr uint32_t buffer_block = 3, binding = 33, descriptor_set = 34;
constexpr uint32_t storage_buffer = 12;           // where variables are
constexpr uint32_t of_buffer = 5, of_subpass = 6; // dimensions of images

constexpr uint32_t bit(VkDescriptorType type)
{
    return 1u << type;
}
constexpr uint32_t uniform_buffers =
    bit(VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER) | bit(VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER_DYNAMIC);
constexpr uint32_t storage_buffers =
    bit(VK_DESCRIPTOR_TYPE_STORAGE_BUFFER) | bit(VK_DESCRIPTOR_TYPE_STORAGE_BUFFER_DYNAMIC);
constexpr uint32_t combined = bit(VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER);

/// A module, one pass over its instructions.
class scan
{
public:
    /// False for words that don't hang together.
    bool read(words module)
    {
        return spirv::for_each(module, [this](uint32_t opcode, words operands) { note(opcode, operands); });
    }
    std::vector<vk_shader_entry_point> entry_points() const
    {
        std::vector<vk_shader_entry_point> all;
        for (const entry& each : _entries)
            all.push_back({each.stage, each.name, resources_of(each.function)});
        return all;
    }

private:
    struct entry
    {
        VkShaderStageFlags stage;
        uint32_t function;
        std::string name;
    };
    struct body
    {
        std::set<uint32_t> named; // by instructions that take pointers
        std::set<uint32_t> calls;
    };
    struct decorations
    {
        uint32_t set = UINT32_MAX;
        uint32_t binding = UINT32_MAX;
        bool is_buffer_block = false;
    };

    void note(uint32_t opcode, words operands)
    {
        const auto at = [operands](size_t i) { return i < operands.size() ? operands[i] : 0; };
        if (opcode == spirv::function)
            _now = &_bodies[at(1)];
        else if (_now && takes_pointers(opcode)) {
            _now->named.insert(operands.begin(), operands.end());
            if (opcode == spirv::call)
                _now->calls.insert(at(2));
        } else if (opcode == spirv::entry_point)
            note_entry(operands);
        else if (opcode == spirv::decorate)
            note_decoration(_decorated[at(0)], at(1), at(2));
        else if (opcode == spirv::constant)
            _constants[at(1)] = at(2);
        else if (opcode == spirv::variable)
            _variables[at(1)] = at(0);
        else if (opcode >= spirv::type_image && opcode <= spirv::type_pointer)
            _types[at(0)] = {opcode, operands};
    }
    static bool takes_pointers(uint32_t opcode)
    {
        constexpr uint32_t array_length = 68, copy = 83, select = 169, first_atomic = 227, phi = 245;
        return (opcode >= spirv::call && opcode <= array_length) || opcode == copy || opcode == select ||
               (opcode >= first_atomic && opcode <= phi);
    }
    void note_entry(words operands)
    {
        constexpr size_t fixed = 2;
        if (operands.size() <= fixed || operands[0] > 5)
            return;
        const char* name = reinterpret_cast<const char*>(&operands[fixed]);
        const size_t most = (operands.size() - fixed) * sizeof(uint32_t);
        // Stages are numbered as their bits are, and the sixth is for computing.
        _entries.push_back({VkShaderStageFlags{1} << operands[0], operands[1], {name, strnlen(name, most)}});
    }
    static void note_decoration(decorations& all, uint32_t which, uint32_t value)
    {
        if (which == descriptor_set)
            all.set = value;
        if (which == binding)
            all.binding = value;
        all.is_buffer_block |= which == buffer_block;
    }

    /// All that the function and those that it calls name.
    std::set<uint32_t> named_from(uint32_t function) const
    {
        std::set<uint32_t> named;
        std::set<uint32_t> seen{function};
        for (std::vector<uint32_t> next{function}; !next.empty();) {
            const auto found = _bodies.find(next.back());
            next.pop_back();
            if (found == _bodies.end())
                continue;
            named.insert(found->second.named.begin(), found->second.named.end());
            for (uint32_t called : found->second.calls)
                if (seen.insert(called).second)
                    next.push_back(called);
        }
        return named;
    }
    std::vector<vk_shader_resource> resources_of(uint32_t function) const
    {
        const std::set<uint32_t> named = named_from(function);
        std::vector<vk_shader_resource> used;
        for (const auto& [id, type] : _variables) {
            const auto found = _decorated.find(id);
            if (!named.contains(id) || found == _decorated.end() || found->second.set == UINT32_MAX ||
                found->second.binding == UINT32_MAX)
                continue;
            used.push_back(asked_by(found->second, type));
        }
        return used;
    }

    struct type
    {
        uint32_t opcode = 0;
        words operands; // its id comes first
        uint32_t at(size_t i) const { return i < operands.size() ? operands[i] : 0; }
    };
    type find(uint32_t id) const
    {
        const auto found = _types.find(id);
        return found == _types.end() ? type{} : found->second;
    }
    /// What a variable with a type of pointers asks for; all descriptors will do when that isn't understood.
    vk_shader_resource asked_by(const decorations& place, uint32_t pointer_type) const
    {
        const type pointer = find(pointer_type);
        uint32_t id = pointer.at(2);
        type pointee = find(id);
        uint32_t count = 1;
        if (pointee.opcode == spirv::type_array || pointee.opcode == spirv::type_runtime_array) {
            const auto length = _constants.find(pointee.at(2));
            if (pointee.opcode == spirv::type_array && length != _constants.end())
                count = std::max(length->second, 1u);
            id = pointee.at(1);
            pointee = find(id);
        }
        return {place.set, place.binding, types_of(id, pointee, pointer.at(1)), count};
    }
    uint32_t types_of(uint32_t id, const type& pointee, uint32_t storage) const
    {
        switch (pointee.opcode) {
        case spirv::type_sampler:
            return bit(VK_DESCRIPTOR_TYPE_SAMPLER) | combined;
        case spirv::type_sampled_image:
            return find(pointee.at(1)).at(2) == of_buffer ? bit(VK_DESCRIPTOR_TYPE_UNIFORM_TEXEL_BUFFER)
                                                          : combined;
        case spirv::type_image:
            return types_of_image(pointee);
        case spirv::type_struct:
            return storage == storage_buffer || decorated_as_buffer(id) ? storage_buffers : uniform_buffers;
        default:
            return UINT32_MAX;
        }
    }
    static uint32_t types_of_image(const type& image)
    {
        constexpr uint32_t written = 2; // as a storage image
        const uint32_t dimensions = image.at(2);
        const bool stored = image.at(6) == written;
        if (dimensions == of_subpass)
            return bit(VK_DESCRIPTOR_TYPE_INPUT_ATTACHMENT);
        if (dimensions == of_buffer)
            return bit(stored ? VK_DESCRIPTOR_TYPE_STORAGE_TEXEL_BUFFER
                              : VK_DESCRIPTOR_TYPE_UNIFORM_TEXEL_BUFFER);
        return stored ? bit(VK_DESCRIPTOR_TYPE_STORAGE_IMAGE)
                      : bit(VK_DESCRIPTOR_TYPE_SAMPLED_IMAGE) | combined;
    }
    bool decorated_as_buffer(uint32_t id) const
    {
        const auto found = _decorated.find(id);
        return found != _decorated.end() && found->second.is_buffer_block;
    }

    std::vector<entry> _entries;
    std::map<uint32_t, body> _bodies;
    std::map<uint32_t, decorations> _decorated;
    std::map<uint32_t, uint32_t> _variables; // their types
    std::map<uint32_t, type> _types;
    std::map<uint32_t, uint32_t> _constants;
    body* _now = nullptr;
};

const char* refusal(const vk_shader_resource& used, VkShaderStageFlags stage,
                    const vk_pipeline_layout_data& layout)
{
    if (used.set >= layout.set_count)
        return "a shader uses a set that the layout lacks";
    if (used.set >= layout.sets.size() || !layout.sets[used.set])
        return nullptr;
    const auto& bindings = *layout.sets[used.set];
    const auto found = bindings.find(used.binding);
    if (found == bindings.end() || found->second.count < used.count || !(found->second.stages & stage))
        return "a shader uses a binding that the layout lacks";
    const bool known = static_cast<uint32_t>(found->second.type) < 32;
    return !known || (used.types >> found->second.type & 1) ? nullptr
                                                            : "a shader takes a binding for another kind";
}
} // namespace

std::vector<vk_shader_entry_point> vk_scan_shader(std::span<const uint32_t> module)
{
    scan all;
    return all.read(module) ? all.entry_points() : std::vector<vk_shader_entry_point>{};
}

const char* vk_refusal(const vk_shader_module_data& module, const char* name, VkShaderStageFlagBits stage,
                       const vk_pipeline_layout_data& layout)
{
    if (!module.entry_points)
        return nullptr;
    for (const vk_shader_entry_point& entry : *module.entry_points)
        if (entry.stage == static_cast<VkShaderStageFlags>(stage) && entry.name == name) {
            for (const vk_shader_resource& used : entry.resources)
                if (const char* reason = refusal(used, entry.stage, layout))
                    return reason;
            return nullptr;
        }
    return "a shader has no such entry point";
}
