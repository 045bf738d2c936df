#pragma once
// The rows whose handlers are built, a list per family. Constant-initialised: the table is put together before
// any code of the library runs.

#include "inbound/message_table.h"

#include <cstddef>

extern const built_row egl_rows[];
extern const size_t egl_row_count;
extern const built_row gles_rows[];
extern const size_t gles_row_count;
