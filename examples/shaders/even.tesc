#version 450
layout(vertices = 3) out;
layout(location = 0) in vec3 colour[];
layout(location = 0) out vec3 passed[];

void main()
{
    gl_out[gl_InvocationID].gl_Position = gl_in[gl_InvocationID].gl_Position;
    passed[gl_InvocationID] = colour[gl_InvocationID];
    if (gl_InvocationID == 0) {
        gl_TessLevelInner[0] = 3.0;
        gl_TessLevelOuter[0] = 2.0;
        gl_TessLevelOuter[1] = 4.0;
        gl_TessLevelOuter[2] = 5.0;
    }
}
