#!/usr/bin/env bash
# Start-up and full-screen capture to a PNG file, Pictavia's command line against the usual
# Linux screenshot tools, on an Xvfb desktop showing a photo-like wallpaper under windows of
# text, with a history of 100,000 captures in Pictavia's index.
#
#   bench/capture.sh [BUILD_DIR]      (default /work/main/build)
#
# Environment: RUNS (timed runs per tool, default 15), SIZES (default "1920x1080 3840x2160"),
# BASELINE (another pictavia executable, timed beside this one as "baseline").
# Prints the start-up time of `pictavia --help` against the other tools' --version, then per
# screen size three rounds of captures: with an empty history and no Pictavia running, then
# with the large history, without a running Pictavia and with `pictavia --background`
# running on the same display. Each tool's median wall time, its median CPU time, PNG size
# and ratios to scrot and to the fastest other tool.
set -euo pipefail

build=${1:-/work/main/build}
runs=${RUNS:-15}
sizes=${SIZES:-"1920x1080 3840x2160"}
baseline=${BASELINE:-}
records=100000

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
[ -z "$baseline" ] || [ -x "$baseline" ] || { echo "capture: BASELINE $baseline is not a program" >&2; exit 1; }

work=$(mktemp -d /tmp/pictavia-capture-bench.XXXXXX)
bus_pid=""      # the session bus, for all sizes; `pids` holds this screen size's processes
resident_pid="" # pictavia --background, while the second round runs

stop_resident() {
  if [ -n "$resident_pid" ]; then
    kill "$resident_pid" 2>/dev/null || true
    wait "$resident_pid" 2>/dev/null || true
    resident_pid=""
  fi
}

