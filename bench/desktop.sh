# Sourced by the benchmark scripts: a private Xvfb desktop with openbox and the benchmark
# scene. Started processes go into `pids`; stop_started stops them newest first.

pids=()

stop_started() {
  local i
  # Newest first: the scene and window manager before the X server they talk to.
  for ((i = ${#pids[@]} - 1; i >= 0; i--)); do
    kill "${pids[i]}" 2>/dev/null || true
    wait "${pids[i]}" 2>/dev/null || true
  done
  pids=()
}

use_private_home() { # work: Pictavia's settings, history and sockets under it, not the user's
  export XDG_CONFIG_HOME=$1/config XDG_DATA_HOME=$1/data XDG_RUNTIME_DIR=$1/runtime
  mkdir -p "$XDG_CONFIG_HOME/pictavia" "$XDG_DATA_HOME/Pictavia/History" "$XDG_RUNTIME_DIR"
  chmod 700 "$XDG_RUNTIME_DIR"
}

wait_for_path() { # path seconds: until something (a socket, say) is there
  local deadline=$((SECONDS + $2))
  until [ -e "$1" ]; do
    [ $SECONDS -lt $deadline ] || return 1
    sleep 0.05
  done
}

wait_for_file() { # path seconds: until the file exists and is not empty
  local deadline=$((SECONDS + $2))
  until [ -s "$1" ]; do
    [ $SECONDS -lt $deadline ] || return 1
    sleep 0.05
  done
}

# start_desktop WIDTH HEIGHT SCENE_BIN WORK_DIR: exports DISPLAY; fails with a message.
start_desktop() {
  local width=$1 height=$2 scene=$3 work=$4
  rm -f "$work/display" "$work/ready"
  Xvfb -displayfd 4 -screen 0 "${width}x${height}x24" -nolisten tcp -noreset 4>"$work/display" 2>"$work/xvfb.log" &
  pids+=($!)
  wait_for_file "$work/display" 20 || { echo "Xvfb did not start" >&2; cat "$work/xvfb.log" >&2; return 1; }
  export DISPLAY=":$(head -n1 "$work/display")"
  unset WAYLAND_DISPLAY # its own X server, even when started from a Wayland desktop
  unset WAYLAND_DISPLAY QT_QPA_PLATFORM

  openbox --sm-disable >"$work/openbox.log" 2>&1 &
  pids+=($!)
  for _ in $(seq 100); do
    xprop -root _NET_SUPPORTING_WM_CHECK 2>/dev/null | grep -q 'window id' && break
    sleep 0.05
  done

  "$scene" --ready-file "$work/ready" >"$work/scene.log" 2>&1 &
  pids+=($!)
  wait_for_file "$work/ready" 120 || { echo "the scene did not come up" >&2; cat "$work/scene.log" >&2; return 1; }
}
