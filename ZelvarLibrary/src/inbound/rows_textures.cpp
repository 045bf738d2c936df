// Messages of textures and samplers, in the order of the message list.

#include "handlers/gles/textures_handlers.h"
#include "inbound/decoder.h"
#include "inbound/rows.h"
#include "wire/wire.h"

constinit const built_row textures_rows[] = {
    ROW(gles20_active_texture, gles20_glActiveTexture),
    ROW(gles20_bind_texture, gles20_glBindTexture),
    ROW(gles20_compressed_tex_image_2d, gles20_glCompressedTexImage2D),
    ROW(gles20_compressed_tex_sub_image_2d, gles20_glCompressedTexSubImage2D),
    ROW(gles20_copy_tex_image_2d, gles20_glCopyTexImage2D),
    ROW(gles20_copy_tex_sub_image_2d, gles20_glCopyTexSubImage2D),
    ROW(gles20_generate_mipmap, gles20_glGenerateMipmap),
    ROW(gles20_get_tex_parameterfv, gles20_glGetTexParameterfv),
    ROW(gles20_get_tex_parameteriv, gles20_glGetTexParameteriv),
    ROW(gles20_is_texture, gles20_glIsTexture),
    ROW(gles20_tex_image_2d, gles20_glTexImage2D),
    ROW(gles20_tex_parameterf, gles20_glTexParameterf),
    ROW(gles20_tex_parameterfv, gles20_glTexParameterfv),
    ROW(gles20_tex_parameteri, gles20_glTexParameteri),
    ROW(gles20_tex_parameteriv, gles20_glTexParameteriv),
    ROW(gles20_tex_sub_image_2d, gles20_glTexSubImage2D),
    ROW(gles30_tex_image_3d, gles30_glTexImage3D),
    ROW(gles30_tex_sub_image_3d, gles30_glTexSubImage3D),
    ROW(gles30_copy_tex_sub_image_3d, gles30_glCopyTexSubImage3D),
    ROW(gles30_compressed_tex_image_3d, gles30_glCompressedTexImage3D),
    ROW(gles30_compressed_tex_sub_image_3d, gles30_glCompressedTexSubImage3D),
    ROW(gles30_is_sampler, gles30_glIsSampler),
    ROW(gles30_bind_sampler, gles30_glBindSampler),
    ROW(gles30_sampler_parameteri, gles30_glSamplerParameteri),
    ROW(gles30_sampler_parameteriv, gles30_glSamplerParameteriv),
    ROW(gles30_sampler_parameterf, gles30_glSamplerParameterf),
    ROW(gles30_sampler_parameterfv, gles30_glSamplerParameterfv),
    ROW(gles30_get_sampler_parameteriv, gles30_glGetSamplerParameteriv),
    ROW(gles30_get_sampler_parameterfv, gles30_glGetSamplerParameterfv),
    ROW(gles30_tex_storage_2d, gles30_glTexStorage2D),
    ROW(gles30_tex_storage_3d, gles30_glTexStorage3D),
    ROW(gles30_get_internalformativ, gles30_glGetInternalformativ),
    ROW(gles31_tex_storage_2dmultisample, gles31_glTexStorage2DMultisample),
    ROW(gles31_get_tex_level_parameteriv, gles31_glGetTexLevelParameteriv),
    ROW(gles31_get_tex_level_parameterfv, gles31_glGetTexLevelParameterfv),
    ROW(gles20_tex_image_3does, gles20_glTexImage3DOES),
    ROW(gles20_tex_sub_image_3does, gles20_glTexSubImage3DOES),
    ROW(gles20_copy_tex_sub_image_3does, gles20_glCopyTexSubImage3DOES),
    ROW(gles20_compressed_tex_image_3does, gles20_glCompressedTexImage3DOES),
    ROW(gles20_compressed_tex_sub_image_3does, gles20_glCompressedTexSubImage3DOES),
    ROW(gles20_tex_storage_1dext, gles20_glTexStorage1DEXT),
    ROW(gles20_tex_storage_2dext, gles20_glTexStorage2DEXT),
    ROW(gles20_tex_storage_3dext, gles20_glTexStorage3DEXT),
};
constinit const size_t textures_row_count = sizeof(textures_rows) / sizeof(textures_rows[0]);
