#!/bin/bash
# Captures the tray menu, the editor (a new user's first opening, the keyboard on the first
# command, the combined command's preview, a custom command), the alert of a terminal that fails at
# once and the window that stands in for a missing tray into docs/screenshots/, running Corvane
# under Xvfb with trayer as the tray.
#
#   scripts/screenshots.sh [CORVANE_BINARY]   (default: build/src/app/corvane)
set -euo pipefail

repo=$(cd "$(dirname "$0")/.." && pwd)
corvane=$(realpath "${1:-$repo/build/src/app/corvane}")
out=$repo/docs/screenshots
[[ -x $corvane ]] || { echo "no corvane executable at $corvane" >&2; exit 2; }
mkdir -p "$out"

# shellcheck source=lib/xvfb-tray.sh
source "$(dirname "$0")/lib/xvfb-tray.sh"

# Terminals are "installed" when their executable is on PATH: stand-ins for a desktop's terminals
# that only record that they ran (several, so that the picker shows). Nothing else is on PATH.
path=$work/terminals
mkdir -p "$path"
for terminal in gnome-terminal konsole xterm; do
    printf '#!/bin/sh\necho "$@" >> "%s/%s.log"\n' "$work" "$terminal" >"$path/$terminal"
    chmod +x "$path/$terminal"
done

config() { # TERMINAL OVERRIDE_JSON_MEMBER
    cat <<JSON
{
  "groups" : [
    {
      "commands" : [
        { "command" : "ssh mydevbox", "delayAfter" : 3, "id" : "0B5C7F2E-1D84-4C55-9A57-2C1E0F6A9D01" },
        { "command" : "cd ~\/projects\/api && make run", "delayAfter" : 0, "id" : "0B5C7F2E-1D84-4C55-9A57-2C1E0F6A9D02" }
      ],
      "id" : "7E0D4C1A-93B2-4F6E-8C1D-5A2B3C4D5E01",
      "name" : "API server"$2
    },
    {
      "commands" : [
        { "command" : "htop", "delayAfter" : 0, "id" : "0B5C7F2E-1D84-4C55-9A57-2C1E0F6A9D03" }
      ],
      "id" : "7E0D4C1A-93B2-4F6E-8C1D-5A2B3C4D5E02",
      "name" : "Monitor"
    }
  ],
  "terminalApp" : "$1"
}
JSON
}

# Starts Corvane on a fresh config home (holding CONFIG, or nothing: a new user); waits for its
# docked icon.
start() { # NAME [CONFIG]
    home=$work/$1
    mkdir -p "$home"
    if [[ -n ${2-} ]]; then
        mkdir -p "$home/Corvane"
        printf '%s' "$2" >"$home/Corvane/config.json"
    fi
    XDG_CONFIG_HOME=$home PATH=$path "$corvane" >/dev/null 2>&1 &
    pid=$!
    pids+=("$pid")
    until xwininfo -tree -id "$panel" | grep -q '("corvane" '; do sleep 0.02; done
}

stop() {
    kill "$pid"
    wait "$pid" 2>/dev/null || true
    while xwininfo -tree -id "$panel" | grep -q '("corvane" '; do sleep 0.02; done
}

# A second start hands over to the running instance, which opens its editor; HEIGHT makes room
# for both example windows, which the editor's first size cuts off; KEYS are pressed in it first.
capture_editor() { # FILE [HEIGHT] [KEYS...]
    XDG_CONFIG_HOME=$home PATH=$path "$corvane" >/dev/null 2>&1
    local window
    window=$(xdotool search --sync --onlyvisible --name 'Edit Commands' | awk 'NR == 1')
    if [[ -n ${2-} ]]; then
        eval "$(xdotool getwindowgeometry --shell "$window")"
        xdotool windowsize --sync "$window" "$WIDTH" "$2"
    fi
    if (($# > 2)); then
        xdotool windowfocus --sync "$window"
        xdotool key "${@:3}"
    fi
    sleep 0.5 # let the first layout pass paint
    import -window "$window" "$out/$1"
    echo "wrote $out/$1"
}

# A new user's first opening: one empty window, the desktop's terminal chosen.
start new-user
capture_editor editor-new-user.png
stop

start preview "$(config gnomeTerminal '')"
icon=$(xwininfo -tree -id "$panel" | awk '/\("corvane" / { print $1 }')
eval "$(xdotool getwindowgeometry --shell "$icon")"
xdotool mousemove --sync $((X + WIDTH / 2)) $((Y + HEIGHT / 2)) click 3
menu=$(xdotool search --sync --onlyvisible --classname '^corvane$' | while read -r w; do
    if [[ $w != "$((icon))" ]] && xwininfo -id "$w" | grep -q 'Map State: IsViewable'; then
        echo "$w"
    fi
done | awk 'NR == 1')
sleep 0.3
eval "$(xdotool getwindowgeometry --shell "$menu")"
left=$((X - 40))
import -window root -crop "$((1280 - left))x$((Y + HEIGHT + 30))+$left+0" +repage "$out/tray-menu.png"
echo "wrote $out/tray-menu.png"
xdotool key Escape
capture_editor editor-preview.png 780
stop

custom=$',\n      "packedOverride" : "ssh -t mydevbox \'cd ~\\/projects\\/api \&\& make run; exec $SHELL -l\'"'
start custom "$(config gnomeTerminal "$custom")"
capture_editor editor-custom.png 780
stop

# Tab from the first window's name: the keys reach its first command.
start keyboard "$(config gnomeTerminal '')"
capture_editor editor-keyboard.png 780 Tab
stop

# A terminal that fails at once, as XTerm does without a display: the alert says what it said.
failing=$work/failing
mkdir -p "$failing"
printf '#!/bin/sh\necho "xterm: Xt error: Can'"'"'t open display: :99" >&2\nexit 1\n' >"$failing/xterm"
chmod +x "$failing/xterm"
path=$failing start failing "$(config xterm '')"
XDG_CONFIG_HOME=$home PATH=$failing "$corvane" run >/dev/null 2>&1 &
pids+=($!)
alert=$(xdotool search --sync --onlyvisible --name '^Corvane$' | awk 'NR == 1')
sleep 0.5
import -window "$alert" "$out/alert-launch-failed.png"
echo "wrote $out/alert-launch-failed.png"
kill "$pid"

# Without a tray, a small window stands in for it.
kill "${pids[1]}" # trayer
while xdotool search --classname '^panel$' >/dev/null; do sleep 0.05; done
mkdir -p "$work/no-tray"
XDG_CONFIG_HOME=$work/no-tray PATH=$path "$corvane" >/dev/null 2>&1 &
pids+=($!)
window=$(xdotool search --sync --onlyvisible --name '^Corvane$' | awk 'NR == 1')
sleep 0.5
import -window "$window" "$out/no-tray-window.png"
echo "wrote $out/no-tray-window.png"
