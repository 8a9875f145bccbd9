#include "picturestretch.h"

#include <QMetaObject>
#include <QPointer>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/display.h>
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <atomic>
#include <cmath>
#include <condition_variable>
#include <deque>
#include <limits>
#include <mutex>
#include <thread>

namespace {

// A picture that starts less than this before a target counts as starting at it.
constexpr double kTolerance = 0.005;

// The most one decoding keeps: fresh memory for every picture kept costs as much again as
// decoding it (page faults), and the first step back waits for all of it. 96 MiB: 31 pictures
// of 1080p, 7 of 2160p.
constexpr int64_t kWindowBytes = int64_t(96) << 20;

int64_t frameBytes(const AVFrame *frame)
{
    int64_t bytes = 0;
    for (const AVBufferRef *buffer : frame->buf)
        bytes += buffer ? int64_t(buffer->size) : 0;
    return bytes;
}

} // namespace

StretchPicture::StretchPicture(AVFrame *frame, double start)
    : m_frame(frame)
    , m_start(start)
    , m_bytes(frameBytes(frame))
{
}

StretchPicture::~StretchPicture()
{
    av_frame_free(&m_frame);
}

QSize StretchPicture::size() const
{
    return {m_frame->width, m_frame->height};
}

PictureConverter::~PictureConverter()
{
    sws_freeContext(m_context);
}

const uint8_t *PictureConverter::convert(const StretchPicture &picture)
{
    if (!picture.m_rgba.empty())
        return picture.m_rgba.data();
    const AVFrame *f = picture.m_frame;
    m_context = sws_getCachedContext(m_context, f->width, f->height, AVPixelFormat(f->format),
                                     f->width, f->height, AV_PIX_FMT_RGBA,
                                     SWS_BILINEAR | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT, nullptr,
                                     nullptr, nullptr);
    if (!m_context)
        return nullptr;
    // The matrix the picture was encoded with; untagged, the one its size implies, as mpv
    // guesses it (high definition BT.709, else BT.601).
    int space = f->colorspace;
    if (space == AVCOL_SPC_UNSPECIFIED || space == AVCOL_SPC_RESERVED)
        space = f->width >= 1280 || f->height > 576 ? AVCOL_SPC_BT709 : AVCOL_SPC_BT470BG;
    const bool fullRange = f->color_range == AVCOL_RANGE_JPEG;
    sws_setColorspaceDetails(m_context, sws_getCoefficients(space), fullRange,
                             sws_getCoefficients(AVCOL_SPC_BT709), 1, 0, 1 << 16, 1 << 16);
    m_rgba.resize(size_t(f->width) * size_t(f->height) * 4);
    uint8_t *planes[4] = {m_rgba.data(), nullptr, nullptr, nullptr};
    int strides[4] = {f->width * 4, 0, 0, 0};
    if (sws_scale(m_context, f->data, f->linesize, 0, f->height, planes, strides) != f->height)
        return nullptr;
    return m_rgba.data();
}

std::optional<size_t> pictureForTarget(const std::vector<double> &starts,
                                       std::optional<double> previous, double target)
{
    const auto it = std::lower_bound(starts.begin(), starts.end(), target - kTolerance);
    if (it == starts.end())
        return std::nullopt;
    // The oldest is the one only if nothing between the target and it may start. Where the one
    // before is not known, within a tolerance of its start: no two frames start 10 ms apart.
    if (it == starts.begin() &&
        (previous ? *previous >= target - kTolerance : target < starts.front() - kTolerance))
        return std::nullopt;
    return size_t(it - starts.begin());
}

struct PictureStretch::Result {
    uint64_t id = 0;
    bool isEarlier = false;
    std::vector<StretchPictureRef> pictures;
    std::optional<double> previous;
};

// The decoding thread and what only it touches. Outlives its PictureStretch when a decoding is
// under way as it goes (it stops at the next packet).
struct PictureStretch::Worker {
    struct Request {
        uint64_t id = 0;
        double until = 0;
        int64_t room = 0;
        bool isEarlier = false;
    };

