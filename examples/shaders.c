/* Shader texts in every shape: in pieces, with lengths, comments, continuations and directives, in each
 * version of the language; wrong texts and what the compiler says of them; where inputs and outputs stand.
 * What links is drawn. Prints a checksum of each subject. shaders [--frames N] */

#include "report.h"
#include "shading.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static struct size size;

static void draw_picture(void)
{
    static const float corners[][2] = {{-0.9f, -0.9f}, {0.9f, -0.7f}, {-0.6f, 0.9f}, {0.8f, 0.8f}};
    glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 0, corners);
    glEnableVertexAttribArray(0);
    glClear(GL_COLOR_BUFFER_BIT);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    glDisableVertexAttribArray(0);
    add_picture(size);
}

/* What the shader's text is afterwards: all of it, and as much as has room. Only for texts without comments
 * and wide blanks, which a driver may leave out. */
static void add_source(GLuint shader)
{
    GLint length = 0;
    glGetShaderiv(shader, GL_SHADER_SOURCE_LENGTH, &length);
    add_number(length);
    char* const text = calloc((size_t)length + 1, 1);
    check(text != NULL, "calloc");
    GLsizei written = -1;
    glGetShaderSource(shader, length, &written, text);
    add_number(written);
    add_text(text);
    char some[9] = "abcdefgh";
    glGetShaderSource(shader, 5, &written, some);
    add_number(written);
    add_bytes(some, sizeof some);
    free(text);
}

static GLuint link_shaders(GLuint vertex, GLuint fragment)
{
    const GLuint program = glCreateProgram();
    glAttachShader(program, vertex);
    glAttachShader(program, fragment);
    glDeleteShader(vertex);
    glDeleteShader(fragment);
    glBindAttribLocation(program, 0, "at");
    glLinkProgram(program);
    GLint linked = 0;
    glGetProgramiv(program, GL_LINK_STATUS, &linked);
    check(linked, "glLinkProgram");
    glUseProgram(program);
    return program;
}

static const char* const old_vertex = "attribute vec2 at; varying vec2 place; void main() { place = at; "
                                      "gl_Position = vec4(at, 0.0, 1.0); }";
static const char* const new_vertex =
    "#version 300 es\nin vec2 at; out vec2 place; void main() { place = at; "
    "gl_Position = vec4(at, 0.0, 1.0); }";

/* A fragment shader out of pieces, with the plain vertex shader of its version. */
static void draw_pieces(const char* subject, const char* vertex, GLsizei count, const char* const* pieces,
                        const GLint* lengths)
{
    begin_sum();
    const GLuint fragment = compile_shader(GL_FRAGMENT_SHADER, count, pieces, lengths);
    const GLuint program = link_shaders(compile_shader(GL_VERTEX_SHADER, 1, &vertex, NULL), fragment);
    draw_picture();
    glDeleteProgram(program);
    end_sum(subject);
}

#define COUNT(array) (GLsizei)(sizeof array / sizeof *array)

static void draw_in_pieces(void)
{
    static const char* const halves[] = {"precision mediump float; varying vec2 pl",
                                         "ace; void main() { gl_Frag", "Color = vec4(place, 0.5, 1.0); }"};
    draw_pieces("pieces", old_vertex, COUNT(halves), halves, NULL);

    static const char* const cut[] = {"precision mediump float; GARBAGE",
                                      "",
                                      "varying vec2 place;",
                                      " // nothing at all",
                                      "void main() {",
                                      " gl_FragColor = vec4(0.5, place, 1.0); } and more"};
    static const GLint lengths[] = {25, -1, -1, 0, 13, 40};
    draw_pieces("lengths", old_vertex, COUNT(cut), cut, lengths);

    static const GLint all_negative[] = {-1, -100, -2147483647 - 1};
    draw_pieces("negative lengths", old_vertex, COUNT(halves), halves, all_negative);

    static const char* const late[] = {"#version 300",
                                       " es\nprecision highp float; in vec2 place; out vec4 result;\n",
                                       "void main() { result = vec4(1.0, place, 1.0); }"};
    draw_pieces("version in pieces", new_vertex, COUNT(late), late, NULL);

    char letters[400];
    const char* const text = "#version 300 es\nprecision highp float;in vec2 place;out vec4 result;\n"
                             "void main(){result=vec4(place.yx,0.75,1.0);}\n";
    const char* pieces[200];
    GLint ones[200];
    const GLsizei many = (GLsizei)strlen(text);
    check(many <= COUNT(pieces), "the length of a text");
    for (GLsizei i = 0; i < many; ++i) { /* a letter each, without an end */
        letters[i] = text[i];
        pieces[i] = letters + i;
        ones[i] = 1;
    }
    memset(letters + many, '?', sizeof letters - (size_t)many);
    draw_pieces("letters", new_vertex, many, pieces, ones);
}

