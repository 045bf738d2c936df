#version 450
// A square that leans: its depth differs from left to right.
layout(push_constant) uniform constants { vec4 place_size; vec2 depths; vec4 colour; };
layout(location = 0) out vec4 passed;
const vec2 corners[4] = vec2[](vec2(-1.0, -1.0), vec2(1.0, -1.0), vec2(-1.0, 1.0), vec2(1.0, 1.0));

void main()
{
    const vec2 corner = corners[gl_VertexIndex];
    gl_Position = vec4(place_size.xy + corner * place_size.zw, corner.x < 0.0 ? depths.x : depths.y, 1.0);
    passed = colour;
}
