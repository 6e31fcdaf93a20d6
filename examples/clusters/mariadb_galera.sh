#!/usr/bin/env bash
# mariadb_galera.sh [RECORDS]: a pair of MariaDB servers that both hold everything
#
# Loads the records through the first node and compares what the second one has. Each node takes
# two further ports on loopback for the traffic between them.
. "$(dirname "$0")/common.sh"
provider=$(ls /usr/lib/galera/libgalera_smm.so /usr/lib/libgalera_smm.so 2>/dev/null | head -n 1)
[ -n "$provider" ] || { echo "no libgalera_smm.so (Debian: galera-4)" >&2; exit 2; }
command -v rsync >/dev/null || { echo "no rsync" >&2; exit 2; }

base=$((40000 + RANDOM % 9000))
node() {  # node NUMBER ADDRESS [OPTION ...]
  local number=$1 address=$2 talk=$((base + 10 * $1))
  shift 2
  start mariadb "node$number" --binlog-format=ROW --innodb-autoinc-lock-mode=2 --wsrep-on=ON \
    --wsrep-provider="$provider" --wsrep-cluster-address="$address" \
    --wsrep-node-address=127.0.0.1 --wsrep-sst-method=rsync \
    --wsrep-sst-receive-address="127.0.0.1:$((talk + 2))" \
    --wsrep-provider-options="base_port=$talk;gmcast.listen_addr=tcp://127.0.0.1:$talk;ist.recv_addr=127.0.0.1:$((talk + 1));gcache.size=64M" \
    "$@"
  declare -g "node$number=$port"
}
node 1 gcomm:// --wsrep-new-cluster
my "$node1" "CREATE TABLE people ($columns_my) ENGINE=InnoDB"
node 2 "gcomm://127.0.0.1:$((base + 10))"
echo "nodes: $(my "$node1" "SHOW STATUS LIKE 'wsrep_cluster_size'" | cut -f 2)"

"$load" "ODBC;DRIVER=Maria;Server=127.0.0.1;Port=$node1;Database=imp;UID=root;" people "$records"
query="SELECT COUNT(*), SUM(CRC32(CONCAT_WS('|', id, name, city, debt, born))) FROM people"
my "$node2" "SET SESSION wsrep_sync_wait=1; SELECT 1" >/dev/null
first=$(my "$node1" "$query")
second=$(my "$node2" "SET SESSION wsrep_sync_wait=1; $query")
echo "records and checksum: first node $first, second node $second"
[ "$first" = "$second" ]