static void draw_layouts_of_text(void)
{
    static const char* const texts[][3] = {
        {"comments", NULL,
         "/* first */ precision /* of all */ mediump float; // all\nvarying vec2 place; /* over\n lines // "
         "and\n */\n"
         "void main() { /**/ gl_FragColor = /* * / */ vec4(place.x /* / */ / 2.0, 1.0 // half\n , 0.5, 1.0); "
         "}"},
        {"continuations", "300",
         "#version 300 es\nprecision highp flo\\\nat; in vec2 place; out vec4 result; // a comment \\\n goes "
         "on\n"
         "#define MIX(a, b) \\\n  vec4((a), \\\n  (b), 0.0, 1.0)\nvoid main() { result = MIX(place.y, 0.3); "
         "}"},
        {"carriage returns", "300",
         "#version 300 es\r\nprecision highp float;\r\nin vec2 place;\r\nout vec4 result;\r\n#define HALF "
         "0.5\r\n"
         "void main() {\r\n\tresult = vec4(HALF, place, 1.0);\r\n}\r\n"},
        {"blanks", "300",
         "#version   300    es  \n\n\n  \t precision highp float ;\n\n\tin  vec2\n\n\nplace ; out vec4 "
         "result\n;"
         "\n#   define   A   0.25  \n # if defined A_B\n#\n # else\nvoid main ( ) { result = vec4 ( place , "
         "A , 1. ) "
         "; }\n#endif"},
        {"directives", "300",
         "#version 300 es\n#ifdef GL_ES\nprecision highp float;\n#else\n#error no ES\n#endif\nin vec2 place; "
         "out vec4 "
         "result;\n#define A 2\n#define B (A * 3)\n#define JOIN(x) x + A\n#if B == 6 && defined(A) && "
         "!defined C\n"
         "#define OUT vec4(place, 0.1, 1.0)\n#elif A\n#define OUT vec4(0.0)\n#endif\n#undef A\n#define A 1\n"
         "#ifndef A\n#error gone\n#endif\n#line 77\nvoid main() { result = OUT * float(__LINE__ == 77) / "
         "float(JOIN(1)); \n#if __VERSION__ != 300 || GL_ES != 1\nresult = vec4(0.0);\n#endif\n}\n"},
        {"pragmas", NULL,
         "#pragma optimize(off)\n#pragma debug(on)\n#pragma nobody knows this\n#pragma STDGL invariant(all)\n"
         "precision lowp float; varying mediump vec2 place; void main() { gl_FragColor = vec4(place, place); "
         "}"},
        {"extensions", NULL,
         "#extension GL_OES_standard_derivatives : enable\n#extension GL_nobody_has_this : warn\n#extension "
         "all : "
         "disable\n#extension GL_OES_standard_derivatives : require\nprecision mediump float; varying vec2 "
         "place;\n"
         "#ifdef GL_OES_standard_derivatives\nvoid main() { gl_FragColor = vec4(abs(dFdx(place)) * 30.0, "
         "0.5, 1.0); }\n"
         "#else\nvoid main() { gl_FragColor = vec4(0.0); }\n#endif\n"},
        {"precision", NULL,
         "precision highp float; precision lowp int; varying highp vec2 place; uniform lowp vec3 unused;\n"
         "mediump float half_of(const in lowp float x) { return x * 0.5; }\n"
         "void main() { lowp int three = 3; mediump vec2 m = place; gl_FragColor = vec4(m, half_of(m.x), "
         "three); }"},
        {"version 100", NULL,
         "#version 100\nprecision mediump float; varying vec2 place; void main() { gl_FragColor = "
         "vec4(place, 0.7, 1.0); }"},
        {"arrays and structs", "300",
         "#version 300 es\nprecision highp float; in vec2 place; out vec4 result; struct s { vec2 a[2]; "
         "float b; };\n"
         "const s c[2] = s[2](s(vec2[](vec2(0.1), vec2(0.2, 0.4)), 0.3), s(vec2[2](vec2(0.5), vec2(0.6)), "
         "0.7));\n"
         "void main() { int i = place.x > 0.0 ? 1 : 0; switch (i) { case 1: result = vec4(c[i].a[1], c[i].b, "
         "1.0); "
         "break;\n  default: result = vec4(c[0].a[1], float(c[1].a.length()) * 0.25, 1.0); } }\n"},
        {"swizzles and loops", "300",
         "#version 300 es\nprecision highp float; precision highp int; in vec2 place; out vec4 result;\n"
         "void main() { result = vec4(0.0, 0.0, 0.0, 1.0); uint bits = 0x5a3cu; do { result.zyx += place.xyx "
         "* 0.1; "
         "bits >>= 1u;\n  if ((bits & 1u) == 0u) continue; result.rgb *= mat3(0.9); } while (bits != 0u); "
         "result.bgr = "
         "abs(result.rgb); }\n"},
    };
    for (size_t i = 0; i < sizeof texts / sizeof *texts; ++i)
        draw_pieces(texts[i][0], texts[i][1] ? new_vertex : old_vertex, 1, &texts[i][2], NULL);
    static const char* const vertex =
        "#version 310 es\nin vec2 at; layout(location = 2) out vec2 away; void main() { "
        "away = at; gl_Position = vec4(at, 0.0, 1.0); }";
    static const char* const fragment =
        "#version 310 es\nprecision highp float; layout(location = 2) in vec2 here; layout(location = 0) out "
        "vec4 "
        "result;\nlayout(std140, binding = 1) uniform unused_block { vec4 v[2]; } unused;\n"
        "void main() { float f = bitfieldExtract(0x12345u, 4, 8) == 0x34u ? 1.0 : 0.0; "
        "result = vec4(here, f * unpackHalf2x16(packHalf2x16(vec2(0.25))).x, f); }";
    draw_pieces("version 310", vertex, 1, &fragment, NULL);
}

