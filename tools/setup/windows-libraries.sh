# Builds Boost and FFmpeg for Windows, and unpacks Google Benchmark. Sourced by setup, which
# has the variables from lib.sh.
# shellcheck shell=bash disable=SC2154

ReadFlags() { sed -e 's/[[:space:]]*#.*//' -e '/^[[:space:]]*$/d' "$1"; }

# Key of a build: version, compiler and flags. Comments in the flag files do not count.
BuildKey() {
    local version=$1 flags=$2 recipe=$3
    printf '%s-%s' "${version//[^0-9A-Za-z.+-]/_}" \
        "$({ ReadFlags "$flags"; echo "$recipe $MingwVersion"; } | sha256sum | cut -c1-12)"
}

# Raise when the commands below change in a way that changes their result.
BoostRecipe=4
FfmpegRecipe=2

FindWindowsLibraries() {
    MingwVersion=$(InstalledVersion g++-mingw-w64-x86-64-posix)
    BoostVersion=$(InstalledSourceVersion libboost1.81-dev)
    FfmpegVersion=$(InstalledSourceVersion libavutil-dev)
    BenchmarkVersion=$(InstalledSourceVersion libbenchmark-dev)
    BoostRoot=$Cache/boost-$(BuildKey "$BoostVersion" "$SetupDir/boost-flags" $BoostRecipe)
    FfmpegRoot=$Cache/ffmpeg-$(BuildKey "$FfmpegVersion" "$SetupDir/ffmpeg-flags" $FfmpegRecipe)
    BenchmarkSource=$Cache/benchmark-$BenchmarkVersion
}

# KeepOrigin SOURCE TARGET FILE...: what a package that has the libraries in it tells of them: the version of their source,
# which may be a later one than was asked for, and their licence.
KeepOrigin() {
    local source=$1 target=$2
    shift 2
    dpkg-parsechangelog -l "$source/debian/changelog" -S Version >"$target/version"
    cp "${@/#/$source/}" "$target/"
}

# BuildResumed NAME LOG WORK BUILD
# Runs the function BUILD. When it fails in a tree that an earlier, interrupted run has left, a file
# cut short by that interruption may be the cause: try once more from the start.
BuildResumed() {
    local name=$1 log=$2 work=$3 build=$4
    if [[ -e $work/started ]]; then
        Say "$name: continuing the build in $work"
        "$build" && return 0
        Say "$name: starting over"
        rm -rf "${work:?}/build"
    fi
    mkdir -p "$work/build"
    touch "$work/started"
    "$build" || FailWithLog "$name could not be built" "$log"
}

# --- Boost ------------------------------------------------------------------------------------

