# What the cluster examples share. Sourced by them.
#
# A server NAME is reached by NAME_HOST, NAME_PORT, NAME_USER, NAME_PASSWORD and NAME_DB (the host as
# the other servers reach it, too). Where NAME_HOST is not set a server is started on this machine, on
# NAME_PORT or a free port, with its data in DATA/NAME; it ends with the script, and its data goes
# when DATA was not given.
#
# KELVORIN   the program (default: that of this source tree)
# RECORDS    how many records are loaded (default 100000, or the first argument)
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(cd "$here/../.." && pwd)
servers=$root/tests/servers
. "$root/scripts/setup.sh"
need "${test_packages[@]}" "${cluster_packages[@]}"
records=${1:-${RECORDS:-100000}}
kelvorin=${KELVORIN:-}
for try in "$root"/build/{release,bench,dev,check}/bin/kelvorin "$(command -v kelvorin || true)"; do
  [ -n "$kelvorin" ] || [ ! -x "$try" ] || kelvorin=$try
done
[ -x "$kelvorin" ] || { echo "no kelvorin: build it (./run) or name it in KELVORIN" >&2; exit 2; }
work=$(mktemp -d /tmp/kvcXXXXXX)
chmod 755 "$work"
data=${DATA:-$work}
mkdir -p "$data"
started=()
finish() {
  local entry
  for entry in "${started[@]}"; do
    "$servers/${entry%%:*}.sh" stop "$data/${entry#*:}" || true
  done
  rm -rf "$work"
}
trap finish EXIT

of() { local name=${1}_$2; echo "${!name:-${3:-}}"; }

# server KIND NAME [OPTION ...]: one that is there, or one that is started here
server() {
  local kind=$1 name=$2 user=kv
  shift 2
  [ "$kind" = postgres ] || user=root
  if [ -z "$(of "$name" HOST)" ]; then
    declare -g "${name}_PORT=$(PORT=$(of "$name" PORT) "$servers/$kind.sh" start "$data/$name" "$@")"
    declare -g "${name}_HOST=127.0.0.1" "${name}_USER=$user" "${name}_PASSWORD=" "${name}_DB=imp"
    started+=("$kind:$name")
  else
    [ -n "$(of "$name" PORT)" ] ||
      declare -g "${name}_PORT=$([ "$kind" = postgres ] && echo 5432 || echo 3306)"
    [ -n "$(of "$name" USER)" ] || declare -g "${name}_USER=$user"
    [ -n "$(of "$name" DB)" ] || declare -g "${name}_DB=imp"
  fi
}
pg() {  # pg NAME SQL
  PGOPTIONS="-c client_min_messages=warning" PGPASSWORD=$(of "$1" PASSWORD) psql -h "$(of "$1" HOST)" -p "$(of "$1" PORT)" -U "$(of "$1" USER)" \
    -d "$(of "$1" DB)" -v ON_ERROR_STOP=1 -qAt -c "$2"
}
my() {  # my NAME SQL
  MYSQL_PWD=$(of "$1" PASSWORD) mariadb --no-defaults -h "$(of "$1" HOST)" -P "$(of "$1" PORT)" \
    -u "$(of "$1" USER)" -N "$(of "$1" DB)" -e "$2"
}

cat >"$work/odbcinst.ini" <<INI
[PGW]
Driver=psqlodbcw.so
[Maria]
Driver=libmaodbc.so
INI
touch "$work/odbc.ini"
columns_pg="id integer, name varchar(60), city varchar(60), debt numeric(10,2), born date"
columns_my="id INT PRIMARY KEY, name VARCHAR(60), city VARCHAR(60), debt DECIMAL(10,2), born DATE"

# The records, each thousandth with the key of the one before it.
awk -v n="$records" 'BEGIN { print "id,name,city,debt,born"
  for (i = 1; i <= n; ++i) printf "%d,name of person %d,city %d,%d.%02d,%d-%02d-%02d\n",
    i % 1000 ? i : i - 1, i, i % 977, i % 1000, i % 100, 1950 + i % 60, 1 + i % 12, 1 + i % 28 }' \
  >"$work/people.csv"

# load KIND NAME TABLE: through the program, as anybody would
load() {
  local driver=PGW status=0 said
  [ "$1" = postgres ] || driver=Maria
  said=$(ODBCSYSINI=$work ODBCINI=$work/none KELVORIN_PASSWORD=$(of "$2" PASSWORD) \
    "$kelvorin" import "$work/people.csv" --start-line 2 --table "$3" --json --into \
    "ODBC:DRIVER=$driver;Servername=$(of "$2" HOST);Server=$(of "$2" HOST);Port=$(of "$2" PORT);Database=$(of "$2" DB);UID=$(of "$2" USER)" \
    2>"$work/said") || status=$?
  [ "$status" -le 1 ] || { cat "$work/said" >&2; echo "$said" >&2; exit 1; }
  echo "$3: $(echo "$said" | sed -E 's/.*"imported":([0-9]+),"rejected":([0-9]+).*"seconds":([0-9.]+).*/\1 stored, \2 refused, \3 s/')"
}