/* Texts that are wrong, and what is said about them. */
static void read_complaints(void)
{
    static const char* const texts[] = {
        "",
        "void main() { gl_FragColor = vec4(1.0) }",
        "#version 300 es\nvoid main() { }\nvoid main() { }",
        "#version 999 es\nvoid main() { }",
        "\n#version 300 es\nprecision highp float; out vec4 r; void main() { r = vec4(1.0); }",
        "#version 300 es\nout vec4 r; void main() { r = vec4(1.0); }",
        "#version 300 es\n#error \"of our own\"\nvoid main() { }",
        "#version 300 es\n#if 1\nvoid main() { }",
        "#extension GL_nobody_has_this : require\nvoid main() { }",
        "/* no end",
        "#version 300 es\nprecision highp float; in vec4 gl_own; void main() { gl_own; }",
        "#line 40 3\nvoid main() { nothing; }",
        "\001\002 void main() { \"text\" }",
    };
    begin_sum();
    for (size_t i = 0; i < sizeof texts / sizeof *texts; ++i) {
        const GLuint shader = glCreateShader(GL_FRAGMENT_SHADER);
        glShaderSource(shader, 1, texts + i, NULL);
        glCompileShader(shader);
        GLint status = -1, length = -1;
        glGetShaderiv(shader, GL_COMPILE_STATUS, &status);
        glGetShaderiv(shader, GL_INFO_LOG_LENGTH, &length);
        add_number(status);
        add_number(length);
        char log[1024] = "";
        GLsizei written = -1;
        glGetShaderInfoLog(shader, sizeof log, &written, log);
        add_number(written);
        add_text(log);
        glDeleteShader(shader);
    }
    end_sum("complaints");
    begin_sum();
    const GLuint shader = glCreateShader(GL_FRAGMENT_SHADER);
    GLint value = -1;
    static const GLenum questions[] = {GL_SHADER_TYPE, GL_DELETE_STATUS, GL_COMPILE_STATUS,
                                       GL_INFO_LOG_LENGTH, GL_SHADER_SOURCE_LENGTH};
    for (size_t i = 0; i < sizeof questions / sizeof *questions; ++i) { /* of a shader without a text */
        glGetShaderiv(shader, questions[i], &value);
        add_number(value);
    }
    /* a text that compiles in place of one that doesn't */
    glShaderSource(shader, 1, texts + 1, NULL);
    glCompileShader(shader);
    glShaderSource(shader, 1, &(const char*){plain_fragment}, NULL);
    add_source(shader);
    glGetShaderiv(shader, GL_COMPILE_STATUS, &value);
    add_number(value);
    glCompileShader(shader);
    glGetShaderiv(shader, GL_COMPILE_STATUS, &value);
    add_number(value);
    add_source(shader);
    glDeleteShader(shader);
    end_sum("a second text");
}

