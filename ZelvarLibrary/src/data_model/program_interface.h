#pragma once
// Joins a target program to its host program: attribute locations are forced on the host, uniforms and
// uniform blocks get a table in each direction. With no driver on the target the host's numbers are the
// target's too. Everything here runs with the context and its share group locked, on the worker of the
// calling thread.

#include "data_model/zelvar_data_model.h"

using program_iterator = std::map<uint32_t, _zelvar_program_descriptor>::iterator;

/// Makes or resets the entry of a program that the host has just created. Attached shaders stay.
void zelvar_data_model_init_program_descriptor_prelink(_zelvar_context_data* data, uint32_t target_program_id,
                                                       uint32_t host_program_id);
/// Before the host links: tells the host to use the target's attribute locations. False when it can't be
/// done.
bool zelvar_data_model_bind_attributes_location_on_host_side(pid_t pid, tid_t tid, _zelvar_context_data* data,
                                                             uint32_t target_program_id);
/// After the host has linked: takes the used attributes from the host.
bool zelvar_data_model_init_attributes_location(pid_t pid, tid_t tid, _zelvar_context_data* data,
                                                uint32_t target_program_id);
/// Reads both sides' uniforms and blocks and builds the tables. A program that failed to link gets empty
/// ones.
void zelvar_data_model_init_program_descriptor_postlink(pid_t pid, tid_t tid, _zelvar_context_data* data,
                                                        uint32_t target_program_id);
void _init_zelvar_program_uniforms(pid_t pid, tid_t tid, _zelvar_program_descriptor& descriptor,
                                   uint32_t host_program_id, uint32_t target_program_id);
void _init_zelvar_program_uniform_blocks(pid_t pid, tid_t tid, _zelvar_program_descriptor& descriptor,
                                         uint32_t host_program_id, uint32_t target_program_id);

/// The row whose array covers a location, as a position in `uniforms_by_target_location`; its end on a miss.
std::map<int32_t, uint32_t>::iterator find_target_location(program_iterator program, int32_t target_location);
/// The host's location behind a target location; false when no row covers it. -1 where the host has none.
bool zelvar_data_model_get_host_uniform_location_by_target_uniform_location(program_iterator program,
                                                                            int32_t target_location,
                                                                            int32_t* host_location);

// Number to number. False, with a line, on a miss.
bool zelvar_data_model_get_host_uniform_index_by_target_uniform_index(program_iterator program,
                                                                      uint32_t target_index,
                                                                      uint32_t* host_index);
bool zelvar_data_model_get_target_uniform_index_by_host_uniform_index(program_iterator program,
                                                                      uint32_t host_index,
                                                                      uint32_t* target_index);
bool zelvar_data_model_get_host_uniform_block_index_by_target_uniform_block_index(program_iterator program,
                                                                                  uint32_t target_index,
                                                                                  uint32_t* host_index);
bool zelvar_data_model_get_target_uniform_block_index_by_host_uniform_block_index(program_iterator program,
                                                                                  uint32_t host_index,
                                                                                  uint32_t* target_index);
/// Finds elements of arrays as well.
bool zelvar_data_model_get_target_uniform_location_by_host_uniform_location(program_iterator program,
                                                                            int32_t host_location,
                                                                            int32_t* target_location);

// GLSL types by the API's enums. An unknown type is logged.
/// Bytes of one scalar; 0 when unknown.
uint32_t zelvar_get_element_size_from_GLSL_type(uint32_t type);
/// Scalars of one element; 1 when unknown.
uint32_t zelvar_get_n_components_from_GLSL_type(uint32_t type);
/// Attribute locations that one element takes; 1 when unknown.
uint32_t zelvar_get_n_indice_from_GLSL_type(uint32_t type);
