"""Times Pictavia's interactive paths against other screenshot tools on the same X server.

  hotkey to overlay:  a global hotkey pressed (XTest) until the selection overlay is mapped
  command to overlay: "pictavia pictavia://capture-area" (and "flameshot gui") until mapped
  URL to file:        "pictavia pictavia://capture-area?x=..&height=.." until the PNG exists,
                      against scrot, maim, import and ffmpeg grabbing the same rectangle

Run by bench/interactive.sh, which provides DISPLAY, the running Pictavia and its folders.
"""
import ctypes
import ctypes.util
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

runs = int(os.environ.get("RUNS", "15"))
pictavia = os.environ["PICTAVIA"]
history = os.environ["HISTORY"]
pictavia_env = dict(os.environ)

xlib = ctypes.CDLL(ctypes.util.find_library("X11"))
xtst = ctypes.CDLL(ctypes.util.find_library("Xtst"))
xlib.XOpenDisplay.restype = ctypes.c_void_p
xlib.XOpenDisplay.argtypes = [ctypes.c_char_p]
xlib.XDefaultRootWindow.restype = ctypes.c_ulong
xlib.XDefaultRootWindow.argtypes = [ctypes.c_void_p]
xlib.XSelectInput.argtypes = [ctypes.c_void_p, ctypes.c_ulong, ctypes.c_long]
xlib.XKeysymToKeycode.argtypes = [ctypes.c_void_p, ctypes.c_ulong]
xlib.XStringToKeysym.restype = ctypes.c_ulong
xlib.XStringToKeysym.argtypes = [ctypes.c_char_p]
xlib.XPending.argtypes = [ctypes.c_void_p]
xlib.XNextEvent.argtypes = [ctypes.c_void_p, ctypes.c_void_p]
xlib.XFlush.argtypes = [ctypes.c_void_p]
xlib.XFetchName.argtypes = [ctypes.c_void_p, ctypes.c_ulong, ctypes.POINTER(ctypes.c_char_p)]
xlib.XConnectionNumber.argtypes = [ctypes.c_void_p]
xtst.XTestFakeKeyEvent.argtypes = [ctypes.c_void_p, ctypes.c_uint, ctypes.c_int, ctypes.c_ulong]

display = xlib.XOpenDisplay(None)
if not display:
    sys.exit("interactive: cannot open the display")
root = xlib.XDefaultRootWindow(display)
SUBSTRUCTURE_NOTIFY = 1 << 19
MAP_NOTIFY, UNMAP_NOTIFY = 19, 18
xlib.XSelectInput(display, root, SUBSTRUCTURE_NOTIFY)


class Event(ctypes.Structure):
    # XMapEvent / XUnmapEvent share this head; the union is 24 longs in all.
    _fields_ = [("type", ctypes.c_int), ("serial", ctypes.c_ulong), ("send_event", ctypes.c_int),
                ("display", ctypes.c_void_p), ("event", ctypes.c_ulong), ("window", ctypes.c_ulong),
                ("pad", ctypes.c_long * 19)]


def name_of(window):
    name = ctypes.c_char_p()
    if xlib.XFetchName(display, window, ctypes.byref(name)) and name.value:
        return name.value.decode(errors="replace")
    return ""


def drain():
    event = Event()
    while xlib.XPending(display):
        xlib.XNextEvent(display, ctypes.byref(event))


def wait_for(kind, matches, timeout=10.0):
    """The time at which an event of `kind` arrives for a window `matches` accepts."""
    event = Event()
    deadline = time.perf_counter() + timeout
    while time.perf_counter() < deadline:
        while xlib.XPending(display):
            xlib.XNextEvent(display, ctypes.byref(event))
            if event.type == kind and matches(event.window):
                return time.perf_counter()
        time.sleep(0.0005)
    return None


def key(name):
    code = xlib.XKeysymToKeycode(display, xlib.XStringToKeysym(name.encode()))
    xtst.XTestFakeKeyEvent(display, code, 1, 0)
    xtst.XTestFakeKeyEvent(display, code, 0, 0)
    xlib.XFlush(display)


def is_overlay(window):
    return name_of(window) == "Pictavia Selection"


def close_overlay(matches):
    # The overlay takes the keyboard just after it maps; an Escape sent before then goes
    # to another window, so it is sent again until the overlay goes.
    time.sleep(0.1)
    for _ in range(20):
        key("Escape")
        if wait_for(UNMAP_NOTIFY, matches, 0.5) is not None:
            break
    time.sleep(0.3)
    drain()


def to_overlay(trigger, matches):
    drain()
    start = time.perf_counter()
    process = trigger()
    shown = wait_for(MAP_NOTIFY, matches)
    if shown is not None:
        close_overlay(matches)
    if process is not None:
        try:
            process.wait(timeout=10)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()
    return None if shown is None else shown - start


