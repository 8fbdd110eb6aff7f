#pragma once

extern "C"
{
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/avutil.h>
#include <libavutil/channel_layout.h>
#include <libavutil/mem.h>
#include <libswresample/swresample.h>
}

#include <memory>
#include <thread>

// The FFmpeg functions the MP3 and Windows Media reader calls, reached through libraries that
// are loaded the first time a file needs them. A check of WAV, AIFF or FLAC files never loads
// them: with the hundred-odd libraries FFmpeg's own depend on, that saves tens of
// milliseconds and megabytes on every start.
namespace ffmpeg
{
// Decoding: libavutil, libswresample and libavcodec, open for the rest of the process once loaded.
#define ORVANE_FFMPEG_FUNCTIONS(X)                                                                     \
    X (av_log_set_level)                                                                               \
    X (av_malloc)                                                                                      \
    X (av_free)                                                                                        \
    X (av_freep)                                                                                       \
    X (av_rescale_q)                                                                                   \
    X (av_channel_layout_copy)                                                                         \
    X (av_channel_layout_compare)                                                                      \
    X (av_channel_layout_uninit)                                                                       \
    X (av_frame_alloc)                                                                                 \
    X (av_frame_free)                                                                                  \
    X (av_frame_unref)                                                                                 \
    X (av_frame_get_side_data)                                                                         \
    X (av_packet_alloc)                                                                                \
    X (av_packet_free)                                                                                 \
    X (av_packet_unref)                                                                                \
    X (av_packet_get_side_data)                                                                        \
    X (avcodec_find_decoder)                                                                           \
    X (avcodec_alloc_context3)                                                                         \
    X (avcodec_free_context)                                                                           \
    X (avcodec_open2)                                                                                  \
    X (avcodec_flush_buffers)                                                                          \
    X (avcodec_send_packet)                                                                            \
    X (avcodec_receive_frame)                                                                          \
    X (avcodec_parameters_alloc)                                                                       \
    X (avcodec_parameters_free)                                                                        \
    X (avcodec_parameters_copy)                                                                        \
    X (avcodec_parameters_to_context)                                                                  \
    X (swr_alloc_set_opts2)                                                                            \
    X (swr_init)                                                                                       \
    X (swr_convert)                                                                                    \
    X (swr_free)

// Demuxing: libavformat, only needed while a file is opened (every packet is listed then).
#define ORVANE_FFMPEG_FORMAT_FUNCTIONS(X)                                                              \
    X (avformat_alloc_context)                                                                         \
    X (avformat_open_input)                                                                            \
    X (avformat_find_stream_info)                                                                      \
    X (avformat_close_input)                                                                           \
    X (av_read_frame)                                                                                  \
    X (avio_alloc_context)                                                                             \
    X (avio_context_free)                                                                              \
    X (avio_feof)

#define ORVANE_FFMPEG_POINTER(name) decltype (&::name) name = nullptr;
struct Library
{
    ORVANE_FFMPEG_FUNCTIONS (ORVANE_FFMPEG_POINTER)
};

struct FormatLibrary
{
    ORVANE_FFMPEG_FORMAT_FUNCTIONS (ORVANE_FFMPEG_POINTER)
};
#undef ORVANE_FFMPEG_POINTER

// The decoding functions, loaded on the first call; null, on every call, when a library or
// one of the functions could not be found.
const Library* library();

// Loads the decoding libraries on a thread of its own, for a caller that knows it will need
// them soon and has other work to do meanwhile; whoever calls library() first waits for the
// load to finish. The thread is joined when the returned object goes.
[[nodiscard]] std::jthread loadInBackground();

// The demuxing functions, for as long as the pointer is held: libavformat, with the forty-odd
// libraries that only it depends on (network, disc and tracker formats among them), is closed
// again when the last holder lets go, which gives back a sizeable part of what FFmpeg takes
// before a file's samples are decoded. Null when it or the decoding libraries can't be loaded.
std::shared_ptr<const FormatLibrary> formatLibrary();
} // namespace ffmpeg
