#include "settings/zelvar_settings.h"

// Given by the build; a tree without version control is all zeros.
#ifndef ZELVAR_REVISION
#define ZELVAR_REVISION "0000000000000000000000000000000000000000"
#endif

const char zelvar_revision[] = ZELVAR_REVISION;
static_assert(sizeof zelvar_revision == 41, "the revision has 40 digits");
