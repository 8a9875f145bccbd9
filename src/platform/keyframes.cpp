#include "keyframes.h"

#include <QFile>

#include <algorithm>
#include <memory>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

std::optional<double> longestKeyFrameInterval(const QString &path)
{
    // "file:" so that a name with a colon is never taken for another protocol, and only files.
    const QByteArray url = "file:" + QFile::encodeName(path);
    AVDictionary *options = nullptr;
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    AVFormatContext *opened = nullptr;
    const int result = avformat_open_input(&opened, url.constData(), nullptr, &options);
    av_dict_free(&options);
    if (result < 0)
        return std::nullopt;
    const std::unique_ptr<AVFormatContext, void (*)(AVFormatContext *)> context(
        opened, [](AVFormatContext *c) { avformat_close_input(&c); });

    const int index = av_find_best_stream(opened, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (index < 0)
        return std::nullopt;
    AVStream *stream = opened->streams[index];
    const double unit = av_q2d(stream->time_base);
    std::optional<double> previous;
    double longest = 0;
    const int entries = avformat_index_get_entries_count(stream);
    for (int i = 0; i < entries; ++i) {
        const AVIndexEntry *entry = avformat_index_get_entry(stream, i);
        if (!entry || !(entry->flags & AVINDEX_KEYFRAME))
            continue;
        const double at = double(entry->timestamp) * unit;
        if (previous)
            longest = std::max(longest, at - *previous);
        previous = at;
    }
    if (!previous)
        return std::nullopt;
    // The last key frame's stretch runs to the end of the stream.
    const double end = stream->duration != AV_NOPTS_VALUE ? double(stream->duration) * unit
                                                          : double(opened->duration) / AV_TIME_BASE;
    return std::max(longest, end - *previous);
}

int64_t decodedPictureBytes(const QByteArray &format, int width, int height)
{
    // FFmpeg names formats of more than 8 bits with their byte order; mpv leaves it out.
    AVPixelFormat pixels = av_get_pix_fmt(format.constData());
    if (pixels == AV_PIX_FMT_NONE)
        pixels = av_get_pix_fmt((format + "le").constData());
    if (pixels == AV_PIX_FMT_NONE || width <= 0 || height <= 0)
        return 0;
    return std::max(av_image_get_buffer_size(pixels, width, height, 64), 0);
}
