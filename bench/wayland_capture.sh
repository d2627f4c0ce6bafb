#!/usr/bin/env bash
# Full-screen capture to a PNG file on a headless sway session: Pictavia through wlroots'
# screencopy, Pictavia through the desktop's screenshot portal, and grim, the wlroots
# screenshot tool, on an output showing the capture benchmark's scene (a photo-like
# wallpaper and windows of text, tiled by sway).
#
#   bench/wayland_capture.sh [BUILD_DIR]      (default /work/main/build)
#
# Environment: RUNS (timed runs per tool, default 15), OUTPUT (the session's output as
# WxH@SCALE, default 1920x1080@1).
# The script runs itself again inside tests/helpers' wayland_session (sway, PipeWire,
# WirePlumber, the portals, as the session's user), times the tools in interleaved rounds
# after a warm-up run each, and prints each one's median wall time, median CPU time, PNG
# size and ratio to grim, then whether Pictavia's capture takes at most half grim's time;
# once with no Pictavia running, once with `pictavia --background` running, which the
# command hands its capture to.
set -euo pipefail

build=$(realpath "${1:-/work/main/build}")
runs=${RUNS:-15}
output=${OUTPUT:-1920x1080@1}

source "$(dirname "$(realpath "$0")")/wayland_session.sh"
if [ -z "${PICTAVIA_BENCH_SESSION:-}" ]; then
  echo "== $output, headless sway, median of $runs interleaved runs =="
  run_in_wayland_session wayland_capture "$build" "$output" "$(realpath "$0")" RUNS="$runs"
fi

# Inside the session: its own home, so Pictavia's settings and history are the session's.
work=$(mktemp -d "$XDG_RUNTIME_DIR/bench.XXXXXX")
scene_pid=""
resident_pid=""
cleanup() {
  local pid
  for pid in $resident_pid $scene_pid; do
    kill "$pid" 2>/dev/null || true
    wait "$pid" 2>/dev/null || true
  done
  rm -rf "$work"
}
trap cleanup EXIT

mkdir -p "$XDG_CONFIG_HOME/pictavia"
printf 'copyToClipboard = false\ncaptureSound = false\nshowQuickAccess = false\n' \
  >"$XDG_CONFIG_HOME/pictavia/pictavia.conf"

start_scene wayland_capture "$build" "$work"

# timing CASE: the tools' medians in interleaved rounds; CASE names the round.
timing() {
  PICTAVIA="$build/pictavia" WORK="$work" RUNS="$runs" CASE="$1" RESIDENT="$resident_pid" python3 - <<'PY'
import os, statistics, struct, subprocess, time

work, runs, pictavia, case = os.environ["WORK"], int(os.environ["RUNS"]), os.environ["PICTAVIA"], os.environ["CASE"]
portal_env = dict(os.environ, PICTAVIA_NO_SCREENCOPY="1")


def png_size(path):
    with open(path, "rb") as f:
        head = f.read(24)
    return struct.unpack(">II", head[16:24]) if head[:8] == b"\x89PNG\r\n\x1a\n" else None


def printed(out):
    return out.strip().splitlines()[-1]


# name, argv, environment, where its PNG is (from what it printed)
tools = [("pictavia", [pictavia, "capture", "fullscreen"], None, printed)]
# A running Pictavia captures with its own backend, chosen when it started.
if case == "none running":
    tools.append(("pictavia portal", [pictavia, "capture", "fullscreen"], portal_env, printed))
tools.append(("grim", ["grim", os.path.join(work, "grim.png")], None, lambda out: os.path.join(work, "grim.png")))


def run(tool):
    name, argv, env, written = tool
    start = time.perf_counter()
    child = subprocess.Popen(argv, env=env, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    out, err = child.communicate()
    elapsed = time.perf_counter() - start
    if child.returncode != 0:
        raise RuntimeError(f"{name}: exit {child.returncode}: {err.decode(errors='replace').strip()}")
    path = written(out.decode())
    size, dims = os.path.getsize(path), png_size(path)
    os.remove(path)
    return elapsed, size, dims


def settle():
    # A running Pictavia reads the text of each capture after it has delivered it: every run
    # starts once it is idle again, so that no tool pays for the one before.
    pid = os.environ.get("RESIDENT")
    if not pid:
        return

    def ticks():
        with open(f"/proc/{pid}/stat") as f:
            fields = f.read().rsplit(")", 1)[1].split()
        return int(fields[11]) + int(fields[12])

    deadline, last = time.monotonic() + 30, ticks()
    while time.monotonic() < deadline:
        time.sleep(0.2)
        now = ticks()
        if now == last:
            return
        last = now


def cpu_now():
    # The children's totals: communicate() has reaped the child by the time it returns.
    usage = os.times()
    return usage.children_user + usage.children_system


sizes, dims = {}, {}
notes = []
for tool in list(tools):  # warm-up, which also checks that each tool works here
    try:
        run(tool)
    except RuntimeError as failure:
        if tool[0] != "pictavia portal":
            raise
        notes.append(f"{failure}; left out")
        tools.remove(tool)
walls = {tool[0]: [] for tool in tools}
cpus = {tool[0]: [] for tool in tools}
for _ in range(runs):
    for tool in tools:
        settle()
        before = cpu_now()
        elapsed, size, dim = run(tool)
        walls[tool[0]].append(elapsed)
        cpus[tool[0]].append(cpu_now() - before)
        sizes[tool[0]], dims[tool[0]] = size, dim

wall = {name: statistics.median(times) * 1000 for name, times in walls.items()}
cpu = {name: statistics.median(times) * 1000 for name, times in cpus.items()}
print(f"{'tool':<16} {'median ms':>10} {'CPU ms':>8} {'PNG bytes':>12} {'size':>10} {'vs grim':>8}")
for name, ms in sorted(wall.items(), key=lambda item: item[1]):
    size = "x".join(map(str, dims[name] or ("?", "?")))
    print(f"{name:<16} {ms:>10.1f} {cpu[name]:>8.1f} {sizes[name]:>12,} {size:>10} {ms / wall['grim']:>7.2f}x")
for note in notes:
    print(f"note: {note}")
ratio = wall["pictavia"] / wall["grim"]
print(f"pictavia ({case}): {ratio:.2f}x grim ({wall['grim']:.1f} ms), goal 0.5x: {'met' if ratio <= 0.5 else 'NOT met'}")
PY
}

echo "-- no Pictavia running"
timing "none running"

echo "-- pictavia --background running (the command hands the capture to it)"
"$build/pictavia" --background >"$work/resident.log" 2>&1 &
resident_pid=$!
for _ in $(seq 300); do
  [ -e "$XDG_RUNTIME_DIR/pictavia/instance" ] && break
  sleep 0.1
done
if [ -e "$XDG_RUNTIME_DIR/pictavia/instance" ]; then
  timing "one running"
else
  echo "wayland_capture: pictavia --background did not start" >&2
  cat "$work/resident.log" >&2
fi
