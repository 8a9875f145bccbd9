#!/usr/bin/env bash
# Generates the benchmark clips into $1, once (existing files are kept). Everything is made by
# ffmpeg's own sources; about a minute and a half on two cores.
#   play-1080p30.mp4   16 s, 1920×1080 at 30 fps, the whole picture moving (a scrolling test
#                      pattern), H.264 at about 6 Mbit/s with a key frame every 2 s
#   play-2160p30.mp4   the same at 3840×2160, about 23 Mbit/s
#   step-720p30.mp4    4 s, 1280×720 at 30 fps, moving like the others: the videos of the folder
#                      that the stall benchmark steps through
#   longgop-1080p25.mp4  30 s, 1920×1080 at 25 fps, key frames at 0 s, 2.52 s and every 5 s
#                      after, so that the seeks of the benchmark (to 10 s and 20 s) land 62
#                      frames past a key frame; in its middle a frame counter: a 4 × 3 grid of
#                      120-pixel blocks, the top-left one white, the others bits 0 to 10 of the
#                      frame number (white = 1) in reading order
#   longgop-2160p25.mp4  12 s, the same at 3840×2160 with the counter twice as large, key frames
#                      at 0 s and every 2 s from 0.52 s, so that 10 s lies 37 frames past one
set -euo pipefail
out=$1
mkdir -p "$out"
cd "$out"
make() { # make <file> <ffmpeg arguments...>: through a temporary, so a killed run leaves no half file
    local f=$1
    shift
    [ -s "$f" ] && return 0
    echo "bench: generating $f" >&2
    ffmpeg -nostdin -hide_banner -loglevel error -y "$@" "tmp.$f" && mv "tmp.$f" "$f"
}

moving() { # moving <width>x<height> <rate>: a test pattern scrolling both ways
    echo "testsrc2=size=$1:rate=$2,scroll=h=0.004:v=0.002"
}
h264=(-c:v libx264 -preset veryfast -crf 23 -pix_fmt yuv420p)

make play-1080p30.mp4 -f lavfi -i "$(moving 1920x1080 30)" -t 16 "${h264[@]}" -g 60
make play-2160p30.mp4 -f lavfi -i "$(moving 3840x2160 30)" -t 16 "${h264[@]}" -g 60
make step-720p30.mp4 -f lavfi -i "$(moving 1280x720 30)" -t 4 "${h264[@]}" -g 60
counter="color=c=black:size=8x6:rate=25,format=gray,geq=lum='if(lt(X\,2)*lt(Y\,2)\,255\,255*mod(floor(N/pow(2\,floor(X/2)+4*floor(Y/2)-1))\,2))',scale=480:360:flags=neighbor,format=yuv420p"
make longgop-1080p25.mp4 -f lavfi -i "$(moving 1920x1080 25)[bg];$counter[c];[bg][c]overlay=x=720:y=360:shortest=1" \
    -t 30 "${h264[@]}" -x264-params keyint=1000:min-keyint=1000:scenecut=0 \
    -force_key_frames "expr:eq(n,0)+gte(n,63)*eq(mod(n-63,125),0)"
counter4k=${counter/scale=480:360/scale=960:720}
make longgop-2160p25.mp4 -f lavfi -i "$(moving 3840x2160 25)[bg];$counter4k[c];[bg][c]overlay=x=1440:y=720:shortest=1" \
    -t 12 "${h264[@]}" -x264-params keyint=1000:min-keyint=1000:scenecut=0 \
    -force_key_frames "expr:eq(n,0)+gte(n,13)*eq(mod(n-13,50),0)"