stop_all() {
  stop_resident
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

# A private session bus for the tools that want one (flameshot). Only flameshot's own service
# can be started on it: with the system's services, its "capture saved" notification started
# whichever desktop's notification service is installed (KDE's waits 25 s for a name that never
# comes), and flameshot waited for it.
dbus_address=""
if command -v dbus-daemon >/dev/null; then
  mkdir -p "$work/bus-services"
  cp /usr/share/dbus-1/services/org.flameshot.Flameshot.service "$work/bus-services/" 2>/dev/null || true
  sed "s|<standard_session_servicedirs */>|<servicedir>$work/bus-services</servicedir>|" \
    /usr/share/dbus-1/session.conf >"$work/bus.conf"
  dbus-daemon --config-file="$work/bus.conf" --nofork --nopidfile --print-address=5 5>"$work/bus" 2>"$work/dbus.log" &
  bus_pid=$!
  wait_for_file "$work/bus" 10 && dbus_address=$(head -n1 "$work/bus")
fi

# Pictavia with its own settings, data and instance socket, so the run neither uses nor
# changes the user's, nor talks to the user's running Pictavia.
use_private_home "$work"
# A history limit above the records, as a user who keeps that many has.
printf 'copyToClipboard = false\ncaptureSound = false\nshowQuickAccess = false\nhistoryLimit = 1000000\n' \
  >"$XDG_CONFIG_HOME/pictavia/pictavia.conf"

# The history index: screenshot-like recognised text, as bench/history_bench.cpp makes it.
RECORDS=$records OUT="$work/index.json" python3 - <<'PY'
import datetime, json, os, random

vocabulary = """File Edit View Window Help Settings General Account Privacy Save Cancel Open Close Inbox
Drafts Sent Archive Reply Forward Subject From To Meeting tomorrow at the and of Total Amount Due Date
Payment Card Number Order Shipping Address Street Berlin London Project Status Done Pending Error
Warning build failed passed main.cpp return include struct const void user@mail Download Upload Share
Search Results Page Next Previous Q3 Revenue Growth 12.5% €1,240 $99.00 Monday Tuesday Friday January
March Notes Terminal git commit push origin Dashboard Report Export Import Profile Log out Welcome""".split()
rng = random.Random(42)
start = datetime.datetime(2023, 1, 1, 8, 0, tzinfo=datetime.timezone.utc)


def text():
    length, lines = 20 + rng.randrange(1180), []
    while sum(len(line) + 1 for line in lines) < length:
        lines.append(" ".join(rng.choice(vocabulary) for _ in range(2 + rng.randrange(8))))
    return "\n".join(lines) + "\n"


records = []
for i in range(int(os.environ["RECORDS"])):
    records.append({"name": f"Pictavia {i} at {rng.randrange(86400)}.png", "text": text(),
                    "date": (start + datetime.timedelta(seconds=300 * i)).strftime("%Y-%m-%dT%H:%M:%SZ"),
                    "kind": "image", "width": 1440, "height": 900, "keep": i % 50 == 0,
                    "app": rng.choice(vocabulary), "window": f"{rng.choice(vocabulary)} - {i}"})
with open(os.environ["OUT"], "w", encoding="utf-8") as f:
    json.dump({"version": 1, "records": records}, f, ensure_ascii=False, separators=(",", ":"))
# A file for each record (empty: their pixels play no part), or the index drops the records.
files = os.path.join(os.path.dirname(os.environ["OUT"]), "History")
os.makedirs(files, exist_ok=True)
for record in records:
    open(os.path.join(files, record["name"]), "wb").close()
PY

# Each round starts from the same index: what one round's captures added goes.
fresh_history() {
  rm -rf "$XDG_DATA_HOME/Pictavia"
  mkdir -p "$XDG_DATA_HOME/Pictavia"
  cp -r "$work/History" "$XDG_DATA_HOME/Pictavia/History"
  cp "$work/index.json" "$XDG_DATA_HOME/Pictavia/index.json"
  # The copy's write-back would otherwise land on whichever tool syncs a file first.
  sync
}

# The timing loop: MODE=startup times --help and --version, MODE=capture full-screen captures.
timing() {
  PICTAVIA="$pictavia_bin" BASELINE="$baseline" WORK="$work" RUNS="$runs" \
    DBUS_SESSION_BUS_ADDRESS="$dbus_address" MODE="$1" CASE="${2:-}" WIDTH="${width:-0}" HEIGHT="${height:-0}" \
    python3 - <<'PY'
import os, shutil, statistics, struct, subprocess, sys, time

mode, case = os.environ["MODE"], os.environ["CASE"]
work, runs = os.environ["WORK"], int(os.environ["RUNS"])
width, height = int(os.environ["WIDTH"]), int(os.environ["HEIGHT"])
display = os.environ.get("DISPLAY", "")
out_dir = os.path.join(work, "out")
pictavias = [("pictavia", os.environ["PICTAVIA"])]
if os.environ["BASELINE"]:
    pictavias.append(("baseline", os.environ["BASELINE"]))


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


def printed_anything(target, stdout):
    return "-" if stdout.strip() else None


# name, make the target (file or folder), argv for it, what it wrote (None: it failed)
if mode == "startup":
    tools = [(name, lambda: None, lambda t, b=binary: [b, "--help"], printed_anything) for name, binary in pictavias]
    tools += [(name + " --version", lambda: None, lambda t, b=binary: [b, "--version"], printed_anything)
              for name, binary in pictavias]
    # A command's own help: the application and Qt loaded, nothing done.
    tools += [(name + " capture --help", lambda: None, lambda t, b=binary: [b, "capture", "--help"],
               printed_anything) for name, binary in pictavias]
    tools += [("scrot --version", lambda: None, lambda t: ["scrot", "--version"], printed_anything),
              ("maim --version", lambda: None, lambda t: ["maim", "--version"], printed_anything)]
else:
    tools = [(name, lambda: None, lambda t, b=binary: [b, "capture", "fullscreen"], printed_path)
             for name, binary in pictavias]
    tools += [
        ("maim", file_target("maim.png"), lambda t: ["maim", t], written_file),
        ("scrot", file_target("scrot.png"), lambda t: ["scrot", t], written_file),
        ("import", file_target("import.png"), lambda t: ["import", "-window", "root", t], written_file),
        ("ffmpeg", file_target("ffmpeg.png"),
         lambda t: ["ffmpeg", "-loglevel", "error", "-y", "-f", "x11grab", "-video_size", f"{width}x{height}",
                    "-i", display, "-frames:v", "1", t], written_file),
        ("flameshot", fresh_out_dir, lambda t: ["flameshot", "full", "-p", t], png_in_dir),
    ]
ours = {name for name, _ in pictavias}


def png_size(path):
    with open(path, "rb") as f:
        head = f.read(24)
    if head[:8] != b"\x89PNG\r\n\x1a\n":
        return None
    return struct.unpack(">II", head[16:24])


def run_measured(tool):
    name, make_target, argv, find_output = tool
    target = make_target()
    start = time.perf_counter()
    with open(os.path.join(work, "stderr"), "w+b") as errors:
        child = subprocess.Popen(argv(target), stdout=subprocess.PIPE, stderr=errors)
        out = child.stdout.read()
        # Reaped here rather than by Popen, for the child's own CPU time (user and system),
        # which other load on the machine disturbs less than wall time.
        _, status, usage = os.wait4(child.pid, 0)
        elapsed = time.perf_counter() - start
        child.returncode = os.waitstatus_to_exitcode(status)
        child.stdout.close()
        errors.seek(0)
        err = errors.read()
    cpu = usage.ru_utime + usage.ru_stime
    path = find_output(target, out)
    if child.returncode != 0 or path is None:
        message = (err or out).decode(errors="replace").strip().splitlines()
        return None, f"exit {child.returncode}: {message[-1] if message else 'nothing written'}"
    size = 0
    if mode == "capture":
        size = os.path.getsize(path)
        dims = png_size(path)
        # Pictavia's captures stay in its history, as a user's do: deleting each one behind
        # its back would make every next capture count the folder again.
        if not os.path.abspath(path).startswith(os.path.join(os.environ["XDG_DATA_HOME"], "Pictavia", "History")):
            os.remove(path)
        if dims != (width, height):
            return None, f"wrote {dims} instead of {width}x{height}"
    return (elapsed, cpu, size), None


# A warm-up run each, which also tells which tools work here.
working, notes = [], []
for tool in tools:
    if shutil.which(tool[2](None)[0]) is None:
        notes.append(f"{tool[0]}: skipped, not installed")
        continue
    measured, problem = run_measured(tool)
    if measured is None:
        notes.append(f"{tool[0]}: skipped, {problem}")
    else:
        working.append(tool)

# Rounds over all tools, so background load falls on every tool alike. Each round starts one
# tool further on: the run right after flameshot, which leaves the X server and the bus busy
# for a while after it exits (+30 ms), falls on a different tool each time.
walls = {tool[0]: [] for tool in working}
cpus = {tool[0]: [] for tool in working}
sizes = {}
for round_number in range(runs):
    shift = round_number % len(working) if working else 0
    for tool in working[shift:] + working[:shift]:
        measured, problem = run_measured(tool)
        if measured is None:
            notes.append(f"{tool[0]}: dropped mid-run, {problem}")
            working.remove(tool)
            continue
        walls[tool[0]].append(measured[0])
        cpus[tool[0]].append(measured[1])
        sizes[tool[0]] = measured[2]

wall = {name: statistics.median(t) * 1000 for name, t in walls.items() if t}
cpu = {name: statistics.median(cpus[name]) * 1000 for name in wall}
peers = {name: ms for name, ms in wall.items() if name not in ours}
fastest = min(peers, key=peers.get) if peers else None
scrot = next((name for name in peers if name.startswith("scrot")), None)


def ratio(name, to):
    return f"{wall[name] / peers[to]:.2f}x" if to else "-"


if mode == "startup":
    print(f"{'program':<25} {'median ms':>10} {'CPU ms':>8} {'vs scrot':>9}")
    for name, ms in sorted(wall.items(), key=lambda item: item[1]):
        print(f"{name:<25} {ms:>10.1f} {cpu[name]:>8.1f} {ratio(name, scrot):>9}")
else:
    print(f"{'tool':<10} {'median ms':>10} {'CPU ms':>8} {'PNG bytes':>12} {'vs scrot':>9} {'vs fastest':>11}")
    for name, ms in sorted(wall.items(), key=lambda item: item[1]):
        print(f"{name:<10} {ms:>10.1f} {cpu[name]:>8.1f} {sizes[name]:>12,} {ratio(name, scrot):>9} "
              f"{ratio(name, fastest):>11}")
for note in notes:
    print(f"note: {note}")

if "pictavia" not in wall:
    print("pictavia: not measured (see notes)")
elif mode == "startup":
    print(f"pictavia --help: {wall['pictavia']:.1f} ms, {cpu['pictavia']:.1f} ms of CPU, "
          f"goal under 15 ms: {'met' if wall['pictavia'] < 15 else 'NOT met'}")
elif scrot:
    r = wall["pictavia"] / peers[scrot]
    print(f"pictavia{case}: {r:.2f}x scrot ({peers[scrot]:.1f} ms), goal 0.5x: {'met' if r <= 0.5 else 'NOT met'}; "
          f"{ratio('pictavia', fastest)} the fastest peer ({fastest})")
    median_size = statistics.median(sizes[name] for name in peers)
    print(f"pictavia{case}: PNG {sizes['pictavia']:,} bytes, peers' median {median_size:,.0f}: "
          f"{'within' if sizes['pictavia'] <= median_size else 'LARGER'}")
PY
}

echo
echo "== Start-up: pictavia --help against the other tools' --version, median of $runs runs =="
timing startup

for size in $sizes; do
  width=${size%x*}
  height=${size#*x}
  start_desktop "$width" "$height" "$scene_bin" "$work" || { echo "capture: no desktop" >&2; exit 1; }

  # Start-up and capture alone first: the history is what the other rounds add.
  echo
  echo "== ${width}x${height} on $DISPLAY, no Pictavia running, an empty history, median of $runs runs =="
  rm -rf "$XDG_DATA_HOME/Pictavia"
  timing capture " (none running, empty history)"

  echo
  echo "== ${width}x${height} on $DISPLAY, no Pictavia running, $records captures in the history, median of $runs runs =="
  fresh_history
  timing capture " (none running)"

  echo
  echo "== ${width}x${height} on $DISPLAY, pictavia --background running, $records captures in the history, median of $runs runs =="
  fresh_history
  "$pictavia_bin" --background >"$work/resident.log" 2>&1 &
  resident_pid=$!
  if wait_for_path "$XDG_RUNTIME_DIR/pictavia/instance" 30; then
    timing capture " (one running)"
  else
    echo "capture: pictavia --background did not start" >&2
    cat "$work/resident.log" >&2
  fi
  stop_resident

  stop_started
done
