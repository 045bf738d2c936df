#pragma once
// How many result bytes the library expects of an answer. Another number is a broken shim, on which the
// library stops by design, so the scripted target always answers in the right size.

#include <cstdint>

namespace answer_sizes {
inline constexpr int32_t not_answered = -1;

/// Result bytes of the answer to a request by its type, or `not_answered`.
int32_t of_request(uint32_t type);
} // namespace answer_sizes
