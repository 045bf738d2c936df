/* Animated rectangles that need nothing but clears, and what their pixels have to be. */
#ifndef EXAMPLES_SCENE_H
#define EXAMPLES_SCENE_H

/* The pictures of one window. `variant` tells windows apart. */
struct scene
{
    int width;
    int height;
    int variant;
    unsigned char* wanted; /* RGBA, bottom row first */
    unsigned char* found;
};

/* Fatal when memory lacks. */
struct scene make_scene(int width, int height, int variant);
void free_scene(struct scene* scene);

/* Draws a frame into the current surface and works out its pixels. */
void draw_scene(struct scene* scene, int frame);

/* Reads the frame back; the number of pixels that are not as they have to be. The first one is printed. */
long count_wrong_pixels(struct scene* scene, int frame);

#endif
