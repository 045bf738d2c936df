#pragma once
// Texts of the library that the shim adds to.

namespace shim {

/// `text` with `more` behind it, a blank between them; null stays null. Lives as long as the process. Any
/// thread.
const char* text_with(const char* text, const char* more);

} // namespace shim
