#include "bridge/avformat/source.h"

#include "bridge/avformat/formats.h"
#include "bridge/old/entry.h"

#include <cerrno>
#include <new>
#include <utility>

namespace bridge::avformat
{

c_real_source::c_real_source(const real::dsd_ffmpeg &dsp_ffmpeg, old::dsd_source &dsp_source,
                             std::function<void()> dsp_before)
    : dsc_ffmpeg(dsp_ffmpeg),
      dsc_source(dsp_source),
      dsc_before(std::move(dsp_before)),
      adsc_io(dsp_ffmpeg.avio_alloc_context(dsp_source.buffer, dsp_source.buffer_size, dsp_source.write_flag, this,
                                            dsp_source.read_packet == nullptr ? nullptr : &c_real_source::read,
                                            dsp_source.write_packet == nullptr ? nullptr : &c_real_source::write,
                                            dsp_source.seek == nullptr ? nullptr : &c_real_source::seek))
{
    if (adsc_io == nullptr)
        throw std::bad_alloc();
    adsc_io->seekable = dsp_source.seekable;
    if (dsp_source.buf_ptr == nullptr)
        return; // nothing was read or written yet
    adsc_io->buf_ptr = dsp_source.buf_ptr;
    adsc_io->buf_end = dsp_source.buf_end;
    adsc_io->pos = dsp_source.pos;
    adsc_io->eof_reached = dsp_source.eof_reached;
}

c_real_source::~c_real_source()
{
    dsc_source.buffer = adsc_io->buffer;
    dsc_source.buffer_size = adsc_io->buffer_size;
    dsc_source.buf_ptr = adsc_io->buf_ptr;
    dsc_source.buf_end = adsc_io->buf_end;
    dsc_source.pos = adsc_io->pos;
    dsc_source.eof_reached = adsc_io->eof_reached;
    dsc_ffmpeg.avio_context_free(&adsc_io);
}

int c_real_source::read(void *avp_source, uint8_t *autp_to, int inp_length) noexcept
{
    const c_real_source &dsl_this = *static_cast<c_real_source *>(avp_source);
    try {
        if (dsl_this.dsc_before)
            dsl_this.dsc_before();
    } catch (...) {
        return AVERROR(ENOMEM);
    }
    const old::dsd_source &dsl_source = dsl_this.dsc_source;
    const int inl_read = dsl_source.read_packet(dsl_source.opaque, autp_to, inp_length);
    return inl_read == 0 ? AVERROR_EOF : inl_read; // the 56 line's way to say that it is the end
}

int c_real_source::write(void *avp_source, uint8_t *autp_from, int inp_length) noexcept
{
    const old::dsd_source &dsl_source = static_cast<c_real_source *>(avp_source)->dsc_source;
    return dsl_source.write_packet(dsl_source.opaque, autp_from, inp_length);
}

int64_t c_real_source::seek(void *avp_source, int64_t ilp_offset, int inp_whence) noexcept
{
    const old::dsd_source &dsl_source = static_cast<c_real_source *>(avp_source)->dsc_source;
    return dsl_source.seek(dsl_source.opaque, ilp_offset, inp_whence);
}

} // namespace bridge::avformat

using bridge::enter;
using bridge::old::dsd_source;
using bridge::real::dsd_ffmpeg;

BRIDGE_ENTRY AVIOContext *avio_alloc_context(unsigned char *autp_buffer, int inp_size, int inp_write, void *avp_opaque,
                                             int (*adsp_read)(void *, uint8_t *, int),
                                             int (*adsp_write)(void *, uint8_t *, int),
                                             int64_t (*adsp_seek)(void *, int64_t, int))
{
    return enter<AVIOContext *>(nullptr, [&](const dsd_ffmpeg &dsp_ffmpeg) {
        const bool bl_usable = inp_write != 0 ? adsp_write != nullptr : adsp_read != nullptr;
        auto *adsl_source = bl_usable ? static_cast<dsd_source *>(dsp_ffmpeg.av_mallocz(sizeof(dsd_source))) : nullptr;
        if (adsl_source != nullptr) {
            adsl_source->buffer = autp_buffer;
            adsl_source->buffer_size = inp_size;
            adsl_source->opaque = avp_opaque;
            adsl_source->read_packet = adsp_read;
            adsl_source->write_packet = adsp_write;
            adsl_source->seek = adsp_seek;
            adsl_source->write_flag = inp_write;
            adsl_source->seekable = adsp_seek != nullptr ? 1 : 0;
        }
        return reinterpret_cast<AVIOContext *>(adsl_source);
    });
}

BRIDGE_ENTRY int av_probe_input_buffer2(AVIOContext *adsp_source, AVInputFormat **aadsp_format, const char *strp_name,
                                        void *, unsigned int unp_offset, unsigned int unp_most)
{
    return enter(AVERROR(ENOMEM), [&](const dsd_ffmpeg &dsp_ffmpeg) {
        const bridge::avformat::c_real_source dsl_source(dsp_ffmpeg, *reinterpret_cast<dsd_source *>(adsp_source));
        const bridge::real::input_format *adsl_format = nullptr;
        const int inl_result =
            dsp_ffmpeg.av_probe_input_buffer2(dsl_source.get(), &adsl_format, strp_name, nullptr, unp_offset, unp_most);
        *aadsp_format = bridge::avformat::old_format(adsl_format);
        return inl_result;
    });
}

BRIDGE_ENTRY AVInputFormat *av_find_input_format(const char *strp_name)
{
    return enter<AVInputFormat *>(nullptr, [&](const dsd_ffmpeg &dsp_ffmpeg) {
        return bridge::avformat::old_format(dsp_ffmpeg.av_find_input_format(strp_name));
    });
}
