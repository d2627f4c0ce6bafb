#!/usr/bin/env bash
# Installs every Debian package that building, testing and benchmarking Pictavia needs.
# Safe to run again: it asks apt only for what is missing, and refreshes the package
# lists only when something has to be installed.
set -euo pipefail

packages=(
  # toolchain
  build-essential cmake ninja-build pkg-config git ccache
  # Qt
  qt6-base-dev qt6-base-dev-tools qt6-qpa-plugins
  # the main window's icons where the desktop sets no icon theme, and the SVG engine they need
  breeze-icon-theme libqt6svg6
  # X11 capture, window list, input
  libxcb1-dev libxcb-randr0-dev libxcb-shm0-dev libxcb-composite0-dev libxcb-xfixes0-dev
  libxcb-ewmh-dev libxcb-icccm4-dev libxcb-keysyms1-dev libxcb-xtest0-dev libxcb-xinput-dev
  # image codecs and sound
  zlib1g-dev libisal-dev libpng-dev libturbojpeg0-dev libwebp-dev libheif-dev libcanberra-dev libcanberra-pulse
  # text recognition, barcodes and the patterns of the sensitive-data scanner
  libtesseract-dev tesseract-ocr tesseract-ocr-eng libzxing-dev libicu-dev fonts-dejavu-core
  # the text recognition benchmark's judging fonts (Noto would take over as the default sans and
  # change every rendering of the system font)
  fonts-liberation
  # editor: project files, background removal, colour emoji
  libplist-dev libopencv-imgproc-dev fonts-noto-color-emoji
  # history: ZIP archives of selected captures
  libarchive-dev
  # history: parsing the index file
  libsimdjson-dev
  # reading movies and GIFs (frames, length, codecs) and rendering PDF pages
  libavformat-dev libavcodec-dev libavutil-dev libswscale-dev libpoppler-qt6-dev
  # exporting movies: the sound resampled and mixed down
  libswresample-dev
  # cameras (Video4Linux2 through its device input)
  libavdevice-dev
  # cleaning voices: WebRTC's noise suppressor; the recogniser's own: SpeexDSP's
  libwebrtc-audio-processing-dev libspeexdsp-dev
  # writing movies: the colour conversion of screen frames
  libyuv-dev
  # writing animated GIFs: palettes and the file
  libimagequant-dev libgif-dev
  # recording sound from the PulseAudio (or PipeWire) server
  libpulse-dev
  # captions: speech recognised on this machine, with the US English model; the model adapted
  # to each recording's speaker with the trainer's tools (bw, mllr_solve; sphinx_fe) and
  # pocketsphinx_mdef_convert
  libpocketsphinx-dev pocketsphinx-en-us sphinxtrain sphinxbase-utils pocketsphinx
  # tests: reading the Codex configuration the agent installer writes
  libtomlplusplus-dev
  # tests: a real X server, a window manager and a pointer driver
  libgtest-dev libgmock-dev xvfb xauth openbox xdotool x11-utils x11-xserver-utils
  # tests: a sound server of their own with silent outputs, and a player for its test tones
  pulseaudio pulseaudio-utils
  # Wayland: Qt's Wayland plugin, and what the screen-cast and protocol code to come builds on
  qt6-wayland libpipewire-0.3-dev libwayland-dev wayland-protocols
  # Wayland: wayland-scanner, which turns our protocol descriptions into client code, and
  # Qt's native interface, which hands out its wl_display, surfaces and outputs (layer surfaces)
  libwayland-bin qt6-base-private-dev
  # tests: headless Wayland sessions (sway on wlroots' headless backend, a background colour,
  # PipeWire, the portals; xdg-desktop-portal 1.16 offers screenshots only where some backend
  # implements its Access dialog, which portal-gtk does and portal-wlr does not; grim is what
  # portal-wlr takes its screenshots with, and the tests' independent look at the outputs)
  sway swaybg pipewire wireplumber xdg-desktop-portal xdg-desktop-portal-wlr xdg-desktop-portal-gtk grim
  # tests: a virtual keyboard for the headless sway session
  wtype
  # tests: a headless GNOME session (gnome-shell on a virtual monitor, software rendering) with
  # GNOME's portal; its settings through dconf
  gnome-shell xdg-desktop-portal-gnome dconf-service libglib2.0-bin
  # tests: a headless KDE session (kwin_wayland on virtual outputs) with KDE's portal, a Qt 5
  # program whose dialogs need Qt 5's Wayland plugin, the QML modules they import and Plasma's
  # dialog component
  kwin-wayland xdg-desktop-portal-kde qtwayland5 plasma-workspace qml-module-org-kde-kirigami2
  qml-module-qtquick-controls2 qml-module-qtquick-layouts qml-module-qtquick2 qml-module-qtquick-window2
  qml-module-org-kde-pipewire
  # tests: GNOME's shortcut schema, for adding our hotkeys to it through the real gsettings
  gnome-settings-daemon-common
  # tests: running the Wayland session as an unprivileged user when the tests run as root
  util-linux passwd dbus-bin
  # Wayland: copying to the clipboard without the keyboard focus (wl-copy, through the
  # compositor's data-control protocol), and the tests' reading it back (wl-paste)
  wl-clipboard
  # pictavia:// URLs opened through the desktop's handler registry
  desktop-file-utils xdg-utils
  # style checks
  clang-format clang-tidy
  # fuzzing with libFuzzer
  clang libclang-rt-14-dev
  # benchmarks and the screenshot tools they compare against
  libbenchmark-dev maim scrot imagemagick ffmpeg flameshot simplescreenrecorder
  # bench/wayland_record.sh: the wlroots screen recorder it compares with
  wf-recorder
  # bench/capture.sh: its timing loop, and a session bus for flameshot
  python3 dbus-daemon
  # bench/gif.sh: a terminal to record, and the arithmetic of its table
  xterm bc
  # scrolling capture tests: a browser window to scroll, and its own full-page rendering
  chromium
  # caption and voice tests and benchmarks: speech spoken by festival and flite, noise mixed in
  # by sox, and the plain recogniser command to compare with
  festival festvox-us-slt-hts festvox-kallpc16k flite sox pocketsphinx
)

# npm for the MCP clients below, from Debian where no Node.js is installed yet.
command -v npm >/dev/null || packages+=(nodejs npm)

install_mcp_clients() {
  # The MCP clients the end-to-end tests drive pictavia-mcp with (tests/e2e/mcp/package.json).
  local dir
  dir="$(cd "$(dirname "$0")/.." && pwd)/tests/e2e/mcp"
  command -v npm >/dev/null || return 0
  for module in @modelcontextprotocol/sdk @modelcontextprotocol/conformance supergateway node; do
    if [ ! -f "$dir/node_modules/$module/package.json" ]; then
      npm install --prefix "$dir" --no-package-lock --no-audit --no-fund --silent >/dev/null 2>&1 ||
        echo "deps: could not install the MCP clients from npm; their end-to-end tests are skipped" >&2
      return 0
    fi
  done
}

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  install_mcp_clients
  exit 0
fi

sudo=""
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "deps: installing ${missing[*]} needs root or sudo" >&2; exit 1; }
  sudo="sudo"
fi
echo "deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
install_mcp_clients
