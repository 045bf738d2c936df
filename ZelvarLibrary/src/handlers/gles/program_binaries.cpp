// Program binaries: one side's means nothing to the other, so they are kept in pairs.

#include "handlers/gles/gles_programs.h"
#include "handlers/gles/inline_split.h"
#include "handlers/gles/program_support.h"
#include "settings/zelvar_settings.h"

#include <algorithm>
#include <cstring>

using gles_table = sidechannel_gles_imports;

namespace {
constexpr GLsizei longest_binary = 256 << 20;

struct binary_bytes
{
    std::vector<uint8_t> bytes;
    uint32_t format = 0;

    uint32_t length() const { return static_cast<uint32_t>(bytes.size()); }
};

/// Remembers what both sides made of a program.
void store_pair(program_handler& call, const binary_bytes& host, const binary_bytes& target)
{
    const uint32_t id = zelvar_object_manager_generate_target_program_binary_id(
        call.context(), target.bytes.data(), target.format, target.length());
    if (id == 0)
        return;
    zelvar_data_model_init_program_binary_descriptor(call.context(), host.bytes.data(), target.bytes.data(),
                                                     host.format, target.format, host.length(),
                                                     target.length(), &call.shared().program_binaries[id]);
}

/// The stored copy of a target's binary ends with the host's length, so only that much can be compared.
bool is_same(const _zelvar_program_binary_descriptor& known, const binary_bytes& given)
{
    if (known.target_length != given.length() || known.target_format != given.format)
        return false;
    const uint64_t stored =
        std::min({known.target_binary.size, uint64_t{known.host_length}, uint64_t{known.target_length}});
    return stored == 0 || std::memcmp(known.target_binary.bytes.get(), given.bytes.data(), stored) == 0;
}

const _zelvar_program_binary_descriptor* find_pair(const program_handler& call, const binary_bytes& given)
{
    for (const auto& [id, known] : call.shared().program_binaries)
        if (is_same(known, given))
            return &known;
    return nullptr;
}

/// Link status and tables of a program that came from a binary.
void restore_interface(program_handler& call, program_iterator program)
{
    GLint status = GL_FALSE;
    auto asked = host::gl<&gles_table::glGetProgramiv>(program->second.host_id, GL_LINK_STATUS, &status);
    program->second.link_status = asked.ok() && status == 1;
    if (!program->second.link_status)
        return;
    zelvar_data_model_init_attributes_location(call.pid, call.tid, call.context(), program->first);
    zelvar_data_model_init_program_descriptor_postlink(call.pid, call.tid, call.context(), program->first);
}

binary_bytes target_binary_of(inline_array<uint8_t> message)
{
    inline_split split{message};
    binary_bytes target;
    const auto length = split.take<uint32_t>();
    target.format = split.take<uint32_t>();
    target.bytes = split.take_array<uint8_t>(length);
    return target;
}
} // namespace

void gles30_glGetProgramBinary(pid_t pid, tid_t tid, GLuint program, GLsizei bufsize, target_ptr length,
                               target_ptr format, target_ptr binary, inline_array<uint8_t> target_binary,
                               gles_target_error target_error)
{
    program_handler call{"gles30_glGetProgramBinary", "glGetProgramBinary", pid, tid, target_error};
    call.trace("program", program, "bufsize", bufsize, "length", length, "format", format, "binary", binary);
    if (bufsize <= 0) {
        LOG_ERROR("bufSize[%x] is less than or equal to 0. GL_INVALID_OPERATION is generated", bufsize);
        return call.fail(GL_INVALID_OPERATION);
    }
    if (!call.enter())
        return;
    auto found = call.shared().programs.find(program);
    if (found == call.no_program()) {
        LOG_FATAL(
            "glGetProgramBinary() Could not find program object descriptor for target-side program id [%d].",
            program);
        return call.fail(GL_INVALID_OPERATION);
    }
    if (!found->second.link_status) {
        LOG_ERROR("The GL_LINK_STATUS for program object id [%d] is false, GL_INVALID_OPERATION is generated",
                  program);
        return call.fail(GL_INVALID_OPERATION);
    }
    const GLsizei room = std::min(bufsize, longest_binary);
    binary_bytes host;
    host.bytes.resize(static_cast<size_t>(room));
    GLsizei written = 0;
    GLenum host_format = 0;
    if (!call.host<&gles_table::glGetProgramBinary>(found->second.host_id, room, &written, &host_format,
                                                    host.bytes.data())
             .ok())
        return;
    host.bytes.resize(static_cast<size_t>(std::clamp(written, 0, room)));
    host.format = host_format;
    store_pair(call, host, zelvar_call_on_target() ? target_binary_of(target_binary) : host);
    call.write(length, written);
    call.write(format, host_format);
    call.write_bytes(binary, host.bytes.data(), host.bytes.size());
}

void gles30_glProgramBinary(pid_t pid, tid_t tid, GLuint program, GLenum format, target_ptr binary,
                            GLsizei length, gles_target_error target_error)
{
    program_handler call{"gles30_glProgramBinary", "glProgramBinary", pid, tid, target_error};
    call.trace("program", program, "format", format, "binary", binary, "length", length);
    if (length < 0) {
        LOG_ERROR("length[%d] is less or equal to 0, glProgramBinary() may go wrong.", length);
        return call.fail(GL_INVALID_VALUE);
    }
    if (!call.enter())
        return;
    auto found = call.find_program(program);
    if (found == call.no_program())
        return;
    binary_bytes given;
    given.format = format;
    if (length > 0 && length <= longest_binary) {
        given.bytes.resize(static_cast<size_t>(length));
        zelvar_shim_dispatch_read_from_shim_address_space(pid, tid, static_cast<uint32_t>(length), binary,
                                                          given.bytes.data());
    }
    found->second.link_requested = true;
    const auto* pair = length <= longest_binary ? find_pair(call, given) : nullptr;
    if (!pair) {
        LOG_FATAL("glProgramBinary() Could not find the binary for target-side program id [%d].", program);
        found->second.link_status = false;
        return call.fail(GL_INVALID_ENUM);
    }
    auto loaded = call.host<&gles_table::glProgramBinary>(found->second.host_id, pair->host_format,
                                                          pair->host_binary.bytes.get(),
                                                          static_cast<GLsizei>(pair->host_length));
    if (loaded.ok())
        restore_interface(call, found);
}
