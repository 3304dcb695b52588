# The packages of the browser suite, from npm. Sourced by setup, which has the variables from lib.sh.
# shellcheck shell=bash disable=SC2154

InstallNodeModules() {
    local modules log=$Cache/logs/node.log folder
    modules=$(NodeModules)
    [[ ! -d $modules ]] || return 0
    folder=$(dirname "$modules")
    rm -rf "$folder.partial"
    mkdir -p "$folder.partial"
    cp "$NodeLock" "$(dirname "$NodeLock")/package.json" "$folder.partial"
    # No script of a package runs: the browser is the distribution's own.
    RunStep 'browser test packages' "$log" 0 '' npm ci --prefix "$folder.partial" --ignore-scripts --no-audit --no-fund ||
        FailWithLog 'the packages of the browser suite could not be installed' "$log"
    mv "$folder.partial" "$folder"
}
