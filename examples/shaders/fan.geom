#version 450
// Three smaller triangles in the corners of one.
layout(triangles) in;
layout(triangle_strip, max_vertices = 9) out;
layout(location = 0) in vec3 colour[];
layout(location = 0) out vec3 passed;

void main()
{
    for (int corner = 0; corner < 3; ++corner) {
        for (int i = 0; i < 3; ++i) {
            gl_Position = mix(gl_in[i].gl_Position, gl_in[corner].gl_Position, 0.6);
            passed = colour[(i + corner) % 3];
            EmitVertex();
        }
        EndPrimitive();
    }
}
