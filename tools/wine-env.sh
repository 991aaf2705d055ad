# Sourced: the environment of every call of Wine, so that all of them meet the same server and prefix.

wine_folder=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)/build/wine

# The server's socket lies under TMPDIR, and a new prefix links folders of HOME.
export WINEPREFIX=$wine_folder/prefix HOME=$wine_folder/home TMPDIR=$wine_folder/tmp
export WINEDEBUG=-all
# Without the crash handler a program that crashes ends with a status that says so.
export WINEDLLOVERRIDES='winedbg.exe=d;winemenubuilder.exe=d;explorer.exe=d;mscoree=d;mshtml=d'
# Without a UTF-8 locale Wine cannot name files that are not ASCII.
export LC_ALL=C.UTF-8
unset DISPLAY WAYLAND_DISPLAY

# The server that `tools/wine-server start` left, if it still runs.
wine_server_runs() {
    local pid
    { read -r pid <"$wine_folder/server.pid"; } 2>/dev/null || return 1
    [[ $(cat "/proc/$pid/comm" 2>/dev/null) == wineserver* ]]
}
