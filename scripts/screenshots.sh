#!/usr/bin/env bash
# Takes screenshots of the main window's pages on a private virtual display with openbox,
# so the look can be compared between builds and retaken after each change:
#
#   scripts/screenshots.sh PICTAVIA_BINARY PREFIX [OUTPUT_FOLDER]
#
# writes PREFIX-home.png, PREFIX-home-empty.png, PREFIX-library.png (20 captures),
# PREFIX-settings.png (searched for "hotkey") and PREFIX-agents.png, by default into
# docs/screenshots/. Needs xvfb, openbox, xdotool and imagemagick (scripts/deps.sh).
set -euo pipefail

binary="$(realpath "${1:?the pictavia binary to run}")"
prefix="${2:?a prefix for the file names, such as before or after}"
output="$(realpath -m "${3:-$(dirname "$0")/../docs/screenshots}")"
mkdir -p "$output"

work="$(mktemp -d)"
pids=()
cleanup() {
  local pid
  for ((i = ${#pids[@]} - 1; i >= 0; i--)); do
    pid="${pids[i]}"
    kill "$pid" 2>/dev/null || true
    wait "$pid" 2>/dev/null || true
  done
  rm -rf "$work"
}
trap cleanup EXIT

# A display of its own, on the first free number.
Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp 3>"$work/display" >"$work/xvfb.log" 2>&1 &
pids+=($!)
for _ in $(seq 300); do
  [ -s "$work/display" ] && break
  sleep 0.1
done
[ -s "$work/display" ] || { echo "screenshots: Xvfb did not start" >&2; exit 1; }
export DISPLAY=":$(head -n 1 "$work/display")"
unset WAYLAND_DISPLAY # its own X server, even when started from a Wayland desktop
openbox >"$work/openbox.log" 2>&1 &
pids+=($!)
sleep 1

export HOME="$work/home" XDG_CONFIG_HOME="$work/home/config" XDG_DATA_HOME="$work/home/data"
export XDG_RUNTIME_DIR="$work/runtime"
mkdir -p "$XDG_CONFIG_HOME/pictavia" "$XDG_RUNTIME_DIR" && chmod 700 "$XDG_RUNTIME_DIR"
unset QT_QPA_PLATFORMTHEME DESKTOP_SESSION XDG_CURRENT_DESKTOP
printf 'captureSound = false\n' >"$XDG_CONFIG_HOME/pictavia/pictavia.conf"

# The widest visible window called Pictavia: the main window, not a toast.
main_window() {
  local id best="" widest=0 WIDTH
  for id in $(xdotool search --onlyvisible --name '^Pictavia$' 2>/dev/null); do
    WIDTH=0
    eval "$(xdotool getwindowgeometry --shell "$id" 2>/dev/null | grep '^WIDTH=')"
    if [ "$WIDTH" -gt "$widest" ]; then
      widest=$WIDTH
      best=$id
    fi
  done
  echo "$best"
}

wait_for_window() {
  for _ in $(seq 100); do
    if [ -n "$(main_window)" ]; then
      sleep 1.5
      return 0
    fi
    sleep 0.1
  done
  echo "screenshots: the main window did not appear" >&2
  cat "$work/app.log" >&2
  exit 1
}

# The main window with openbox's frame around it.
shoot() {
  local window
  window="$(main_window)"
  xdotool windowactivate --sync "$window" >/dev/null 2>&1 || true
  sleep 0.8
  import -window "$window" -frame "$output/$prefix-$1.png"
  echo "$output/$prefix-$1.png"
}

start_app() {
  "$binary" >"$work/app.log" 2>&1 &
  pids+=($!)
  wait_for_window
  # Past the toasts of the start (keys that openbox holds), which would cover the page.
  sleep 6.5
}

quit_app() {
  local pid="${pids[-1]}"
  kill "$pid" 2>/dev/null || true
  wait "$pid" 2>/dev/null || true
  unset 'pids[-1]'
}

# The first look of a new user: nothing captured yet.
start_app
shoot home-empty
quit_app

# Twenty captures of application windows, as the library shows them.
history="$XDG_DATA_HOME/Pictavia/History"
mkdir -p "$history"
colours=(2563EB 16A34A DC2626 9333EA EA580C 0891B2 4F46E5 DB2777 65A30D 0D9488)
titles=("Quarterly report" "Release checklist" "Invoice 2041" "Design review" "Build failed"
  "Team calendar" "Pull request 318" "Budget 2027" "Onboarding notes" "Error log"
  "Sprint board" "Customer survey" "Server status" "Roadmap" "Meeting notes"
  "Shopping list" "Travel plan" "Bug 4711" "Weekly summary" "Dashboard")
now=$(date +%s)
for i in $(seq 0 19); do
  # Newest last, two minutes apart, named as Pictavia names captures.
  taken=$((now - (19 - i) * 120 - 600))
  name="Pictavia $(date -d "@$taken" '+%Y-%m-%d at %H.%M.%S').png"
  colour="#${colours[i % ${#colours[@]}]}"
  width=$((900 + (i % 4) * 160)) height=$((560 + (i % 3) * 90))
  /usr/bin/convert -size "${width}x${height}" xc:'#F8FAFC' \
    -fill "$colour" -draw "rectangle 0,0 $width,56" \
    -fill white -font DejaVu-Sans-Bold -pointsize 26 -annotate +24+38 "${titles[i]}" \
    -fill '#E2E8F0' -draw "rectangle 24,88 $((width / 3)),$((height - 24))" \
    -fill '#334155' -font DejaVu-Sans -pointsize 20 \
    -annotate +$((width / 3 + 32))+120 "Status: ready for review" \
    -annotate +$((width / 3 + 32))+160 "Owner: Dana Whitfield" \
    -annotate +$((width / 3 + 32))+200 "Updated 25 November 2026" \
    -fill "$colour" -draw "roundrectangle $((width / 3 + 32)),240 $((width - 32)),$((height - 40)) 12,12" \
    "$history/$name"
  touch -d "@$taken" "$history/$name"
done

start_app
shoot home
"$binary" pictavia://history >/dev/null 2>&1
sleep 1
shoot library
"$binary" pictavia://settings >/dev/null 2>&1
sleep 0.5
xdotool type --delay 60 hotkey
sleep 1
shoot settings
# The sidebar's third page: from the search field back to the sidebar, then up one.
xdotool key shift+Tab
sleep 0.2
xdotool key Up
sleep 1
shoot agents
quit_app
