// glShaderSource: fetches the strings from the target, joins and filters them.

#include "handlers/gles/shader_source.h"

#include "handlers/gles/copy_aligned.h"
#include "handlers/gles/gles_programs.h"
#include "handlers/gles/program_support.h"
#include "handlers/gles/shader_filter.h"
#include "settings/zelvar_settings.h"

#include <climits>
#include <cstring>

using gles_table = sidechannel_gles_imports;

namespace {
constexpr GLsizei most_strings = 1 << 20;
constexpr uint64_t longest_text = 256 << 20;

/// The pointer table has the target's pointer width.
std::vector<target_ptr> read_pointers(pid_t pid, tid_t tid, GLsizei count, target_ptr table)
{
    uint32_t width = 8;
    zelvar_shim_dispatch_get_target_pointer_size(pid, tid, &width);
    if (width != 4)
        width = 8;
    std::vector<uint8_t> raw(static_cast<size_t>(count) * width);
    if (!raw.empty())
        zelvar_shim_dispatch_read_from_shim_address_space(pid, tid, static_cast<uint32_t>(raw.size()), table,
                                                          raw.data());
    std::vector<target_ptr> pointers(static_cast<size_t>(count));
    if (!pointers.empty())
        zelvar_helpers_copy_aligned(pointers.data(), sizeof(target_ptr), raw.data(), width, pointers.size());
    return pointers;
}

/// False when there is no room for the text.
bool read_string(pid_t pid, tid_t tid, target_ptr address, shader_string& string)
{
    if (string.length < 0) {
        uint32_t length = 0;
        if (address)
            zelvar_shim_dispatch_get_string_length(pid, tid, address, &length);
        string.length = length <= longest_text ? static_cast<int>(length) : INT_MAX;
    }
    const auto length = static_cast<uint32_t>(string.length);
    if (length > longest_text) {
        LOG_FATAL(
            "Could not allocate %d bytes for host-side string copy. Host-side will NOT execute the call.",
            string.length);
        return false;
    }
    string.bytes.assign(size_t{length} + 2, 0);
    if (!address)
        return true;
    // The terminator comes with the text; where the application has none, its memory may end here.
    if (!zelvar_shim_dispatch_read_from_shim_address_space(pid, tid, length + 1, address,
                                                           string.bytes.data()) &&
        length > 0)
        zelvar_shim_dispatch_read_from_shim_address_space(pid, tid, length, address, string.bytes.data());
    string.bytes.back() = 0;
    return true;
}

bool read_strings(pid_t pid, tid_t tid, GLsizei count, target_ptr table, target_ptr lengths,
                  std::vector<shader_string>& strings)
{
    if (count > most_strings) {
        LOG_FATAL(
            "Could not allocate space for either host-side length [%16p] or host-side array [%16p] table. "
            "Host-side will NOT execute the call.",
            static_cast<void*>(nullptr), static_cast<void*>(nullptr));
        return false;
    }
    strings.resize(static_cast<size_t>(count));
    std::vector<int32_t> told(strings.size(), -1);
    if (lengths && !told.empty())
        zelvar_shim_dispatch_read_from_shim_address_space(pid, tid, static_cast<uint32_t>(told.size() * 4),
                                                          lengths, told.data());
    const std::vector<target_ptr> pointers = read_pointers(pid, tid, count, table);
    uint64_t total = 0;
    for (size_t i = 0; i < strings.size(); ++i) {
        strings[i].length = told[i];
        if (!read_string(pid, tid, pointers[i], strings[i]))
            return false;
        total += strings[i].bytes.size();
        if (total > longest_text) {
            LOG_FATAL(
                "Could not allocate %d bytes for host-side string copy. Host-side will NOT execute the call.",
                strings[i].length);
            return false;
        }
    }
    return true;
}

std::string merged_text(const std::vector<shader_string>& strings, std::vector<const char*>& pointers)
{
    std::vector<int> lengths;
    for (const auto& string : strings) {
        pointers.push_back(string.bytes.data());
        lengths.push_back(string.length);
    }
    return mergeShaderSourceStrings(static_cast<int>(strings.size()), pointers.data(), lengths.data());
}
} // namespace

std::string filtered_shader_source(const std::string& merged, const std::vector<const char*>& originals)
{
    const bool print = setting(zelvar_only_settings.printShaderSource);
    if (print) {
        LOG_ALWAYS("DEBUG", "Original shader from target:");
        for (const char* string : originals)
            LOG_ALWAYS("DEBUG", "%s", string);
    }
    query_and_check_layout_type_in_shader_source(merged);
    std::string text = removeCommentsAndExcessWhiteSpace(merged);
    fix_include(text);
    if (setting(zelvar_only_settings.shaderFilter))
        fix_version(text);
    if (print) {
        LOG_ALWAYS("DEBUG", "Fixed shader from zelvar:");
        LOG_ALWAYS("DEBUG", "%s", text.c_str());
    }
    return text;
}

void gles20_glShaderSource(pid_t pid, tid_t tid, GLuint shader, GLsizei count, target_ptr string,
                           target_ptr length, gles_target_error target_error)
{
    program_handler call{"gles20_glShaderSource", "glShaderSource", pid, tid, target_error};
    call.trace("shader", shader, "count", count, "string", string, "length", length);
    if (count < 0) {
        LOG_ERROR("count is less than zero, GL_INVALID_VALUE is generated.");
        call.fail(GL_INVALID_VALUE);
        return;
    }
    if (!call.enter())
        return;
    _zelvar_shader_descriptor* object = call.find_shader(shader);
    std::vector<shader_string> strings;
    if (!object || !read_strings(pid, tid, count, string, length, strings))
        return;
    std::vector<const char*> originals;
    std::string merged = merged_text(strings, originals);
    const std::string text = filtered_shader_source(merged, originals);
    const char* one = text.c_str();
    const auto size = static_cast<GLint>(text.size());
    auto told = call.host<&gles_table::glShaderSource>(object->host_id, 1, &one, &size);
    if (told.ok())
        object->source = std::move(merged);
    else
        LOG_ERROR(
            "Host-side glShaderSource() call failed with error code [0x%04x]. Call will NOT be reversed on "
            "target-side, expect a desync.",
            told.error);
}
