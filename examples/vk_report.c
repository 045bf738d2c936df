#include "vk_report.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static uint64_t sum;
static const char* picture_folder;

void check(int ok, const char* what)
{
    if (ok)
        return;
    fprintf(stderr, "%s failed\n", what);
    exit(1);
}

void check_vk(VkResult result, const char* what)
{
    if (result == VK_SUCCESS)
        return;
    fprintf(stderr, "%s: result %d\n", what, (int)result);
    exit(1);
}

void begin_sum(void)
{
    sum = 0xcbf29ce484222325u;
}

void add_bytes(const void* data, size_t size)
{
    const unsigned char* bytes = data;
    for (size_t i = 0; i < size; ++i)
        sum = (sum ^ bytes[i]) * 0x100000001b3u;
}

void add_number(uint32_t number)
{
    add_bytes(&number, sizeof number);
}

void end_sum(const char* subject)
{
    printf("%-32s %016llx\n", subject, (unsigned long long)sum);
    fflush(stdout);
}

void take_options(int count, char** arguments)
{
    picture_folder = text_option(count, arguments, "--pictures", NULL);
}

void write_picture(const char* name, const void* pixels, uint32_t width, uint32_t height)
{
    if (!picture_folder)
        return;
    static int number;
    char path[4096];
    const int length = snprintf(path, sizeof path, "%s/%03d %s.ppm", picture_folder, number++, name);
    check(length > 0 && (size_t)length < sizeof path, "the picture's name");
    FILE* const file = fopen(path, "wb");
    check(file != NULL, path);
    fprintf(file, "P6\n%u %u\n255\n", width, height);
    const unsigned char* bytes = pixels;
    for (size_t i = 0; i < (size_t)width * height; ++i)
        fwrite(bytes + 4 * i, 1, 3, file);
    check(fclose(file) == 0, path);
}

const char* text_option(int count, char** arguments, const char* name, const char* fallback)
{
    for (int i = 1; i + 1 < count; ++i)
        if (strcmp(arguments[i], name) == 0)
            return arguments[i + 1];
    return fallback;
}

int number_option(int count, char** arguments, const char* name, int fallback)
{
    const char* const text = text_option(count, arguments, name, NULL);
    if (!text)
        return fallback;
    const long number = strtol(text, NULL, 10);
    check(number >= 1 && number <= 1000000, name);
    return (int)number;
}
