#!/usr/bin/env bash
# Records viq view for the README: Xvfb shows the window, xdotool moves the mouse and presses keys,
# ImageMagick collects the frames. Arguments: the tool, the WebP file to write.
set -euo pipefail
tool=$(realpath "$1")
out=$(realpath -m "$2")
cd "$(dirname "$0")/../samples"
work=$(mktemp -d)
trap 'kill $(jobs -p) 2> /dev/null || :; rm -rf "$work"' EXIT
width=560 height=400

exec 5<> <(:)
Xvfb -displayfd 5 -screen 0 ${width}x${height}x24 -nolisten tcp 2> "$work/server.log" &
read -r number <&5
export DISPLAY=:$number
"$tool" view --size ${width}x${height} chelsea.bmp coffee.bmp > "$work/statistics" &
until xdotool search --name chelsea.bmp > /dev/null; do sleep 0.1; done
window=$(xdotool search --name chelsea.bmp)

# The title is drawn below the picture, because the server has no window manager that shows it.
frames=()
take() { # HUNDREDTHS: how long the frame is shown
    sleep 1 # until the window is painted
    local title file
    title=$(xdotool getwindowname "$window")
    file=$work/${#frames[@]}.miff
    import -window root "$work/screen.png"
    convert "$work/screen.png" -background '#202020' -fill white -pointsize 13 \
        label:" ${title//%/%%} " -append -extent ${width}x$((height + 20)) +repage "$file"
    frames+=(-delay "$1" "$file")
}
each() { # HUNDREDTHS, then an action of xdotool for every frame
    local delay=$1 action
    shift
    for action in "$@"; do
        # shellcheck disable=SC2086
        xdotool $action
        take "$delay"
    done
}

each 90 'mousemove 200 150'
each 35 'click 4' 'click 4' 'click 4' 'click 4' 'click 4'
each 8 'mousemove 210 156' 'mousemove 220 162' 'mousemove 230 168'
each 60 'mousemove 240 174'
each 30 'click 5' 'click 5' 'click 5' 'key f'
xdotool mousemove 148 110 mousedown 1
each 10 'mousemove 170 130' 'mousemove 200 150' 'mousemove 230 170' 'mousemove 250 184'
each 160 'mouseup 1'
each 60 'click 1' 'key n'
each 160 'key h'
each 60 'key h'
xdotool key q
convert "${frames[@]}" -loop 0 -quality 80 -define webp:method=4 "$out"
ls -l "$out"
