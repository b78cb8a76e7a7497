"""Set up a database for pdfbriks batch runs: the brik table of a library, the bookkeeping
tables (status, parser_events, library) and the library's row.

    PYTHONPATH=python /usr/bin/python3 -m pdfbriks.provision \
        --db URI_OR_SQLITE_PATH --account ACCOUNT --library NAME

--db picks the back end: mongodb://... is MongoDB (database ACCOUNT), postgresql://...,
postgres://... or a key=value connection text ("host=... dbname=...") is PostgreSQL, and
anything else is the path of a SQLite file, created if missing, in write-ahead-log mode (with
its -wal and -shm files beside it, so on a local disk). Running it again changes nothing that
exists. A library name must be a plain identifier ([A-Za-z_][A-Za-z0-9_]*), since
the library names the brik table.
"""

import argparse
import os
import re
import sys

SQL_DIR = os.path.normpath(os.path.join(os.path.dirname(__file__), "..", "..", "sql"))
IDENTIFIER = re.compile(r"[A-Za-z_][A-Za-z0-9_]*\Z")
TOTAL_FIELDS = ("unique_doc_id", "documents", "blocks", "images", "tables", "pages")


def backend_of(db):
    """'mongo', 'postgres' or 'sqlite' for a --db text."""
    if db.startswith(("mongodb://", "mongodb+srv://")):
        return "mongo"
    if db.startswith(("postgresql://", "postgres://")) or re.match(r"\s*\w+\s*=", db):
        return "postgres"
    return "sqlite"


def schema_text(backend, library):
    """The brik table and bookkeeping statements for one SQL back end, library filled in."""
    parts = []
    for name in (f"briks_{backend}.sql", f"bookkeeping_{backend}.sql"):
        path = os.path.join(SQL_DIR, name)
        with open(path, encoding="utf-8") as f:
            parts.append(f.read())
    # The library was checked to be a plain identifier, so it may stand in the text as it is.
    return "\n".join(parts).replace("{library}", library)


def provision_sqlite(path, library):
    import sqlite3

    folder = os.path.dirname(os.path.abspath(path))
    os.makedirs(folder, exist_ok=True)
    new = not os.path.exists(path)
    con = sqlite3.connect(path)
    try:
        if new:
            # A write-ahead log, which stays with the file: a commit then syncs once, not
            # twice, and readers do not wait for the writer, so the several processes of a
            # run, each opening the file for every statement, take turns at it quickly.
            con.execute("PRAGMA journal_mode=WAL")
        con.executescript(schema_text("sqlite", library))
        con.commit()
    finally:
        con.close()


def provision_postgres(conninfo, library):
    import psycopg2

    con = psycopg2.connect(conninfo)
    try:
        with con, con.cursor() as cur:
            cur.execute(schema_text("postgres", library))
    finally:
        con.close()


def provision_mongo(uri, account, library):
    from bson.int64 import Int64
    from pymongo import MongoClient

    client = MongoClient(uri)
    try:
        db = client[account]
        existing = set(db.list_collection_names())
        for name in (library, "parser_events"):
            if name not in existing:
                db.create_collection(name)
        db["status"].create_index("key", unique=True)
        # The counters are int64, as the library's find-and-modify reads them.
        db["library"].update_one(
            {"library_name": library},
            {"$setOnInsert": {"library_name": library, **{k: Int64(0) for k in TOTAL_FIELDS}}},
            upsert=True,
        )
    finally:
        client.close()


def main(argv=None):
    parser = argparse.ArgumentParser(prog="pdfbriks.provision", description=__doc__.split("\n")[0])
    parser.add_argument("--db", required=True, help="MongoDB or PostgreSQL URI, or a SQLite file path")
    parser.add_argument("--account", required=True, help="account name (the MongoDB database)")
    parser.add_argument("--library", required=True, help="library name: a plain identifier")
    args = parser.parse_args(argv)

    if not IDENTIFIER.match(args.library):
        print(f"provision: library name is not a plain identifier: {args.library!r}", file=sys.stderr)
        return 2
    backend = backend_of(args.db)
    if backend == "mongo" and not args.account:
        print("provision: an account name is needed for MongoDB", file=sys.stderr)
        return 2
    try:
        if backend == "sqlite":
            provision_sqlite(args.db, args.library)
        elif backend == "postgres":
            provision_postgres(args.db, args.library)
        else:
            provision_mongo(args.db, args.account, args.library)
    except Exception as e:  # a clear line for a person, not a trace
        print(f"provision: {backend} set-up failed: {e}", file=sys.stderr)
        return 1
    print(f"provision: {backend} ready for library {args.library}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
