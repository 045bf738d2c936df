#include "scene.h"

#include "window.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum
{
    rectangle_count = 5
};

struct rectangle
{
    int x, y, width, height;
    unsigned char colour[4];
    unsigned char mask[4]; /* 1: the channel is written */
};

struct scene make_scene(int width, int height, int variant)
{
    const size_t bytes = (size_t)width * (size_t)height * 4;
    struct scene made = {width, height, variant, malloc(bytes), malloc(bytes)};
    check(made.wanted && made.found, "malloc");
    return made;
}

void free_scene(struct scene* scene)
{
    free(scene->wanted);
    free(scene->found);
}

static unsigned char wave(int value)
{
    const int at = value & 511;
    return (unsigned char)(at < 256 ? at : 511 - at);
}

static void background(const struct scene* scene, int frame, unsigned char colour[4])
{
    colour[0] = wave(frame * 5 + scene->variant * 90);
    colour[1] = wave(frame * 3 + 200);
    colour[2] = wave(frame * 7 + scene->variant * 40);
    colour[3] = wave(frame * 2 + 60);
}

/* Rectangles wander and partly leave the surface on every side. The last two write some channels only. */
static struct rectangle rectangle_at(const struct scene* scene, int frame, int index)
{
    struct rectangle one;
    one.width = scene->width / 6 + index * 9 + 1;
    one.height = scene->height / 5 + index * 7 + 1;
    one.x =
        (frame * (3 + index) + index * 131 + scene->variant * 57) % (scene->width + one.width) - one.width;
    one.y = (frame * (2 + index) + index * 89) % (scene->height + one.height) - one.height;
    for (int i = 0; i < 4; ++i) {
        one.colour[i] = wave(frame * (index + 1) + i * 77 + index * 45 + scene->variant * 111);
        one.mask[i] = index < 3 || i == index - 2 || i == 3;
    }
    return one;
}

static void fill(struct scene* scene, const struct rectangle* area)
{
    for (int y = area->y < 0 ? 0 : area->y; y < area->y + area->height && y < scene->height; ++y) {
        for (int x = area->x < 0 ? 0 : area->x; x < area->x + area->width && x < scene->width; ++x) {
            unsigned char* pixel = scene->wanted + ((size_t)y * (size_t)scene->width + (size_t)x) * 4;
            for (int i = 0; i < 4; ++i)
                pixel[i] = area->mask[i] ? area->colour[i] : pixel[i];
        }
    }
}

static void set_clear_colour(const unsigned char colour[4])
{
    glClearColor((float)colour[0] / 255.0f, (float)colour[1] / 255.0f, (float)colour[2] / 255.0f,
                 (float)colour[3] / 255.0f);
}

static void draw_background(struct scene* scene, int frame)
{
    struct rectangle all = {0, 0, scene->width, scene->height, {0}, {1, 1, 1, 1}};
    background(scene, frame, all.colour);
    fill(scene, &all);
    glDisable(GL_SCISSOR_TEST);
    set_clear_colour(all.colour);
    glClearDepthf(1.0f);
    glClearStencil(frame & 0xff);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
}

static void draw_rectangle(struct scene* scene, const struct rectangle* one)
{
    fill(scene, one);
    glScissor(one->x, one->y, one->width, one->height);
    glColorMask(one->mask[0], one->mask[1], one->mask[2], one->mask[3]);
    set_clear_colour(one->colour);
    glClear(GL_COLOR_BUFFER_BIT);
}

void draw_scene(struct scene* scene, int frame)
{
    glViewport(0, 0, scene->width, scene->height);
    draw_background(scene, frame);
    glEnable(GL_SCISSOR_TEST);
    for (int i = 0; i < rectangle_count; ++i) {
        const struct rectangle one = rectangle_at(scene, frame, i);
        draw_rectangle(scene, &one);
    }
    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
}

static void print_wrong_pixel(const struct scene* scene, int frame, size_t at)
{
    const unsigned char* w = scene->wanted + at;
    const unsigned char* f = scene->found + at;
    const size_t pixel = at / 4;
    fprintf(stderr, "frame %d of window %d: pixel (%zu, %zu) is %d %d %d %d instead of %d %d %d %d\n", frame,
            scene->variant, pixel % (size_t)scene->width, pixel / (size_t)scene->width, f[0], f[1], f[2],
            f[3], w[0], w[1], w[2], w[3]);
}

long count_wrong_pixels(struct scene* scene, int frame)
{
    const size_t bytes = (size_t)scene->width * (size_t)scene->height * 4;
    memset(scene->found, 0xa5, bytes);
    glPixelStorei(GL_PACK_ALIGNMENT, 1 << (frame & 3));
    glReadPixels(0, 0, scene->width, scene->height, GL_RGBA, GL_UNSIGNED_BYTE, scene->found);
    check_gl("the frame");
    long wrong = 0;
    for (size_t at = 0; at < bytes; at += 4) {
        if (memcmp(scene->wanted + at, scene->found + at, 4) == 0)
            continue;
        if (wrong++ == 0)
            print_wrong_pixel(scene, frame, at);
    }
    return wrong;
}
