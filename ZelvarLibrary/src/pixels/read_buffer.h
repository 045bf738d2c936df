#pragma once
// A legal read buffer that drivers fall over: with GL_NONE, Mesa dies of glReadPixels and glCopyTexImage2D
// where it should report an error, and the simulator would die with it.

#include "data_model/zelvar_data_model.h"
#include "registration/host_call.h"

/// Whether the bound read framebuffer has no buffer that is read. The host is asked only in contexts that
/// have ever set such a read buffer.
inline bool reads_nothing(const _zelvar_context_data& context)
{
    if (!context.has_read_nothing)
        return false;
    GLint buffer = GL_BACK;
    host::gl<&sidechannel_gles_imports::glGetIntegerv>(GL_READ_BUFFER, &buffer);
    return buffer == GL_NONE;
}
