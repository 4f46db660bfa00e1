# Sourced by bash scripts that need a private X display with an XEmbed tray.
# Sets: work (temporary folder, removed on exit), pids (processes stopped on exit), DISPLAY,
# XDG_RUNTIME_DIR, panel (trayer's panel window, where docked icons appear).

work=$(mktemp -d)
pids=()
cleanup() {
    for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
    rm -rf "$work"
}
trap cleanup EXIT

# Xvfb picks a free display and reports it on a file descriptor once it accepts clients.
exec {display_fd}>"$work/display"
Xvfb -displayfd "$display_fd" -screen 0 1280x800x24 -nolisten tcp >/dev/null 2>&1 &
pids+=($!)
for _ in $(seq 200); do [[ -s $work/display ]] && break; sleep 0.05; done
export DISPLAY=:$(awk 'NR == 1' "$work/display")
# Without a session bus Qt docks through XEmbed, which is what trayer offers.
unset DBUS_SESSION_BUS_ADDRESS
export XDG_RUNTIME_DIR=$work/runtime
mkdir -m 0700 "$XDG_RUNTIME_DIR"

trayer --edge top --align right --widthtype request --height 24 >/dev/null 2>&1 &
pids+=($!)
xdotool search --sync --classname '^trayer$' >/dev/null
panel=$(xdotool search --sync --classname '^panel$' | awk 'NR == 1')
