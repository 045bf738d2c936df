// Time per OpenGL ES call, as an application sees it: plain EGL and OpenGL ES 3, so that the same program
// runs straight on a driver, as a target, and over another remote driver. Prints "call nanoseconds", a line
// each.
//
//     gles_calls [--milliseconds N] [CALL...]     N per call, all calls unless some are named
//
// Nothing is rasterised: primitives are discarded behind the vertex shader, so that a draw costs the driver
// little. Calls that an implementation may gather are timed to the end of their execution. Of many rounds the
// fastest counts: what a busy machine takes is no cost of a call.

#include <EGL/egl.h>
#include <GLES3/gl3.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {
constexpr GLsizei side = 512; // a megabyte of RGBA
constexpr GLsizei few_vertices = 3;
constexpr GLsizei many_vertices = 3072;
constexpr int vertex_bytes = 16;

[[noreturn]] void fail(const char* what)
{
    std::fprintf(stderr, "gles_calls: %s (EGL %#x, GL %#x)\n", what, static_cast<unsigned>(eglGetError()),
                 glGetError());
    std::exit(1);
}

void make_current()
{
    EGLDisplay display = eglGetDisplay(EGL_DEFAULT_DISPLAY);
    if (!eglInitialize(display, nullptr, nullptr))
        fail("no display");
    const EGLint wanted[] = {EGL_SURFACE_TYPE,
                             EGL_PBUFFER_BIT,
                             EGL_RENDERABLE_TYPE,
                             EGL_OPENGL_ES3_BIT,
                             EGL_RED_SIZE,
                             8,
                             EGL_GREEN_SIZE,
                             8,
                             EGL_BLUE_SIZE,
                             8,
                             EGL_ALPHA_SIZE,
                             8,
                             EGL_NONE};
    EGLConfig config = nullptr;
    EGLint count = 0;
    if (!eglChooseConfig(display, wanted, &config, 1, &count) || count == 0)
        fail("no config");
    eglBindAPI(EGL_OPENGL_ES_API);
    const EGLint version[] = {EGL_CONTEXT_CLIENT_VERSION, 3, EGL_NONE};
    EGLContext context = eglCreateContext(display, config, EGL_NO_CONTEXT, version);
    const EGLint size[] = {EGL_WIDTH, side, EGL_HEIGHT, side, EGL_NONE};
    EGLSurface surface = eglCreatePbufferSurface(display, config, size);
    if (!eglMakeCurrent(display, surface, surface, context))
        fail("no current context");
}

GLuint compile(GLenum kind, const char* text)
{
    GLuint shader = glCreateShader(kind);
    glShaderSource(shader, 1, &text, nullptr);
    glCompileShader(shader);
    return shader;
}

/// Programs that differ in name only.
GLuint make_program()
{
    GLuint program = glCreateProgram();
    glAttachShader(program, compile(GL_VERTEX_SHADER, "attribute vec4 position;\n"
                                                      "uniform mat4 turn;\n"
                                                      "void main() { gl_Position = turn * position; }\n"));
    glAttachShader(program, compile(GL_FRAGMENT_SHADER, "precision mediump float;\n"
                                                        "uniform vec4 colour;\n"
                                                        "void main() { gl_FragColor = colour; }\n"));
    glBindAttribLocation(program, 0, "position");
    glLinkProgram(program);
    GLint linked = GL_FALSE;
    glGetProgramiv(program, GL_LINK_STATUS, &linked);
    if (!linked)
        fail("no program");
    return program;
}

struct scene
{
    GLuint programs[2];
    GLuint textures[2];
    GLuint buffer;
    GLint colour;
    GLint turn;
    std::vector<GLfloat> vertices =
        std::vector<GLfloat>(many_vertices * vertex_bytes / sizeof(GLfloat), 0.5f);
    std::vector<GLubyte> pixels = std::vector<GLubyte>(size_t{side} * side * 4, 0x55);
    GLfloat matrix[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
};

void prepare(scene& s)
{
    for (GLuint& program : s.programs)
        program = make_program();
    glUseProgram(s.programs[0]);
    s.colour = glGetUniformLocation(s.programs[0], "colour");
    s.turn = glGetUniformLocation(s.programs[0], "turn");
    glUniformMatrix4fv(s.turn, 1, GL_FALSE, s.matrix);
    glGenBuffers(1, &s.buffer);
    glBindBuffer(GL_ARRAY_BUFFER, s.buffer);
    glBufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(s.vertices.size() * sizeof(GLfloat)),
                 s.vertices.data(), GL_STATIC_DRAW);
    glGenTextures(2, s.textures);
    for (GLuint texture : s.textures) {
        glBindTexture(GL_TEXTURE_2D, texture);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, side, side, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    }
    glEnableVertexAttribArray(0);
    glEnable(GL_RASTERIZER_DISCARD);
    glViewport(0, 0, 1, 1);
}

