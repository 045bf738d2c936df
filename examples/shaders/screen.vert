#version 450
// One triangle that covers everything; `at` goes from 0 to 1.
layout(location = 0) out vec2 at;

void main()
{
    at = vec2(gl_VertexIndex & 1, gl_VertexIndex >> 1) * 2.0;
    gl_Position = vec4(at * 2.0 - 1.0, 0.5, 1.0);
}
