#!/usr/bin/env bash
# mariadb_spider.sh [RECORDS]: one table over two MariaDB servers behind a third
#
# The front server holds no records: its SPIDER table sends each to the server of its part. Loads
# the records through it, then the same into an InnoDB table of the front, and compares.
. "$(dirname "$0")/common.sh"
plugin=$(ls /usr/lib/mysql/plugin/ha_spider.so 2>/dev/null) ||
  { echo "no ha_spider.so (Debian: mariadb-plugin-spider)" >&2; exit 2; }

for n in 1 2; do
  start mariadb "back$n"
  declare "back$n=$port"
  my "$port" "CREATE TABLE people ($columns_my) ENGINE=InnoDB"
done
start mariadb front
front=$port
my "$front" "INSTALL SONAME '$(basename "$plugin")'"
for n in 1 2; do
  back=back$n
  my "$front" "CREATE SERVER b$n FOREIGN DATA WRAPPER mysql OPTIONS
               (HOST '127.0.0.1', PORT ${!back}, USER 'root', PASSWORD '', DATABASE 'imp')"
done
my "$front" "CREATE TABLE people ($columns_my) ENGINE=SPIDER
             COMMENT='wrapper \"mysql\", table \"people\"' PARTITION BY HASH (id)
             (PARTITION p1 COMMENT='srv \"b1\"', PARTITION p2 COMMENT='srv \"b2\"')"
my "$front" "CREATE TABLE single ($columns_my) ENGINE=InnoDB"

connect="ODBC;DRIVER=Maria;Server=127.0.0.1;Port=$front;Database=imp;UID=root;"
"$load" "$connect" single "$records"
"$load" "$connect" people "$records"
for n in 1 2; do
  back=back$n
  echo "part on server $n: $(my "${!back}" 'SELECT COUNT(*) FROM people') records"
done
differences=$(my "$front" "SELECT COUNT(*) FROM (SELECT * FROM people EXCEPT SELECT * FROM single) a")
both=$(my "$front" "SELECT (SELECT COUNT(*) FROM people) = (SELECT COUNT(*) FROM single)")
echo "records that differ from the single table: $differences, same number: $both"
[ "$differences" = 0 ] && [ "$both" = 1 ]
