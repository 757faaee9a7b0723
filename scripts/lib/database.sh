# shellcheck shell=bash
# Sourced by the scripts: a PostgreSQL cluster for one run, and the tests that work on it. Nothing
# but a socket in its own folder, which only its owner and root may enter, leads to it.

database_folder=

# Runs a program of PostgreSQL's. They refuse to be root's.
postgresql() {
  local programs as_owner=()
  programs=$(printf '%s\n' /usr/lib/postgresql/*/bin | sort -V | tail -n 1)
  ((EUID)) || as_owner=(runuser -u postgres --)
  (cd "$database_folder" && "${as_owner[@]}" "$programs/$1" "${@:2}" </dev/null)
}

start_database() {
  step "starting a PostgreSQL cluster"
  database_folder=$(mktemp -d /tmp/qrvadmin-database.XXXXXX)
  ((EUID)) || chown postgres: "$database_folder"
  postgresql initdb --pgdata=data --username=postgres --auth=trust --encoding=UTF8 --locale=C.UTF-8 \
    --no-sync >/dev/null
  postgresql pg_ctl start --wait --silent --pgdata=data --log=log \
    --options="-c listen_addresses='' -c unix_socket_directories='$database_folder' -c fsync=off" ||
    die "$(cat "$database_folder/log")"
  postgresql createdb --host="$database_folder" --username=postgres bes
  quiet_drivers
}

# The machine's ODBC drivers, without the log that each process would leave in /tmp.
quiet_drivers() {
  sed 's/^CommLog=1/CommLog=0/' /etc/odbcinst.ini >"$database_folder/odbcinst.ini"
}

stop_database() {
  [[ $database_folder ]] || return 0
  postgresql pg_ctl stop --silent --mode=immediate --pgdata=data || true
  rm -rf "$database_folder"
  database_folder=
}

# Tests that another engine does not change: they end ahead of the database, or the fault plan
# answers in its place. And some that only SQLite can run: their values are wider than the columns.
same_on_all_engines='*Usage*:*Limits*:*FailureTest.*:*Location*:ConnectionString*:*Unconnected*:CreationTest.*'
same_on_all_engines+=':*CtrlC*:StatementText.*:ProviderOptionsText.*'
wider_than_columns='*254Characters*:*4000Characters*:*4095Characters*:*Beyond32Bits*'

# The time limit is the last of the watchdogs.
database_tests() {
  (cd "$build_root/release/lab" &&
    timeout --foreground 1200 "$repo_root/scripts/lab-exec" qrvadmin_database_tests.exe --gtest_brief=1 "$@")
}

# The provider's own, which expect a count to be of SQL Server's type. Each needs a process for itself.
provider_tests() {
  local cases case output
  mapfile -t cases < <(database_tests --gtest_list_tests --gtest_filter='OledbProvider.*' |
    sed -n 's/^  \([A-Za-z]*\).*/OledbProvider.\1/p')
  ((${#cases[@]})) || die "there are no tests of the provider"
  for case in "${cases[@]}"; do
    output=$(QRVLAB_OLEDB_OPTIONS=integer=i4 database_tests --gtest_filter="$case") || die "$output"
  done
}

# usage: run_database_tests DRIVER utf8|utf16
run_database_tests() (
  step "testing on PostgreSQL, driver $1, text in $2"
  export QRVLAB_ODBC="Driver={$1};Server=$database_folder;Database=bes;Uid=postgres"
  export QRVLAB_ODBC_TEXT=$2
  export ODBCSYSINI=$database_folder
  database_tests --gtest_filter="-OledbProvider.*:$same_on_all_engines:$wider_than_columns"
  provider_tests
)
