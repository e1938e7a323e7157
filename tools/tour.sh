#!/bin/bash
# A short tour: shows each command before what it prints. Works in a folder of its own, which is
# removed at the end. tools/tour.sh PVGROUP
set -euo pipefail
program=$1
root=$(cd "$(dirname "$0")/.." && pwd)
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
cp "$root/examples/people.csv" .
export PVGROUP_DATA=$folder/groups

say() { printf '\n# %s\n' "$1"; }

# Shows a command and runs it; an exit code other than the expected one ends the tour.
show() {
  local expected=0 code=0
  if [[ $1 =~ ^exit:([0-9]+)$ ]]; then
    expected=${BASH_REMATCH[1]}
    shift
  fi
  printf '\n$ pvgroup'
  for word in "$@"; do
    if [[ $word =~ ^[A-Za-z0-9_./@:=,-]+$ ]]; then printf ' %s' "$word"; else printf " '%s'" "$word"; fi
  done
  printf '\n'
  "$program" "$@" 2>&1 || code=$?
  if [ "$code" -ne "$expected" ]; then
    echo "tour: exit code $code, expected $expected" >&2
    exit 1
  fi
}

say 'Import the people that come with the project. Every row is accounted for; the bad ones come back.'
show exit:1 import customers people.csv

say 'The reasons stand beside the rejected rows.'
printf '\n$ cat people.csv.rejected.reasons.csv\n'
cat people.csv.rejected.reasons.csv

say 'One row corrected and imported again; those still bad come back once more.'
printf "\n\$ sed -i 's/blank in@/no-blank@/' people.csv.rejected.csv\n"
sed -i 's/blank in@/no-blank@/' people.csv.rejected.csv
show exit:1 import customers people.csv.rejected.csv

say 'What there is now.'
show list
show count customers
show show customers --limit 5 --fields Email,First_Name,City,Joined,Balance

say 'Find by address or by any field, letter case ignored.'
show find customers ZOE.vandijk@lists.example.net --fields Email,First_Name,Company
show find customers City=münchen --fields Email,City --limit 3
show find customers --prefix maria --fields Email,First_Name

say 'Change, add and remove recipients. Nothing is cut: a value that does not fit is refused.'
show set customers zoe.vandijk@lists.example.net City=Utrecht Balance=812.50
show add customers new.reader@example.org 'First_Name=Новый' Joined=2026-11-21 Newsletter=yes
show exit:2 set customers new.reader@example.org 'Country=a country far too long'
show exit:1 add customers NEW.READER@example.org
show remove customers jose.pena@example.net

say 'Export: formulas are neutralised in CSV; JSON lines keep the types.'
show export customers customers.csv
printf '\n$ grep -m 1 SUM customers.csv\n'
grep -m 1 SUM customers.csv
show find customers new.reader@example.org --json

say 'Compact removes deleted records for good; verify checks every record, tag and memo.'
show compact customers
show verify customers
show info customers

say 'Any table of the family can be looked into, in the order of any of its tags.'
table=$(echo groups/*.cdx)
for file in groups/*.pvg; do
  case $file in */groups.pvg) ;; *) table=$file ;; esac
done
show table show "$table" --tag EMAIL --format recno --limit 3

# A database needs the provider of groups on databases, and SQLite's ODBC driver.
if command -v python3 >/dev/null && PVGROUP_DATA=$folder/probe "$program" source add probe 'Driver=SQLite3;Database=shop.db' \
  >"$folder/probe.log" 2>&1; then
  say 'A group can be a query on a database; here on SQLite. Values are quoted as their fields want.'
  python3 - <<'PYTHON'
import csv, sqlite3
with sqlite3.connect("shop.db") as shop, open("customers.csv", encoding="utf-8", newline="") as file:
    shop.execute('create table people (email varchar(100), "first name" varchar(40), '
                 "city varchar(40), balance decimal(10,2))")
    shop.executemany("insert into people values (?, ?, ?, ?)",
                     ([r["EMAIL"], r["FIRST_NAME"], r["CITY"], r["BALANCE"] or None]
                      for r in csv.DictReader(file)))
PYTHON
  show source add shop 'Driver=SQLite3;Database=shop.db'
  show sql add debtors --source shop --table people --where 'balance < 0 and "first name" like M%'
  show sql show debtors
  show find debtors --prefix mia --fields email,city
  show copy debtors 'debtors today'
  show delete debtors --yes
  show source delete shop --yes
else
  say "Groups on databases are left out of this tour: $(tail -n 1 "$folder/probe.log")"
fi

say 'Rename and delete. What destroys wants --yes where nobody can be asked.'
show rename customers 'Customers 2026'
show delete 'Customers 2026' --yes
show list
