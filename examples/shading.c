#include "shading.h"

#include "window.h"

#include <stdio.h>

const char plain_fragment[] = "#version 300 es\nprecision highp float; in vec4 colour; out vec4 result;\n"
                              "void main() { result = colour; }\n";

GLuint compile_shader(GLenum type, GLsizei count, const char* const* strings, const GLint* lengths)
{
    const GLuint shader = glCreateShader(type);
    check(shader != 0, "glCreateShader");
    glShaderSource(shader, count, strings, lengths);
    glCompileShader(shader);
    GLint compiled = 0;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &compiled);
    if (!compiled) {
        char log[1024] = "";
        glGetShaderInfoLog(shader, sizeof log, NULL, log);
        fprintf(stderr, "%s\n", log);
    }
    check(compiled, "glCompileShader");
    return shader;
}

static void attach(GLuint program, GLenum type, const char* text)
{
    const GLuint shader = compile_shader(type, 1, &text, NULL);
    glAttachShader(program, shader);
    glDeleteShader(shader);
}

static GLuint link_and_use(GLuint program)
{
    glLinkProgram(program);
    GLint linked = 0;
    glGetProgramiv(program, GL_LINK_STATUS, &linked);
    if (!linked) {
        char log[1024] = "";
        glGetProgramInfoLog(program, sizeof log, NULL, log);
        fprintf(stderr, "%s\n", log);
    }
    check(linked, "glLinkProgram");
    glUseProgram(program);
    return program;
}

GLuint make_program(const char* vertex, const char* fragment)
{
    const GLuint program = glCreateProgram();
    attach(program, GL_VERTEX_SHADER, vertex);
    attach(program, GL_FRAGMENT_SHADER, fragment);
    return link_and_use(program);
}

GLuint make_feedback_program(const char* vertex, const char* fragment, GLsizei count,
                             const char* const* varyings, GLenum mode)
{
    const GLuint program = glCreateProgram();
    attach(program, GL_VERTEX_SHADER, vertex);
    attach(program, GL_FRAGMENT_SHADER, fragment);
    glTransformFeedbackVaryings(program, count, varyings, mode);
    return link_and_use(program);
}

GLuint make_compute_program(const char* text)
{
    const GLuint program = glCreateProgram();
    attach(program, GL_COMPUTE_SHADER, text);
    return link_and_use(program);
}

GLint uniform_at(GLuint program, const char* name)
{
    const GLint location = glGetUniformLocation(program, name);
    check(location >= 0, name);
    return location;
}

GLuint new_texture(GLenum target)
{
    GLuint texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(target, texture);
    glTexParameteri(target, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(target, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(target, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(target, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    return texture;
}
