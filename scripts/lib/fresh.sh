# shellcheck shell=bash
# Sourced by scripts/check: a Debian system with nothing in it, and the two commands of the README there.
# Mounts and processes are in name spaces of their own, and end with the command that needs them.

fresh_times=()

# usage: make_system RELEASE FOLDER
make_system() {
  mkdir -p "$2"
  unshare --mount debootstrap --variant=minbase "$1" "$2" >"$2.log" 2>&1 ||
    die "debootstrap has failed: $(tail -n 20 "$2.log")"
}

# The machine's way to Debian's packages goes along, and whether warnings are errors.
# usage: run_in_system FOLDER COMMAND
run_in_system() {
  unshare --mount --pid --fork --kill-child -- bash -c '
    mount -t proc proc "$0/proc" && mount --rbind /dev "$0/dev" && exec chroot "$0" "$@"' "$1" \
    env -i HOME=/root PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
    "QRV_WARNINGS_AS_ERRORS=$QRV_WARNINGS_AS_ERRORS" \
    ${http_proxy:+"http_proxy=$http_proxy"} ${https_proxy:+"https_proxy=$https_proxy"} \
    bash -c "cd /root/qrvadmin && $2" </dev/null
}

# usage: timed NAME COMMAND...
timed() {
  local begin=$SECONDS
  step "$1"
  "${@:2}" || die "$1: failed; the system stays in build/fresh"
  fresh_times+=("$((SECONDS - begin)) s  $1")
}

# A system in which something has failed stays, to look into; the next run makes a new one.
check_fresh() {
  local release=$1 system=$build_root/fresh/$1
  [[ $release =~ ^[a-z]+$ ]] || die "fresh needs a release of Debian: bookworm or trixie"
  ((EUID == 0)) || die "a fresh system is made by root: sudo scripts/check fresh $release"
  scripts/setup fresh
  rm -rf --one-file-system "$system"
  timed "$release: making the system" make_system "$release" "$system"
  git clone --quiet --no-hardlinks "$repo_root" "$system/root/qrvadmin"
  step "$release: $(git log -1 --format='%h %s')"
  timed "$release: scripts/demo" run_in_system "$system" scripts/demo
  timed "$release: scripts/test" run_in_system "$system" scripts/test
  rm -rf --one-file-system "$system"
  printf '%s\n' "${fresh_times[@]}"
}
