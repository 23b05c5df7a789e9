#include "support/java_side.h"

#include "support/real_ffmpeg.h"

#include <gtest/gtest.h>
#include <kiv_media_ffmpeg_c_codecoptions_ffmpeg.h>
#include <kiv_media_ffmpeg_c_multimediaapi_ffmpeg.h>

#define NATIVE(name) Java_kiv_media_ffmpeg_c_1multimediaapi_1ffmpeg_n_1##name

namespace
{

constexpr const char *strl_mpeg2_subtype = "e06d8026-db46-11cf-b4d1-00805f6cbbea";
constexpr const char *strl_api_class = "kiv/media/ffmpeg/c_multimediaapi_ffmpeg";

} // namespace

c_java_side::c_java_side()
{
    load_ffmpeg();
    dsc_vm.dsc_methods = {
        {"intValue", [](c_fake_jnienv &, const std::vector<jvalue> &) { return jvalue{}; }},
        {"print_info", [](c_fake_jnienv &, const std::vector<jvalue> &) { return jvalue{}; }},
        {"m_vcodec_alloc_buffer",
         [this](c_fake_jnienv &dsp_env, const std::vector<jvalue> &dsp_arguments) {
             return allocate(dsp_env, dsp_arguments);
         }},
        {"m_vcodec_free_buffer", [this](c_fake_jnienv &dsp_env, const std::vector<jvalue> &dsp_arguments) {
             EXPECT_NE(dsp_env.object(dsp_arguments[1].l)->dsc_elements.at(0), nullptr);
             return ++inc_freed, jvalue{};
         }}};
    c_fake_jnienv dsl_env(dsc_vm);
    ilc_context = open_context(dsl_env);
    constexpr int inl_quiet = -8;
    g_avutil.av_log_set_level(inl_quiet); // damaged packets make FFmpeg talk
}

jlong c_java_side::open_context(c_fake_jnienv &dsp_env)
{
    const jlong ill_context =
        NATIVE(init)(&dsp_env, dsp_env.local_class(strl_api_class), dsp_env.local_string(ffmpeg_directory()),
                     dsp_env.local(c_fake_jnienv::make(strl_api_class)), 5);
    EXPECT_NE(ill_context, 0) << dsp_env.take_pending();
    return ill_context;
}

void c_java_side::open_and_close_another_context()
{
    c_fake_jnienv dsl_env(dsc_vm);
    NATIVE(close)(&dsl_env, nullptr, open_context(dsl_env));
}

c_java_side::~c_java_side()
{
    c_fake_jnienv dsl_env(dsc_vm);
    NATIVE(close)(&dsl_env, nullptr, ilc_context);
    EXPECT_EQ(arrays_in_use(), 0) << "Java was not given back what it allocated";
}

jvalue c_java_side::allocate(c_fake_jnienv &dsp_env, const std::vector<jvalue> &dsp_arguments)
{
    jvalue dsl_result{};
    if (iec_allocator == ie_allocator::refuses)
        return dsl_result;
    const std::vector<jint> aiml_model = dsp_env.ints(dsp_arguments[1].l);
    const std::vector<jint> aiml_sizes = dsp_env.ints(dsp_arguments[2].l);
    EXPECT_EQ(aiml_sizes.size(), 5U);
    constexpr jint iml_yuy2 = 0x32595559;
    const std::string strl_class = aiml_model[9] == 32 && aiml_model[8] == 0 ? "[I"
                                   : aiml_model[8] == iml_yuy2               ? "[S"
                                                                             : "[B";
    const size_t uml_element = c_fake_jnienv::make(strl_class)->element_size();
    const size_t uml_length = (static_cast<size_t>(aiml_sizes[1]) + uml_element - 1) / uml_element;
    auto &dsl_objects = dsp_env.object(dsp_arguments[3].l)->dsc_elements;
    dsl_objects.at(0) = c_fake_jnienv::make_array(strl_class, uml_length);
    // The object of the result: both arrays, for the tests to look into.
    dsl_objects.at(3) = c_fake_jnienv::make("[Ljava/lang/Object;");
    dsl_objects.at(3)->dsc_elements = {dsl_objects.at(0), dsp_env.object(dsp_arguments[1].l)};
    ++inc_allocated;
    dsl_result.z = JNI_TRUE;
    return dsl_result;
}

c_java_decoder::c_java_decoder(c_java_side &dsp_side, int32_t imp_width, int32_t imp_height,
                               const std::vector<std::pair<int32_t, int32_t>> &dsp_models)
    : dsc_side(dsp_side), dsc_env(dsp_side.vm())
{
    std::vector<jint> aiml_format(18);
    aiml_format[4] = imp_width;
    aiml_format[5] = imp_height;
    std::vector<fake_object> dsl_models;
    for (const auto &[iml_fourcc, iml_bpp] : dsp_models)
        dsl_models.push_back(dsc_env.object(dsc_env.local_ints({iml_fourcc, iml_bpp, 24, 0, 0, 0, 0})));
    ilc_codec =
        NATIVE(create_1vcodec_1to_1raw)(&dsc_env, nullptr, dsp_side.context(), dsc_env.local_string(strl_mpeg2_subtype),
                                        dsc_env.local_ints(aiml_format), nullptr, dsc_env.local_objects(dsl_models),
                                        dsc_env.local(c_fake_jnienv::make("java/lang/Object")));
}

bool c_java_decoder::open()
{
    return NATIVE(vcodec_1open)(&dsc_env, nullptr, ilc_codec) == JNI_TRUE;
}

void c_java_decoder::whole_packets()
{
    Java_kiv_media_ffmpeg_c_1codecoptions_1ffmpeg_n_1vcodec_1set_1option(&dsc_env, nullptr, ilc_codec,
                                                                         dsc_env.local_string("whole_packets"), 1);
}

void c_java_decoder::close()
{
    if (ilc_codec != 0)
        NATIVE(vcodec_1delete)(&dsc_env, nullptr, std::exchange(ilc_codec, 0));
}

dsd_processed c_java_decoder::process(std::span<const uint8_t> utp_packet, int64_t ilp_timestamp, int32_t imp_flags)
{
    dsc_env.take_calls();
    std::vector<jint> aiml_params(16);
    aiml_params[1] = static_cast<jint>(utp_packet.size());
    aiml_params[2] = imp_flags;
    aiml_params[3] = static_cast<jint>(ilp_timestamp);
    aiml_params[4] = static_cast<jint>(ilp_timestamp >> 32);
    const jintArray avol_params = dsc_env.local_ints(aiml_params);
    const jobjectArray avol_out = dsc_env.local_objects({nullptr});
    const jbyteArray avol_in = utp_packet.empty() ? nullptr : dsc_env.local_bytes(utp_packet);
    const jint iml_result = NATIVE(vcodec_1process)(&dsc_env, nullptr, ilc_codec, avol_in, avol_out, avol_params);
    dsd_processed dsl_processed{iml_result, dsc_env.ints(avol_params), nullptr, nullptr};
    if (const fake_object dsl_result = dsc_env.object(avol_out)->dsc_elements.at(0); dsl_result != nullptr) {
        dsc_side.count_picture();
        dsl_processed.dsc_array = dsl_result->dsc_elements.at(0);
        dsl_processed.dsc_model = dsl_result->dsc_elements.at(1);
    }
    for (const jobject avol_local : {jobject{avol_params}, jobject{avol_out}, jobject{avol_in}})
        if (avol_local != nullptr)
            dsc_env.DeleteLocalRef(avol_local); // as at the end of a native call
    return dsl_processed;
}
