// A stand-in for any library of a newer FFmpeg: every function that the bridge looks up, and nothing behind it. The
// version is STUB_MAJOR for all five, which only the library that the file is named after must be.

#include <cstdint>

#define STUB(name) extern "C" __attribute__((visibility("default"))) intptr_t name()
#define STUB_VERSION(name)                                                                                             \
    STUB(name)                                                                                                         \
    {                                                                                                                  \
        return STUB_MAJOR << 16 | 99 << 8;                                                                             \
    }
STUB_VERSION(avutil_version)
STUB_VERSION(swresample_version)
STUB_VERSION(swscale_version)
STUB_VERSION(avcodec_version)
STUB_VERSION(avformat_version)
STUB(av_version_info)
{
    return reinterpret_cast<intptr_t>(STUB_NAME);
}
STUB(av_get_pix_fmt)
{
    return -1;
}

#define STUB_NOTHING(name)                                                                                             \
    STUB(name)                                                                                                         \
    {                                                                                                                  \
        return 0;                                                                                                      \
    }
#include <stub_functions.inc>
