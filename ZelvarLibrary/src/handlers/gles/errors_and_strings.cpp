// glGetError, glGetString and glGetStringi: answers that live on the target once they were given.

#include "handlers/gles/gles_handlers.h"
#include "handlers/handler.h"

#include <cstring>
#include <string_view>

using gles_table = sidechannel_gles_imports;

namespace {
/// Puts `text` into target memory in every mode; a null address when the target has no room.
target_ptr copy_text_to_target(pid_t pid, tid_t tid, std::string_view text)
{
    target_ptr copy;
    auto size = static_cast<uint32_t>(text.size() + 1);
    zelvar_shim_dispatch_allocate_memory_block(pid, tid, size, &copy);
    if (copy)
        zelvar_shim_dispatch_write_to_shim_address_space_force(pid, tid, size, std::string(text).c_str(),
                                                               copy);
    return copy;
}

/// A pointer goes back at the target's own width.
void reply_pointer(const gles_handler& call, target_ptr pointer, bool force)
{
    uint32_t width = 8;
    zelvar_shim_dispatch_get_target_pointer_size(call.pid, call.tid, &width);
    if (width != 4 && width != 8)
        width = 8;
    if (force)
        zelvar_shim_dispatch_set_return_value_message_force(call.pid, call.tid, static_cast<uint8_t>(width),
                                                            &pointer.address);
    else
        zelvar_shim_dispatch_set_return_value_message(call.pid, call.tid, static_cast<uint8_t>(width),
                                                      &pointer.address);
}

/// The reported extensions, copied to the target once.
target_ptr extensions_on_target(const gles_handler& call, _zelvar_extensions& extensions)
{
    if (extensions.target_address)
        return extensions.target_address;
    extensions.target_address = copy_text_to_target(call.pid, call.tid, extensions.text);
    if (!extensions.target_address)
        LOG_FATAL("Could not allocate memory on target for <%d, %ld> pid/tid pair. Target side "
                  "glGetString(GL_EXTENSIONS) returns NULL for allocation of %d bytes.",
                  call.pid, static_cast<long>(call.tid), static_cast<int>(extensions.text.size() + 1));
    return extensions.target_address;
}

/// A string of the host's driver, copied to the target once.
target_ptr host_string_on_target(gles_handler& call, _zelvar_context_data& context, GLenum name)
{
    auto known = context.target_strings.find(name);
    if (known != context.target_strings.end())
        return known->second;
    auto text = call.host<&gles_table::glGetString>(name);
    if (!text.ok())
        LOG_ERROR("glGetString() failed on host-side with error code [%d]", text.error);
    if (!text.result) {
        LOG_ERROR("host result returns NULL, host side result won't be written to target side.");
        return {};
    }
    target_ptr copy = copy_text_to_target(call.pid, call.tid, reinterpret_cast<const char*>(text.result));
    if (copy)
        context.target_strings[name] = copy;
    return copy;
}

/// One extension name, copied to the target once a row of the known list.
target_ptr extension_name_on_target(gles_handler& call, _zelvar_extensions& extensions, GLuint index)
{
    const char* name = nullptr;
    if (!zelvar_data_model_get_extension_by_index(&extensions, index, &name))
        return {};
    for (size_t row = 0; row < gl_extension_count; ++row) {
        if (std::strcmp(gl_extension_list[row], name) != 0)
            continue;
        if (!extensions.name_addresses[row])
            extensions.name_addresses[row] = copy_text_to_target(call.pid, call.tid, name);
        return extensions.name_addresses[row];
    }
    return {};
}
} // namespace

void gles20_glGetError(pid_t pid, tid_t tid, result_of<GLenum>)
{
    uint32_t error = GL_NO_ERROR;
    zelvar_object_manager_get_gles_error(pid, tid, &error);
    zelvar_shim_dispatch_set_return_value_message(pid, tid, sizeof(error), &error);
}

void gles20_glGetString(pid_t pid, tid_t tid, GLenum name, result_of<uint64_t>,
                        gles_target_error target_error)
{
    gles_handler call{"gles20_glGetString", pid, tid, target_error};
    call.trace("name", name);
    if (zelvar_call_on_target() && name != GL_EXTENSIONS)
        return; // the target's driver has answered
    target_ptr answer;
    if (_zelvar_context_data* context = call.lock("glGetString")) {
        if (name == GL_EXTENSIONS) {
            zelvar_data_num_of_gl_extension_supported(pid, tid, context); // builds the list on first use
            answer = extensions_on_target(call, context->extensions);
        } else {
            answer = host_string_on_target(call, *context, name);
        }
    }
    reply_pointer(call, answer, name == GL_EXTENSIONS);
}

void gles30_glGetStringi(pid_t pid, tid_t tid, GLenum name, GLuint index, result_of<uint64_t>,
                         gles_target_error target_error)
{
    gles_handler call{"gles30_glGetStringi", pid, tid, target_error};
    call.trace("name", name, "index", index);
    target_ptr answer;
    if (name != GL_EXTENSIONS) {
        LOG_ERROR("glGetStringi() accepts only the GL_EXTENSIONS token, but the name = [%d].", name);
        call.error = GL_INVALID_ENUM;
    } else if (_zelvar_context_data* context = call.lock("glGetStringi")) {
        if (index < zelvar_data_num_of_gl_extension_supported(pid, tid, context)) {
            answer = extension_name_on_target(call, context->extensions, index);
        } else {
            LOG_ERROR("Index[%d] is outside the valid range [0:%d]. GL_INVALID_VALUE is generated.", index,
                      static_cast<int>(gl_extension_count));
            call.error = GL_INVALID_VALUE;
        }
    }
    reply_pointer(call, answer, true);
}
