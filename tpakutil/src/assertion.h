#pragma once
// Broken promises of a caller end the process, in every build.

namespace tpakutil {

[[noreturn]] void assertion_failed(const char* text, const char* function);

} // namespace tpakutil

#define TPAK_ASSERT(condition, text)                                                                         \
    (static_cast<bool>(condition) ? static_cast<void>(0) : tpakutil::assertion_failed(text, __func__))
