#!/usr/bin/env bash
# mariadb_spider.sh [RECORDS]: one table over two MariaDB servers behind a third
#
# The server `front` holds no records: its SPIDER table sends each to the server of its part, `back1`
# or `back2`. Loads the records through it, then the same into an InnoDB table of the front, and
# compares. Makes (and replaces) the tables people and single. On servers of your own: front_HOST=db0
# front_USER=ann front_PASSWORD=... back1_HOST=db1 ...; the account needs SUPER on the front, and the
# front the package mariadb-plugin-spider. See common.sh for all parameters.
. "$(dirname "$0")/common.sh"

for back in back1 back2; do
  server mariadb $back
  my $back "DROP TABLE IF EXISTS people"
  my $back "CREATE TABLE people ($columns_my) ENGINE=InnoDB"
done
server mariadb front
my front "INSTALL SONAME 'ha_spider.so'" 2>/dev/null ||
  my front "SELECT 1 FROM information_schema.ENGINES WHERE ENGINE='SPIDER'" | grep -q 1 ||
  { echo "the front server has no engine SPIDER (Debian: mariadb-plugin-spider)" >&2; exit 2; }
my front "DROP TABLE IF EXISTS people, single"
for n in 1 2; do
  back=back$n
  my front "DROP SERVER IF EXISTS b$n"
  my front "CREATE SERVER b$n FOREIGN DATA WRAPPER mysql OPTIONS
            (HOST '$(of $back HOST)', PORT $(of $back PORT), USER '$(of $back USER)',
             PASSWORD '$(of $back PASSWORD | sed "s/['\\\\]/\\\\&/g")', DATABASE '$(of $back DB)')"
done
my front "CREATE TABLE people ($columns_my) ENGINE=SPIDER
          COMMENT='wrapper \"mysql\", table \"people\"' PARTITION BY HASH (id)
          (PARTITION p1 COMMENT='srv \"b1\"', PARTITION p2 COMMENT='srv \"b2\"')"
my front "CREATE TABLE single ($columns_my) ENGINE=InnoDB"

load mariadb front single
load mariadb front people
for back in back1 back2; do
  echo "part on $back: $(my $back 'SELECT COUNT(*) FROM people') records"
done
differences=$(my front "SELECT COUNT(*) FROM (SELECT * FROM people EXCEPT SELECT * FROM single) a")
both=$(my front "SELECT (SELECT COUNT(*) FROM people) = (SELECT COUNT(*) FROM single)")
echo "records that differ from the single table: $differences, same number: $both"
[ "$differences" = 0 ] && [ "$both" = 1 ]
