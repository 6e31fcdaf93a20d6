#!/usr/bin/env bash
# mariadb.sh start FOLDER [OPTION ...]   a fresh MariaDB server in FOLDER, on loopback; prints its port
# mariadb.sh stop FOLDER                 ends exactly that server
# The superuser is `root` without a password, the database `imp`. Refuses with exit 2 and a reason
# when there is no server program. As root the server runs under the account `nobody`. A start is
# waited for WAIT seconds, 15 where that is not set.
set -euo pipefail
PATH=$PATH:/usr/sbin
command=$1
folder=$2
shift 2

as_server() {
  if [ "$(id -u)" -eq 0 ]; then
    (cd / && setpriv --reuid=nobody --regid=nogroup --clear-groups -- "$@")
  else
    "$@"
  fi
}
admin() { as_server mariadb-admin --no-defaults -u root -S "$folder/s.sock" "$@"; }

case $command in
  start)
    command -v mariadbd >/dev/null && command -v mariadb-install-db >/dev/null ||
      { echo "no MariaDB server here (Debian: mariadb-server)" >&2; exit 2; }
    [ ${#folder} -le 90 ] || { echo "the path $folder is too long for a socket" >&2; exit 2; }
    mkdir -p "$folder"
    [ "$(id -u)" -ne 0 ] || { chown nobody:nogroup "$folder"; chmod 755 "$folder" "$(dirname "$folder")"; }
    # of its own: a server that starts deletes what others have in theirs
    as_server mkdir -p "$folder/tmp"
    if [ ! -d "$folder/data" ]; then
      as_server mariadb-install-db --no-defaults --datadir="$folder/data" --skip-test-db \
        --auth-root-authentication-method=normal --skip-name-resolve >"$folder.init" 2>&1 ||
        { tail -n 5 "$folder.init" >&2; exit 2; }
    fi
    for try in 1 2 3; do
      port=${PORT:-$((20000 + RANDOM % 20000))}
      as_server setsid mariadbd --no-defaults --datadir="$folder/data" --port="$port" \
        --bind-address=127.0.0.1 --socket="$folder/s.sock" --tmpdir="$folder/tmp" --pid-file="$folder/pid" \
        --character-set-server=utf8mb4 --skip-name-resolve --innodb-fast-shutdown=2 \
        --innodb-flush-log-at-trx-commit="${FLUSH:-2}" "$@" >"$folder.log" 2>&1 </dev/null &
      for _ in $(seq $((10 * ${WAIT:-15}))); do
        if admin ping >/dev/null 2>&1; then
          as_server mariadb --no-defaults -u root -S "$folder/s.sock" -e 'CREATE DATABASE IF NOT EXISTS imp'
          echo "$port"
          exit 0
        fi
        kill -0 $! 2>/dev/null || break
        sleep 0.1
      done
      kill $! 2>/dev/null || true
    done
    tail -n 5 "$folder.log" >&2
    echo "the MariaDB server did not start" >&2
    exit 2
    ;;
  stop)
    pid=$(cat "$folder/pid" 2>/dev/null || true)
    admin shutdown >/dev/null 2>&1 || true
    [ -z "$pid" ] || for _ in $(seq 100); do kill -0 "$pid" 2>/dev/null || exit 0; sleep 0.1; done
    kill -9 "$pid" 2>/dev/null || true
    ;;
  *) echo "unknown command $command" >&2; exit 1 ;;
esac
