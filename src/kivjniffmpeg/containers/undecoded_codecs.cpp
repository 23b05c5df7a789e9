#include "kivjniffmpeg/containers/undecoded_codecs.h"

#include "kivjniffmpeg/ffmpeg/loader.h"
#include "kivjniffmpeg/formats/admitted_codecs.h"

#include <algorithm>
#include <iterator>

void undecoded_codecs::remove_parsers()
{
    [[maybe_unused]] static const bool bl_once = [] {
        AVCodecParser *adsl_parser = nullptr;
        while ((adsl_parser = g_avcodec.av_parser_next(adsl_parser)) != nullptr)
            if (std::ranges::none_of(adsl_parser->codec_ids, admitted_codecs::has))
                std::ranges::fill(adsl_parser->codec_ids, AV_CODEC_ID_NONE);
        return true;
    }();
}

const std::string &undecoded_codecs::whitelist()
{
    static const std::string strl_names = [] {
        std::string strl_all;
        AVCodec *adsl_codec = nullptr;
        while ((adsl_codec = g_avcodec.av_codec_next(adsl_codec)) != nullptr)
            if (admitted_codecs::has(adsl_codec->id))
                strl_all += (strl_all.empty() ? "" : ",") + std::string(adsl_codec->name);
        return strl_all;
    }();
    return strl_names;
}
