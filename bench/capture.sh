#!/usr/bin/env bash
# Times a full-screen capture to a PNG file by Pictavia and by the usual Linux screenshot
# tools, on an Xvfb desktop showing a photo-like wallpaper under windows of text.
#
#   bench/capture.sh [BUILD_DIR]      (default /work/main/build)
#
# Environment: RUNS (timed runs per tool, default 15), SIZES (default "1920x1080 3840x2160").
# Prints, per screen size, each tool's median time, PNG size and ratio to the fastest other
# tool, then whether Pictavia is within half the fastest tool's time and the median size.
set -euo pipefail

build=${1:-/work/main/build}
runs=${RUNS:-15}
sizes=${SIZES:-"1920x1080 3840x2160"}

for tool in Xvfb openbox xprop python3; do
  command -v "$tool" >/dev/null || { echo "capture: $tool is missing (see scripts/deps.sh)" >&2; exit 1; }
done

# The scene is ours; build it (and Pictavia) when the build tree can.
if [ -f "$build/CMakeCache.txt" ]; then
  cmake --build "$build" --target scene >/dev/null || { echo "capture: building the scene failed" >&2; exit 1; }
  cmake --build "$build" --target pictavia >/dev/null 2>&1 || echo "capture: note: building pictavia failed" >&2
fi
scene_bin=$build/bench/scene
pictavia_bin=$build/pictavia
[ -x "$scene_bin" ] || { echo "capture: $scene_bin not found; configure $build first" >&2; exit 1; }

work=$(mktemp -d /tmp/pictavia-capture-bench.XXXXXX)
bus_pid=""  # the session bus, for all sizes; `pids` holds this screen size's processes

stop_all() {
  stop_started
  if [ -n "$bus_pid" ]; then
    kill "$bus_pid" 2>/dev/null || true
    wait "$bus_pid" 2>/dev/null || true
  fi
  rm -rf "$work"
}
trap stop_all EXIT
trap 'exit 130' INT TERM

source "$(dirname "$0")/desktop.sh"

# A private session bus for the tools that want one (flameshot).
dbus_address=""
if command -v dbus-daemon >/dev/null; then
  dbus-daemon --session --nofork --nopidfile --print-address=5 5>"$work/bus" 2>"$work/dbus.log" &
  bus_pid=$!
  wait_for_file "$work/bus" 10 && dbus_address=$(head -n1 "$work/bus")
fi

# Pictavia with its own settings and data, so the run neither uses nor changes the user's.
mkdir -p "$work/config/pictavia" "$work/data"
printf '[General]\ncopyToClipboard=false\n' >"$work/config/pictavia/pictavia.conf"

