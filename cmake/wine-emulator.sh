#!/bin/sh
# Runs a Windows program under Wine for ctest and the scripts.
#
# wineserver and Wine's helper processes (services, explorer, ...) outlive the
# program. Started by the program itself they would inherit its stdout/stderr
# pipes and ctest would wait on them until they exit, so they are started here
# first with their output on /dev/null.
export WINEDEBUG=-all,err+module
export WINEPREFIX="${WINEPREFIX:-${HOME:-/tmp}/.wine-vantry}"
# Keep Wine from offering to install Mono and Gecko when the prefix is created.
export WINEDLLOVERRIDES="mscoree=;mshtml="
WINE_DIR=/usr/lib/wine

"$WINE_DIR/wineserver" -p </dev/null >/dev/null 2>&1
"$WINE_DIR/wine64" wineboot </dev/null >/dev/null 2>&1

exec "$WINE_DIR/wine64" "$@"
