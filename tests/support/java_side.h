/** @file The Java class of the video decoders, on a fake virtual machine: what calls the natives and what they call. */
#pragma once

#include "support/fake_jnienv.h"

#include <atomic>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

/** How m_vcodec_alloc_buffer behaves. */
enum class ie_allocator
{
    grants,
    refuses
};

/** A library context made by n_init, closed at the end, and the memory that Java counts. Threads share one. */
class c_java_side
{
public:
    c_java_side();
    ~c_java_side();

    c_fake_vm &vm() { return dsc_vm; }
    /** Of the same virtual machine, as all contexts of a process are. */
    void open_and_close_another_context();
    jlong context() const { return ilc_context; }
    /** Arrays that the library has neither given back nor handed out as a picture. */
    int arrays_in_use() const { return inc_allocated - inc_freed - inc_pictures; }
    void count_picture() { ++inc_pictures; }

    std::atomic<ie_allocator> iec_allocator{ie_allocator::grants};

private:
    jvalue allocate(c_fake_jnienv &dsp_env, const std::vector<jvalue> &dsp_arguments);

    jlong open_context(c_fake_jnienv &dsp_env);

    c_fake_vm dsc_vm;
    std::atomic<int> inc_allocated{0}, inc_freed{0}, inc_pictures{0};
    jlong ilc_context = 0;
};

/** What one n_vcodec_process gave. */
struct dsd_processed
{
    jint imc_result;
    std::vector<jint> aimc_params; /**< int[16] */
    fake_object dsc_array;         /**< the array that Java allocated, when there is a picture */
    fake_object dsc_model;         /**< int[16] that described it to Java */
};

/** An MPEG-2 decoder driven through the exported functions by one thread; deleted at the end. */
class c_java_decoder
{
public:
    /** @param dsp_models a four-character code and bits per pixel each */
    c_java_decoder(c_java_side &dsp_side, int32_t imp_width, int32_t imp_height,
                   const std::vector<std::pair<int32_t, int32_t>> &dsp_models);
    ~c_java_decoder() { close(); }

    c_fake_jnienv &env() { return dsc_env; }
    bool open();
    void whole_packets();
    /** Deletes the decoder; what Java did not get is then given back. */
    void close();
    dsd_processed process(std::span<const uint8_t> utp_packet, int64_t ilp_timestamp, int32_t imp_flags = 0);

private:
    c_java_side &dsc_side;
    c_fake_jnienv dsc_env;
    jlong ilc_codec;
};
