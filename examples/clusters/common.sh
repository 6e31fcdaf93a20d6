# What the cluster examples share. Sourced by them; everything happens in one temporary folder and on
# loopback, and ends with the script.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(cd "$here/../.." && pwd)
servers=$root/tests/servers
. "$root/scripts/setup.sh"
need "${test_packages[@]}" "${cluster_packages[@]}"
records=${1:-100000}
load=${KELVORIN_CLUSTER_LOAD:-$root/build/bench/bin/cluster_load}
[ -x "$load" ] || {
  echo "no $load: cmake --preset bench && cmake --build build/bench --target cluster_load" >&2
  exit 2
}
folder=$(mktemp -d /tmp/kvcXXXXXX)
chmod 755 "$folder"
started=()
finish() {
  local entry
  for entry in "${started[@]}"; do
    "$servers/${entry%%:*}.sh" stop "$folder/${entry#*:}" || true
  done
  rm -rf "$folder"
}
trap finish EXIT

# start KIND NAME [OPTION ...]: prints nothing, sets $port
start() {
  local kind=$1 name=$2
  shift 2
  port=$("$servers/$kind.sh" start "$folder/$name" "$@")
  started+=("$kind:$name")
}
pg() { psql -h 127.0.0.1 -p "$1" -U kv -d imp -v ON_ERROR_STOP=1 -qAt -c "$2"; }
my() { mariadb --no-defaults -h 127.0.0.1 -P "$1" -u root -N imp -e "$2"; }

cat >"$folder/odbcinst.ini" <<INI
[PGW]
Driver=psqlodbcw.so
[Maria]
Driver=libmaodbc.so
INI
touch "$folder/odbc.ini"
export ODBCSYSINI=$folder ODBCINI=$folder/user.ini
columns_pg="id integer, name varchar(60), city varchar(60), debt numeric(10,2), born date"
columns_my="id INT PRIMARY KEY, name VARCHAR(60), city VARCHAR(60), debt DECIMAL(10,2), born DATE"
