#!/usr/bin/env bash
# postgres_partitions.sh [RECORDS]: one table hashed over three PostgreSQL servers
#
# The server `front` holds the parent and one part; postgres_fdw reaches the parts on `back1` and
# `back2`. Loads the records into the parent, then the same into a plain table of the front, and
# compares. Makes (and replaces) the tables people, people_0 to people_2, people_part and single.
# On servers of your own: front_HOST=db0 front_USER=ann front_PASSWORD=... back1_HOST=db1 ...; the
# account needs CREATE EXTENSION and CREATE SERVER on the front. See common.sh for all parameters.
. "$(dirname "$0")/common.sh"

server postgres front
for back in back1 back2; do
  server postgres $back
  pg $back "DROP TABLE IF EXISTS people_part"
  pg $back "CREATE TABLE people_part ($columns_pg, PRIMARY KEY (id))"
done

pg front "CREATE EXTENSION IF NOT EXISTS postgres_fdw"
pg front "DROP TABLE IF EXISTS people, single"
pg front "CREATE TABLE people ($columns_pg) PARTITION BY HASH (id)"
pg front "CREATE TABLE people_0 PARTITION OF people (PRIMARY KEY (id))
          FOR VALUES WITH (MODULUS 3, REMAINDER 0)"
for n in 1 2; do
  back=back$n
  pg front "DROP SERVER IF EXISTS s$n CASCADE"
  pg front "CREATE SERVER s$n FOREIGN DATA WRAPPER postgres_fdw OPTIONS
            (host '$(of $back HOST)', port '$(of $back PORT)', dbname '$(of $back DB)', batch_size '500')"
  pg front "CREATE USER MAPPING FOR CURRENT_USER SERVER s$n OPTIONS
            (user '$(of $back USER)', password '$(of $back PASSWORD | sed "s/'/''/g")')"
  pg front "CREATE FOREIGN TABLE people_$n PARTITION OF people
            FOR VALUES WITH (MODULUS 3, REMAINDER $n) SERVER s$n OPTIONS (table_name 'people_part')"
done
pg front "CREATE TABLE single ($columns_pg, PRIMARY KEY (id))"

load postgres front single
load postgres front people
for back in back1 back2; do
  echo "part on $back: $(pg $back 'SELECT count(*) FROM people_part') records"
done
differences=$(pg front "SELECT count(*) FROM (TABLE people EXCEPT TABLE single) a")
both=$(pg front "SELECT (SELECT count(*) FROM people) = (SELECT count(*) FROM single)")
echo "records that differ from the single table: $differences, same number: $both"
[ "$differences" = 0 ] && [ "$both" = t ]
