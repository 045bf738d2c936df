// The tables of a linked program: both sides' lists of uniforms and blocks, joined by name.
#include "data_model/program_interface.h"

#include "data_model/target_block.h"
#include "registration/host_call.h"
#include "settings/zelvar_settings.h"
#include "shim/zelvar_shim_calls.h"
#include "sidechannel_log.h"

#include <algorithm>
#include <optional>
#include <vector>

using gles_table = sidechannel_gles_imports;

namespace {
// What a side says is bounded before anything is sized by it.
constexpr int32_t longest_name = 0x10000;
constexpr int32_t most_entries = 0x10000;

/// What one side tells of one uniform.
struct _uniform
{
    uint32_t element_size = 0;
    uint32_t index = 0;
    int32_t location = -1;
    uint32_t components = 1;
    int32_t size = 0;
};
struct _uniform_block
{
    uint32_t index = 0;
};
template <class T>
using by_name = std::map<std::string, T>;

struct told_uniform
{
    std::string name;
    int32_t size = 0;
    uint32_t type = 0;
    int32_t location = -1;
};

/// One side of a program. What it can't answer is an error code.
class program_side
{
public:
    virtual ~program_side() = default;
    virtual bool is_target() const = 0;
    virtual unsigned number(GLenum pname, int32_t* value) = 0;
    /// Makes room for names.
    virtual bool allocate_name(int32_t bytes) = 0;
    virtual bool uniform(uint32_t index, told_uniform* out) = 0;
    virtual bool block_name(uint32_t index, std::string* out) = 0;
};

class host_side : public program_side
{
public:
    explicit host_side(uint32_t program) : _program(program) {}
    bool is_target() const override { return false; }
    unsigned number(GLenum pname, int32_t* value) override
    {
        return host::gl<&gles_table::glGetProgramiv>(_program, pname, value).error;
    }
    bool allocate_name(int32_t bytes) override
    {
        _name.assign(static_cast<size_t>(bytes) + 1, 0);
        return true;
    }
    bool uniform(uint32_t index, told_uniform* out) override
    {
        if (!host::gl<&gles_table::glGetActiveUniform>(_program, index, room(),
                                                       static_cast<GLsizei*>(nullptr), &out->size, &out->type,
                                                       _name.data())
                 .ok())
            return false;
        out->name = _name.data();
        auto location = host::gl<&gles_table::glGetUniformLocation>(_program, out->name.c_str());
        out->location = location.ok() ? location.result : -1;
        if (!location.ok())
            LOG_ERROR("Failed to retrieve host-side uniform location for uniform index [%d]", index);
        return true;
    }
    bool block_name(uint32_t index, std::string* out) override
    {
        if (!host::gl<&gles_table::glGetActiveUniformBlockName>(_program, index, room(),
                                                                static_cast<GLsizei*>(nullptr), _name.data())
                 .ok())
            return false;
        *out = _name.data();
        return true;
    }

private:
    GLsizei room() const { return static_cast<GLsizei>(_name.size() - 1); }

    uint32_t _program;
    std::vector<char> _name;
};

class target_side : public program_side
{
public:
    target_side(pid_t pid, tid_t tid, uint32_t program, const target_block& numbers)
        : _pid(pid), _tid(tid), _program(program), _numbers(numbers)
    {
    }
    bool is_target() const override { return true; }
    unsigned number(GLenum pname, int32_t* value) override
    {
        unsigned error = GL_NO_ERROR;
        zelvar_shim_dispatch_gles20_get_programiv_call(_pid, _tid, _program, pname, _numbers.address(),
                                                       nullptr, 0, &error);
        *value = error == GL_NO_ERROR ? _numbers.read<int32_t>() : 0;
        return error;
    }
    bool allocate_name(int32_t bytes) override
    {
        _room = static_cast<uint32_t>(bytes);
        _name.emplace(_pid, _tid, _room);
        return static_cast<bool>(*_name);
    }
    bool uniform(uint32_t index, told_uniform* out) override
    {
        const target_ptr numbers = _numbers.address();
        unsigned error = GL_NO_ERROR;
        zelvar_shim_dispatch_gles20_get_active_uniform_call(
            _pid, _tid, _program, index, static_cast<GLsizei>(_room), numbers, numbers + 4, numbers + 8,
            _name->address(), nullptr, 0, &error);
        if (error != GL_NO_ERROR)
            return false;
        out->size = _numbers.read<int32_t>(4);
        out->type = _numbers.read<uint32_t>(8);
        out->name = read_name();
        out->location = -1;
        zelvar_shim_dispatch_gles20_get_uniform_location_call(_pid, _tid, _program, _name->address(),
                                                              &out->location, sizeof(out->location), &error);
        if (error != GL_NO_ERROR) {
            LOG_ERROR("Failed to retrieve target-side uniform location for uniform index [%d]", index);
            out->location = -1;
        }
        return true;
    }
    bool block_name(uint32_t index, std::string* out) override
    {
        unsigned error = GL_NO_ERROR;
        zelvar_shim_dispatch_gles30_get_active_uniform_block_name_call(
            _pid, _tid, _program, index, static_cast<GLsizei>(_room), _numbers.address(), _name->address(),
            nullptr, 0, &error);
        if (error != GL_NO_ERROR)
            return false;
        *out = read_name();
        return true;
    }

private:
    /// The target may have left the zero byte out.
    std::string read_name() const
    {
        std::vector<char> text(static_cast<size_t>(_room) + 1);
        zelvar_shim_dispatch_read_from_shim_address_space(_pid, _tid, _room, _name->address(), text.data());
        text.back() = 0;
        return text.data();
    }

