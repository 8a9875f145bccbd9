#pragma once

#include <QImage>
#include <QRectF>

// The frame number drawn by the counter clip of tests/media/generate.sh, read from the part of
// `image` where the video lies: a 4 × 3 grid of blocks, the top-left one always white, the others
// bits 0 to 10 in reading order. -1 when that part shows no such grid (no picture yet, another
// picture, or a block neither clearly black nor clearly white).
inline int readFrameCounter(const QImage &image, const QRectF &picture)
{
    const double w = picture.width() / 4;
    const double h = picture.height() / 3;
    int value = 0;
    for (int block = 0; block < 12 && w >= 4 && h >= 4; ++block) {
        // The mean grey of the middle half of the block, away from its edges.
        const QRect pixels = QRectF(picture.left() + (block % 4 + 0.25) * w,
                                    picture.top() + (block / 4 + 0.25) * h, w / 2, h / 2)
                                 .toRect()
                                 .intersected(image.rect());
        long sum = 0;
        for (int y = pixels.top(); y <= pixels.bottom(); ++y) {
            for (int x = pixels.left(); x <= pixels.right(); ++x)
                sum += qGray(image.pixel(x, y));
        }
        const long mean = pixels.isEmpty() ? 128 : sum / (long(pixels.width()) * pixels.height());
        if ((mean >= 64 && mean <= 192) || (block == 0 && mean < 64))
            return -1;
        if (block > 0 && mean > 192)
            value |= 1 << (block - 1);
        if (block == 11)
            return value;
    }
    return -1;
}
