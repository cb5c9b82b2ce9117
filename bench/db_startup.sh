#!/usr/bin/env bash
# The database work of a start on a large file, beside the sqlite3 shell on the same file.
# Builds tapisol-db-startup-bench, makes a file of the current layout holding 100,000 notes (each
# with one text) and 100,000 album pictures (filled through SQL in one transaction), then times
# Tapisol's trial opening, ".mdb.bak" copy, opening with Verify, whole MdbInit, alarm scan and
# compaction, and the matching statements run by sqlite3 on the same file.
#   bench/db_startup.sh [--runs N] [--active N] [--dir DIR]
#     --runs    runs of each step (default 5; the alarm scan always runs 1,000 times)
#     --active  notes whose alarm is still to come (default 200); 2 more are due now. Every other
#               note with an alarm (30% of them) has fired and is inactive, as the scan leaves them.
#     --dir     where the file is made and kept (default: a temporary folder, removed at the end)
# Page cache warm for both sides: the file has just been written.
set -euo pipefail
cd "$(dirname "$0")/.."

runs=5
active=200
dir=""
while [[ $# -gt 0 ]]; do
    case $1 in
        --runs) runs=$2; shift 2 ;;
        --active) active=$2; shift 2 ;;
        --dir) dir=$2; shift 2 ;;
        *) echo "usage: $0 [--runs N] [--active N] [--dir DIR]" >&2; exit 1 ;;
    esac
done

if ! command -v sqlite3 >/dev/null; then
    sudo_cmd=()
    [[ $(id -u) -ne 0 ]] && sudo_cmd=(sudo)
    "${sudo_cmd[@]}" apt-get install -y -q --no-install-recommends sqlite3
fi
build=${BUILD_DIR:-build}
[[ -f $build/build.ninja || -f $build/Makefile ]] || cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build "$build" --target tapisol-db-startup-bench >/dev/null
bench=$build/bin/tapisol-db-startup-bench

if [[ -z $dir ]]; then
    dir=$(mktemp -d "${TMPDIR:-/tmp}/tapisol-db-bench.XXXXXX")
    trap 'rm -rf "$dir"' EXIT
fi
mkdir -p "$dir"
fx=$dir/Tapisol.mdb
rm -f "$fx" "$fx"-wal "$fx"-shm "$fx".bak "$dir"/shell.bak

# Jet's Now() for the shell: the local date and time as days since 30 December 1899.
now="(julianday('now', 'localtime') - 2415018.5)"
scan="SELECT * FROM Agenda WHERE (Alarme = -1 AND Active = -1 AND DateAlarme <= $now) OR (Alarme = -1 AND Active = -1 AND DateAlarme > Date)"

"$bench" create "$fx"
start=$(date +%s%N)
sqlite3 "$fx" <<EOF
BEGIN;
WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 100000)
INSERT INTO Agenda (Date, Alarme, DateAlarme, AlarmeRepet, Comportement, Frequence, FreqJours, Active,
                    Decoupage, WinBackColor, WinLargeur, WinHauteur, WinPosX, WinPosY)
SELECT 36526 + (i * 7) % 10957, iif(i % 10 < 3, -1, 0), iif(i % 10 < 3, 36526 + (i * 7) % 10957 + 0.375, NULL),
       0, 0, 0, '0000000', 0, 0, 16777215, 320, 240, 100 + i % 500, 100 + i % 300 FROM n;
INSERT INTO AlarmeTxt (NumeroNote, ObjType, Texte)
SELECT Numero, 1, 'Note ' || Numero || ' : rendez-vous chez le dentiste, penser aux papiers' FROM Agenda;
UPDATE Agenda SET Active = -1 WHERE Numero IN
    (SELECT Numero FROM Agenda WHERE Alarme = -1 AND DateAlarme > $now ORDER BY Numero LIMIT $active);
UPDATE Agenda SET Active = -1 WHERE Numero IN
    (SELECT Numero FROM Agenda WHERE Alarme = -1 AND DateAlarme <= $now ORDER BY DateAlarme DESC LIMIT 2);
WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 100000)
INSERT INTO AlbumPictures (VolSerial, Path, ThumbPath, ImageDateTime)
SELECT 1234567890, printf('/home/user/Images/%04d/IMG_%06d.jpg', i / 100, i),
       printf('/home/user/.local/share/Orvenne/Tapisol/Thumbs/%06d.jpg', i), 40000 + i / 30.0 FROM n;
COMMIT;
EOF
filled=$(( ($(date +%s%N) - start) / 1000000 ))
counts=$(sqlite3 "$fx" "SELECT (SELECT count(*) FROM Agenda) || ' notes, ' || (SELECT count(*) FROM AlbumPictures) || ' album pictures'")
echo "File: $fx, $counts, $(( $(stat -c %s "$fx") / 1048576 )) MiB, filled in $filled ms"
echo

