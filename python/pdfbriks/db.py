"""The host's side of the database: what a run records beside the library's own statements.

The library writes briks, status rows, failure events, document ids and library totals itself.
The ingest runners add three things it cannot: an event for a file on which the library died or
hung, the real path in the events of files parsed through a private folder, and the status row
of a whole multi-process job. Every value travels as a bound parameter.
Drivers: sqlite3 (standard library), psycopg2 and pymongo (Debian's python3-psycopg2 and
python3-pymongo), imported only when a run uses them.
"""
from __future__ import annotations

import re
import sqlite3
import time

from .api import DB_KINDS, ArgumentError

_PG_CONNINFO = re.compile(r"^\s*\w+\s*=")


def db_kind_of(db: str) -> str:
    """The database kind of a connection text: a mongodb:// URI, a postgres:// or
    postgresql:// URI or a key=value PostgreSQL connection string, else a SQLite file path."""
    if db.startswith(("mongodb://", "mongodb+srv://")):
        return "mongo"
    if db.startswith(("postgres://", "postgresql://")) or _PG_CONNINFO.match(db):
        return "postgres"
    return "sqlite"


def _connect_sql(kind: str, uri: str):
    if kind == "sqlite":
        return sqlite3.connect(uri, timeout=30)
    import psycopg2
    return psycopg2.connect(uri)


def _mongo_db(uri: str, account: str):
    import pymongo
    client = pymongo.MongoClient(uri, serverSelectionTimeoutMS=10000)
    return client, client[account]


def _sql_run(kind: str, uri: str, statement: str, values: tuple, fetch: bool = False):
    if kind == "postgres":
        statement = statement.replace("?", "%s")
    conn = _connect_sql(kind, uri)
    try:
        cur = conn.cursor()
        cur.execute(statement, values)
        rows = cur.fetchall() if fetch else None
        conn.commit()
        return rows
    finally:
        conn.close()


def record_event(kind: str, uri: str, *, job_id: str, library: str, account: str,
                 file_name: str, message: str, time_stamp: str | None = None) -> None:
    """One parser_events row for a failed file, in the library's own form ("pdf", "yes",
    "fail", the "%c" time stamp)."""
    if kind not in DB_KINDS:
        raise ArgumentError(f"unknown database kind {kind!r}")
    stamp = time_stamp or time.strftime("%c")
    values = (job_id, "pdf", library, account, file_name, message, "yes", "fail", stamp)
    if kind == "mongo":
        client, db = _mongo_db(uri, account)
        try:
            db["parser_events"].insert_one(dict(zip(
                ("job_id", "parser_type", "library_name", "account_name", "file_name",
                 "message", "ocr_flag", "fail_flag", "time_stamp"), values)))
        finally:
            client.close()
        return
    _sql_run(kind, uri, "INSERT INTO parser_events (job_id, parser_type, library_name, "
             "account_name, file_name, message, ocr_flag, fail_flag, time_stamp) "
             "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)", values)


def rename_event_files(kind: str, uri: str, *, account: str, job_id: str,
                       real_of: dict[str, str]) -> list[str]:
    """Gives the events of this job that name a private link (a key of `real_of`) the real
    path (its value), over one connection; returns the real paths of the files that had one,
    which are the files the library could not parse."""
    links = list(real_of)
    if kind == "mongo":
        client, db = _mongo_db(uri, account)
        try:
            events = db["parser_events"]
            found = {e["file_name"] for e in events.find(
                {"job_id": job_id, "file_name": {"$in": links}}, {"file_name": 1})}
            for link in found:
                events.update_many({"job_id": job_id, "file_name": link},
                                   {"$set": {"file_name": real_of[link]}})
        finally:
            client.close()
        return [real_of[link] for link in links if link in found]
    mark = "%s" if kind == "postgres" else "?"
    conn = _connect_sql(kind, uri)
    try:
        cur = conn.cursor()
        # read first: a batch without failures then takes no write lock
        cur.execute(f"SELECT DISTINCT file_name FROM parser_events WHERE job_id = {mark} AND "
                    f"file_name IN ({', '.join([mark] * len(links))})", (job_id, *links))
        found = {row[0] for row in cur.fetchall()}
        for link in found:
            cur.execute(f"UPDATE parser_events SET file_name = {mark} WHERE job_id = {mark} "
                        f"AND file_name = {mark}", (real_of[link], job_id, link))
        conn.commit()
    finally:
        conn.close()
    return [real_of[link] for link in links if link in found]


def set_status(kind: str, uri: str, *, account: str, key: str, summary: str, total: int,
               current: int, start_time: str = "", end_time: str = "") -> None:
    """Upserts the status row `key`, as the library's own status updates do."""
    values = (key, summary, start_time, end_time, total, current, "files")
    if kind == "mongo":
        client, db = _mongo_db(uri, account)
        try:
            doc = dict(zip(("key", "summary", "start_time", "end_time", "total", "current",
                            "units"), values), sender="pdf_parser")
            db["status"].update_one({"key": key}, {"$set": doc}, upsert=True)
        finally:
            client.close()
        return
    _sql_run(kind, uri, "INSERT INTO status (key, summary, start_time, end_time, total, "
             "current, units) VALUES (?, ?, ?, ?, ?, ?, ?) ON CONFLICT (key) DO UPDATE SET "
             "summary = excluded.summary, start_time = excluded.start_time, "
             "end_time = excluded.end_time, total = excluded.total, "
             "current = excluded.current, units = excluded.units", values)


TOTALS = ("unique_doc_id", "documents", "blocks", "images", "tables", "pages")


def library_totals(kind: str, uri: str, *, account: str, library: str) -> dict | None:
    """The library's row: unique_doc_id and the five totals, or None without a row."""
    if kind == "mongo":
        client, db = _mongo_db(uri, account)
        try:
            row = db["library"].find_one({"library_name": library})
        finally:
            client.close()
        return None if row is None else {k: int(row.get(k) or 0) for k in TOTALS}
    rows = _sql_run(kind, uri, "SELECT " + ", ".join(TOTALS) + " FROM library WHERE "
                    "library_name = ?", (library,), fetch=True)
    return None if not rows else {k: int(v or 0) for k, v in zip(TOTALS, rows[0])}


def provision_database(db: str, account: str, library: str) -> str:
    """Sets up a database for runs into `library` (see pdfbriks.provision): the brik table,
    status, parser_events, library and the library's row. Idempotent; returns the kind."""
    from . import provision
    from .api import check_library_name

    check_library_name(library)
    kind = db_kind_of(db)
    if kind == "sqlite":
        provision.provision_sqlite(db, library)
    elif kind == "postgres":
        provision.provision_postgres(db, library)
    else:
        provision.provision_mongo(db, account, library)
    return kind
