#!/usr/bin/env bash
# The main job: sets up, builds, provisions a SQLite database in a work folder (default ./work/,
# or $WORK_DIR), parses every PDF under samples/ into it through the folder mode with images on,
# and prints the library's totals and where the briks and images went.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release -DPDFBRIKS_TESTS=OFF >/dev/null
cmake --build build -j2 --target pdfbriks pdfbriks_cli

WORK_DIR="${WORK_DIR:-$PWD/work/}"
WORK_DIR="${WORK_DIR%/}/"
DB="${WORK_DIR}samples.db"
LIBRARY=samples
mkdir -p "$WORK_DIR"
rm -f "$DB"  # start afresh: a run adds to the library's totals
PYTHONPATH=python /usr/bin/python3 -m pdfbriks.provision --db "$DB" --account local --library "$LIBRARY"

build/pdfbriks folder --work "$WORK_DIR" --db "$DB" --account local --library "$LIBRARY" \
  --images samples/

/usr/bin/python3 - "$DB" "$LIBRARY" "$WORK_DIR" <<'EOF'
import glob, os, sqlite3, sys
db, library, work = sys.argv[1:]
con = sqlite3.connect(db)
row = con.execute("SELECT documents, blocks, images, tables, pages, unique_doc_id FROM library "
                  "WHERE library_name = ?", (library,)).fetchone()
print("library %s: %d documents, %d briks, %d images, %d tables, %d pages, last document id %d" % ((library,) + row))
briks = con.execute("SELECT count(*) FROM %s" % library).fetchone()[0]
events = con.execute("SELECT count(*) FROM parser_events").fetchone()[0]
print("briks: %d rows in table %s of %s (%d failure events)" % (briks, library, db, events))
images = [f for f in glob.glob(os.path.join(work, "image*")) if os.path.isfile(f)]
print("images: %d files in %s" % (len(images), work))
EOF
