#pragma once
// What is known of each pname of the glGet family: who answers, and how many values.

#include "data_model/zelvar_data_model.h"

#include <cstdint>

enum _zelvar_helpers_pname_data_source : uint32_t
{
    pname_source_host = 1,
    pname_source_local = 3, // the model answers, or corrects the host's answer
};

/// False for a pname that isn't known.
bool zelvar_helpers_get_pname_data_source(uint32_t pname, _zelvar_helpers_pname_data_source* source);
bool zelvar_helpers_get_number_of_pname_components(uint32_t pname, const _zelvar_context_data* context,
                                                   uint32_t* count);
