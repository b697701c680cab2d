#!/bin/sh
# Makes FOLDER with two 640x480 pictures of ffmpeg's, sharp and smooth, each as planar 4:2:0 (Y, U, V)
# and as ffmpeg itself converts that to RGB (B, G, R; ITU-R BT.601), taken for studio range and for
# full range.
set -e
mkdir -p "$1"
cd "$1"
convert() {
  ffmpeg -v error -y -f rawvideo -pix_fmt "$1" -s 640x480 -i "$2.yuv" \
    -sws_flags neighbor+accurate_rnd -pix_fmt bgr24 -f rawvideo "$2.$3.bgr"
}
make() {
  ffmpeg -v error -y -f lavfi -i "testsrc2=size=640x480$2" -frames:v 1 -pix_fmt yuv420p \
    -f rawvideo "$1.yuv"
  convert yuv420p "$1" studio
  convert yuvj420p "$1" full
}
make sharp ""
make smooth ",gblur=sigma=16:steps=3"
