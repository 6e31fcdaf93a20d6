#!/bin/sh
# By hand: Free Pascal's TDbf (fp-compiler, fp-units-db) and kelvorin edit each other's NDX and MDX
# tables in turn, and both seek every key; Perl's XBase (libdbd-xbase-perl) seeks in our CDX too.
#     tests/xbase/foreign_indexes.sh KELVORIN
# TDbf writes under an index only when it knows the code page mark, hence the two bytes set below.
set -e
kelvorin=$(realpath "$1")
here=$(realpath "$(dirname "$0")")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
export KELVORIN_OEM_CP=850
fpc -O1 -o"$folder/foreign" "$here/foreign_indexes.pas" >/dev/null
awk 'BEGIN { print "CODE;ID"; for (i = 1; i < 700; i += 2) print "m" i * 7919 % 1009 ";" i + 5000
             for (i = 0; i < 300; ++i) print "q" i ";" 9000 + i }' >edit.csv
run() { "$kelvorin" "$@" 2>/dev/null; }
import() { target=$1; shift; run import edit.csv --into "$target" --table T --map-by-name --start-line 2 --separators ';' "$@"; }
make() { run create "$1" T CODE:Text:12 ID:Long --index BYCODE=CODE; }
for level in 3 4; do
  for maker in theirs ours; do
    target=DBase$level:$maker$level
    mkdir "$maker$level"
    if [ $maker = theirs ]; then
      ./foreign make theirs$level $level
      [ $level = 4 ] || printf '[dBASE III]\r\nNDX1=BYCODE.NDX\r\n' >theirs$level/T.INF
    else
      make "$target"
      if [ $level = 4 ]; then
        mv ours4/T.MDX ours4/T.mdx
        printf '\130' | dd of=ours4/T.DBF bs=1 seek=29 conv=notrunc status=none
        printf '\130' | dd of=ours4/T.mdx bs=1 seek=31 conv=notrunc status=none
      fi
    fi
    for round in 1 2; do
      import "$target" --index BYCODE --key-lookup --append-if-eof
      run check "$target" T
      ./foreign seek "$maker$level" $level
      ./foreign edit "$maker$level" $level
      run check "$target" T
    done
  done
done
for kind in DBase3:BYCODE.NDX DBase4:T.MDX FOXPRO26:T.CDX FOXPRO30:T.CDX; do
  target=${kind%%:*}:${kind%%:*}
  make "$target"
  for round in 1 2; do import "$target"; done
  perl -MXBase -e '
    my ($folder, $file) = @ARGV;
    my $table = XBase->new("$folder/T.DBF") or die XBase->errstr;
    my @index = ("$folder/$file", $file =~ /NDX/ ? () : "BYCODE");
    my $all = $table->prepare_select_with_index([@index], "CODE") or die $table->errstr;
    my ($seen, $last) = (0, "");
    while (my ($key) = $all->fetch) { die "out of order" if $key lt $last; $last = $key; ++$seen }
    for my $record (0 .. $table->last_record) {
      my ($deleted, $key) = $table->get_record($record, "CODE");
      my $found = $table->prepare_select_with_index([@index], "CODE");
      $found->find_eq($key);
      my ($there) = $found->fetch;
      die "$key is not found" unless defined $there and $there eq $key;
    }
    die "$seen in order" unless $seen == $table->last_record + 1;
    print "perl: $seen records of $file in order, every key found\n"' "${kind%%:*}" "${kind#*:}"
done