/* Programs that don't link. */
static void read_link_complaints(void)
{
    static const char* const pairs[][2] = {
        {"#version 300 es\nout vec4 colour; void main() { gl_Position = colour = vec4(0.0); }",
         "#version 300 es\nprecision highp float; in vec3 colour; out vec4 r; void main() { r = colour.xyzz; "
         "}"},
        {"#version 300 es\nvoid main() { gl_Position = vec4(0.0); }",
         "#version 300 es\nprecision highp float; in vec4 lost; out vec4 r; void main() { r = lost; }"},
        {"#version 300 es\nuniform vec4 u; void main() { gl_Position = u; }",
         "#version 300 es\nprecision highp float; uniform vec3 u; out vec4 r; void main() { r = u.xyzz; }"},
        {"#version 300 es\nvoid main() { gl_Position = vec4(0.0); }",
         "precision highp float; void main() { gl_FragColor = vec4(1.0); }"},
    };
    begin_sum();
    for (size_t i = 0; i < sizeof pairs / sizeof *pairs; ++i) {
        const GLuint program = glCreateProgram();
        for (int k = 0; k < 2; ++k) {
            const GLuint shader =
                compile_shader(k ? GL_FRAGMENT_SHADER : GL_VERTEX_SHADER, 1, &pairs[i][k], NULL);
            glAttachShader(program, shader);
            glDeleteShader(shader);
        }
        glLinkProgram(program);
        GLint status = -1, length = -1;
        glGetProgramiv(program, GL_LINK_STATUS, &status);
        glGetProgramiv(program, GL_INFO_LOG_LENGTH, &length);
        char log[512] = "";
        glGetProgramInfoLog(program, sizeof log, NULL, log);
        add_number(status);
        add_number(length);
        add_text(log);
        glDeleteProgram(program);
    }
    end_sum("link complaints");
}

/* Where attributes and fragment outputs stand, by the application's word and by the shader's. */
static void find_locations(void)
{
    static const char* const vertex =
        "#version 300 es\nin vec4 a; in vec2 at; layout(location = 7) in vec3 b; in mat3 m; in float f; in "
        "ivec2 i;\n"
        "out vec2 place; void main() { place = at + a.xy * 0.1 + b.xy + m[2].xy + vec2(f) + vec2(i);\n"
        "gl_Position = vec4(at, 0.0, 1.0); }";
    static const char* const fragment =
        "#version 300 es\nprecision highp float; in vec2 place; layout(location = 0) out vec4 first;\n"
        "layout(location = 1) out vec2 second[2];\n"
        "void main() { first = vec4(fract(place), 0.5, 1.0); second[0] = place; second[1] = -place; }";
    const GLuint program = glCreateProgram();
    const GLuint shaders[] = {compile_shader(GL_VERTEX_SHADER, 1, &vertex, NULL),
                              compile_shader(GL_FRAGMENT_SHADER, 1, &fragment, NULL)};
    glAttachShader(program, shaders[0]);
    glAttachShader(program, shaders[1]);
    glBindAttribLocation(program, 5, "a");
    glBindAttribLocation(program, 0, "at");
    glBindAttribLocation(program, 2, "m");
    glBindAttribLocation(program, 9, "b"); /* the shader's word weighs more */
    glBindAttribLocation(program, 1, "nowhere");
    glBindAttribLocation(program, 4, "f");
    glBindAttribLocation(program, 8, "f"); /* the last word */
    begin_sum();
    glLinkProgram(program);
    static const char* const names[] = {"a", "at", "b", "m", "f", "i", "nowhere", "gl_Position", "m[1]"};
    for (size_t i = 0; i < sizeof names / sizeof *names; ++i)
        add_number(glGetAttribLocation(program, names[i]));
    static const char* const outputs[] = {"first", "second", "second[0]", "second[1]", "third"};
    for (size_t i = 0; i < sizeof outputs / sizeof *outputs; ++i)
        add_number(glGetFragDataLocation(program, outputs[i]));
    GLint value = 0;
    glGetProgramiv(program, GL_ACTIVE_ATTRIBUTES, &value);
    add_number(value);
    glGetProgramiv(program, GL_ACTIVE_ATTRIBUTE_MAX_LENGTH, &value);
    add_number(value);
    glUseProgram(program);
    glVertexAttrib4f(5, 0.5f, 0.25f, 0.0f, 0.0f);
    glVertexAttrib3f(7, 0.1f, 0.2f, 0.3f);
    glVertexAttrib1f(8, 0.35f);
    glVertexAttrib3f(4, 0.05f, 0.15f, 0.0f); /* the matrix's last column */
    glVertexAttribI4i((GLuint)glGetAttribLocation(program, "i"), 1, -2, 0, 0);
    draw_picture();
    end_sum("locations");
    begin_sum();
    glBindAttribLocation(program, 6, "a"); /* counts from the next link on */
    check(glGetAttribLocation(program, "a") == 5, "a location before the next link");
    glDeleteShader(shaders[0]);
    glDeleteShader(shaders[1]);
    glLinkProgram(program);
    add_number(glGetAttribLocation(program, "a"));
    glVertexAttrib4f(6, 0.75f, 0.5f, 0.0f, 0.0f);
    draw_picture();
    end_sum("the next link");
    WRONG(glBindAttribLocation(program, 99, "a"), GL_INVALID_VALUE);
    WRONG(glBindAttribLocation(program, 1, "gl_own"), GL_INVALID_OPERATION);
    WRONG(glGetAttribLocation(9999, "a"), GL_INVALID_VALUE);
    glDeleteProgram(program);
}

