#pragma once
// The rows whose handlers are built, a list per family. Constant-initialised: the table is put together
// before any code of the library runs.

#include "inbound/message_table.h"

#include <cstddef>

#define ZELVAR_ROW_FAMILY(family)                                                                            \
    extern const built_row family##_rows[];                                                                  \
    extern const size_t family##_row_count;
#include "inbound/row_families.inc"
#undef ZELVAR_ROW_FAMILY

/// All families, for whoever walks the rows.
struct row_family
{
    const built_row* rows;
    const size_t* count;
};
inline constexpr row_family row_families[] = {
#define ZELVAR_ROW_FAMILY(family) {family##_rows, &family##_row_count},
#include "inbound/row_families.inc"
#undef ZELVAR_ROW_FAMILY
};