    explicit Worker(QString file)
        : path(std::move(file))
    {
    }
    ~Worker()
    {
        avcodec_free_context(&codec);
        avformat_close_input(&format);
    }

    void run(const std::function<void(Result)> &deliver)
    {
        for (;;) {
            Request request;
            {
                std::unique_lock lock(mutex);
                wake.wait(lock, [this] { return stopping || next; });
                if (stopping)
                    return;
                request = *std::exchange(next, std::nullopt);
            }
            Result result = decode(request);
            if (current.load() == request.id)
                deliver(std::move(result));
        }
    }

    bool open()
    {
        if (codec || failed)
            return codec != nullptr;
        failed = true;
        const QByteArray file = path.toLocal8Bit();
        if (avformat_open_input(&format, file.constData(), nullptr, nullptr) < 0)
            return false;
        if (avformat_find_stream_info(format, nullptr) < 0)
            return false;
        const AVCodec *decoder = nullptr;
        stream = av_find_best_stream(format, AVMEDIA_TYPE_VIDEO, -1, -1, &decoder, 0);
        if (stream < 0 || !decoder ||
            (format->streams[stream]->disposition & AV_DISPOSITION_ATTACHED_PIC))
            return false;
        codec = avcodec_alloc_context3(decoder);
        if (!codec || avcodec_parameters_to_context(codec, format->streams[stream]->codecpar) < 0) {
            avcodec_free_context(&codec);
            return false;
        }
        codec->thread_count = threads;
        codec->pkt_timebase = format->streams[stream]->time_base;
        if (avcodec_open2(codec, decoder, nullptr) < 0) {
            avcodec_free_context(&codec);
            return false;
        }
        // mpv moves the file's start to 0.
        startTime =
            format->start_time == AV_NOPTS_VALUE ? 0 : double(format->start_time) / AV_TIME_BASE;
        failed = false;
        return true;
    }

    // The pictures up to the one that starts at `until` from the key frame before it, the
    // newest that fit in the room. The demuxer's seek may land on a key frame after the target
    // (an index that lists decoding times): then it goes back further.
    Result decode(const Request &request)
    {
        Result result{request.id, request.isEarlier, {}, {}};
        if (!open())
            return result;
        const AVStream *video = format->streams[stream];
        const double timeBase = av_q2d(video->time_base);
        // Pictures that will not be kept need decoding only when others refer to them: before
        // the window, the decoder skips the rest (as mpv does up to an exact seek's target).
        const int picture =
            av_image_get_buffer_size(codec->pix_fmt, codec->width, codec->height, 1);
        const double fps = av_q2d(video->avg_frame_rate);
        const double skipBefore = picture > 0 && fps > 0
                                      ? request.until - double(request.room / picture + 2) / fps
                                      : -std::numeric_limits<double>::infinity();
        double from = request.until;
        for (int attempt = 0; attempt < 4; ++attempt, from -= double(1 << attempt)) {
            const auto ts = int64_t(std::floor((from + startTime) / timeBase));
            if (av_seek_frame(format, stream, ts, AVSEEK_FLAG_BACKWARD) < 0)
                return result;
            avcodec_flush_buffers(codec);
            std::deque<StretchPictureRef> kept;
            std::optional<double> previous;
            int64_t bytes = 0;
            bool late = false;
            bool done = false;
            const auto take = [&](AVFrame *frame) {
                const double start = startOf(frame);
                if (start > request.until + kTolerance) {
                    late = kept.empty() && !previous;
                    done = true;
                    av_frame_free(&frame);
                    return;
                }
                auto picture =
                    std::shared_ptr<const StretchPicture>(new StretchPicture(frame, start));
                bytes += picture->bytes();
                kept.push_back(std::move(picture));
                while (bytes > request.room && !kept.empty()) {
                    previous = kept.front()->start();
                    bytes -= kept.front()->bytes();
                    kept.pop_front();
                }
            };
            if (!readUntil(request.id, (skipBefore + startTime) / timeBase, take, done))
                return {};
            if (late)
                continue;
            result.pictures.assign(kept.begin(), kept.end());
            result.previous = previous;
            return result;
        }
        return result;
    }

