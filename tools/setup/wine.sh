# Makes the Wine prefix, one for all checkouts. Sourced by setup, which
# has the variables from lib.sh.
# shellcheck shell=bash disable=SC2154

# Raise when the commands below change.
WineRecipe=1

FindWinePrefix() {
    local version
    version=$(InstalledVersion wine64)
    WinePrefix=$Cache/wine-${version//[^0-9A-Za-z.+-]/_}-$WineRecipe
}

CreatePrefix() {
    local wine=/usr/lib/wine/wine64
    export WINEPREFIX=$1 WINEDEBUG=-all WINEDLLOVERRIDES='mscoree=;mshtml=;winemenubuilder.exe='
    unset DISPLAY WAYLAND_DISPLAY
    "$wine" wineboot.exe --init
    # PulseAudio alone: with ALSA as second choice a machine without a server gets a device that
    # leads nowhere instead of none.
    "$wine" reg.exe add 'HKCU\Software\Wine\Drivers' /v Audio /d pulse /f
    # A crash has to end the program with its exit code, not to wait for a person at a dialog.
    "$wine" reg.exe add 'HKCU\Software\Wine\WineDbg' /v ShowCrashDialog /t REG_DWORD /d 0 /f
    "$wine" reg.exe add 'HKLM\Software\Microsoft\Windows NT\CurrentVersion\AeDebug' /v Debugger /d 'false' /f
    "$wine" reg.exe add 'HKLM\Software\Microsoft\Windows NT\CurrentVersion\AeDebug' /v Auto /d 1 /f
    # Ends the server, which writes the registry to its files.
    /usr/lib/wine/wineserver64 -k || true
    /usr/lib/wine/wineserver64 -w
}

MakeWinePrefix() {
    [[ ! -d $WinePrefix ]] || return 0
    local log=$Cache/logs/wine.log
    rm -rf "$WinePrefix.partial"
    export -f CreatePrefix
    # shellcheck disable=SC2016
    RunStep 'Wine prefix' "$log" 0 '' bash -euc 'CreatePrefix "$1"' bash "$WinePrefix.partial" ||
        FailWithLog 'the Wine prefix could not be made' "$log"
    mv -T "$WinePrefix.partial" "$WinePrefix"
}
