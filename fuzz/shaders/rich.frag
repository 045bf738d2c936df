#version 450
layout(set = 0, binding = 0) uniform block { vec4 tint; };
layout(set = 0, binding = 1) uniform sampler2D image;
layout(location = 0) in vec2 at;
layout(location = 0) out vec4 drawn;
layout(constant_id = 3) const float scale = 2.0;

vec4 taken(sampler2D from, vec2 where)
{
    return textureLod(from, where, 0.0) + texelFetch(from, ivec2(where), 0) + textureGather(from, where, 1);
}

void main()
{
    vec4 sum = vec4(0.0);
    int i = 0;
    while (i < 6) {
        sum[i & 3] += dFdx(at.x) * scale;
        if (sum.w > 9.0)
            discard;
        ++i;
    }
    const mat4 turned = outerProduct(tint, sum);
    drawn = turned * taken(image, at) + smoothstep(tint, sum, vec4(gl_FragCoord.z)) +
            interpolateAtOffset(at, vec2(0.25)).xyxy + float(gl_FrontFacing);
}
