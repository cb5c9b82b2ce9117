#!/usr/bin/env bash
# Makes the raster pictures tst_imaging decodes, into the folder given, with ImageMagick and
# exiftool. Most are the same 64×48 layout, so that a decode can be checked pixel by pixel and a
# rotation or a mirror shows: top-left quarter green, bottom-left quarter red, right half blue.
set -euo pipefail
mkdir -p "${1:?usage: make-fixtures.sh FOLDER}"
cd "$1"

quad=(-size 64x48 xc:blue -fill red -draw "rectangle 0,0 31,47" -fill lime -draw "rectangle 0,0 31,23")
convert "${quad[@]}" quad.png
convert quad.png -quality 95 -sampling-factor 1x1 quad.jpg
convert quad.png -type TrueColor BMP3:quad.bmp
convert quad.png -compress none quad.tif
convert quad.png -define webp:lossless=true quad.webp
convert quad.png -quality 90 quad.heic
convert quad.png -quality 90 quad.avif
# GIF: the first frame is the picture, the second a plain yellow one that must never show.
convert -delay 50 quad.png \( -size 64x48 xc:yellow \) -loop 0 quad.gif
# TGA: Qt reads uncompressed true-colour version 2.0 files, recognised by their footer.
# ImageMagick 6 stores the rows top first but leaves the origin bit at "bottom-left": set it.
convert quad.png -type TrueColor -compress none quad-v1.tga
{ cat quad-v1.tga; printf '\0\0\0\0\0\0\0\0TRUEVISION-XFILE.\0'; } > quad.tga
printf '\x20' | dd of=quad.tga bs=1 seek=17 conv=notrunc status=none

exiftool -q -n -Orientation=6 -o orient6.jpg quad.jpg   # "rotate 90° clockwise to show"
convert quad.png -colorspace CMYK -quality 95 cmyk.jpg
convert quad.png -depth 16 PNG48:deep16.png
convert -size 64x48 xc:gray50 -colorspace Gray grey.png
# Left half fully transparent, right half opaque blue; also as 16 bits per channel.
convert -size 64x48 xc:blue -alpha set -region 32x48+0+0 -alpha transparent PNG32:alpha.png
convert alpha.png PNG8:palette-alpha.png
convert alpha.png -depth 16 PNG64:alpha16.png
cp quad.png png-named.jpg

# A photo-sized JPEG for the reduced-size decode.
convert -size 4000x3000 gradient:red-blue -quality 90 big.jpg
exiftool -q -n -Orientation=6 -o big-orient6.jpg big.jpg
# Large enough for the two-thread decode: sequential 4:2:0 in every EXIF orientation, and the
# kinds that path leaves to Qt's reader (progressive, CMYK) or takes as well (grey).
convert -size 2400x1600 -seed 3 plasma:fractal -quality 90 -sampling-factor 2x2 big-noise.jpg
for orientation in 2 3 4 5 6 7 8; do
    exiftool -q -n -Orientation=$orientation -o big-noise-o$orientation.jpg big-noise.jpg
done
convert big-noise.jpg -quality 90 -interlace JPEG big-noise-progressive.jpg
convert big-noise.jpg -quality 90 -colorspace Gray big-noise-grey.jpg
convert big-noise.jpg -quality 90 -colorspace CMYK big-noise-cmyk.jpg

# Cut-short files: the first half of pictures whose data fill the file.
convert -size 256x192 -seed 7 plasma:fractal noise.png
for ext in jpg gif bmp png; do
    convert noise.png -type TrueColor noise.$ext
    head -c $(($(stat -c %s noise.$ext) / 2)) noise.$ext > truncated-$ext.jpg
done
# Text dressed up as pictures.
printf '<?xml version="1.0"?>\n<svg xmlns="http://www.w3.org/2000/svg" width="64" height="48"><rect width="64" height="48" fill="red"/></svg>\n' > svg.jpg
convert quad.png xbm:xbm.jpg
printf 'Holiday pictures, see folder 2019\n' > text.jpg
: > empty.jpg
