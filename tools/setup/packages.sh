# Installs what the files of PackageLists list. Sourced by setup, which
# has the variables from lib.sh.
# shellcheck shell=bash disable=SC2154,SC2034

ListPackages() { sed -e 's/#.*//' -e '/^[[:space:]]*$/d' "${PackageLists[@]/#/$SetupDir/}"; }

# One call of dpkg-query for all, as this is on the path of every ./run.
ListMissingPackages() {
    local missing
    # shellcheck disable=SC2016
    # A package that dpkg has never heard of is an error of dpkg-query, and missing all the same.
    missing=$({ ListPackages | xargs dpkg-query -W -f='${db:Status-Status} ${Package}\n' 2>/dev/null || true; } |
        sed -n 's/^installed //p' | sort -u | comm -13 - <(ListPackages | sort -u))
    [[ -z $missing ]] || comm -23 <(printf '%s\n' "$missing") <(ListProvided)
}

# What installed packages bring of others: Node.js as its makers pack it has npm in it, and excludes npm's own package.
ListProvided() {
    # shellcheck disable=SC2016
    dpkg-query -W -f='${db:Status-Status} ${Provides}\n' | sed -n 's/^installed //p' | tr ',' '\n' |
        sed -e 's/(.*//' -e 's/ //g' -e '/^$/d' | sort -u
}

InstallPackages() {
    local -a missing asRoot=()
    local log=$Cache/logs/packages.log count
    mapfile -t missing < <(ListMissingPackages)
    ((${#missing[@]} > 0)) || return 0

    Say "packages to install: ${missing[*]}"
    if ((EUID != 0)); then
        command -v sudo >/dev/null ||
            Fail "not root and no sudo here; ask an administrator to run: apt-get install ${missing[*]}"
        sudo -v || Fail 'sudo refused; run tools/setup/setup as root once, or by a user who may use sudo'
        asRoot=(sudo)
    fi
    asRoot+=(env DEBIAN_FRONTEND=noninteractive)

    RunStep 'package lists' "$log" 0 '' "${asRoot[@]}" apt-get -q update ||
        FailWithLog 'apt-get update failed' "$log"
    count=$("${asRoot[@]}" apt-get -s --no-install-recommends install "${missing[@]}" | grep -c '^Inst ' || true)
    StepStops=no
    RunStep "packages ($count)" "$log" $((2 * count)) '^(Unpacking|Setting up) ' \
        "${asRoot[@]}" apt-get -q -y -o Dpkg::Use-Pty=0 -o DPkg::Lock::Timeout=300 \
        --no-install-recommends install "${missing[@]}" ||
        FailWithLog 'the packages could not be installed' "$log"
    StepStops=yes
}

InstalledVersion() { dpkg-query -W -f='${Version}\n' "$1"; }
InstalledSourceVersion() { dpkg-query -W -f='${source:Version}\n' "$1"; }
