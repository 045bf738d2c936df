#pragma once
// What handlers of shaders, programs and pipelines share: the frame with the share group held, names of the
// wrong kind, and texts on their way to the target.

#include "data_model/program_interface.h"
#include "handlers/gles/shared_guard.h"
#include "handlers/handler.h"

#include <optional>
#include <string>
#include <vector>

/// 0 if `id` is a program; GL_INVALID_OPERATION if it is a shader; GL_INVALID_VALUE otherwise.
unsigned zelvar_helpers_get_gl_error_code_checking_as_program(const _zelvar_context_data* context,
                                                              uint32_t id);
/// The mirror image.
unsigned zelvar_helpers_get_gl_error_code_checking_as_shader(const _zelvar_context_data* context,
                                                             uint32_t id);

/// Frame of a handler that touches what a share group has in common. `function` is the API's name.
class program_handler : public gles_handler
{
public:
    program_handler(const char* key, const char* function, pid_t pid, tid_t tid,
                    gles_target_error target_error)
        : gles_handler(key, pid, tid, target_error), function(function), target_error(target_error.code)
    {
    }

    const char* const function;
    const unsigned target_error;

    /// Locks context and group; null (logged) when there is no context.
    _zelvar_context_data* enter();
    _zelvar_context_data_shared& shared() const { return *context()->data_shared; }

    program_iterator no_program() const { return shared().programs.end(); }
    /// A program by the target's name, of any kind but the wrong one: `no_program()` with the error set and
    /// logged.
    program_iterator find_program(GLuint program);
    /// The same for a shader; null when there is none.
    _zelvar_shader_descriptor* find_shader(GLuint shader);
    /// Ends with an error of the arguments; nothing is asked of the host.
    void fail(unsigned code) { error = code; }

    /// Gives `text` to the target: up to `room` bytes with the zero byte, and the length without it.
    void write_text(target_ptr address, target_ptr length_address, const std::string& text,
                    GLsizei room) const;
    void write_bytes(target_ptr address, const void* data, uint64_t size) const;
    /// A text of the target; nothing when the address is null.
    std::optional<std::string> read_text(target_ptr address) const;

private:
    std::optional<shared_guard> _group;
};

/// Room for a text that the host writes. The target's word for the size is not trusted with memory.
class text_room
{
public:
    explicit text_room(GLsizei wanted);
    GLsizei size() const { return _size; }
    GLchar* data() { return _bytes.data(); }
    std::string text() const { return _bytes.data(); }

private:
    GLsizei _size;
    std::vector<GLchar> _bytes;
};
/// False, with a line and GL_INVALID_VALUE, for a negative size of a log or source; warns of size 0.
bool is_log_size_valid(program_handler& call, GLsizei size);
