#version 450
layout(triangles, equal_spacing, ccw) in;
layout(location = 0) in vec3 passed[];
layout(location = 0) out vec3 colour;

void main()
{
    gl_Position = gl_TessCoord.x * gl_in[0].gl_Position + gl_TessCoord.y * gl_in[1].gl_Position +
                  gl_TessCoord.z * gl_in[2].gl_Position;
    colour = gl_TessCoord.x * passed[0] + gl_TessCoord.y * passed[1] + gl_TessCoord.z * passed[2];
}
