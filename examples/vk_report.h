/* Checks, checksums and pictures: one line for each subject, so that two runs can be compared line for line.
 */
#ifndef EXAMPLES_VK_REPORT_H
#define EXAMPLES_VK_REPORT_H

#include <stddef.h>
#include <stdint.h>
#include <vulkan/vulkan.h>

/* Number of entries as Vulkan counts them. */
#define COUNT(array) ((uint32_t)(sizeof(array) / sizeof *(array)))

/* Fatal: prints what failed and ends the program with status 1. */
void check(int ok, const char* what);
/* Fatal unless the result is VK_SUCCESS. */
void check_vk(VkResult result, const char* what);
#define VK(call) check_vk(call, #call)

/* Not thread-safe, as the sum is one for the program. */
void begin_sum(void);
void add_bytes(const void* data, size_t size);
void add_number(uint32_t number);
void end_sum(const char* subject);

/* "--pictures FOLDER" on the command line: write_picture writes into it, and nowhere without it. */
void take_options(int count, char** arguments);
/* 8 bits each of red, green, blue, alpha, top row first; written without alpha as
 * FOLDER/NUMBER NAME.ppm, in the order of the calls. */
void write_picture(const char* name, const void* pixels, uint32_t width, uint32_t height);
/* Value of "--NAME N" or "--NAME TEXT" on the command line, or the default. */
int number_option(int count, char** arguments, const char* name, int fallback);
const char* text_option(int count, char** arguments, const char* name, const char* fallback);

#endif
