#!/bin/sh
# Runs a Windows program under wine: wine-emulator.sh PROGRAM [ARGUMENT...]
#
# A wine server and its services are started first, once, with their standard streams on /dev/null:
# otherwise they would be started by the first program, inherit its pipes and keep the reader of
# those pipes waiting. The server leaves by itself two minutes after the last program.
#
# The prefix lies in $WINEPREFIX, by default in the user's cache folder (about 700 MB).
set -eu

wine=${DATASOURCE_WINE:-/usr/lib/wine/wine64}
server=${DATASOURCE_WINESERVER:-/usr/lib/wine/wineserver64}
WINEPREFIX=${WINEPREFIX:-${XDG_CACHE_HOME:-${HOME:?}/.cache}/datasource-wine}
WINEDEBUG=${WINEDEBUG:--all}
# Without its debugger, which ends a program that crashed with exit code 0 now and then.
WINEDLLOVERRIDES='mscoree=;mshtml=;winemenubuilder.exe=;winedbg.exe='
# File names reach this machine's file system as UTF-8, whatever the user's locale.
LC_ALL=C.UTF-8
export WINEPREFIX WINEDEBUG WINEDLLOVERRIDES LC_ALL

if [ ! -x "$wine" ] || [ ! -x "$server" ]; then
  echo "wine-emulator.sh: no wine at $wine (package wine64)" >&2
  exit 127
fi
# Wine would start a program of this machine all the same and answer 0 whatever became of it: a test
# that came here by mistake could not fail.
if [ -f "${1:-}" ] && [ "$(head -c 2 "$1" | tr -d '\0')" != MZ ]; then
  echo "wine-emulator.sh: $1 is no Windows program" >&2
  exit 126
fi
mkdir -p "$WINEPREFIX"

if ! "$server" -k0 2>/dev/null || [ ! -e "$WINEPREFIX/system.reg" ]; then
  (
    flock 9
    if ! "$server" -k0 2>/dev/null || [ ! -e "$WINEPREFIX/system.reg" ]; then
      "$server" -p120 </dev/null >/dev/null 2>&1 9>&- || true
      "$wine" wineboot </dev/null >/dev/null 2>&1 9>&- || true
    fi
  ) 9>"$WINEPREFIX/.start.lock"
fi
exec "$wine" "$@"
