# Helpers for the scripts of this repository. To be sourced, by bash, after `set -euo pipefail`.
# shellcheck shell=bash disable=SC2034

# The distribution's own tools, also where another python3 or clang comes first.
PATH=/usr/sbin:/usr/bin:/sbin:/bin:$PATH

SetupDir=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
Checkout=$(cd "$SetupDir/../.." && pwd)
Cache=${RENDERERAUDIO_CACHE:-${XDG_CACHE_HOME:-${HOME:?}/.cache}/rendereraudio}

Say() { printf '%s\n' "$*"; }

Fail() {
    printf 'error: %s\n' "$*" >&2
    exit 1
}

# Prints SECONDS-like spans as a person says them: "7 s", "3 min 05 s".
Span() {
    if (($1 < 60)); then
        printf '%d s' "$1"
    else
        printf '%d min %02d s' $(($1 / 60)) $(($1 % 60))
    fi
}

# Where the packages of the browser suite are: another folder for every change of what they shall be.
NodeLock=$Checkout/tests/reports/package-lock.json
NodeModules() { printf '%s/node-%s/node_modules' "$Cache" "$(sha256sum <"$NodeLock" | cut -c1-12)"; }

# What this script and all that it has waited for have taken of the processor so far, into ProcessorSeconds. Machines
# differ in speed, and neighbours take their share: this differs less than the time that passes. FILE is for its notes:
# in a substitution `times` would tell of another shell.
ProcessorSeconds=0
ReadProcessorSeconds() {
    # With a decimal point in every language.
    local file=$1 part LC_ALL=C
    times >"$file"
    ProcessorSeconds=0
    # User and system, of the shell and of its children: 1m23.456s.
    for part in $(<"$file"); do
        part=${part%.*}
        ProcessorSeconds=$((ProcessorSeconds + 60 * ${part%m*} + ${part#*m}))
    done
    rm -f "$file"
}

# Spans of SECONDS passed and SECONDS of the processor, as people read them.
Cost() { printf '%s (%s of the processor)' "$(Span "$1")" "$(Span "$2")"; }

# Paths that setup has found or made: BOOST_WINDOWS_ROOT and so on.
LoadDependencies() {
    [[ -r "$Checkout/build/dependencies.sh" ]] || Fail 'not set up yet: run tools/setup/setup first'
    # shellcheck source=/dev/null
    source "$Checkout/build/dependencies.sh"
}

# The command that starts Windows programs, into Wine. Many a kernel puts the heap anywhere within a gigabyte: once in a
# thousand starts where Windows' shared data has to be, and Wine ends with 1 and without a word. Some containers forbid
# to ask for a fixed place.
WineDirectory=/usr/lib/wine
Wine=()
UseWine() {
    Wine=("$WineDirectory/wine64")
    ! setarch --addr-no-randomize true 2>/dev/null || Wine=(setarch --addr-no-randomize "${Wine[@]}")
}

# PreferSound PID: as sound programs do where they may, so that what is heard is not the doing of the compiler that
# runs beside them. What the process starts from then on is preferred too. A lower nice value alone would not do:
# where the kernel groups processes by session, it counts only within the session.
SoundPriority=5
PreferSound() {
    chrt --all-tasks --rr --pid "$SoundPriority" "$1" >/dev/null 2>&1 || renice -n -10 -p "$1" >/dev/null 2>&1 || true
}

# --- long steps -------------------------------------------------------------------------------

StepPid=
StepStops=yes

# A step runs in a process group of its own (see RunStep), which Ctrl-C in the terminal does not
# reach: it has to be passed on, and waited for, so that compilers can remove half-written files.
StopStep() {
    local status=$1
    trap '' INT TERM HUP
    if [[ -n "$StepPid" ]]; then
        if [[ $StepStops == yes ]]; then
            kill -TERM -- "-$StepPid" 2>/dev/null || true
        else
            printf '\nfinishing the package installation, as a half-installed package is hard to repair\n' >&2
        fi
        wait "$StepPid" 2>/dev/null || true
    fi
    printf '\ninterrupted: the next run continues from here\n' >&2
    exit "$status"
}

TrapInterrupts() {
    trap 'StopStep 130' INT
    trap 'StopStep 143' TERM HUP
}

# Shows on a terminal one line that is rewritten; elsewhere a line for every tenth of the way, so
# that a log stays readable.
StepShown=
ShowProgress() {
    local name=$1 done=$2 total=$3 elapsed=$4 percent=0 text
    if ((total > 0)); then
        ((done <= total)) || done=$total
        percent=$((done * 100 / total))
        text="$name: $percent % ($done of $total), $(Span "$elapsed")"
    else
        text="$name: $(Span "$elapsed")"
    fi
    if [[ -t 1 ]]; then
        printf '\r%s\033[K' "$text"
    elif ((total > 0)); then
        local tenth=$((percent / 10))
        [[ $tenth == "$StepShown" ]] || Say "$text"
        StepShown=$tenth
    else
        local halfMinute=$((elapsed / 30))
        [[ $halfMinute == "$StepShown" ]] || Say "$text"
        StepShown=$halfMinute
    fi
}

# RunCounted NAME LOG TOTAL PATTERN COMMAND...
# Runs COMMAND with its output appended to LOG, and counts the output lines that match PATTERN
# against TOTAL (0: unknown; ninja: as the output's own `[7/60]` tells) for the progress shown.
# Returns COMMAND's status; leaves the seconds it took in StepSeconds, those of the processor in
# StepProcessorSeconds, and the size LOG had before in StepLogStart.
StepSeconds=0
StepProcessorSeconds=0
StepLogStart=0
RunCounted() {
    local name=$1 log=$2 total=$3 pattern=$4 start=$SECONDS status=0 before
    shift 4
    mkdir -p "$(dirname "$log")"
    ReadProcessorSeconds "$log.times"
    before=$ProcessorSeconds
    printf -- '\n--- %s: %s\n' "$(date '+%F %T')" "$*" >>"$log"
    StepLogStart=$(stat -c %s "$log")
    StepShown=0
    # Without descriptor 9, the lock of setup or of a build: what a step leaves running must not hold it.
    setsid "$@" >>"$log" 2>&1 </dev/null 9>&- &
    StepPid=$!
    while kill -0 "$StepPid" 2>/dev/null; do
        CountStep "$log" "$total" "$pattern"
        ((SECONDS - start < 1)) || ShowProgress "$name" "$StepDone" "$StepTotal" $((SECONDS - start))
        # In the background, as bash runs a trap only between foreground commands. Looking costs processor time too.
        sleep $((SECONDS - start < 2 ? 0 : 1)).2 &
        wait $! || true
    done
    wait "$StepPid" || status=$?
    StepPid=
    StepSeconds=$((SECONDS - start))
    ReadProcessorSeconds "$log.times"
    StepProcessorSeconds=$((ProcessorSeconds - before))
    [[ -t 1 ]] && printf '\r\033[K'
    return "$status"
}

StepDone=0
StepTotal=0
CountStep() {
    local log=$1 total=$2 pattern=$3 last
    StepDone=0
    StepTotal=0
    if [[ $total == ninja ]]; then
        # Ninja finds more to do when it configures again on the way: no total holds from the start.
        last=$(StepOutput "$log" | grep -aoE '^\[[0-9]+/[0-9]+\]' | tail -n 1 | tr -d '[]' || true)
        [[ -z $last ]] || { StepDone=${last%/*} StepTotal=${last#*/}; }
    elif ((total > 0)); then
        StepTotal=$total
        StepDone=$(StepOutput "$log" | grep -acE -- "$pattern" || true)
    fi
}

# What the last step has written to its log.
StepOutput() { tail -c "+$((StepLogStart + 1))" "$1"; }

# The same with a line for the result.
RunStep() {
    local name=$1 status=0
    RunCounted "$@" || status=$?
    if ((status == 0)); then
        Say "$name: done, $(Cost "$StepSeconds" "$StepProcessorSeconds")"
    else
        Say "$name: FAILED after $(Span "$StepSeconds")"
    fi
    return "$status"
}

# Ends the run, with what a person needs to see why.
FailWithLog() {
    local message=$1 log=$2
    {
        printf -- '--- the last lines of %s\n' "$log"
        tail -n 25 "$log"
        printf -- '---\n'
    } >&2
    Fail "$message (all output: $log)"
}

# --- a command that gets the signals sent to this script ----------------------------------------

Forwarded=
Interrupted=no
Signals=0

# To the command's whole group, as a terminal would do it. A command that does not end at the first
# interrupt gets a plainer one at the next.
PassOn() {
    local signal=$1
    Interrupted=yes
    Signals=$((Signals + 1))
    ((Signals == 1)) || signal=TERM
    [[ -z $Forwarded ]] || kill "-$signal" -- "-$Forwarded" 2>/dev/null || true
}

TrapForForwarding() {
    trap 'PassOn INT' INT
    trap 'PassOn TERM' TERM HUP
}

# Runs the command to its end, also when a signal comes, so that it can end in its own way. Needs
# TrapForForwarding. The command is in a session of its own: a Ctrl-C reaches it once, through
# PassOn, wherever it was sent. In the background it would ignore interrupts, which env undoes.
RunForwarding() {
    local status
    [[ $Interrupted == no ]] || return 130
    env --default-signal=INT,QUIT setsid "$@" <&0 9>&- &
    Forwarded=$!
    while true; do
        Interrupted=no
        status=0
        wait "$Forwarded" || status=$?
        # A signal ends `wait`, not the command.
        [[ $Interrupted == yes ]] || break
    done
    Forwarded=
    return "$status"
}

# --- building with CMake --------------------------------------------------------------------------

# BuildPreset PRESET [TARGET...]: configures where needed and builds. On failure prints the errors. One at a time: what
# two builds of one tree write at the same time is neither's.
BuildPreset() {
    local status=0
    mkdir -p "$Checkout/build/logs"
    exec 9>"$Checkout/build/logs/$1.lock"
    flock -n 9 || {
        Say "build $1: waiting for another one"
        # In the background, where a signal need not wait for it.
        flock 9 &
        wait $! || return 1
    }
    BuildPresetAlone "$@" || status=$?
    exec 9>&-
    return "$status"
}

BuildPresetAlone() {
    local preset=$1 log=$Checkout/build/logs/$1.log directory=$Checkout/build/$1
    local -a targets=()
    shift
    (($# == 0)) || targets=(--target "$@")
    : >"$log"
    # Ninja configures again by itself when a CMakeLists.txt changes, but not for the presets.
    if [[ ! -e $directory/configured || $Checkout/CMakePresets.json -nt $directory/configured ]]; then
        if ! RunStep "configure $preset" "$log" 0 '' env -C "$Checkout" cmake --preset "$preset"; then
            tail -n 40 "$log" >&2
            return 1
        fi
        touch "$directory/configured"
    fi
    if ! RunCounted "build $preset" "$log" ninja '' cmake --build "$directory" "${targets[@]}"; then
        Say "build $preset: FAILED after $(Span "$StepSeconds")"
        { StepOutput "$log" | grep -vE '^\[[0-9]+/[0-9]+\] (Building|Linking|Generating)' || true; } |
            sed -n 1,80p >&2
        Say "all output: $log" >&2
        return 1
    fi
    StepOutput "$log" | grep '^ninja: no work to do' >/dev/null ||
        Say "build $preset: done, $(Cost "$StepSeconds" "$StepProcessorSeconds")"
}
