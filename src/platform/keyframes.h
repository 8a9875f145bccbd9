#pragma once

#include <QString>

#include <cstdint>
#include <optional>

// What it costs to show a video's frames in reverse: every frame of a stretch between two key
// frames is decoded before the last one can be shown, so a player that keeps them (to show them
// newest first) needs room for as many decoded pictures as the longest stretch holds.

// The longest stretch of the first video stream from a key frame to the next (or to the end),
// in seconds, read from the file's index (MP4's sample table, Matroska's cues, …) without
// decoding anything. Nothing for a file whose index lists no key frames (a transport stream, a
// raw stream) or that cannot be read. Blocks on the file system: never on the GUI thread.
std::optional<double> longestKeyFrameInterval(const QString &path);

// The bytes of one decoded picture of `width` × `height` pixels in mpv's pixel format `format`
// (mpv's names, as in its video-params: "yuv420p", "yuv420p10", "nv12", …); 0 when the format
// is unknown. Any thread.
int64_t decodedPictureBytes(const QByteArray &format, int width, int height);
