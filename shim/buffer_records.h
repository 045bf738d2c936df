#pragma once
// What is known here of the buffer objects of contexts that share them: as much as spares questions to the
// library when an application maps them.
//
// Only what went through a binding that is known is recorded; after anything else all is forgotten. Where a
// call was refused by OpenGL ES the record here may differ from the truth: then a program that already has an
// error gets another one.

#include "shim/process_lock.h"

#include <GLES3/gl31.h>

#include <cstdint>
#include <optional>
#include <unordered_map>

namespace shim {

/// Any thread. Buffer 0 is none: nothing is noted or known of it.
class buffer_records
{
public:
    void note_size(GLuint buffer, GLsizeiptr size);
    void note_mapped(GLuint buffer);
    /// Whether it was mapped, which it no longer is.
    bool take_mapped(GLuint buffer);
    std::optional<GLsizeiptr> size_of(GLuint buffer);

    void forget(GLuint buffer);
    /// Something has happened to a buffer that isn't known.
    void forget_all();

private:
    struct record
    {
        GLsizeiptr size = 0;
        bool mapped = false;
    };

    process_lock lock_;
    std::unordered_map<GLuint, record> records_; // of buffers whose size is known
};

} // namespace shim
