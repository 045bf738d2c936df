#pragma once
// Attributes in client memory, brought over for one draw.

#include "handlers/handler.h"

#include <set>

/// What a draw reads: vertices `first` to `first + count - 1`, `instances` times; both counts may be 0.
struct vertex_range
{
    int64_t first = 0;
    uint64_t count = 0;
    int32_t instances = 0;
    /// Vertices that the host may look at though the draw promised otherwise: there has to be memory for
    /// them.
    uint64_t reach = 0;
};

struct client_array_draw
{
    const char* function;  // of the API
    bool elements = false; // else arrays; decides log texts
    bool indirect = false; // allows no client memory
};

/// Walks the programs of the next draw, one a call: the program in use, else those of the bound pipeline,
/// each once. False when there is no more, or (`*failed`) when the model lacks one.
bool get_target_program_object(_zelvar_context_data* context, uint32_t* state,
                               std::set<uint32_t>* seen_programs, _zelvar_program_descriptor** out_program,
                               bool* failed);

/// Fetches what the draw reads of each client array that its programs use and points the host at it. False:
/// the draw must not be made (logged; `call.error` set where the application is to know).
bool fetch_client_arrays(gles_handler& call, _zelvar_context_data* context,
                         _zelvar_vertex_array_object_descriptor& vertex_array, const client_array_draw& draw,
                         const vertex_range& range);
/// Where the bytes of an array lie: `skip` bytes unused in front, then `length` bytes that are read.
struct array_extent
{
    uint64_t skip = 0;
    uint64_t length = 0;
    bool by_instance = false; // the host starts at the front, whatever the first vertex
};
/// Pure; no overflow for any input. A negative first vertex reads nothing.
array_extent extent_of_array(const _zelvar_vertex_attribute_array_descriptor& attribute,
                             const vertex_range& range);
