# shellcheck shell=bash
# shellcheck disable=SC2034,SC2154  # make-source reads the scene and all recipes in one shell
# The recording that every source of the media matrix shows, and how pieces of it are encoded.
#
# The upper three quarters: a landscape with posts that passes by, grain over it, and a white flash
# of 0.2 s at 1 s, 5 s, 9 s and so on. The lower quarter: seven bars of 75 % colour. The sound: a
# murmur, and a beep of 1 kHz together with each flash. Lengths are multiples of 4 s, so that pieces
# that follow one another keep the beat.

seconds=12                 # length of what `scene` and `murmur` are used for
size=320x240               # shown by the scene
rate=25                    # pictures a second
matrix=bt601               # of the conversion from RGB to luma and colour difference
range=tv                   # or pc
layout=yuv420p             # pixel format
after=null                 # filters after the scene is composed
beat='lt(mod(t+3.0001,4),0.2)'

ff() {
  timeout 300 ffmpeg -nostdin -v error -y -threads 2 "$@"
}

# The still pictures that the scene is made of.
make_artwork() {
  [ -e .bars.png ] && return
  ff -f lavfi -i "nullsrc=s=1024x256:r=1,format=gbrp,geq=\
r='if(lt(mod(X*(X+53)/97,61),7),30,110+50*sin(X/40+Y/23)+random(0)*30)':\
g='if(lt(mod(X*(X+53)/97,61),7),40,120+40*sin(X/61)+random(1)*30)':\
b='if(lt(mod(X*(X+53)/97,61),7),30,90+60*sin(Y/31)+random(2)*30)'" -frames:v 1 .landscape.part.png
  mv .landscape.part.png .landscape.png
  ff -f lavfi -i "nullsrc=s=7x1:r=1,format=gbrp,geq=\
r='191*eq(mod(trunc(X/2),2),0)*lt(X,6)':g='191*lt(X,4)':b='191*eq(mod(X,2),0)'" \
    -frames:v 1 .bars.part.png
  mv .bars.part.png .bars.png
}

# The graph of the moving picture in RGB; `rate` pictures a second, whole pictures.
rgb_scene() {
  local width=${size%x*} height=${size#*x}
  local bars=$((height / 4 / 2 * 2))
  printf '%s' "movie=.landscape.png,loop=-1:1:0,setpts=N/($rate)/TB,fps=$rate,format=gbrp,"
  printf '%s' "scale=$((width * 2)):$((height - bars)):flags=bilinear,scroll=h=0.3/($rate),"
  printf '%s' "crop=$width:$((height - bars)):0:0,"
  printf '%s' "drawbox=t=fill:c=white:enable='$beat'[land];"
  printf '%s' "movie=.bars.png,loop=-1:1:0,setpts=N/($rate)/TB,fps=$rate,format=gbrp,"
  printf '%s' "scale=$width:$bars:flags=neighbor[bars];[land][bars]vstack,setsar=1"
}

# The same in the pixel format to encode, with grain.
scene() {
  rgb_scene
  printf '%s' ",scale=out_color_matrix=$matrix:out_range=$range:flags=bicubic+accurate_rnd,"
  printf '%s' "format=$layout,noise=alls=4:allf=t,$after"
}

# Two moments in each picture: `rate` is that of the fields while it is composed.
fields() {
  local order=$1
  (rate=50 && after="tinterlace=interleave_$order" && scene)
}

# The sound, in one channel.
murmur() {
  printf '%s' "aevalsrc='0.05*sin(2*PI*300*t+9*sin(t))+0.02*(random(0)-0.5)+0.25*sin(2*PI*1000*t)*$beat'"
  printf '%s' ":s=48000:d=$seconds"
}

# The same in two channels.
sound() {
  murmur
  printf '%s' ",pan=stereo|c0=c0|c1=c0"
}

# A steady tone of that frequency, alone in its channel.
tone() {
  printf '%s' "aevalsrc='0.1*sin(2*PI*$1*t)':s=48000:d=$seconds"
}

# The scene with its sound; everything else is said by the arguments.
film() {
  ff -f lavfi -i "$(scene)" -f lavfi -i "$(sound)" -t "$seconds" "$@"
}

# The same with two moments in each picture, the upper or the lower line's first.
interlaced_film() {
  local order=$1
  shift
  ff -f lavfi -i "$(fields "$order")" -f lavfi -i "$(sound)" -t "$seconds" "$@"
}

h264=(-c:v libx264 -preset ultrafast -b:v 1500k)
mpeg2=(-c:v mpeg2video -b:v 4M -maxrate 8M -bufsize 4M -g 12 -bf 2)
mp2=(-c:a mp2 -b:a 192k)
aac=(-c:a aac -b:a 128k)
top_first=(-flags +ildct+ilme -top 1 -field_order tt)
bottom_first=(-flags +ildct+ilme -top 0 -field_order bb)
broadcast=(-f mpegts -muxdelay 0.2 -muxpreload 0.2)
