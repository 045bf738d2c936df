#version 450
// A strip of triangles along a wave that a uniform block describes.
layout(set = 0, binding = 0) uniform wave { vec2 length_height; float phase; int steps; vec4 colours[2]; };
layout(location = 0) out vec2 along;

void main()
{
    const float x = float(gl_VertexIndex / 2) / float(steps);
    const float y = length_height.y * sin(phase + x / length_height.x);
    gl_Position = vec4(x * 2.0 - 1.0, y + (gl_VertexIndex % 2 == 0 ? -0.15 : 0.15), 0.5, 1.0);
    along = vec2(x, float(gl_VertexIndex % 2));
}
