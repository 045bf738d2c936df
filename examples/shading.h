/* Shaders and programs out of texts, and textures for them. All of it is fatal when a text doesn't compile or
 * link; the log is printed. */
#ifndef EXAMPLES_SHADING_H
#define EXAMPLES_SHADING_H

#include <GLES3/gl31.h>

GLuint compile_shader(GLenum type, GLsizei count, const char* const* strings, const GLint* lengths);

/* The program is in use afterwards. */
GLuint make_program(const char* vertex, const char* fragment);
GLuint make_feedback_program(const char* vertex, const char* fragment, GLsizei count,
                             const char* const* varyings, GLenum mode);
GLuint make_compute_program(const char* text);

/* Fatal when there is no such uniform. */
GLint uniform_at(GLuint program, const char* name);

/* A texture of nearest texels without mipmaps, bound. */
GLuint new_texture(GLenum target);

/* Writes the varying `colour`. */
extern const char plain_fragment[];

#endif
