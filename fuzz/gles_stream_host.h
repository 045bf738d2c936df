#pragma once
// The host that a gles_stream program has: strict_host.cpp or real_host.cpp.

namespace gles_stream_host {
/// Fills the library's host tables, once.
void install();
/// Forgets what the input before has left, if it can.
void begin();
} // namespace gles_stream_host
