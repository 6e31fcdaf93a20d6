#!/usr/bin/env bash
# mariadb_galera.sh [RECORDS]: a pair of MariaDB servers that both hold everything
#
# Loads the records through `node1` and compares what `node2` has. Makes (and replaces) the table
# people. On nodes of your own, which are a cluster already: node1_HOST=db1 node1_USER=ann
# node1_PASSWORD=... node2_HOST=db2 ...; the options that make them one stand below. Nodes that are
# started here take three further ports each for the traffic between them, from GALERA_PORT on.
. "$(dirname "$0")/common.sh"

patience=${PATIENCE:-300}  # seconds until a node counts as gone
free() { ! (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null; }
base=${GALERA_PORT:-}
while [ -z "$base" ]; do  # below the ports that connections are given
  base=$((15000 + RANDOM % 5000))
  for port in $(seq "$base" $((base + 22))); do free "$port" || base= ; done
done
node() {  # node NUMBER ADDRESS [OPTION ...]
  local number=$1 address=$2 talk=$((base + 10 * ($1 - 1))) provider=
  shift 2
  if [ -z "$(of "node$number" HOST)" ]; then
    provider=$(ls /usr/lib/galera/libgalera_smm.so /usr/lib/libgalera_smm.so 2>/dev/null | head -n 1 || true)
    [ -n "$provider" ] || { echo "no libgalera_smm.so (Debian: galera-4)" >&2; exit 2; }
    command -v rsync >/dev/null || { echo "no rsync" >&2; exit 2; }
  fi
  WAIT=$patience server mariadb "node$number" --binlog-format=ROW --innodb-autoinc-lock-mode=2 \
    --wsrep-on=ON --wsrep-provider="$provider" --wsrep-cluster-address="$address" \
    --wsrep-node-address=127.0.0.1 --wsrep-sst-method=rsync \
    --wsrep-sst-receive-address="127.0.0.1:$((talk + 2))" \
    --wsrep-provider-options="base_port=$talk;gmcast.listen_addr=tcp://127.0.0.1:$talk;ist.recv_addr=127.0.0.1:$((talk + 1));gcache.size=64M" \
    "$@"
}
# await WORDS COMMAND ...: until the command succeeds, at most as long as our patience lasts
await() {
  local words=$1 began=$SECONDS
  shift
  until "$@"; do
    [ $((SECONDS - began)) -lt "$patience" ] || { echo "$words: not within $patience s" >&2; exit 1; }
    sleep 0.2
  done
}
synced() { [ "$(my "$1" "SHOW STATUS LIKE 'wsrep_local_state_comment'" 2>/dev/null | cut -f 2)" = Synced ]; }
node 1 gcomm:// --wsrep-new-cluster
await "node 1 is ready" synced node1
node 2 "gcomm://127.0.0.1:$base"
await "node 2 has joined" synced node2
size=$(my node1 "SHOW STATUS LIKE 'wsrep_cluster_size'" | cut -f 2)
echo "nodes: $size"
[ "$size" -ge 2 ]
my node1 "DROP TABLE IF EXISTS people"
my node1 "CREATE TABLE people ($columns_my) ENGINE=InnoDB"

load mariadb node1 people
query="SELECT COUNT(*), SUM(CRC32(CONCAT_WS('|', id, name, city, debt, born))) FROM people"
first=$(my node1 "$query")
same() { second=$(my node2 "$query" 2>/dev/null) && [ "$first" = "$second" ]; }
await "node 2 has what node 1 has" same
echo "records and checksum: first node $first, second node $second"