def median_ms(samples):
    samples = [s for s in samples if s is not None]
    return statistics.median(samples) * 1000 if samples else None


def report(title, results, ours):
    print(f"\n-- {title}, median of {runs} --")
    peers = {k: v for k, v in results.items() if not k.startswith("pictavia") and v is not None}
    fastest = min(peers, key=peers.get) if peers else None
    for name, ms in sorted(results.items(), key=lambda kv: kv[1] if kv[1] is not None else 1e9):
        if ms is None:
            print(f"{name:<22} {'failed':>10}")
            continue
        ratio = f"{ms / peers[fastest]:.2f}x" if fastest else "-"
        print(f"{name:<22} {ms:>9.1f} ms {ratio:>8} of the fastest peer")
    if fastest and results.get(ours) is not None:
        print(f"{ours}: {results[ours] / peers[fastest]:.2f}x {fastest}")


# --- hotkey and command to overlay ------------------------------------------------------
overlay = {}
overlay["pictavia (hotkey)"] = median_ms(
    [to_overlay(lambda: key("F8"), is_overlay) for _ in range(runs)])
overlay["pictavia (command)"] = median_ms(
    [to_overlay(lambda: subprocess.Popen([pictavia, "pictavia://capture-area"], env=pictavia_env),
                is_overlay) for _ in range(runs)])

if shutil.which("flameshot") and os.environ.get("DBUS_SESSION_BUS_ADDRESS"):
    daemon = subprocess.Popen(["flameshot"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    time.sleep(2)

    class Attributes(ctypes.Structure):
        _fields_ = [("x", ctypes.c_int), ("y", ctypes.c_int), ("width", ctypes.c_int), ("height", ctypes.c_int),
                    ("pad", ctypes.c_char * 256)]
    xlib.XGetWindowAttributes.argtypes = [ctypes.c_void_p, ctypes.c_ulong, ctypes.c_void_p]

    def flameshot_overlay(window):
        # Its capture window covers the screen; nothing else maps a window that large here.
        attributes = Attributes()
        xlib.XGetWindowAttributes(display, window, ctypes.byref(attributes))
        return attributes.width >= 1920 and attributes.height >= 1080

    samples = [to_overlay(lambda: subprocess.Popen(["flameshot", "gui"], stdout=subprocess.DEVNULL,
                                                   stderr=subprocess.DEVNULL), flameshot_overlay)
               for _ in range(runs)]
    overlay["flameshot gui"] = median_ms(samples)
    daemon.terminate()
    daemon.wait()
report("from a request to the selection overlay on screen", overlay, "pictavia (hotkey)")

# --- URL to file ----------------------------------------------------------------------------
x, y, w, h = 100, 100, 800, 600
work = tempfile.mkdtemp(prefix="pictavia-interactive-")
display_name = os.environ["DISPLAY"]


def pictavia_url():
    before = set(os.listdir(history))
    start = time.perf_counter()
    subprocess.run([pictavia, f"pictavia://capture-area?x={x}&y={y}&width={w}&height={h}"], env=pictavia_env,
                   check=True)
    deadline = start + 10
    while time.perf_counter() < deadline:
        new = set(os.listdir(history)) - before
        if any(n.endswith(".png") for n in new):
            return time.perf_counter() - start
        time.sleep(0.0005)
    return None


def peer(argv, out):
    def run():
        if os.path.exists(out):
            os.remove(out)
        start = time.perf_counter()
        result = subprocess.run(argv, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        return time.perf_counter() - start if result.returncode == 0 and os.path.isfile(out) else None
    return run


peers = {
    "scrot -a": peer(["scrot", "-o", "-a", f"{x},{y},{w},{h}", os.path.join(work, "s.png")],
                     os.path.join(work, "s.png")),
    "maim -g": peer(["maim", "-g", f"{w}x{h}+{x}+{y}", os.path.join(work, "m.png")], os.path.join(work, "m.png")),
    "import -crop": peer(["import", "-window", "root", "-crop", f"{w}x{h}+{x}+{y}", os.path.join(work, "i.png")],
                         os.path.join(work, "i.png")),
    "ffmpeg x11grab": peer(["ffmpeg", "-loglevel", "error", "-y", "-f", "x11grab", "-video_size", f"{w}x{h}",
                            "-i", f"{display_name}+{x},{y}", "-frames:v", "1", os.path.join(work, "f.png")],
                           os.path.join(work, "f.png")),
}
tools = {"pictavia (URL)": pictavia_url}
tools.update({name: run for name, run in peers.items() if shutil.which(name.split()[0])})
samples = {name: [] for name in tools}
for name, run in tools.items():  # warm-up
    run()
for _ in range(runs):
    for name, run in tools.items():
        samples[name].append(run())
report(f"from a command to an {w}x{h} PNG on disk", {n: median_ms(s) for n, s in samples.items()},
       "pictavia (URL)")
shutil.rmtree(work, ignore_errors=True)
