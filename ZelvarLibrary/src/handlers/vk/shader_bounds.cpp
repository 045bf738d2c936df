#include "handlers/vk/shader_bounds.h"

#include "handlers/vk/creation_bounds.h"
#include "handlers/vk/shader_numbers.h"

#include <algorithm>
#include <cstring>
#include <map>

namespace {
using words = std::span<const uint32_t>;

// Far beyond what applications have. Drivers keep variables of all lanes of a vector on a thread's stack.
constexpr uint64_t most_bytes = 64 << 10;
constexpr uint64_t most_bytes_of_all = 256 << 10;
constexpr uint64_t small_bytes = 512; // such variables end in registers
constexpr uint64_t most_shared_bytes = 1 << 20;
constexpr uint64_t most_instructions = 1 << 20; // once functions stand in the place of their calls
constexpr uint32_t deepest_calls = 256;
constexpr uint32_t deepest_type = 64;
constexpr uint64_t most_locations = 32;
constexpr uint64_t most_distances = 8;
constexpr uint32_t most_threads = 1 << 16;
constexpr uint32_t most_colours = 8;
constexpr uint64_t endless = uint64_t{1} << 40; // larger numbers aren't told apart

uint64_t capped(uint64_t number)
{
    return std::min(number, endless);
}

class bounds
{
public:
    bounds(const vk_shader_numbers& numbers, const VkPhysicalDeviceLimits& limits)
        : _numbers(numbers), _limits(limits)
    {
    }

    void note(uint32_t opcode, words operands)
    {
        const auto at = [operands](size_t i) { return i < operands.size() ? operands[i] : 0; };
        switch (opcode) {
        case spirv::entry_point:
            _models |= 1u << std::min(at(0), 31u);
            return;
        case spirv::execution_mode:
            if (at(1) == spirv::local_size)
                limit_group(at(2), at(3), at(4));
            return;
        case spirv::execution_mode_id:
            if (at(1) == spirv::local_size_id)
                _group_ids = {at(2), at(3), at(4)};
            return;
        case spirv::decorate:
            return note_decoration(_places[at(0)], at(1), at(2));
        case spirv::member_decorate:
            return note_decoration(_member_places[{at(0), at(1)}], at(2), at(3));
        case spirv::function:
            _now = &_functions[at(1)];
            return;
        case spirv::variable:
            return note_variable(at(0), at(1), at(2));
        default:
            if (opcode >= spirv::type_int && opcode <= spirv::type_pointer)
                return note_type(opcode, operands);
            note_instruction(opcode, operands);
        }
    }

    const char* end()
    {
        if (_group_ids)
            limit_group(_numbers.value(_group_ids->at(0)), _numbers.value(_group_ids->at(1)),
                        _numbers.value(_group_ids->at(2)));
        for (const auto& [id, place] : _places)
            if (place.builtin == spirv::workgroup_size)
                limit_group(_numbers.part(id, 0), _numbers.part(id, 1), _numbers.part(id, 2));
        for (const auto& [type, variable, storage] : _interface)
            limit_interface(type, variable, storage);
        if (_bytes > most_bytes_of_all || _shared_bytes > most_shared_bytes)
            refuse("a shader's variables take too much memory");
        uint64_t all = 0;
        for (auto& [id, function] : _functions)
            all = capped(all + instructions_of(function, 0));
        if (all > most_instructions)
            refuse("a shader calls too many functions");
        return _reason;
    }

private:
    struct type
    {
        uint64_t bytes = 0;
        uint64_t locations = 0;
        uint32_t depth = 0;
        uint32_t element = 0; // or what is pointed to
        uint64_t count = 0;   // of an array's elements
        bool pointer = false;
        std::vector<uint32_t> members;
    };
    struct place
    {
        uint32_t location = UINT32_MAX;
        uint32_t builtin = UINT32_MAX;
    };
    struct function
    {
        uint64_t own = 0;
        std::vector<uint32_t> calls;
        uint64_t all = 0; // with those that it calls; 0: not known yet
        bool counting = false;
    };
    struct interface_variable
    {
        uint32_t type;
        uint32_t id;
        uint32_t storage;
    };