void point_at_buffer(scene& s)
{
    glBindBuffer(GL_ARRAY_BUFFER, s.buffer);
    glVertexAttribPointer(0, 4, GL_FLOAT, GL_FALSE, 0, nullptr);
}

void point_at_client_array(scene& s)
{
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    glVertexAttribPointer(0, 4, GL_FLOAT, GL_FALSE, 0, s.vertices.data());
}

/// One kind of call: `run` makes the call, `i` counts up; a round is `calls` of them.
struct kind
{
    const char* name;
    int calls;
    void (*set_up)(scene&);
    void (*run)(scene&, int i);
};

void no_set_up(scene&) {}

const kind kinds[] = {
    {"draw_buffer", 2000, point_at_buffer, [](scene&, int) { glDrawArrays(GL_TRIANGLES, 0, few_vertices); }},
    {"draw_client_48", 500, point_at_client_array,
     [](scene&, int) { glDrawArrays(GL_TRIANGLES, 0, few_vertices); }},
    {"draw_client_48K", 100, point_at_client_array,
     [](scene&, int) { glDrawArrays(GL_TRIANGLES, 0, many_vertices); }},
    {"upload_1M", 10, no_set_up,
     [](scene& s, int i) {
         s.pixels[0] = static_cast<GLubyte>(i);
         glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, side, side, GL_RGBA, GL_UNSIGNED_BYTE, s.pixels.data());
     }},
    {"read_back_1M", 10, no_set_up,
     [](scene& s, int) { glReadPixels(0, 0, side, side, GL_RGBA, GL_UNSIGNED_BYTE, s.pixels.data()); }},
    {"uniform_4f", 5000, no_set_up,
     [](scene& s, int i) { glUniform4f(s.colour, static_cast<GLfloat>(i), 0, 0, 1); }},
    {"uniform_matrix_4fv", 5000, no_set_up,
     [](scene& s, int i) {
         s.matrix[3] = static_cast<GLfloat>(i);
         glUniformMatrix4fv(s.turn, 1, GL_FALSE, s.matrix);
     }},
    {"get_binding", 500, no_set_up,
     [](scene&, int) {
         GLint value;
         glGetIntegerv(GL_ARRAY_BUFFER_BINDING, &value);
     }},
    {"get_limit", 500, no_set_up,
     [](scene&, int) {
         GLint value;
         glGetIntegerv(GL_MAX_TEXTURE_SIZE, &value);
     }},
    {"use_program", 5000, no_set_up, [](scene& s, int i) { glUseProgram(s.programs[i & 1]); }},
    {"bind_texture", 5000, no_set_up,
     [](scene& s, int i) { glBindTexture(GL_TEXTURE_2D, s.textures[i & 1]); }},
};

/// Nanoseconds per call in the fastest round.
double time_of(const kind& call, scene& s, std::chrono::milliseconds patience)
{
    using clock = std::chrono::steady_clock;
    glUseProgram(s.programs[0]);
    call.set_up(s);
    call.run(s, 0);
    glFinish();
    if (GLenum error = glGetError())
        std::fprintf(stderr, "gles_calls: %s gives error %#x\n", call.name, error);
    double fastest = 0;
    const clock::time_point end = clock::now() + patience;
    do {
        const clock::time_point start = clock::now();
        for (int i = 0; i < call.calls; ++i)
            call.run(s, i);
        glFinish();
        const double took = std::chrono::duration<double, std::nano>(clock::now() - start).count();
        fastest = fastest == 0 ? took : std::min(fastest, took);
    } while (clock::now() < end);
    return fastest / call.calls;
}
} // namespace

int main(int argc, char** argv)
{
    std::chrono::milliseconds patience{300};
    std::vector<std::string> wanted;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--milliseconds") == 0 && i + 1 < argc)
            patience = std::chrono::milliseconds{std::atoi(argv[++i])};
        else
            wanted.emplace_back(argv[i]);
    }
    make_current();
    scene s;
    prepare(s);
    if (GLenum error = glGetError())
        std::fprintf(stderr, "gles_calls: the scene gives error %#x\n", error);
    for (const kind& call : kinds)
        if (wanted.empty() || std::find(wanted.begin(), wanted.end(), call.name) != wanted.end())
            std::printf("%s %.0f\n", call.name, time_of(call, s, patience));
    return 0;
}