# Staging a library by its name would build what belongs to it too, such as log_setup, which takes half as long again.
BoostTargets=(libs/log/build//boost_log libs/thread/build//boost_thread)
BoostLibraries=(libboost_filesystem libboost_log libboost_thread)

RunB2() {
    local -a flags
    mapfile -t flags < <(ReadFlags "$SetupDir/boost-flags")
    B2Command=(env -C "$BoostWork/source" b2 "--user-config=$BoostWork/user-config.jam" --ignore-site-config
        "--build-dir=$BoostWork/build" --no-cmake-config "-j$(nproc)"
        "${flags[@]}" "$@" "${BoostTargets[@]}")
}

BuildBoostTree() {
    local total plan=$BoostWork/plan.txt
    # The dry run tells how many commands are left; it also runs the configuration checks.
    RunB2 -n
    RunStep 'Boost for Windows: planning' "$plan" 0 '' "${B2Command[@]}" || return 1
    total=$(grep -cE '^gcc\.(compile|link)' "$plan" || true)
    rm -f "$plan"
    RunB2
    RunStep 'Boost for Windows' "$BoostLog" "$total" '^gcc\.(compile|link)' "${B2Command[@]}"
}

BuildBoost() {
    [[ ! -d $BoostRoot ]] || return 0
    BoostWork=$Cache/unfinished/$(basename "$BoostRoot")
    BoostLog=$Cache/logs/boost.log
    mkdir -p "$BoostWork"
    FetchSource boost1.81 "$BoostVersion" "$BoostWork/source"
    cat >"$BoostWork/user-config.jam" <<'END'
using gcc : mingw : x86_64-w64-mingw32-g++-posix :
    <archiver>x86_64-w64-mingw32-gcc-ar-posix <ranlib>x86_64-w64-mingw32-gcc-ranlib-posix <rc>x86_64-w64-mingw32-windres ;
END
    BuildResumed 'Boost for Windows' "$BoostLog" "$BoostWork" BuildBoostTree

    local partial=$BoostRoot.partial name
    rm -rf "$partial"
    mkdir -p "$partial"/{bin,lib,include}
    for name in "${BoostLibraries[@]}"; do
        find "$BoostWork/build" -name "$name.dll" -exec cp {} "$partial/bin/" \;
        find "$BoostWork/build" -name "$name.dll.a" -exec cp {} "$partial/lib/" \;
        [[ -s $partial/bin/$name.dll && -s $partial/lib/$name.dll.a ]] || Fail "Boost's build has made no $name.dll"
    done
    # For builds with the thread sanitizer.
    cp -r "$BoostWork/source/libs/thread/src" "$partial/thread-source"
    KeepOrigin "$BoostWork/source" "$partial" LICENSE_1_0.txt
    # The headers alone: /usr/include itself must not come before the cross compiler's own.
    ln -s /usr/include/boost "$partial/include/boost"
    mv -T "$partial" "$BoostRoot"
    rm -rf "$BoostWork"
}

# --- FFmpeg -----------------------------------------------------------------------------------

# Windows tells of a connection that was refused as an exception, for which the library does not look while it waits to
# be able to write: it would wait for it until its time is over.
MendFfmpeg() {
    local file=$1/libavformat/os_support.c
    sed -i 's/if (fds\[i\]\.events & POLLERR)/if (fds[i].events \& (POLLOUT | POLLERR))/' "$file"
    grep -F '& (POLLOUT | POLLERR)' "$file" >/dev/null || Fail "the source of FFmpeg has changed: $file"
}

# Configuring takes a minute of one processor: it goes by while Boost is fetched and planned.
ConfigurePid=
BeginFfmpeg() {
    local -a flags
    [[ ! -d $FfmpegRoot ]] || return 0
    FfmpegWork=$Cache/unfinished/$(basename "$FfmpegRoot")
    FfmpegLog=$Cache/logs/ffmpeg.log
    mkdir -p "$FfmpegWork/build"
    FetchSource ffmpeg "$FfmpegVersion" "$FfmpegWork/source"
    MendFfmpeg "$FfmpegWork/source"
    mapfile -t flags < <(ReadFlags "$SetupDir/ffmpeg-flags")
    # shellcheck disable=SC2016
    FfmpegConfigure=(bash -c 'cd "$1" && "${@:2}" && touch configured' configure "$FfmpegWork/build"
        "$FfmpegWork/source/configure" --prefix=/ --pkg-config=false "${flags[@]}")
    [[ ! -e $FfmpegWork/build/configured ]] || return 0
    setsid "${FfmpegConfigure[@]}" >>"$FfmpegLog" 2>&1 </dev/null 9>&- &
    ConfigurePid=$!
    trap StopConfiguring EXIT
}

StopConfiguring() { [[ -z $ConfigurePid ]] || kill -TERM -- "-$ConfigurePid" 2>/dev/null || true; }

BuildFfmpegTree() {
    local total
    if [[ -n $ConfigurePid ]]; then
        RunStep 'FFmpeg for Windows: configuring' "$FfmpegLog" 0 '' tail "--pid=$ConfigurePid" -f /dev/null
        wait "$ConfigurePid" || true
        ConfigurePid=
    fi
    if [[ ! -e $FfmpegWork/build/configured ]]; then
        RunStep 'FFmpeg for Windows: configuring' "$FfmpegLog" 0 '' "${FfmpegConfigure[@]}" || return 1
    fi
    # Silent rules: one line `CC file` a command.
    total=$(make -C "$FfmpegWork/build" -n 2>/dev/null | grep -cE '^printf "[A-Z0-9]+\\t' || true)
    RunStep 'FFmpeg for Windows' "$FfmpegLog" "$total" '^[A-Z0-9]+'$'\t' \
        make -C "$FfmpegWork/build" "-j$(nproc)"
}

BuildFfmpeg() {
    [[ ! -d $FfmpegRoot ]] || return 0
    BuildResumed 'FFmpeg for Windows' "$FfmpegLog" "$FfmpegWork" BuildFfmpegTree

    local partial=$FfmpegRoot.partial
    rm -rf "$partial"
    make -C "$FfmpegWork/build" install DESTDIR="$partial" >>"$FfmpegLog" 2>&1 ||
        FailWithLog 'FFmpeg for Windows could not be installed into the cache' "$FfmpegLog"
    # Import libraries of both kinds in one place; the pkg-config files name a prefix that is none.
    mv "$partial"/bin/*.lib "$partial/lib/"
    rm -rf "$partial/share" "$partial/lib/pkgconfig"
    KeepOrigin "$FfmpegWork/source" "$partial" LICENSE.md COPYING.LGPLv2.1
    mv -T "$partial" "$FfmpegRoot"
    rm -rf "$FfmpegWork"
}

# --- Google Benchmark -------------------------------------------------------------------------

# Only unpacked: CMake builds it as a subdirectory, with the flags of the build that uses it.
FetchBenchmark() { FetchSource benchmark "$BenchmarkVersion" "$BenchmarkSource"; }