    pid_t _pid;
    tid_t _tid;
    uint32_t _program;
    const target_block& _numbers;
    uint32_t _room = 0;
    std::optional<target_block> _name;
};

/// The pnames of a kind of list.
struct list_kind
{
    GLenum longest;
    GLenum count;
    bool blocks;
};
constexpr list_kind uniform_list{GL_ACTIVE_UNIFORM_MAX_LENGTH, GL_ACTIVE_UNIFORMS, false};
constexpr list_kind block_list{GL_ACTIVE_UNIFORM_BLOCK_MAX_NAME_LENGTH, GL_ACTIVE_UNIFORM_BLOCKS, true};

/// One text for both kinds, each whole: TEXT(word) puts the kind's word into it.
#define LOG_OF_KIND(log, is_block, TEXT, ...)                                                                \
    do {                                                                                                     \
        if (is_block)                                                                                        \
            log(TEXT("uniform_block"), __VA_ARGS__);                                                         \
        else                                                                                                 \
            log(TEXT("uniform"), __VA_ARGS__);                                                               \
    } while (false)
#define FIRST_CALL_FAILED(word)                                                                              \
    "Cannot initialize zelvar-side program " word                                                            \
    " storage - GL error %04x was reported for glGetProgramiv() "                                            \
    "call <1>"
#define SECOND_CALL_FAILED(word)                                                                             \
    "Cannot initialize zelvar-side program " word                                                            \
    " storage - GL error %04x was reported for glGetProgramiv() "                                            \
    "call <2>"
#define COUNTS_DIFFER(word)                                                                                  \
    "Potential problem: host-side reported [%d] " word "s whereas target-side recognizes [%d] " word "s."
#define NO_ROOM_FOR_NAME(word)                                                                               \
    "Cannot initialize zelvar-side program " word                                                            \
    " storage - out of memory while allocating %d bytes for " word " name"
#define NAME_REPEATED_ON_TARGET(word) "There already exists an " word " [%s] in target " word " storage."
#define NAME_REPEATED_ON_HOST(word) "There already exists an " word " [%s] in host " word " storage."
#define NOT_ON_HOST(word)                                                                                    \
    "Target-side " word " [%s] was not reported by host-side! Host-side recognized " word "s are:"
#define HOST_INDEX_REPEATED(word)                                                                            \
    "There already exists host-id mapping for " word " index [%d] - DESYNC ahead."
#define TARGET_INDEX_REPEATED(word)                                                                          \
    "There already exists target-id mapping for " word " index [%d] - DESYNC ahead."

/// Starts the walk over one side's list: its length, with room for names. `host_count` below 0: not known
/// yet.
bool open_list(program_side& side, const list_kind& kind, int32_t host_count, int32_t* count)
{
    int32_t longest = 0;
    if (unsigned error = side.number(kind.longest, &longest)) {
        LOG_OF_KIND(LOG_ERROR, kind.blocks, FIRST_CALL_FAILED, error);
        return false;
    }
    if (unsigned error = side.number(kind.count, count)) {
        LOG_OF_KIND(LOG_ERROR, kind.blocks, SECOND_CALL_FAILED, error);
        return false;
    }
    if (host_count >= 0 && *count != host_count)
        LOG_OF_KIND(LOG_WARN, kind.blocks, COUNTS_DIFFER, host_count, *count);
    *count = std::clamp(*count, 0, most_entries);
    longest = std::clamp(longest, 1, longest_name);
    if (*count == 0 || side.allocate_name(longest))
        return true;
    LOG_OF_KIND(LOG_ERROR, kind.blocks, NO_ROOM_FOR_NAME, longest);
    return false;
}

template <class T>
void add(by_name<T>& list, const std::string& name, const T& entry, bool blocks, bool on_target)
{
    if (list.emplace(name, entry).second)
        return;
    if (on_target)
        LOG_OF_KIND(LOG_ERROR, blocks, NAME_REPEATED_ON_TARGET, name.c_str());
    else
        LOG_OF_KIND(LOG_ERROR, blocks, NAME_REPEATED_ON_HOST, name.c_str());
}

bool read_uniforms(program_side& side, int32_t host_count, by_name<_uniform>& list, int32_t* count)
{
    if (!open_list(side, uniform_list, host_count, count))
        return false;
    for (int32_t i = 0; i < *count; ++i) {
        told_uniform told;
        if (!side.uniform(static_cast<uint32_t>(i), &told))
            continue;
        _uniform entry;
        entry.element_size = zelvar_get_element_size_from_GLSL_type(told.type);
        entry.components = zelvar_get_n_components_from_GLSL_type(told.type);
        entry.index = static_cast<uint32_t>(i);
        entry.location = told.location;
        entry.size = told.size;
        add(list, told.name, entry, uniform_list.blocks, side.is_target());
    }
    return true;
}

bool read_blocks(program_side& side, int32_t host_count, by_name<_uniform_block>& list, int32_t* count)
{
    if (!open_list(side, block_list, host_count, count))
        return false;
    for (int32_t i = 0; i < *count; ++i) {
        std::string name;
        if (side.block_name(static_cast<uint32_t>(i), &name))
            add(list, name, {static_cast<uint32_t>(i)}, block_list.blocks, side.is_target());
    }
    return true;
}

/// Reads the host and, where it has a driver, the target; otherwise the host's list is the target's.
template <class T, class Read>
bool read_both(pid_t pid, tid_t tid, uint32_t host_program, uint32_t target_program, Read read,
               by_name<T>& host_list, by_name<T>& target_list)
{
    constexpr uint32_t three_numbers_and_a_spare = 20;
    target_block numbers{pid, tid, three_numbers_and_a_spare};
    host_side host{host_program};
    int32_t host_count = 0;
    if (!read(host, -1, host_list, &host_count))
        return false;
    if (!zelvar_call_on_target()) {
        target_list = host_list;
        return true;
    }
    if (!numbers) {
        LOG_ERROR("Not enough memory on target side. The interface of program [%d] is not known.",
                  target_program);
        return false;
    }
    target_side target{pid, tid, target_program, numbers};
    int32_t target_count = 0;
    return read(target, host_count, target_list, &target_count);
}

/// The host's entry of a target's name. Compilers differ in whether they report an array with a "[0]".
template <class T>
const T* find_on_host(const by_name<T>& host_list, const std::string& name, bool blocks)
{
    auto found = host_list.find(name);
    if (found == host_list.end() && name.find("[0]") != std::string::npos)
        found = host_list.find(name.substr(0, name.size() - 3));
    if (found != host_list.end())
        return &found->second;
    LOG_OF_KIND(LOG_WARN, blocks, NOT_ON_HOST, name.c_str());
    int32_t position = 0;
    for (const auto& [host_name, entry] : host_list)
        LOG_WARN("[%d] %s", position++, host_name.c_str());
    return nullptr;
}

void map_index(std::map<uint32_t, uint32_t>& positions, uint32_t index, uint32_t row, bool blocks,
               bool on_target)
{
    if (positions.insert_or_assign(index, row).second)
        return;
    if (on_target)
        LOG_OF_KIND(LOG_ERROR, blocks, TARGET_INDEX_REPEATED, index);
    else
        LOG_OF_KIND(LOG_ERROR, blocks, HOST_INDEX_REPEATED, index);
}

void map_host_location(_zelvar_program_descriptor& program, uint32_t row)
{
    const auto& uniform = program.uniforms[row];
    if (uniform.host_location == -1)
        LOG_WARN("The host location of uniform[%s] is -1. This uniform can't be searched by host location.",
                 uniform.name.c_str());
    else if (!program.uniforms_by_host_location.insert_or_assign(uniform.host_location, row).second)
        LOG_ERROR("There already exists host-id mapping for uniform location [%d] - DESYNC ahead.",
                  uniform.host_location);
}

void map_target_location(_zelvar_program_descriptor& program, uint32_t row)
{
    const auto& uniform = program.uniforms[row];
    if (uniform.target_location == -1)
        LOG_WARN(
            "The target location of uniform[%s] is -1. This uniform can't be searched by target location.",
            uniform.name.c_str());
    else if (!program.uniforms_by_target_location.insert_or_assign(uniform.target_location, row).second)
        LOG_ERROR("There already exists target-id mapping for uniform location [%d] - DESYNC ahead.",
                  uniform.target_location);
}

void clear_uniforms(_zelvar_program_descriptor& program)
{
    program.uniforms.clear();
    program.uniforms_by_host_location.clear();
    program.uniforms_by_host_index.clear();
    program.uniforms_by_target_location.clear();
    program.uniforms_by_target_index.clear();
}

void map_uniforms(_zelvar_program_descriptor& program)
{
    for (uint32_t row = 0; row < program.uniforms.size(); ++row) {
        map_host_location(program, row);
        map_index(program.uniforms_by_host_index, program.uniforms[row].host_index, row, false, false);
        map_target_location(program, row);
        map_index(program.uniforms_by_target_index, program.uniforms[row].target_index, row, false, true);
    }
}
} // namespace

