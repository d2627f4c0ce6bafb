# Sourced by the Wayland benchmarks. run_in_wayland_session NAME BUILD OUTPUT SCRIPT [VAR=VALUE]...
# builds what they need, runs SCRIPT again inside a headless sway session of its own
# (tests/wayland_session, one output of OUTPUT such as 1920x1080@1) with PICTAVIA_BENCH_SESSION
# set and the variables given, and exits with its status.
run_in_wayland_session() {
  local name=$1 build=$2 output=$3 script=$4 program status=0
  shift 4
  if [ -f "$build/CMakeCache.txt" ]; then
    cmake --build "$build" --target pictavia wayland_session scene >/dev/null ||
      { echo "$name: building pictavia, wayland_session and the scene failed" >&2; exit 1; }
  fi
  for program in "$build/pictavia" "$build/tests/wayland_session" "$build/bench/scene"; do
    [ -x "$program" ] || { echo "$name: $program not found; configure $build first" >&2; exit 1; }
  done
  "$build/tests/wayland_session" --output "$output" --background '#3366cc' -- \
    env PICTAVIA_BENCH_SESSION=1 "$@" bash "$script" "$build" || status=$?
  [ "$status" -ne 77 ] || echo "$name: no headless Wayland session here (see above)" >&2
  exit "$status"
}

# Inside the session: start_scene NAME BUILD WORK starts the benchmark scene full screen and
# waits until it is drawn; its pid is left in scene_pid.
start_scene() {
  local name=$1 build=$2 work=$3
  "$build/bench/scene" --ready-file "$work/ready" >"$work/scene.log" 2>&1 &
  scene_pid=$!
  for _ in $(seq 600); do
    [ -s "$work/ready" ] && break
    sleep 0.1
  done
  [ -s "$work/ready" ] || { echo "$name: the scene did not come up" >&2; cat "$work/scene.log" >&2; exit 1; }
}
