#version 450
layout(location = 0) in vec2 corner;
layout(location = 1) in vec4 given;
layout(location = 2) in vec2 place;
layout(location = 4) in float size;
layout(location = 0) out vec4 colour;

void main()
{
    gl_Position = vec4(corner * size + place, 0.5, 1.0);
    colour = given;
    colour.a = float(gl_InstanceIndex) / 8.0;
}
