#pragma once
// What glUniform* and glProgramUniform* share.

#include "handlers/gles/program_support.h"

/// False, with a line and GL_INVALID_VALUE, for a negative count.
bool is_uniform_count_valid(program_handler& call, GLsizei count);
/// The host's location behind a target location; false, with a line and the error, when no uniform has it.
bool find_uniform(program_handler& call, program_iterator program, GLint location, GLint* host_location);

/// The host reads as many values as `count` asks for; a message that holds fewer (a null pointer of the
/// application) is not passed on.
template <class T>
bool holds_all_values(inline_array<T> values, GLsizei count, uint32_t per_element)
{
    if (values.count >= static_cast<uint64_t>(count) * per_element)
        return true;
    LOG_ERROR("A uniform of %d elements came with %lu values. Host-side will NOT execute the call.", count,
              static_cast<unsigned long>(values.count));
    return false;
}
