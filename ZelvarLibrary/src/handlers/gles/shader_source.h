#pragma once
// From the strings of an application to the one text that the host compiles.

#include <string>
#include <vector>

/// One string of glShaderSource as it stands in target memory: `length` 0 or more is its size, below 0
/// unknown.
struct shader_string
{
    std::vector<char> bytes; // two zeros behind the text
    int length = -1;
};

/// Filters merged text for the host, with what `printShaderSource` and `shaderFilter` ask for.
std::string filtered_shader_source(const std::string& merged, const std::vector<const char*>& originals);
