#pragma once
// Small arrays of the application, copied into the batch, so that a draw that reads them can wait there like
// any other call. For as long as the draw's message is being built the library sees the copies in the place
// of the application's pointers.

#include "shim/vertex_state.h"

namespace shim {

struct thread_state;

class client_arrays
{
public:
    /// For glDrawArrays.
    client_arrays(thread_state* self, GLint first, GLsizei count);
    /// For glDrawElements; `indices` is what its last argument has to be now.
    client_arrays(thread_state* self, GLsizei count, GLenum type, const void* indices);
    /// Gives the attributes their own pointers back, behind the draw.
    ~client_arrays();
    client_arrays(const client_arrays&) = delete;
    client_arrays& operator=(const client_arrays&) = delete;

    const void* indices() const { return indices_; }

private:
    bool copy_elements(thread_state& self, uint64_t count, GLenum type, bool& full);

    thread_state* self_ = nullptr; // null: nothing was copied
    uint32_t moved_ = 0;           // a bit for each attribute that points at a copy
    const void* indices_ = nullptr;
};

} // namespace shim
