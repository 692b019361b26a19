#!/usr/bin/env bash
#
# Shows that a fresh clone works on a bare Debian 12: makes a minimal system in a temporary
# folder, clones this repository into it and runs `./dev VERB` there, demo and test unless
# others are named. What is not committed is not in the clone. Needs root and debootstrap.
#
# usage: run.sh [VERB...]

set -euo pipefail

release=bookworm
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
[[ $# -gt 0 ]] || set -- demo test

if [[ $(id -u) -ne 0 ]]; then
    echo "run.sh: needs root" >&2
    exit 1
fi

bare=$(mktemp -d)
system=$bare/system
mounted=()

clean_up() {
    local at
    for at in "${mounted[@]}"; do
        umount "$at" || umount --lazy "$at"
    done
    if grep -q " $bare/" /proc/self/mounts; then
        echo "run.sh: something is still mounted in $bare, which therefore stays" >&2
        return
    fi
    rm -rf --one-file-system "$bare"
}
trap clean_up EXIT
trap 'exit 130' INT TERM

# Runs one step; prints its name before it and its time after it.
step() {
    local name=$1 started=$SECONDS
    shift
    echo "bare: $name"
    "$@"
    echo "bare: $name took $(( SECONDS - started )) s"
}

bind() {
    mount --bind "/$1" "$system/$1"
    mounted=("$system/$1" "${mounted[@]}")
}

# The archives of this Debian release that the host's own apt uses, as lines of sources.list.
# apt only knows which of its sources are Debian's once it has fetched their indexes.
archives() {
    # shellcheck disable=SC2016
    apt-get indextargets --format 'deb $(REPO_URI) $(RELEASE) $(COMPONENT)' \
        'Created-By: Packages' 'Origin: Debian' 'Component: main' |
        grep -E " $release(-updates|-security)? main$" | sort -u
}

make_system() {
    local mirror
    mirror=$(awk -v release="$release" '$3 == release { print $2; exit }' "$bare/archives")
    debootstrap --variant=minbase --include=git,ca-certificates \
        "$release" "$system" "$mirror" >"$bare/debootstrap.log" 2>&1 ||
        { tail -n 20 "$bare/debootstrap.log" >&2; return 1; }
}

set_up_system() {
    cp "$bare/archives" "$system/etc/apt/sources.list"
    apt-config dump |
        grep -E '^Acquire::((http|https)(::.*)?|Check-Valid-Until|Check-Date) "..*";$' \
            >"$system/etc/apt/apt.conf.d/99host" || true
    cp /etc/resolv.conf /etc/hosts "$system/etc/"
    bind proc
    bind dev
    # The repository may belong to somebody else, which git refuses to read unless told so.
    git config --file "$bare/gitconfig" safe.directory '*'
    GIT_CONFIG_GLOBAL=$bare/gitconfig git clone --quiet --no-hardlinks "$root" "$system/root/VexaClient"
}

in_system() {
    local name settings=()
    for name in http_proxy https_proxy no_proxy HTTP_PROXY HTTPS_PROXY NO_PROXY; do
        [[ -z ${!name:-} ]] || settings+=("$name=${!name}")
    done
    env -i HOME=/root LANG=C.UTF-8 TERM="${TERM:-dumb}" \
        PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin "${settings[@]}" \
        chroot "$system" bash -c 'cd /root/VexaClient && exec "$@"' bash "$@" </dev/null
}

archives >"$bare/archives" || true
if [[ ! -s $bare/archives ]]; then
    apt-get -qq update
    archives >"$bare/archives"
fi

step "debootstrap" make_system
step "clone" set_up_system
for verb in "$@"; do
    step "./dev $verb" in_system ./dev "$verb"
done