ours=$("$bench" run "$fx" "$runs")

median() {
    sort -n | awk '{ v[NR] = $1 } END { if (NR) printf "%.3f", v[int((NR + 1) / 2)]; else printf "n/a" }'
}
# Milliseconds of the last statement of a shell session, by its own timer (1 ms resolution).
shell_timer() {
    printf '.timer on\n.output /dev/null\n%s\n' "$1" | sqlite3 "$fx" | awk '/^Run Time/ { t = $4 * 1000 } END { print t }'
}
shell_runs() {
    for _ in $(seq "$runs"); do rm -f "$dir/shell.bak"; shell_timer "$1"; done | median
}
# Wall-clock milliseconds of a whole shell process (for dot commands, which the timer skips).
shell_wall_runs() {
    for _ in $(seq "$runs"); do
        rm -f "$dir/shell.bak"
        local t0=$(date +%s%N)
        sqlite3 "$fx" "$1" >/dev/null
        echo $(( ($(date +%s%N) - t0) / 1000 )) | awk '{ printf "%.3f\n", $1 / 1000 }'
    done | median
}

ours_ms() { awk -F'\t' -v step="$1" '$1 == step { print $2 }' <<<"$ours"; }

shell_check=$(shell_runs "PRAGMA quick_check;")
shell_open=$(shell_runs "SELECT count(*) FROM sqlite_master;")
shell_backup=$(shell_wall_runs ".backup '$dir/shell.bak'")
shell_vacuum=$(shell_runs "VACUUM INTO '$dir/shell.bak';")
shell_scan_one=$(shell_runs "$scan;")
shell_scan_1000=$(shell_runs "WITH RECURSIVE r(k) AS (SELECT 1 UNION ALL SELECT k + 1 FROM r WHERE k < 1000) SELECT count(*) FROM r CROSS JOIN Agenda WHERE ${scan#SELECT * FROM Agenda WHERE };")
shell_scan_per=$(awk -v t="$shell_scan_1000" 'BEGIN { printf "%.3f", t / 1000 }')

row() { printf '%-34s %12s   %-12s %s\n' "$1" "$2" "$3" "$4"; }
echo "Median of $runs runs, milliseconds (Tapisol's min/max and notes below)"
row "step" "Tapisol" "sqlite3" "sqlite3 statement"
row "trial: open + quick_check" "$(ours_ms 'trial (open + quick_check)')" "$shell_check" "PRAGMA quick_check (.timer)"
row ".mdb.bak copy" "$(ours_ms '.mdb.bak (backup API + check)')" "$shell_backup" ".backup (whole process)"
row "" "" "$shell_vacuum" "VACUUM INTO (.timer)"
row "open + Verify" "$(ours_ms 'open + Verify')" "$shell_open" "first statement: schema read (.timer)"
row "MdbInit after a clean exit" "$(ours_ms 'MdbInit (all of the above)')" "" "(the full check was done by the compaction)"
row "MdbInit after a crash" "$(ours_ms 'MdbInit after a crash')" "" "(full check of the file and of the .bak)"
row "alarm scan, one run" "$(ours_ms 'alarm scan')" "$shell_scan_one" "SELECT * to /dev/null (.timer, 1 ms steps)"
row "" "" "$shell_scan_per" "1,000 scans in one statement / 1,000"
row "close: compaction" "$(ours_ms 'close (compaction)')" "$shell_vacuum" "VACUUM INTO (.timer)"
echo
echo "Tapisol, every figure:"
column -t -s $'\t' <<<"$ours"
echo
echo "sqlite3 EXPLAIN QUERY PLAN of the alarm scan:"
sqlite3 "$fx" "EXPLAIN QUERY PLAN $scan;"
echo
startup=$(ours_ms 'MdbInit (all of the above)')
scan_ms=$(ours_ms 'alarm scan')
plan=$(grep -c 'USING INDEX Agenda_IndAlarme' <<<"$ours" || true)
verdict() { awk -v v="$1" -v goal="$2" 'BEGIN { print (v < goal) ? "met" : "MISSED" }'; }
echo "Goal: start-up database work < 500 ms: $(verdict "$startup" 500) ($startup ms after a clean exit; $(ours_ms 'MdbInit after a crash') ms after a crash)"
echo "Goal: alarm scan < 1 ms using the index: $(verdict "$scan_ms" 1) ($scan_ms ms), index $([[ $plan -gt 0 ]] && echo used || echo NOT USED)"
