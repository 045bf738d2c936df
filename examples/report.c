#include "report.h"

#include <stdint.h>
#include <stdio.h>
#include <string.h>

static uint64_t sum;

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

void add_text(const char* text)
{
    add_bytes(text, strlen(text) + 1);
}

void add_number(GLint number)
{
    add_bytes(&number, sizeof number);
}

void add_picture(struct size size)
{
    static unsigned char pixels[1024 * 1024 * 4];
    const size_t bytes = (size_t)size.width * (size_t)size.height * 4;
    check(bytes <= sizeof pixels, "the size of the window");
    glReadPixels(0, 0, size.width, size.height, GL_RGBA, GL_UNSIGNED_BYTE, pixels);
    add_bytes(pixels, bytes);
}

void end_sum(const char* subject)
{
    check_gl(subject);
    printf("%-24s %016llx\n", subject, (unsigned long long)sum);
}
