#version 450
layout(location = 0) in vec4 place;
layout(push_constant) uniform constants { vec4 shift; };
layout(location = 0) out vec2 at;

void main()
{
    gl_Position = vec4(place.xy * 0.01 + vec2(gl_VertexIndex & 1, gl_VertexIndex & 2) - 0.5, 0.5, 1.0) + shift;
    gl_PointSize = 3.0;
    at = place.xy;
}