    void refuse(const char* reason) { _reason = _reason ? _reason : reason; }
    static void note_decoration(place& where, uint32_t which, uint32_t value)
    {
        if (which == spirv::location)
            where.location = value;
        if (which == spirv::builtin)
            where.builtin = value;
    }
    const type& of(uint32_t id) const
    {
        static const type unknown;
        const auto found = _types.find(id);
        return found == _types.end() ? unknown : found->second;
    }

    void note_type(uint32_t opcode, words operands)
    {
        const auto at = [operands](size_t i) { return i < operands.size() ? operands[i] : 0; };
        type made;
        switch (opcode) {
        case spirv::type_int:
        case spirv::type_float:
            made.bytes = std::min(at(1), 64u) / 8;
            made.locations = 1;
            break;
        case spirv::type_vector:
            made.bytes = capped(of(at(1)).bytes * at(2));
            made.locations = made.bytes > 16 ? 2 : 1;
            break;
        case spirv::type_matrix:
        case spirv::type_array:
            made.element = at(1);
            made.count = opcode == spirv::type_matrix ? at(2) : _numbers.value(at(2));
            made.bytes = capped(of(at(1)).bytes * made.count);
            made.locations = capped(of(at(1)).locations * made.count);
            made.depth = of(at(1)).depth + 1;
            break;
        case spirv::type_struct:
            for (uint32_t member : operands.subspan(std::min<size_t>(1, operands.size()))) {
                made.members.push_back(member);
                made.bytes = capped(made.bytes + of(member).bytes);
                made.locations = capped(made.locations + of(member).locations);
                made.depth = std::max(made.depth, of(member).depth + 1);
            }
            break;
        case spirv::type_pointer:
            made.element = at(2);
            made.pointer = true;
            made.bytes = 8;
            break;
        default: // what is opaque takes little
            made.bytes = 8;
        }
        if (made.depth > deepest_type)
            refuse("a shader's types are too deep");
        _types[at(0)] = std::move(made);
    }

    void note_variable(uint32_t pointer, uint32_t id, uint32_t storage)
    {
        _value_types[id] = pointer;
        const uint64_t bytes = of(of(pointer).element).bytes;
        if (storage == spirv::of_thread || storage == spirv::of_function)
            _bytes = capped(_bytes + (bytes > small_bytes ? bytes : 0));
        else if (storage == spirv::of_group)
            _shared_bytes = capped(_shared_bytes + bytes);
        else if (storage == spirv::input || storage == spirv::output)
            _interface.push_back({of(pointer).element, id, storage});
    }

    /// Values are written out number by number.
    void note_instruction(uint32_t opcode, words operands)
    {
        if (_now)
            ++_now->own;
        if (operands.empty())
            return;
        if (const auto made = _types.find(operands[0]); made != _types.end()) {
            if (made->second.bytes > most_bytes)
                refuse("a shader has values that are too large");
            if (made->second.pointer && operands.size() > 1)
                _value_types[operands[1]] = operands[0];
        }
        if (opcode == spirv::copy_memory)
            if (const auto to = _value_types.find(operands[0]);
                to != _value_types.end() && of(of(to->second).element).bytes > most_bytes)
                refuse("a shader copies too much at once");
        if (opcode == spirv::call && _now && operands.size() > 2)
            _now->calls.push_back(operands[2]);
    }

    uint64_t instructions_of(function& counted, uint32_t depth)
    {
        if (counted.all)
            return counted.all;
        if (counted.counting || depth > deepest_calls) {
            refuse("a shader's functions call one another too often");
            return endless;
        }
        counted.counting = true;
        uint64_t all = counted.own + 1;
        for (uint32_t called : counted.calls)
            if (const auto found = _functions.find(called); found != _functions.end())
                all = capped(all + instructions_of(found->second, depth + 1));
        counted.counting = false;
        return counted.all = all;
    }

