#!/usr/bin/env python3
"""Times the database sinks: parses one PDF through the library with briks going to no sink
(an unknown back-end name, so the cost is the extraction alone), then to SQLite, PostgreSQL and
MongoDB, best of N runs each, and prints briks per second. Run it beside the test servers:

    python3 scripts/make_samples.py --big 1000 /tmp/big.pdf
    MONGO_PEER_DIR=/work/shared/mongo-peer scripts/with_test_servers.sh \
        /usr/bin/python3 scripts/bench_db.py /tmp/big.pdf [runs]

A back end whose address is missing from the environment is left out."""
import ctypes
import os
import shutil
import sqlite3
import subprocess
import sys
import tempfile
import time

REPO = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
lib = ctypes.CDLL(os.path.join(REPO, "build", "libpdfbriks.so"))
keep = []


def set_int(name, value):
    ctypes.c_int.in_dll(lib, name).value = value


def set_text(name, value):
    buf = ctypes.create_string_buffer(value.encode())
    keep.append(buf)
    ctypes.c_void_p.in_dll(lib, name).value = ctypes.addressof(buf)


def schema(back_end, table):
    with open(os.path.join(REPO, "sql", f"briks_{back_end}.sql")) as f:
        return f.read().replace("{library}", table)


def psql(conninfo, sql):
    psql_bin = shutil.which("psql") or "/usr/lib/postgresql/15/bin/psql"
    return subprocess.run([psql_bin, "-q", "-tA", "-d", conninfo, "-c", sql], check=True,
                          capture_output=True, text=True).stdout.strip()


def run(pdf, work, db, uri):
    """One pdf_builder call with briks going to `db`; returns (seconds, briks)."""
    set_int("GLOBAL_WRITE_TO_DB", 1)
    set_text("global_db", db)
    set_text("global_db_uri_string", uri)
    set_int("master_brik_tracker", 0)
    started = time.perf_counter()
    lib.pdf_builder(pdf.encode(), b"bench", b"briks", b"Mon Nov 23 10:00:00 2026")
    seconds = time.perf_counter() - started
    return seconds, ctypes.c_int.in_dll(lib, "master_brik_tracker").value


def main():
    pdf = os.path.abspath(sys.argv[1])
    runs = int(sys.argv[2]) if len(sys.argv) > 2 else 3
    work = tempfile.mkdtemp(prefix="bench_db") + "/"
    # An ordinary single-file call sets the run's options, then each timing calls the builder.
    lib.add_one_pdf(b"bench", b"briks", (os.path.dirname(pdf) + "/").encode(),
                    os.path.basename(pdf).encode(), work.encode(), b"briks.txt", 400)
    set_text("global_account_name", "bench")
    set_text("global_library_name", "briks")
    set_text("global_time_stamp", "Mon Nov 23 10:00:00 2026")
    set_text("global_image_fp", work)
    targets = [("none (extraction only)", "none", "")]
    path = work + "briks.db"
    targets.append(("sqlite", "sqlite", path))
    pg = os.environ.get("PDFBRIKS_PG_CONNINFO")
    if pg:
        targets.append(("postgres", "postgres", pg))
    mongo = os.environ.get("PDFBRIKS_MONGO_URI")
    if mongo:
        ctypes.CDLL("libmongoc-1.0.so.0").mongoc_init()
        targets.append(("mongo", "mongo", mongo))
    for label, db, uri in targets:
        best = None
        for _ in range(runs):
            if db == "sqlite":
                if os.path.exists(path):
                    os.remove(path)
                with sqlite3.connect(path) as con:
                    con.executescript(schema("sqlite", "briks"))
            if db == "postgres":
                psql(pg, "DROP TABLE IF EXISTS briks; " + schema("postgres", "briks"))
            seconds, briks = run(pdf, work, db, uri)
            best = seconds if best is None else min(best, seconds)
        stored = ""
        if db == "sqlite":
            with sqlite3.connect(path) as con:
                stored = f", {con.execute('SELECT count(*) FROM briks').fetchone()[0]} rows stored"
        if db == "postgres":
            stored = f", {psql(pg, 'SELECT count(*) FROM briks')} rows stored"
        print(f"{label:24s} {briks:6d} briks  best {best:7.3f} s  {briks / best:10.0f} briks/s{stored}")
    shutil.rmtree(work, ignore_errors=True)


if __name__ == "__main__":
    main()
