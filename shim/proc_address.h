#pragma once
// Entry points by name.

namespace shim {

using entry_point = void (*)();

struct named_entry_point
{
    const char* name;
    entry_point address;
};

// The lists of the files that define them, each ended by a null name.
extern const named_entry_point egl_entry_points[];
extern const named_entry_point egl15_entry_points[];
extern const named_entry_point gles_entry_points[];

/// The exported function of this name, or null. Any thread; sends nothing.
entry_point find_entry_point(const char* name);

} // namespace shim