    void limit_group(uint64_t x, uint64_t y, uint64_t z)
    {
        const uint64_t most = std::max(_limits.maxComputeWorkGroupInvocations, most_threads);
        if (x > most || y > most || z > most || x * y > most || x * y * z > most || x * y * z == 0)
            refuse("a shader's groups are too large");
    }

    /// Drivers have so many places between stages, whatever number stands in the shader.
    void limit_interface(uint32_t of_variable, uint32_t variable, uint32_t storage)
    {
        // What comes from several vertices is an array of them, in one place.
        constexpr uint32_t with_arrays = 1u << 1 | 1u << 2 | 1u << 3;
        const bool whole = !(_models & with_arrays) || of(of_variable).count == 0;
        const uint32_t shown = whole ? of_variable : of(of_variable).element;
        limit_place(_places[variable], of(shown), storage);
        for (uint32_t i = 0; i < of(shown).members.size(); ++i)
            if (const auto found = _member_places.find({shown, i}); found != _member_places.end())
                limit_place(found->second, of(of(shown).members[i]), storage);
    }
    void limit_place(const place& where, const type& shown, uint32_t storage)
    {
        constexpr uint32_t fragments = 1u << 4;
        const bool colours = storage == spirv::output && _models == fragments;
        const uint64_t most = colours ? vk_limit(_limits.maxColorAttachments, most_colours) : most_locations;
        if (where.location != UINT32_MAX && where.location + std::max<uint64_t>(shown.locations, 1) > most)
            refuse("a shader has no such locations");
        if ((where.builtin == spirv::clip_distance || where.builtin == spirv::cull_distance) &&
            shown.count > most_distances)
            refuse("a shader clips too often");
    }

    const vk_shader_numbers& _numbers;
    const VkPhysicalDeviceLimits& _limits;
    std::map<uint32_t, type> _types;
    std::map<uint32_t, uint32_t> _value_types; // of pointers
    std::map<uint32_t, place> _places;
    std::map<std::pair<uint32_t, uint32_t>, place> _member_places;
    std::map<uint32_t, function> _functions;
    std::vector<interface_variable> _interface;
    std::optional<std::array<uint32_t, 3>> _group_ids;
    uint32_t _models = 0;
    uint64_t _bytes = 0;
    uint64_t _shared_bytes = 0;
    function* _now = nullptr;
    const char* _reason = nullptr;
};
} // namespace

bool vk_is_specialised(std::span<const uint32_t> module)
{
    bool found = false;
    spirv::for_each(module, [&found](uint32_t opcode, words operands) {
        found |= opcode == spirv::decorate && operands.size() > 1 && operands[1] == spirv::constant_id;
    });
    return found;
}

const char* vk_shader_excess(std::span<const uint32_t> module, const VkSpecializationInfo* constants,
                             const VkPhysicalDeviceLimits& limits)
{
    vk_shader_numbers numbers{constants};
    bounds all{numbers, limits};
    spirv::for_each(module, [&](uint32_t opcode, words operands) {
        numbers.note(opcode, operands);
        all.note(opcode, operands);
    });
    return all.end();
}

bool vk_specialises_soundly(const VkSpecializationInfo& constants)
{
    for (uint32_t i = 0; constants.pMapEntries && i < constants.mapEntryCount; ++i) {
        const VkSpecializationMapEntry entry = constants.pMapEntries[i];
        const bool number = entry.size == 1 || entry.size == 2 || entry.size == 4 || entry.size == 8;
        if (!number || !constants.pData || !vk_within(entry.offset, entry.size, constants.dataSize))
            return false;
    }
    return true;
}
