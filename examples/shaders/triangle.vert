#version 450
// One triangle, turned and moved; its colours are those of its corners.
layout(push_constant) uniform constants
{
    layout(offset = 0) vec2 place;
    layout(offset = 8) float angle;
    layout(offset = 12) float size;
};
layout(location = 0) out vec3 colour;

const vec2 corners[3] = vec2[](vec2(0.0, -0.75), vec2(0.75, 0.5), vec2(-0.5, 0.75));

void main()
{
    const vec2 corner = corners[gl_VertexIndex % 3] * size;
    const float c = cos(angle), s = sin(angle);
    gl_Position = vec4(place + mat2(c, s, -s, c) * corner, 0.5, 1.0);
    gl_PointSize = 7.0;
    colour = vec3(gl_VertexIndex % 3 == 0, gl_VertexIndex % 3 == 1, gl_VertexIndex % 3 == 2);
}
