#pragma once

#include <QObject>
#include <QSize>
#include <QSizeF>
#include <QString>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

// Stepping back through a video, frame by frame, without the engine decoding from the key frame
// before every step: the pictures from the key frame before the playhead up to it are decoded
// once, here, away from the GUI thread, and kept (as many as fit in the room given), so that the
// steps back show them at once; as the steps near the oldest kept, the stretch before is decoded
// meanwhile. The file is read with libavformat and decoded with libavcodec, the libraries mpv
// reads and decodes it with, so the pictures and their times are mpv's own.

// One decoded picture, in the decoder's own pixel format. Any thread; immutable.
class StretchPicture {
public:
    ~StretchPicture();
    StretchPicture(const StretchPicture &) = delete;
    StretchPicture &operator=(const StretchPicture &) = delete;

    // When the picture starts, in seconds, as mpv's time-pos reads it.
    [[nodiscard]] double start() const { return m_start; }
    [[nodiscard]] QSize size() const;
    [[nodiscard]] int64_t bytes() const { return m_bytes; }

private:
    friend class PictureStretch;
    friend class PictureConverter;
    StretchPicture(struct AVFrame *frame, double start);
    struct AVFrame *m_frame;
    double m_start;
    int64_t m_bytes;
    std::vector<uint8_t> m_rgba; // converted ahead, when it was
};

using StretchPictureRef = std::shared_ptr<const StretchPicture>;

// The first picture of a video and the size it is shown at (its pixel aspect applied).
struct OpeningPicture {
    StretchPictureRef picture;
    QSizeF displaySize;
};

// Turns pictures into 8-bit RGBA rows, top row first, with the colour matrix and range they were
// encoded with. Keeps its buffers from one picture to the next; one thread at a time.
class PictureConverter {
public:
    PictureConverter() = default;
    ~PictureConverter();
    PictureConverter(const PictureConverter &) = delete;
    PictureConverter &operator=(const PictureConverter &) = delete;
    // Rows of size().width() * 4 bytes; null when the picture's format cannot be converted.
    const uint8_t *convert(const StretchPicture &picture);

private:
    friend class PictureStretch;
    struct SwsContext *m_context = nullptr;
    std::vector<uint8_t> m_rgba;
};

// Which of the pictures starting at `starts` (oldest first, one after the other in the video) an
// exact seek to `target` shows: the first that starts at or after it, where one that starts less
// than 5 ms before counts as starting at it. Nothing when that picture is not among them: past the
// newest, or before the oldest where what comes before it is not known. `previous`: when the
// picture before the oldest starts, when known.
std::optional<size_t> pictureForTarget(const std::vector<double> &starts,
                                       std::optional<double> previous, double target);

// The pictures kept for one file. GUI thread; never waits for the decoding, which runs on a
// thread of its own (a stalled disk holds up only that thread).
class PictureStretch {
public:
    // `room`: the most the kept pictures may hold, in bytes. `context`: receives `changed` on
    // the GUI thread whenever a decoding finishes (with pictures or not).
    PictureStretch(QString path, int64_t room, QObject *context, std::function<void()> changed);
    ~PictureStretch();
    PictureStretch(const PictureStretch &) = delete;
    PictureStretch &operator=(const PictureStretch &) = delete;

    // The kept picture an exact seek to `target` shows, if kept.
    [[nodiscard]] StretchPictureRef find(double target) const;
    // Decodes the pictures up to and including the one that starts at `until` (from the key
    // frame before it), keeping the newest that fit, and replaces the kept ones with them.
    void keepUntil(double until);
    // `shown` is on screen: when it is among the oldest kept, the stretch before them is decoded
    // meanwhile.
    void shown(const StretchPictureRef &shown);
    // Decodes the pictures before the oldest kept, in the room the kept ones from the oldest to
    // `upTo` (or the oldest alone) leave; the newest kept make way for them. False when there
    // is nothing before, or a decoding is under way.
    bool keepEarlier(const StretchPictureRef &upTo = nullptr);
    [[nodiscard]] bool isDecoding() const { return m_decoding != 0; }
    // Whether the last decoding asked for found nothing to keep (a file libavcodec cannot
    // decode, or no room for one picture): steps back go to the engine then.
    [[nodiscard]] bool hasFailed() const { return m_failed; }
    void clear();
    [[nodiscard]] int64_t bytes() const;

    // The first picture of the video at `path`, decoded on the calling thread (which the disk may
    // hold up). Nothing for a file libavcodec cannot decode, or whose picture is turned for
    // display (the pictures are drawn unturned).
    static std::optional<OpeningPicture> decodeOpening(const QString &path);

private:
    struct Worker;
    struct Result;
    void request(double until, int64_t room, bool earlier);
    void finished(Result result);

    std::shared_ptr<Worker> m_worker;
    std::function<void()> m_changed;
    int64_t m_room;
    std::vector<StretchPictureRef> m_pictures; // oldest first
    std::optional<double> m_previous;          // when the picture before the oldest starts
    uint64_t m_decoding = 0;                   // the request on its way; 0 when none
    uint64_t m_lastRequest = 0;
    bool m_failed = false;
    bool m_noEarlier = false; // the oldest kept is the first picture of the file
};