    // When a decoded picture starts, in seconds, as mpv's time-pos reads it.
    [[nodiscard]] double startOf(const AVFrame *frame) const
    {
        const int64_t ts = frame->best_effort_timestamp;
        return ts == AV_NOPTS_VALUE ? 0
                                    : ts * av_q2d(format->streams[stream]->time_base) - startTime;
    }

    // Feeds the decoder until `done`, the end of the file or a newer request; false for the
    // latter.
    template<typename Take>
    bool readUntil(uint64_t id, double skipBefore, Take &take, const bool &done)
    {
        AVPacket *packet = av_packet_alloc();
        bool atEnd = false;
        while (!done && !atEnd) {
            if (current.load() != id) {
                av_packet_free(&packet);
                return false;
            }
            if (av_read_frame(format, packet) < 0) {
                atEnd = true;
                avcodec_send_packet(codec, nullptr);
            } else {
                const bool ours = packet->stream_index == stream;
                if (ours) {
                    codec->skip_frame = packet->pts != AV_NOPTS_VALUE && packet->pts < skipBefore
                                            ? AVDISCARD_NONREF
                                            : AVDISCARD_DEFAULT;
                    avcodec_send_packet(codec, packet); // a broken packet is passed over
                }
                av_packet_unref(packet);
                if (!ours)
                    continue;
            }
            for (;;) {
                AVFrame *frame = av_frame_alloc();
                if (!frame || avcodec_receive_frame(codec, frame) < 0) {
                    av_frame_free(&frame);
                    break;
                }
                take(frame);
                if (done)
                    break;
            }
        }
        av_packet_free(&packet);
        return true;
    }

    const QString path;
    std::mutex mutex;
    std::condition_variable wake;
    std::optional<Request> next;
    bool stopping = false;
    std::atomic<uint64_t> current = 0; // the newest request; an older one stops

    AVFormatContext *format = nullptr;
    AVCodecContext *codec = nullptr;
    int stream = -1;
    double startTime = 0;
    bool failed = false;
    int threads = 0; // 0: one per core
};

std::optional<OpeningPicture> PictureStretch::decodeOpening(const QString &path)
{
    Worker worker(path);
    worker.threads = 1; // more threads would only hold the first picture back
    worker.current = 1;
    if (!worker.open())
        return std::nullopt;
    const AVStream *video = worker.format->streams[worker.stream];
    if (const uint8_t *matrix = av_stream_get_side_data(video, AV_PKT_DATA_DISPLAYMATRIX, nullptr);
        matrix &&
        std::lround(av_display_rotation_get(reinterpret_cast<const int32_t *>(matrix))) % 360 != 0)
        return std::nullopt;
    // Freshly opened, the file reads from its start.
    std::unique_ptr<StretchPicture> first;
    bool done = false;
    const auto take = [&](AVFrame *frame) {
        first.reset(new StretchPicture(frame, worker.startOf(frame)));
        done = true;
    };
    worker.readUntil(1, -std::numeric_limits<double>::infinity(), take, done);
    if (!first)
        return std::nullopt;
    // Here rather than where it is drawn, while the window is still being made.
    PictureConverter converter;
    if (converter.convert(*first))
        first->m_rgba = std::move(converter.m_rgba);
    // The container's pixel aspect over the codec's, widening or heightening as mpv does.
    AVRational aspect = video->sample_aspect_ratio;
    if (aspect.num <= 0 || aspect.den <= 0)
        aspect = first->m_frame->sample_aspect_ratio;
    QSizeF size = first->size();
    if (aspect.num > aspect.den && aspect.den > 0)
        size.setWidth(std::round(size.width() * aspect.num / aspect.den));
    else if (aspect.den > aspect.num && aspect.num > 0)
        size.setHeight(std::round(size.height() * aspect.den / aspect.num));
    return OpeningPicture{StretchPictureRef(std::move(first)), size};
}