/* Objects that live on while something holds them. */
static void outlive(void)
{
    begin_sum();
    const GLuint vertex = compile_shader(GL_VERTEX_SHADER, 1, &new_vertex, NULL);
    const char* const fragment_text =
        "#version 300 es\nprecision highp float; in vec2 place; out vec4 result;\n"
        "void main() { result = vec4(place, 0.2, 1.0); }";
    const GLuint fragment = compile_shader(GL_FRAGMENT_SHADER, 1, &fragment_text, NULL);
    const GLuint first = link_shaders(vertex, fragment); /* deletes them, and holds them */
    const GLuint second = glCreateProgram();
    glAttachShader(second, vertex);
    glAttachShader(second, fragment);
    glDeleteProgram(first); /* in use */
    draw_picture();
    GLint value = 0;
    glGetProgramiv(first, GL_DELETE_STATUS, &value);
    add_number(value);
    glGetShaderiv(vertex, GL_DELETE_STATUS, &value);
    add_number(value);
    glBindAttribLocation(second, 0, "at");
    glLinkProgram(second);
    glUseProgram(second); /* the first one goes */
    check(!glIsProgram(first) && glIsShader(vertex), "what goes and what stays");
    glDetachShader(second, vertex);
    glDetachShader(second, fragment);
    check(!glIsShader(vertex) && !glIsShader(fragment), "shaders that nothing holds");
    draw_picture(); /* a program needs its shaders no more */
    WRONG(glAttachShader(second, vertex), GL_INVALID_VALUE);
    WRONG(glDetachShader(second, second), GL_INVALID_OPERATION);
    WRONG(glCompileShader(second), GL_INVALID_OPERATION);
    WRONG(glLinkProgram(4711), GL_INVALID_VALUE);
    WRONG(glGetShaderiv(4711, GL_SHADER_TYPE, &value), GL_INVALID_VALUE);
    glDeleteProgram(second);
    glUseProgram(0);
    glDeleteShader(0);
    glDeleteProgram(0);
    end_sum("what lives on");
}

int main(int count, char** arguments)
{
    const int frames = number_option(count, arguments, "--frames", 2);
    const struct window window = open_window(3);
    size = window.size;
    for (int frame = 0; frame < frames; ++frame) {
        glClearColor((float)frame / (float)frames, 0.0f, 0.0f, 1.0f);
        draw_in_pieces();
        draw_layouts_of_text();
        read_complaints();
        read_link_complaints();
        find_locations();
        outlive();
        check(eglSwapBuffers(window.display, window.surface), "eglSwapBuffers");
    }
    close_window(window);
    return 0;
}
