# shellcheck shell=bash
# Sourced by the scripts: the pool of Wine prefixes in which Windows programs run.
#
# One template prefix is made once; slots are clones of it that share its system files by hard
# links, so that a clone takes some hundredths of a second and next to no space. Whoever wants to
# change a shared file inside a slot must replace it, never write into it.

wine_root=${QRV_WINE_DIR:-$build_root/wine}
slot_count=${QRV_LAB_SLOTS:-12}
lab_binaries=${QRV_LAB_BINARIES:-$build_root/release/lab}

# Wine's servers stay this many seconds after the last program, which makes the next start quick.
linger_seconds=60

# The template's recipe: a change of what make_template does needs a new number.
template_recipe=2

# Wine takes the ANSI code page from the locale: 1252 from the plain one, the others from these.
declare -A code_page_locales=([932]=ja_JP [936]=zh_CN [949]=ko_KR [950]=zh_TW [1250]=pl_PL
  [1251]=ru_RU)

# How every program runs: silent, offline, without prompts, without a debugger that would hang on
# a crash, with the mapi32.dll that lies beside the program, and with the ANSI code page
# QRV_LAB_CODE_PAGE (default 1252).
wine_environment() {
  export WINEDEBUG=-all
  export WINEDLLOVERRIDES='mapi32=n;mscoree,mshtml=;winedbg.exe=d'
  export WINEARCH=win64
  export TZ=UTC
  export LANG=C.UTF-8
  export HOME=${HOME:-/tmp}
  unset DISPLAY WAYLAND_DISPLAY LC_ALL LC_CTYPE LOCPATH WINELOADER
  [[ ${QRV_LAB_CODE_PAGE:-1252} == 1252 ]] || use_code_page "$QRV_LAB_CODE_PAGE"
}

# The locale is made for us alone: the machine need not have it.
use_code_page() {
  local locale=${code_page_locales[$1]:-}
  [[ $locale ]] || die "unknown code page '$1' (1252 ${!code_page_locales[*]})"
  export LOCPATH=$wine_root/locales
  [[ -d $LOCPATH/$locale.UTF-8 ]] || make_locale "$locale"
  # The messages stay English. It is for the programs: this shell does not find it, and would say so.
  { export LC_CTYPE=$locale.UTF-8; } 2>/dev/null
}

# Two scripts at once may make it twice; one of them is kept.
make_locale() {
  local new
  mkdir -p "$LOCPATH"
  new=$(mktemp -d "$LOCPATH/new.XXXXXX")
  localedef --no-archive -i "$1" -f UTF-8 "$new/$1.UTF-8" || die "cannot make the locale $1"
  mv -T "$new/$1.UTF-8" "$LOCPATH/$1.UTF-8" 2>/dev/null || true
  rm -rf "$new"
}

template_path() {
  printf '%s/template-%s-%s' "$wine_root" "$template_recipe" "$(installed_wine)"
}

installed_wine() {
  local version
  version=$(readlink -f /usr/lib/wine/wine64)
  stat -c '%Y' "$version"
}

# Runs a Wine program with no connection to this script's streams.
quietly() {
  "$@" </dev/null >/dev/null 2>&1
}

# The user's folders would be links into the real home directory: make them the prefix's own.
detach_from_home() {
  local link
  find "$1/drive_c/users" -type l -print0 | while IFS= read -r -d '' link; do
    rm "$link"
    mkdir "$link"
  done
}

# Drops all time zones but a few: each program looks the machine's up among them as it starts, and
# with some 130 that is a third of what it asks Wine's server for.
drop_time_zones() {
  local key='Software\Microsoft\Windows NT\CurrentVersion\Time Zones' file=$1/drive_c/zones.reg
  {
    printf 'REGEDIT4\n'
    wine reg query "HKLM\\$key" 2>/dev/null | tr -d '\r' | grep -F "$key\\" |
      grep -vE '\\(UTC|Hawaiian Standard Time|India Standard Time|W\. Europe Standard Time)$' |
      sed 's/.*/[-&]/'
  } </dev/null >"$file"
  quietly wine regedit /S 'C:\zones.reg'
  rm "$file"
}

make_template() {
  local new
  new=$(mktemp -d "$wine_root/new.XXXXXX")
  step "making the Wine prefix that the tests' prefixes are cloned from (about 15 seconds)"
  (
    export WINEPREFIX=$new
    quietly wineboot -i || die "Wine cannot make a prefix: 'wineboot -i' says why"
    quietly wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f
    drop_time_zones "$new"
    quietly wineserver -w
  )
  detach_from_home "$new"
  mv -T "$new" "$1"
}

# Makes the template unless it is there; two scripts at once make it once.
ensure_template() {
  local template lock
  template=$(template_path)
  [[ -d $template ]] && return
  mkdir -p "$wine_root"
  exec {lock}>"$wine_root/template.lock"
  flock "$lock"
  if [[ ! -d $template ]]; then
    rm -rf "$wine_root"/new.*
    make_template "$template" {lock}>&-
  fi
  exec {lock}>&-
}