for size in $sizes; do
  width=${size%x*}
  height=${size#*x}
  start_desktop "$width" "$height" "$scene_bin" "$work" || { echo "capture: no desktop" >&2; exit 1; }

  echo
  echo "== ${width}x${height} on $DISPLAY, median of $runs runs =="
  PICTAVIA="$pictavia_bin" WORK="$work" RUNS="$runs" WIDTH="$width" HEIGHT="$height" \
    DBUS_SESSION_BUS_ADDRESS="$dbus_address" python3 - <<'PY'
import os, shutil, statistics, struct, subprocess, sys, time

work, runs = os.environ["WORK"], int(os.environ["RUNS"])
width, height = int(os.environ["WIDTH"]), int(os.environ["HEIGHT"])
display = os.environ["DISPLAY"]
out_dir = os.path.join(work, "out")


def fresh_out_dir():
    shutil.rmtree(out_dir, ignore_errors=True)
    os.makedirs(out_dir)
    return out_dir


def file_target(name):
    return lambda: os.path.join(fresh_out_dir(), name)


def written_file(target, stdout):
    return target if os.path.isfile(target) else None


def png_in_dir(target, stdout):
    pngs = [f for f in os.listdir(target) if f.endswith(".png")]
    return os.path.join(target, pngs[0]) if len(pngs) == 1 else None


def printed_path(target, stdout):
    lines = [l.strip() for l in stdout.decode(errors="replace").splitlines() if l.strip()]
    return lines[-1] if lines and os.path.isfile(lines[-1]) else None


pictavia_env = dict(os.environ,
                    XDG_CONFIG_HOME=os.path.join(work, "config"),
                    XDG_DATA_HOME=os.path.join(work, "data"))

# name, make the target (file or folder), argv for it, find the PNG it wrote, environment
tools = [
    ("pictavia", lambda: None, lambda t: [os.environ["PICTAVIA"], "capture", "fullscreen"], printed_path,
     pictavia_env),
    ("maim", file_target("maim.png"), lambda t: ["maim", t], written_file, None),
    ("scrot", file_target("scrot.png"), lambda t: ["scrot", t], written_file, None),
    ("import", file_target("import.png"), lambda t: ["import", "-window", "root", t], written_file, None),
    ("ffmpeg", file_target("ffmpeg.png"),
     lambda t: ["ffmpeg", "-loglevel", "error", "-y", "-f", "x11grab", "-video_size", f"{width}x{height}",
                "-i", display, "-frames:v", "1", t], written_file, None),
    ("flameshot", fresh_out_dir, lambda t: ["flameshot", "full", "-p", t], png_in_dir, None),
]


def png_size(path):
    with open(path, "rb") as f:
        head = f.read(24)
    if head[:8] != b"\x89PNG\r\n\x1a\n":
        return None
    return struct.unpack(">II", head[16:24])


def run_once(tool):
    name, make_target, argv, find_output, env = tool
    target = make_target()
    start = time.perf_counter()
    result = subprocess.run(argv(target), stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=env, timeout=120)
    elapsed = time.perf_counter() - start
    path = find_output(target, result.stdout)
    if result.returncode != 0 or path is None:
        message = (result.stderr or result.stdout).decode(errors="replace").strip().splitlines()
        return None, f"exit {result.returncode}: {message[-1] if message else 'no PNG written'}"
    size = os.path.getsize(path)
    dims = png_size(path)
    os.remove(path)
    if dims != (width, height):
        return None, f"wrote {dims} instead of {width}x{height}"
    return (elapsed, size), None


# A warm-up run each, which also tells which tools work here.
working, notes = [], []
for tool in tools:
    if shutil.which(tool[2](None)[0]) is None:
        notes.append(f"{tool[0]}: skipped, not installed")
        continue
    try:
        measured, problem = run_once(tool)
    except subprocess.TimeoutExpired:
        measured, problem = None, "timed out"
    if measured is None:
        notes.append(f"{tool[0]}: skipped, {problem}")
    else:
        working.append(tool)

# Rounds over all tools, so background load falls on every tool alike.
times = {tool[0]: [] for tool in working}
sizes = {}
for _ in range(runs):
    for tool in list(working):
        measured, problem = run_once(tool)
        if measured is None:
            notes.append(f"{tool[0]}: dropped mid-run, {problem}")
            working.remove(tool)
            continue
        times[tool[0]].append(measured[0])
        sizes[tool[0]] = measured[1]

medians = {name: statistics.median(t) * 1000 for name, t in times.items() if t}
peers = {name: ms for name, ms in medians.items() if name != "pictavia"}
fastest = min(peers, key=peers.get) if peers else None

print(f"{'tool':<10} {'median ms':>10} {'PNG bytes':>12} {'vs fastest peer':>16}")
for name, ms in sorted(medians.items(), key=lambda item: item[1]):
    ratio = f"{ms / peers[fastest]:.2f}x" if fastest else "-"
    print(f"{name:<10} {ms:>10.1f} {sizes[name]:>12,} {ratio:>16}")
for note in notes:
    print(f"note: {note}")

if "pictavia" in medians and fastest:
    ratio = medians["pictavia"] / peers[fastest]
    median_size = statistics.median(sizes[name] for name in peers)
    print(f"pictavia: {ratio:.2f}x the fastest peer ({fastest}, {peers[fastest]:.1f} ms), "
          f"goal 0.5x: {'met' if ratio <= 0.5 else 'NOT met'}")
    print(f"pictavia: PNG {sizes['pictavia']:,} bytes, peers' median {median_size:,.0f}: "
          f"{'within' if sizes['pictavia'] <= median_size else 'LARGER'}")
elif "pictavia" not in medians:
    print("pictavia: not measured (see notes)")
PY

  stop_started
done
