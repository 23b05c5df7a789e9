#include "kivjniffmpeg/context/library_context.h"

#include "kivjniffmpeg/buffers/java_allocation.h"
#include "support/fake_jnienv.h"
#include "trace/trace.h"

#include <gtest/gtest.h>

namespace
{

class library_context : public testing::Test
{
protected:
    library_context() { c_ffmpeg::static_init(); }

    c_fake_vm dsc_vm; // whose end finds references that are left
    c_fake_jnienv dsc_env{dsc_vm};
    kiv::jni::c_jnienv dsc_checked{&dsc_env};
    c_ffmpeg dsc_ffmpeg;
};

TEST_F(library_context, newest_codec_has_its_object_until_it_is_deleted)
{
    const int inl_codecs[2] = {};
    const auto object = [this] {
        const kiv::jni::c_local_ref dsl_object(&dsc_env, dsc_ffmpeg.vcodec_object(dsc_checked));
        return dsl_object.get() == nullptr ? "" : dsc_env.object(dsl_object.get())->strc_text;
    };
    dsc_ffmpeg.set_vcodec_object(dsc_checked, dsc_env.local("Codec", "first"), &inl_codecs[0]);
    dsc_ffmpeg.set_vcodec_object(dsc_checked, dsc_env.local("Codec", "second"), &inl_codecs[1]);
    EXPECT_EQ(object(), "second");
    dsc_ffmpeg.forget_vcodec_object(dsc_checked, &inl_codecs[0]);
    EXPECT_EQ(object(), "second");
    dsc_ffmpeg.forget_vcodec_object(dsc_checked, &inl_codecs[1]);
    EXPECT_EQ(object(), "");
}

TEST_F(library_context, refused_allocation_keeps_no_reference)
{
    const c_register_threadlocal_env dsl_registration(&dsc_env);
    const jint iml_size = 1;
    c_java_allocation dsl_allocation(&dsc_ffmpeg);
    EXPECT_THROW(dsl_allocation.allocate(dsc_checked, nullptr, {&iml_size, 1}, c_trace("test", 1)), c_ffmpeg_exception)
        << "the fake machine returns false";
    EXPECT_EQ(dsc_env.umc_locals, 0U);
}

} // namespace
