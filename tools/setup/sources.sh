# Fetches Debian source packages without touching the system's apt configuration. Sourced by setup, which
# has the variables from lib.sh.
# shellcheck shell=bash disable=SC2154

# Writes the machine's own apt entries for Debian's archives once more, as deb-src entries, to a
# private directory: same mirror, same keys. Other archives are left out: they need not have
# sources, and an unreachable one would fail the update.
WriteSourceEntries() {
    local target=$1 file
    rm -rf "$target"
    mkdir -p "$target"
    for file in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
        [[ -r $file ]] || continue
        # deb [options] uri suite components...
        sed -nE 's,^[[:space:]]*deb(-src)?[[:space:]]+((\[[^]]*\][[:space:]]+)?[^[:space:]]+/debian(-security)?/?[[:space:]].*)$,deb-src \2,p' \
            "$file" | sort -u >>"$target/debian.list"
    done
    for file in /etc/apt/sources.list.d/*.sources; do
        [[ -r $file ]] || continue
        # Stanzas end at an empty line; awk's paragraph mode splits them.
        awk 'BEGIN { RS = ""; FS = "\n"; ORS = "\n\n" }
             /(^|\n)URIs:[^\n]*\/debian(-security)?\/?([ \t]|\n|$)/ && !/(^|\n)Enabled:[ \t]*no/ {
                 sub(/(^|\n)Types:[^\n]*/, "\nTypes: deb-src"); sub(/^\n/, ""); print }' \
            "$file" >>"$target/debian.sources"
    done
    find "$target" -size 0 -delete
    [[ -n $(ls -A "$target") ]] ||
        Fail 'no apt entry for a Debian archive under /etc/apt: cannot fetch source packages'
}

AptPrivate() {
    local private=$Cache/apt
    mkdir -p "$private"/{lists/partial,cache/archives/partial}
    # The sandbox user of apt may not enter a home directory.
    set -- -q -o Dir::Etc::SourceList=/dev/null -o Dir::Etc::SourceParts="$private/entries" \
        -o Dir::State::Lists="$private/lists" -o Dir::Cache="$private/cache" \
        -o APT::Sandbox::User="$(id -un)" "$@"
    AptCommand=(apt-get "$@")
}

# FetchSource PACKAGE VERSION DIRECTORY
# Unpacks the source package, patches applied, as DIRECTORY. What is there already is kept: the
# directory appears under its name only when complete.
FetchSource() {
    local package=$1 version=$2 target=$3 log=$Cache/logs/sources.log
    local partial=$target.partial
    [[ ! -d $target ]] || return 0
    rm -rf "$partial"
    mkdir -p "$partial"
    WriteSourceEntries "$Cache/apt/entries"
    AptPrivate update
    RunStep 'source package lists' "$log" 0 '' "${AptCommand[@]}" ||
        FailWithLog 'the lists of source packages could not be fetched' "$log"
    AptPrivate source --only-source "$package=$version"
    if ! RunStep "source of $package $version" "$log" 0 '' env -C "$partial" "${AptCommand[@]}"; then
        # An update of the distribution takes the older version out of the archive.
        Say "version $version is not in the archive, taking the current one"
        AptPrivate source --only-source "$package"
        RunStep "source of $package" "$log" 0 '' env -C "$partial" "${AptCommand[@]}" ||
            FailWithLog "the source of $package could not be fetched" "$log"
    fi
    mv -T "$(find "$partial" -mindepth 1 -maxdepth 1 -type d)" "$target"
    rm -rf "$partial"
}