void _init_zelvar_program_uniforms(pid_t pid, tid_t tid, _zelvar_program_descriptor& descriptor,
                                   uint32_t host_program_id, uint32_t target_program_id)
{
    clear_uniforms(descriptor);
    by_name<_uniform> host_uniforms;
    by_name<_uniform> target_uniforms;
    if (!read_both(pid, tid, host_program_id, target_program_id, read_uniforms, host_uniforms,
                   target_uniforms))
        return;
    for (const auto& [name, target] : target_uniforms) {
        const _uniform* host = find_on_host(host_uniforms, name, uniform_list.blocks);
        if (!host)
            continue;
        descriptor.uniforms.push_back({target.element_size, host->location, host->index, name,
                                       target.components, target.size, target.location, target.index});
    }
    map_uniforms(descriptor);
}

void _init_zelvar_program_uniform_blocks(pid_t pid, tid_t tid, _zelvar_program_descriptor& descriptor,
                                         uint32_t host_program_id, uint32_t target_program_id)
{
    descriptor.uniform_blocks.clear();
    descriptor.uniform_blocks_by_host_index.clear();
    descriptor.uniform_blocks_by_target_index.clear();
    by_name<_uniform_block> host_blocks;
    by_name<_uniform_block> target_blocks;
    if (!read_both(pid, tid, host_program_id, target_program_id, read_blocks, host_blocks, target_blocks))
        return;
    for (const auto& [name, target] : target_blocks)
        if (const _uniform_block* host = find_on_host(host_blocks, name, block_list.blocks))
            descriptor.uniform_blocks.push_back({host->index, target.index, name});
    for (uint32_t row = 0; row < descriptor.uniform_blocks.size(); ++row) {
        const auto& block = descriptor.uniform_blocks[row];
        map_index(descriptor.uniform_blocks_by_host_index, block.host_index, row, true, false);
        map_index(descriptor.uniform_blocks_by_target_index, block.target_index, row, true, true);
    }
}

void zelvar_data_model_init_program_descriptor_postlink(pid_t pid, tid_t tid, _zelvar_context_data* data,
                                                        uint32_t target_program_id)
{
    auto program = data->data_shared->programs.find(target_program_id);
    if (program == data->data_shared->programs.end()) {
        LOG_FATAL("Target=>Host program mapping for target program id [%d] was not found. DESYNC FOLLOWS",
                  target_program_id);
        return;
    }
    _init_zelvar_program_uniforms(pid, tid, program->second, program->second.host_id, target_program_id);
    if (data->host_major_version == 3)
        _init_zelvar_program_uniform_blocks(pid, tid, program->second, program->second.host_id,
                                            target_program_id);
}
