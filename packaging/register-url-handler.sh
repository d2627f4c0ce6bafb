#!/bin/sh
# Makes pictavia:// URLs open Pictavia: refreshes the desktop database of the folder the
# desktop entry went to, and names Pictavia the handler in the system-wide defaults list.
# Usage: register-url-handler.sh APPLICATIONS_DIR
set -e
applications=${1:-/usr/share/applications}
if command -v update-desktop-database >/dev/null 2>&1; then
  update-desktop-database -q "$applications" || true
fi
defaults=$applications/mimeapps.list
if ! grep -qs '^x-scheme-handler/pictavia=' "$defaults"; then
  grep -qs '^\[Default Applications\]' "$defaults" || printf '[Default Applications]\n' >>"$defaults"
  sed -i '/^\[Default Applications\]/a x-scheme-handler/pictavia=pictavia.desktop' "$defaults"
fi
