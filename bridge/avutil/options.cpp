#include "bridge/old/options.h"

#include "bridge/old/entry.h"

#include <cerrno>

namespace
{

const bridge::old::dsd_option_class *class_of(void *avp_object)
{
    return avp_object == nullptr ? nullptr : *static_cast<const bridge::old::dsd_option_class **>(avp_object);
}

} // namespace

BRIDGE_ENTRY int av_opt_set(void *avp_object, const char *strp_name, const char *strp_value, int)
{
    const auto *adsl_class = class_of(avp_object);
    return adsl_class == nullptr ? AVERROR(EINVAL) : adsl_class->set_text(avp_object, strp_name, strp_value);
}

BRIDGE_ENTRY int av_opt_set_int(void *avp_object, const char *strp_name, int64_t ilp_value, int)
{
    const auto *adsl_class = class_of(avp_object);
    return adsl_class == nullptr ? AVERROR(EINVAL) : adsl_class->set_number(avp_object, strp_name, ilp_value);
}

BRIDGE_ENTRY int av_opt_set_sample_fmt(void *avp_object, const char *strp_name, AVSampleFormat iep_format, int)
{
    return av_opt_set_int(avp_object, strp_name, iep_format, 0);
}
