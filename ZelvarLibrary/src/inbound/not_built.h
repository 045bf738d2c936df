#pragma once
// The answer to messages whose handlers are not built yet.

#include "zelvar_types.h"

#include <cstdint>

/// Says once per type that the call isn't built yet, answers as a failed call would and releases the target.
void answer_not_built(uint32_t type, pid_t pid, tid_t tid);
