#!/usr/bin/env bash
# Runs a Windows x64 executable built with cmake/mingw-w64-x86_64.cmake under
# Wine, with the MinGW-w64 runtime DLLs on its path. WINEPREFIX defaults to a
# scratch prefix in the build tree (created on first use, which takes a while).
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
export WINEPREFIX=${WINEPREFIX:-$here/build/wine-prefix}
export WINEDEBUG=${WINEDEBUG:--all}
cxx=x86_64-w64-mingw32-g++-posix
# Unix directories as Wine sees them (drive Z: is the root).
windir() { local d; d=$(cd "$(dirname "$1")" && pwd); echo "Z:${d//\//\\}"; }
runtime=$(windir "$($cxx -print-file-name=libstdc++-6.dll)")
pthread=$(windir "$($cxx -print-file-name=libwinpthread-1.dll)")
export WINEPATH="$runtime;$pthread${WINEPATH:+;$WINEPATH}"
if command -v wine >/dev/null 2>&1; then
  wine=wine
elif command -v wine-stable >/dev/null 2>&1; then
  wine=wine-stable
else
  wine=/usr/lib/wine/wine64
  export WINELOADER=$wine
fi
exec "$wine" "$@"
