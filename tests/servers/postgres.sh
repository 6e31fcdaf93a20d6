#!/usr/bin/env bash
# postgres.sh start FOLDER [NAME=VALUE ...]   a fresh PostgreSQL server in FOLDER, on loopback; prints its port
# postgres.sh stop FOLDER                     ends exactly that server
# The superuser is `kv` without a password, the database `imp`. Refuses with exit 2 and a reason
# when there is no server program. As root the server runs under the account `postgres`.
set -euo pipefail
bin=$(ls -d /usr/lib/postgresql/*/bin 2>/dev/null | sort -V | tail -n 1 || true)
command=$1
folder=$2
shift 2

as_server() {
  if [ "$(id -u)" -eq 0 ]; then
    (cd / && setpriv --reuid=postgres --regid=postgres --clear-groups -- "$@")
  else
    "$@"
  fi
}

case $command in
  start)
    [ -n "$bin" ] && [ -x "$bin/initdb" ] || { echo "no PostgreSQL server here (Debian: postgresql)" >&2; exit 2; }
    [ "$(id -u)" -ne 0 ] || id postgres >/dev/null 2>&1 || { echo "no account postgres" >&2; exit 2; }
    mkdir -p "$folder"
    [ "$(id -u)" -ne 0 ] || { chown postgres "$folder"; chmod 755 "$folder" "$(dirname "$folder")"; }
    if [ ! -d "$folder/data" ]; then
      as_server "$bin/initdb" -D "$folder/data" -U kv -A trust -E UTF8 --locale=C.UTF-8 --no-sync \
        >"$folder.init" 2>&1 || { cat "$folder.init" >&2; exit 2; }
    fi
    for try in 1 2 3 4 5; do
      port=${PORT:-$((20000 + RANDOM % 20000))}
      options="-p $port -k $folder -c listen_addresses=127.0.0.1 -c fsync=${FSYNC:-off}"
      for setting in "$@"; do options+=" -c $setting"; done
      if as_server "$bin/pg_ctl" -D "$folder/data" -w -t 30 -l "$folder/log" -o "$options" start \
        >/dev/null 2>&1; then
        as_server "$bin/psql" -h 127.0.0.1 -p "$port" -U kv -d postgres -qAtc \
          "SELECT 1 FROM pg_database WHERE datname='imp'" | grep -q 1 ||
          as_server "$bin/psql" -h 127.0.0.1 -p "$port" -U kv -d postgres -qc 'CREATE DATABASE imp'
        echo "$port"
        exit 0
      fi
    done
    tail -n 5 "$folder/log" >&2 || true
    echo "the PostgreSQL server did not start" >&2
    exit 2
    ;;
  stop) as_server "$bin/pg_ctl" -D "$folder/data" -m "${MODE:-fast}" -w -t 20 stop >/dev/null 2>&1 || true ;;
  *) echo "unknown command $command" >&2; exit 1 ;;
esac
