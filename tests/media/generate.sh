#!/usr/bin/env bash
# Generates the test clips into $1 (once: existing files are kept). Everything is synthetic,
# made by ffmpeg's own sources, so the tests depend on no downloaded media.
set -euo pipefail
out=$1
mkdir -p "$out"
cd "$out"
ff() { ffmpeg -nostdin -hide_banner -loglevel error -y "$@"; }
make() { # make <file> <ffmpeg arguments...>: writes through a temporary, so a killed run leaves no half file
    local f=$1
    shift
    [ -s "$f" ] && return 0
    ff "$@" "tmp.$f" && mv "tmp.$f" "$f"
}

# H.264 with AAC, moving picture and a tone: 4 s at 25 fps.
make clip.mp4 -f lavfi -i testsrc2=size=320x240:rate=25 -f lavfi -i sine=frequency=440:sample_rate=48000 \
    -t 4 -c:v libx264 -preset veryfast -pix_fmt yuv420p -c:a aac -shortest
# VP9 in WebM, no sound: 2 s.
make clip.webm -f lavfi -i testsrc2=size=320x240:rate=25 -t 2 -c:v libvpx-vp9 -deadline realtime \
    -row-mt 1 -b:v 300k
# An asymmetric still picture, 1920×1080: grey, a red block at the top left and a blue one at the
# bottom right, so a turned or mirrored picture shows.
make asym.mp4 -f lavfi -i "color=c=0x808080:size=1920x1080:rate=5,drawbox=x=0:y=0:w=480:h=270:color=red:t=fill,drawbox=x=1440:y=810:w=480:h=270:color=blue:t=fill" \
    -t 2 -c:v libx264 -preset veryfast -pix_fmt yuv420p
# The same picture tagged as turned by 90°: ffmpeg writes the tag only when remuxing.
if [ ! -s rotated.mp4 ]; then
    ff -i asym.mp4 -c copy -metadata:s:v:0 rotate=90 tmp.rotated.mp4 && mv tmp.rotated.mp4 rotated.mp4
fi
# A frame counter, 60 s at 25 fps with a 440 Hz tone: a 4 × 3 grid of 80-pixel blocks, the top-left
# one always white, the others bits 0 to 10 of the frame number (white = 1) in reading order. Big
# flat blocks survive compression, so a grabbed picture tells which frame is shown. One key frame
# every 10 s, so a seek that is not exact shows.
make counter.mp4 -f lavfi -i "color=c=black:size=8x6:rate=25,format=gray,geq=lum='if(lt(X\,2)*lt(Y\,2)\,255\,255*mod(floor(N/pow(2\,floor(X/2)+4*floor(Y/2)-1))\,2))',scale=320:240:flags=neighbor,format=yuv420p" \
    -f lavfi -i sine=frequency=440:sample_rate=48000 -t 60 -c:v libx264 -preset veryfast \
    -g 250 -keyint_min 250 -sc_threshold 0 -c:a aac -shortest
# Broken inputs: the first 40 % of an MP4 whose index sits at its end, and text named as video.
if [ ! -s truncated.mp4 ]; then
    head -c $(($(stat -c %s clip.mp4) * 4 / 10)) clip.mp4 >truncated.mp4
fi
if [ ! -s text.mp4 ]; then
    for _ in $(seq 40); do echo "Isto é um texto, não um vídeo."; done >text.mp4
fi
# Fine test patterns: a one-pixel grey checkerboard, lossless, at 800×450 (one video pixel per
# screen pixel in an 800×600 window) and at 1600×900 (two per screen pixel, so only a zoom that
# draws from the full picture keeps it).
make checker800.mp4 -f lavfi -i "nullsrc=size=800x450:rate=5,geq=lum='if(mod(X+Y\,2)\,235\,16)':cb=128:cr=128" \
    -t 2 -c:v libx264 -qp 0 -pix_fmt yuv420p
make checker1600.mp4 -f lavfi -i "nullsrc=size=1600x900:rate=5,geq=lum='if(mod(X+Y\,2)\,235\,16)':cb=128:cr=128" \
    -t 2 -c:v libx264 -qp 0 -pix_fmt yuv420p
# Long enough to skip 10 s both ways: 30 s, small and cheap to decode.
make long.mp4 -f lavfi -i testsrc2=size=160x120:rate=10 -t 30 -c:v libx264 -preset veryfast \
    -pix_fmt yuv420p -g 10
# Sources of the hostile-file corpus (the tests derive the damaged files from these and the clips
# above): the clip with its index first, so a cut keeps it; sound only; still pictures; a picture
# whose header makes it a thousand times wider than tall; a raw-video stream to put absurd sizes
# into; subtitles and nothing else.
if [ ! -s faststart.mp4 ]; then
    ff -i clip.mp4 -c copy -movflags +faststart tmp.faststart.mp4 && mv tmp.faststart.mp4 faststart.mp4
fi
make audio.mp4 -f lavfi -i sine=frequency=440:sample_rate=48000 -t 2 -c:a aac
make audio.webm -f lavfi -i sine=frequency=440:sample_rate=48000 -t 2 -c:a libopus
make picture.png -f lavfi -i testsrc2=size=320x240 -frames:v 1
make picture.jpg -f lavfi -i testsrc2=size=320x240 -frames:v 1
make wide.mkv -f lavfi -i testsrc2=size=64x48:rate=25 -t 1 -c:v libx264 -pix_fmt yuv420p -aspect 1000:1
make raw.y4m -f lavfi -i testsrc2=size=64x48:rate=5 -t 1 -pix_fmt yuv420p
if [ ! -s subtitles.mkv ]; then
    printf '1\n00:00:00,000 --> 00:00:02,000\nOlá\n' >tmp.subtitles.srt
    ff -i tmp.subtitles.srt -c:s srt tmp.subtitles.mkv && mv tmp.subtitles.mkv subtitles.mkv
    rm -f tmp.subtitles.srt
fi
