#version 450
layout(set = 0, binding = 0) uniform wave { vec2 length_height; float phase; int steps; vec4 colours[2]; };
layout(set = 1, binding = 2) uniform samplerBuffer stripes;
layout(set = 1, binding = 7) readonly buffer shades { float shade[]; };
layout(location = 0) in vec2 along;
layout(location = 0) out vec4 drawn;

void main()
{
    const vec4 stripe = texelFetch(stripes, int(along.x * float(textureSize(stripes))) % textureSize(stripes));
    drawn = mix(colours[0], colours[1], along.y) * stripe * shade[int(along.y * 3.99)];
}
