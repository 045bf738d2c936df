#pragma once
// How many result bytes the library expects of an answer, for calls on the target as well as for services.
// The scripted target always answers in the right size.

#include "wire/answer_sizes.h"

#include <cstdint>

namespace answer_sizes {
using wire::not_answered;

/// Result bytes of the answer to a request by its type, or `not_answered`.
int32_t of_request(uint32_t type);
} // namespace answer_sizes