PictureStretch::PictureStretch(QString path, int64_t room, QObject *context,
                               std::function<void()> changed)
    : m_worker(std::make_shared<Worker>(std::move(path)))
    , m_changed(std::move(changed))
    , m_room(room)
{
    // The thread holds the worker: it may go on for a moment after this is gone.
    std::thread([worker = m_worker, context = QPointer<QObject>(context), self = this] {
        worker->run([&](Result result) {
            QMetaObject::invokeMethod(
                context.data(),
                [self, result = std::move(result)]() mutable { self->finished(std::move(result)); },
                Qt::QueuedConnection);
        });
    }).detach();
}

PictureStretch::~PictureStretch()
{
    std::lock_guard lock(m_worker->mutex);
    m_worker->stopping = true;
    m_worker->current = 0;
    m_worker->wake.notify_one();
}

StretchPictureRef PictureStretch::find(double target) const
{
    std::vector<double> starts;
    starts.reserve(m_pictures.size());
    for (const auto &picture : m_pictures)
        starts.push_back(picture->start());
    const auto index = pictureForTarget(starts, m_previous, target);
    return index ? m_pictures[*index] : nullptr;
}

void PictureStretch::keepUntil(double until)
{
    request(until, m_room, false);
}

void PictureStretch::shown(const StretchPictureRef &shown)
{
    const auto it = std::find(m_pictures.begin(), m_pictures.end(), shown);
    if (it != m_pictures.end() && size_t(it - m_pictures.begin()) <= m_pictures.size() / 2)
        keepEarlier(shown);
}

bool PictureStretch::keepEarlier(const StretchPictureRef &upTo)
{
    if (m_decoding || m_noEarlier || m_pictures.empty())
        return false;
    int64_t needed = 0;
    for (const auto &picture : m_pictures) {
        needed += picture->bytes();
        if (!upTo || picture == upTo)
            break;
    }
    if (needed >= m_room)
        return false;
    // Up to the picture before the oldest, which starts more than the tolerance before it.
    request(m_pictures.front()->start() - 2 * kTolerance, m_room - needed, true);
    return true;
}

void PictureStretch::clear()
{
    m_pictures.clear();
    m_previous.reset();
    m_noEarlier = false;
    m_decoding = 0;
    m_worker->current = 0;
}

int64_t PictureStretch::bytes() const
{
    int64_t bytes = 0;
    for (const auto &picture : m_pictures)
        bytes += picture->bytes();
    return bytes;
}

void PictureStretch::request(double until, int64_t room, bool earlier)
{
    room = std::min(room, kWindowBytes);
    m_decoding = ++m_lastRequest;
    std::lock_guard lock(m_worker->mutex);
    m_worker->current = m_decoding;
    m_worker->next = Worker::Request{m_decoding, until, room, earlier};
    m_worker->wake.notify_one();
}

void PictureStretch::finished(Result result)
{
    if (result.id != m_decoding)
        return;
    m_decoding = 0;
    if (!result.isEarlier) {
        m_pictures = std::move(result.pictures);
        m_previous = result.previous;
        m_noEarlier = false;
        m_failed = m_pictures.empty();
    } else if (result.pictures.empty()) {
        m_noEarlier = true; // the start of the file
    } else {
        // Before the oldest kept; what no longer fits goes from the newest end, which the
        // steps back have left behind.
        result.pictures.insert(result.pictures.end(), m_pictures.begin(), m_pictures.end());
        m_pictures = std::move(result.pictures);
        m_previous = result.previous;
        int64_t total = bytes();
        while (total > m_room && m_pictures.size() > 1) {
            total -= m_pictures.back()->bytes();
            m_pictures.pop_back();
        }
    }
    if (m_changed)
        m_changed();
}
