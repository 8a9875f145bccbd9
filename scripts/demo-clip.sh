#!/usr/bin/env bash
# Makes the demo clip (once): a moving test picture with a line of tiny print that can only be
# read zoomed in, and a tone. Usage: scripts/demo-clip.sh <output.mp4>
set -euo pipefail
out=$1
[ -s "$out" ] && exit 0
mkdir -p "$(dirname "$out")"
font=/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf
ffmpeg -nostdin -hide_banner -loglevel error -y \
    -f lavfi -i "testsrc2=size=1920x1080:rate=30,
drawtext=fontfile=$font:text='Lunelo':fontsize=160:fontcolor=white:borderw=6:x=(w-tw)/2:y=h*0.36,
drawtext=fontfile=$font:text='Aproxime com a pinça, ou Ctrl + roda do mouse, para ler as letras miúdas.':fontsize=9:fontcolor=white:box=1:boxcolor=black@0.6:x=(w-tw)/2:y=h*0.56,
drawtext=fontfile=$font:text='%{pts\:hms}':fontsize=7:fontcolor=yellow:x=w-tw-60:y=h-40" \
    -f lavfi -i "sine=frequency=220:beep_factor=4:sample_rate=48000" \
    -t 12 -c:v libx264 -preset veryfast -crf 24 -pix_fmt yuv420p -c:a aac -shortest "$out.tmp.mp4"
mv "$out.tmp.mp4" "$out"
