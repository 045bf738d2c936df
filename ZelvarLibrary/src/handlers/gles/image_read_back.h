#pragma once
// The end of rendering into an EGL image. Nobody says when an application has finished; that it leaves the
// framebuffer is the only sign.

#include "data_model/zelvar_data_model.h"
#include "handlers/handler.h"

#include <vector>

/// The draw framebuffer of the current host context is about to be left: brings what it shows back to the
/// target's buffer when its first colour attachment is an EGL image. The call's error stays as it is. The
/// context is held by the caller.
void read_back_image(const gles_handler& call, _zelvar_context_data* context);

/// Frames of these framebuffers wait for the GPU model no longer.
void drop_parked_framebuffers(const gles_handler& call, const std::vector<uint32_t>& framebuffers);
