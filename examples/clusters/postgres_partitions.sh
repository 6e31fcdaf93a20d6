#!/usr/bin/env bash
# postgres_partitions.sh [RECORDS]: one table hashed over three PostgreSQL servers
#
# The front server holds the parent and one part; postgres_fdw reaches the parts on the two others.
# Loads the records into the parent, then the same into a plain table of the front, and compares.
. "$(dirname "$0")/common.sh"

start postgres front
front=$port
for n in 1 2; do
  start postgres "back$n"
  declare "back$n=$port"
  pg "$port" "CREATE TABLE people_part ($columns_pg, PRIMARY KEY (id))"
done

pg "$front" "CREATE EXTENSION postgres_fdw"
pg "$front" "CREATE TABLE people ($columns_pg) PARTITION BY HASH (id)"
pg "$front" "CREATE TABLE people_0 PARTITION OF people (PRIMARY KEY (id))
             FOR VALUES WITH (MODULUS 3, REMAINDER 0)"
for n in 1 2; do
  back=back$n
  pg "$front" "CREATE SERVER s$n FOREIGN DATA WRAPPER postgres_fdw OPTIONS
               (host '127.0.0.1', port '${!back}', dbname 'imp', batch_size '500')"
  pg "$front" "CREATE USER MAPPING FOR kv SERVER s$n OPTIONS (user 'kv')"
  pg "$front" "CREATE FOREIGN TABLE people_$n PARTITION OF people
               FOR VALUES WITH (MODULUS 3, REMAINDER $n) SERVER s$n OPTIONS (table_name 'people_part')"
done
pg "$front" "CREATE TABLE single ($columns_pg, PRIMARY KEY (id))"

connect="ODBC;DRIVER=PGW;Servername=127.0.0.1;Port=$front;Database=imp;UID=kv;"
"$load" "$connect" single "$records"
"$load" "$connect" people "$records"
for n in 1 2; do
  back=back$n
  echo "part on server $n: $(pg "${!back}" 'SELECT count(*) FROM people_part') records"
done
differences=$(pg "$front" "SELECT count(*) FROM (TABLE people EXCEPT TABLE single) a")
both=$(pg "$front" "SELECT (SELECT count(*) FROM people) = (SELECT count(*) FROM single)")
echo "records that differ from the single table: $differences, same number: $both"
[ "$differences" = 0 ] && [ "$both" = t ]