# Clones the template to the prefix `$1`: hard links for what nobody writes, copies for the rest.
clone_template() {
  local template=$1 prefix=$2 partial=$2.partial file
  rm -rf "$partial"
  mkdir -p "$partial"
  cp -a "$template"/*.reg "$template/.update-timestamp" "$template/dosdevices" "$partial"
  cp -al "$template/drive_c" "$partial"
  rm -rf "$partial/drive_c/users" "$partial/drive_c/ProgramData"
  cp -a "$template/drive_c/users" "$template/drive_c/ProgramData" "$partial/drive_c"
  for file in windows/win.ini windows/system.ini windows/system32/map{i32,istub}.dll; do
    cp -a --remove-destination "$template/drive_c/$file" "$partial/drive_c/$file"
  done
  printf '%s\n' "$template" >"$partial/.template"
  rm -rf "$prefix"
  mv -T "$partial" "$prefix"
}

# Makes the prefix `$1` unless it is a clone of the present template already.
ensure_prefix() {
  local prefix=$1 template origin=
  ensure_template
  template=$(template_path)
  [[ -f $prefix/.template ]] && read -r origin <"$prefix/.template"
  [[ $origin == "$template" ]] && return
  [[ -d $prefix ]] && stop_prefix "$prefix"
  clone_template "$template" "$prefix"
}

# Starts the prefix's server with its linger, and Wine's own services apart from our streams.
warm_prefix() {
  if WINEPREFIX=$1 quietly wineserver "-p$linger_seconds"; then
    WINEPREFIX=$1 quietly wine cmd /c exit || true
  fi
}

# Prints the ids of the prefix's processes that are not Wine's own.
stray_processes() {
  local environ pid name
  for environ in $(grep -lzxF "WINEPREFIX=$1" /proc/[0-9]*/environ 2>/dev/null); do
    pid=${environ#/proc/}
    pid=${pid%/environ}
    name=$({ tr '\0' ' ' <"/proc/$pid/cmdline"; } 2>/dev/null) || continue
    case $name in
      '' | [Cc]:\\windows\\* | */wineserver*) ;;
      *) printf '%s\n' "$pid" ;;
    esac
  done
}

kill_strays() {
  local pids
  mapfile -t pids < <(stray_processes "$1")
  ((${#pids[@]} == 0)) || kill -KILL "${pids[@]}" 2>/dev/null || true
}

stop_prefix() {
  [[ -d $1 ]] || return 0
  WINEPREFIX=$1 quietly wineserver -k || true
}

# Applies `$1` to the path of every slot that nobody holds.
for_each_free_slot() {
  local action=$1 lock_file lock
  for lock_file in "$wine_root"/slots/*.lock; do
    [[ -e $lock_file ]] || continue
    exec {lock}>"$lock_file"
    flock -n "$lock" && "$action" "${lock_file%.lock}" {lock}>&-
    exec {lock}>&-
  done
}

remove_prefix() {
  stop_prefix "$1"
  rm -rf "$1" "$1.busy"
}

# Runs a Wine program that writes into the files OUT and ERR, and passes on what it writes as long as
# it runs. Whoever reads our output through a pipe waits for the last process that holds it: that
# must not be one that Wine leaves running for a while, its desktop above all.
# usage: run_relayed OUT ERR COMMAND...
run_relayed() {
  local status=0
  relay_command "$@" || status=$?
  # Under load Wine now and then fails to start a program at all: nothing is said then.
  if ((status)) && [[ ! -s $1 && ! -s $2 ]]; then
    step "a program said nothing and ended with $status; once more: ${*:3}"
    status=0
    relay_command "$@" || status=$?
  fi
  return "$status"
}

relay_command() {
  local out=$1 err=$2 status=0 program relays=()
  : >"$out"
  : >"$err"
  "${@:3}" <&0 >>"$out" 2>>"$err" &
  program=$!
  tail -n +1 -f -s 0.05 --pid="$program" "$out" 2>/dev/null &
  relays+=($!)
  tail -n +1 -f -s 0.05 --pid="$program" "$err" >&2 2>/dev/null &
  relays+=($!)
  wait "$program" || status=$?
  wait "${relays[@]}"
  return "$status"
}

# Builds the lab's programs, unless others are to run.
build_lab() {
  [[ ${QRV_LAB_BINARIES:-} ]] && return
  "$repo_root/scripts/setup" build test
  "$repo_root/scripts/build" release lab >&2
}

# A simulated installation to look at: the prefix `$1`, with the lab's directory beside it. It is
# made unless it is there, and what runs from now on runs in it.
enter_installation() {
  ensure_prefix "$1"
  warm_prefix "$1"
  mkdir -p "$1-lab"
  export WINEPREFIX=$1
  export QRVLAB_DIR=Z:${1//\//\\}-lab
}

remove_installation() {
  remove_prefix "$1"
  rm -rf "$1-lab"
}

# Starts what keeps the installation's desktop in use, and sets `desktop_holder` to its process: the
# first window of a desktop that nobody uses comes later than who waits for it is told.
hold_desktop() {
  local output=$1
  wine "$lab_binaries/labctl.exe" desktop 3600 </dev/null >"$output" 2>/dev/null &
  desktop_holder=$!
  while [[ ! -s $output ]] && kill -0 "$desktop_holder" 2>/dev/null; do sleep 0.02; done
}

# Runs a program of the lab. Through a pipe, so that a terminal shows what a file gets.
run_in_installation() {
  local directory status=0 desktop_holder=
  directory=$(mktemp -d "$wine_root/run.XXXXXX")
  [[ $1 == labctl ]] || hold_desktop "$directory/desktop"
  run_relayed "$directory/out" "$directory/err" wine "$lab_binaries/$1.exe" "${@:2}" |
    tr -d '\r' || status=$?
  [[ -z $desktop_holder ]] || { kill -KILL "$desktop_holder" && wait "$desktop_holder"; } 2>/dev/null || true
  rm -rf "$directory"
  return "$status"
}
