#pragma once

#include <QImage>
#include <QRectF>

// The frame number drawn by the counter clip of tests/media/generate.sh, read from the part of
// `image` where the video lies: a 4 × 3 grid of blocks, the top-left one always white, the others
// bits 0 to 10 in reading order. -1 when that part shows no such grid (no picture yet, another
// picture, or a block neither clearly black nor clearly white).
inline int readFrameCounter(const QImage &image, const QRectF &picture)
{
    constexpr int kColumns = 4;
    constexpr int kRows = 3;
    if (picture.width() < kColumns * 4 || picture.height() < kRows * 4)
        return -1;
    const double w = picture.width() / kColumns;
    const double h = picture.height() / kRows;
    int value = 0;
    for (int block = 0; block < kColumns * kRows; ++block) {
        // The mean grey of the middle half of the block, away from its edges.
        const QRectF cell(picture.left() + (block % kColumns + 0.25) * w,
                          picture.top() + (block / kColumns + 0.25) * h, w / 2, h / 2);
        const QRect pixels = cell.toRect().intersected(image.rect());
        if (pixels.isEmpty())
            return -1;
        long sum = 0;
        for (int y = pixels.top(); y <= pixels.bottom(); ++y) {
            for (int x = pixels.left(); x <= pixels.right(); ++x)
                sum += qGray(image.pixel(x, y));
        }
        const long mean = sum / (long(pixels.width()) * pixels.height());
        const bool white = mean > 192;
        if (!white && mean >= 64)
            return -1;
        if (block == 0) {
            if (!white)
                return -1;
        } else if (white) {
            value |= 1 << (block - 1);
        }
    }
    return value;
}
