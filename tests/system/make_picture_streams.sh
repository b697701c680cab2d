#!/bin/sh
# make_picture_streams.sh TABLE FOLDER: makes FOLDER with one picture for each line of TABLE (see
# there), coded by ffmpeg or ImageMagick.
set -e

h264_options() {
  case $1 in
    baseline) echo cabac=0:8x8dct=0 ;;
    main) echo cabac=1:8x8dct=0 ;;
    *) echo cabac=1:8x8dct=1 ;;
  esac
}

make_h264() {
  filter=null
  case $3 in
    progressive) scan=interlaced=0 ;;
    interlaced) scan=tff=1 ;;
    fields-flagged) scan=fake-interlaced=1 ;;
    crop:*)
      scan=interlaced=0
      filter=$(echo "$3" | sed 's/crop:\(.*\):\(.*\):\(.*\):\(.*\)/h264_metadata=crop_left=\1:crop_right=\2:crop_top=\3:crop_bottom=\4/')
      ;;
  esac
  ffmpeg -v error -y -f lavfi -i "testsrc=size=$4" -frames:v 1 -c:v libx264 -preset ultrafast \
    -threads 1 -pix_fmt "$2" -profile:v "$1" -x264-params "$(h264_options "$1"):$scan" \
    -bsf:v "$filter" -f h264 "$5"
}

make_mpeg4() {
  ffmpeg -v error -y -f lavfi -i "testsrc=size=$4:rate=$2" -frames:v 1 -vf "setsar=$3" \
    -c:v "$1" -f m4v "$5"
}

make_jpeg() {
  case $1 in
    ffmpeg)
      aspect=1
      [ "$3" = jfif ] || aspect=0
      ffmpeg -v error -y -f lavfi -i "testsrc=size=$4" -frames:v 1 -vf "setsar=$aspect" \
        -c:v mjpeg -pix_fmt "$2" -f mjpeg "$5"
      ;;
    imagemagick)
      interlace=none
      [ "$3" != progressive ] || interlace=JPEG
      convert -size "$4" gradient:red-blue -colorspace "$2" -interlace $interlace -quality 80 "jpg:$5"
      ;;
  esac
  if [ "$3" = exif ]; then
    # What cameras write: APP1 "Exif" with one entry (the orientation) in the place of APP0.
    {
      printf '\377\330\377\341\000\042Exif\000\000MM\000\052\000\000\000\010\000\001'
      printf '\001\022\000\003\000\000\000\001\000\001\000\000\000\000\000\000'
      tail -c +21 "$5"
    } >"$5.exif"
    mv "$5.exif" "$5"
  fi
}

if [ "$1" = --one ]; then
  name=$(echo "$3-$4-$5-$6-$7" | tr ':/' '__')
  "make_$3" "$4" "$5" "$6" "$7" "$2/$name"
  exit
fi

mkdir -p "$2"
sed '/^#/d; /^$/d' "$1" | cut -d' ' -f1-5 | xargs -P 2 -L 1 "$0" --one "$2"
cp "$1" "$2/table.txt"
