#pragma once
// Textures in the service context that stand for buffers of the target. Their context is current while they
// are made.

#include "handlers/handler.h"
#include "wire/wire.h"

/// Storage for a native buffer, without pixels; 0, with a line, for a buffer that can't be a texture.
GLuint create_service_texture(pid_t pid, const wire::winsys_buffer_object_descriptor& buffer);
