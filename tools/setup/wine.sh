# Makes the Wine prefix, one for all checkouts. Sourced by setup, which
# has the variables from lib.sh.
# shellcheck shell=bash disable=SC2154

# Raise when the commands below change.
WineRecipe=2

FindWinePrefix() {
    local version
    version=$(InstalledVersion wine64)
    WinePrefix=$Cache/wine-${version//[^0-9A-Za-z.+-]/_}-$WineRecipe
}

# Every 30 seconds Wine's server writes the registry to its files, if anything was changed; every program that looks at
# the sound devices changes it. Nothing is waited for or woken meanwhile, Wine's mixer least of all: with all that a new
# prefix has (1.7 MB) all sound stood still for 43 ms. So what no program here asks for is taken out: COM's classes but
# the one that lists sound devices, time zones' names, telephones. What is left is written within milliseconds.
WriteSlimRegistry() {
    cat <<'END'
REGEDIT4

[-HKEY_LOCAL_MACHINE\Software\Classes]
[-HKEY_LOCAL_MACHINE\Software\Wow6432Node]
[-HKEY_LOCAL_MACHINE\Software\Microsoft\Windows NT\CurrentVersion\Time Zones]
[-HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion\Telephony]

[HKEY_LOCAL_MACHINE\Software\Classes\CLSID\{BCDE0395-E52F-467C-8E3D-C4579291692E}\InprocServer32]
@="C:\\windows\\system32\\mmdevapi.dll"
"ThreadingModel"="Both"
END
}
MaxRegistryBytes=400000

CreatePrefix() {
    UseWine
    export WINEPREFIX=$1 WINEDEBUG=-all WINEDLLOVERRIDES='mscoree=;mshtml=;winemenubuilder.exe='
    unset DISPLAY WAYLAND_DISPLAY
    "${Wine[@]}" wineboot.exe --init
    # PulseAudio alone: with ALSA as second choice a machine without a server gets a device that
    # leads nowhere instead of none.
    "${Wine[@]}" reg.exe add 'HKCU\Software\Wine\Drivers' /v Audio /d pulse /f
    # A crash has to end the program with its exit code, not to wait for a person at a dialog.
    "${Wine[@]}" reg.exe add 'HKCU\Software\Wine\WineDbg' /v ShowCrashDialog /t REG_DWORD /d 0 /f
    "${Wine[@]}" reg.exe add 'HKLM\Software\Microsoft\Windows NT\CurrentVersion\AeDebug' /v Debugger /d 'false' /f
    "${Wine[@]}" reg.exe add 'HKLM\Software\Microsoft\Windows NT\CurrentVersion\AeDebug' /v Auto /d 1 /f
    WriteSlimRegistry >"$WINEPREFIX/slim.reg"
    "${Wine[@]}" regedit.exe "$WINEPREFIX/slim.reg"
    rm "$WINEPREFIX/slim.reg"
    # Ends the server, which writes the registry to its files.
    "$WineDirectory/wineserver64" -k || true
    "$WineDirectory/wineserver64" -w
    (($(stat -c %s "$WINEPREFIX/system.reg") <= MaxRegistryBytes)) || {
        echo 'the registry is as large as before'
        return 1
    }
}

MakeWinePrefix() {
    [[ ! -d $WinePrefix ]] || return 0
    local log=$Cache/logs/wine.log
    rm -rf "$WinePrefix.partial"
    export -f CreatePrefix WriteSlimRegistry UseWine
    export MaxRegistryBytes WineDirectory
    # shellcheck disable=SC2016
    RunStep 'Wine prefix' "$log" 0 '' bash -euc 'CreatePrefix "$1"' bash "$WinePrefix.partial" ||
        FailWithLog 'the Wine prefix could not be made' "$log"
    mv -T "$WinePrefix.partial" "$WinePrefix"
}
