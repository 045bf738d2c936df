#pragma once
// What is known of a program: its life, and how the target's numbers for its uniforms and blocks become the
// host's. The two sides' compilers number the same program differently, so the lists are joined by name.

#include <cstdint>
#include <map>
#include <string>
#include <vector>

struct _zelvar_program_uniform_descriptor
{
    uint32_t element_size = 0; // bytes of one scalar
    int32_t host_location = -1;
    uint32_t host_index = 0;
    std::string name;        // the target's
    uint32_t components = 1; // scalars of one element
    int32_t array_size = 1;
    int32_t target_location = -1;
    uint32_t target_index = 0;
};

struct _zelvar_program_uniform_block_descriptor
{
    uint32_t host_index = 0;
    uint32_t target_index = 0;
    std::string name;
};

struct _zelvar_program_descriptor
{
    std::vector<uint32_t> attached_shaders; // target ids, in order of attachment
    std::vector<uint32_t> used_attributes;  // every location that the linked program reads
    bool delete_requested = false;
    uint32_t host_id = 0;
    bool link_status = false;
    bool link_requested = false; // whatever came of it
    int32_t ref_counter = 1;
    std::vector<_zelvar_program_uniform_descriptor> uniforms;
    std::vector<_zelvar_program_uniform_block_descriptor> uniform_blocks;
    // Positions in the two vectors.
    std::map<int32_t, uint32_t> uniforms_by_host_location;
    std::map<uint32_t, uint32_t> uniforms_by_host_index;
    std::map<int32_t, uint32_t> uniforms_by_target_location;
    std::map<uint32_t, uint32_t> uniforms_by_target_index;
    std::map<uint32_t, uint32_t> uniform_blocks_by_host_index;
    std::map<uint32_t, uint32_t> uniform_blocks_by_target_index;
};
