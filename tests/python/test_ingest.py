"""Folder ingest by several processes: locally (file mode, SQLite, a crash and a hang) and as
tasks on a Dask LocalCluster of two worker processes (PostgreSQL, MongoDB)."""
import sqlite3
import sys

import pytest

from pdfbriks import briks, db as dbside, runner
from pdfbriks.ingest import ingest
from pdfbriks.runner import IngestConfig

from conftest import GOOD

pytestmark = pytest.mark.needs_lib


def query(kind, db, account, table, fields):
    """The fields of every row (document) of the table (collection), as tuples."""
    if kind == "mongo":
        import pymongo
        with pymongo.MongoClient(db) as client:
            return [tuple(e[f] for f in fields) for e in client[account][table].find()]
    conn = sqlite3.connect(db) if kind == "sqlite" else __import__("psycopg2").connect(db)
    try:
        cur = conn.cursor()
        cur.execute(f"SELECT {', '.join(fields)} FROM {table}")
        return cur.fetchall()
    finally:
        conn.close()


def events(kind, db, account):
    return query(kind, db, account, "parser_events", ("file_name", "message"))


def check_database_run(totals, folder, kind, db, account, library):
    """Every document once, under one id of its own; the library's totals are the sums."""
    rows = query(kind, db, account, library, ("doc_ID", "file_source"))
    ids_of = {}
    for doc, source in rows:
        ids_of.setdefault(source, set()).add(doc)
    good = sorted(p.name for p in folder.glob("*.pdf") if p.name != "broken.pdf")
    assert sorted(ids_of) == good
    assert all(len(ids) == 1 for ids in ids_of.values())
    assert len({min(ids) for ids in ids_of.values()}) == len(good)
    row = dbside.library_totals(kind, db, account=account, library=library)
    assert (totals.files, totals.documents, totals.no_content) == (len(good) + 1, len(good), 1)
    assert row == {"unique_doc_id": len(good) + 1, "documents": totals.documents,
                   "blocks": len(rows), "images": totals.images, "tables": totals.tables,
                   "pages": totals.pages}
    assert totals.blocks == len(rows)
    assert events(kind, db, account) == [(str(folder / "broken.pdf"), "NO_CATALOG")]
    assert query(kind, db, account, "status", ("key", "summary", "total", "current")) == [
        (library + "_pdf_parser_j1", "Completed", len(good) + 1, len(good) + 1)]


def config(tmp_path, database=None, **kw):
    kind, db, account, library = database or ("", "", "acc", "lib")
    return IngestConfig(account=account, library=library, db=db, db_kind=kind,
                        work_folder=str(tmp_path / "work") + "/", job_id="j1",
                        log_path=str(tmp_path / "run.log"), **kw)


@pytest.mark.parametrize("database", ["sqlite"], indirect=True)
def test_two_processes_into_sqlite_lose_nothing(tmp_path, pdf_folder, database):
    totals = ingest(str(pdf_folder) + "/", config(tmp_path, database), workers=2,
                    progress=False)
    assert {r.worker for r in totals.results} == {"0", "1"}
    check_database_run(totals, pdf_folder, *database)


def test_file_mode_gives_each_worker_its_numbers_and_its_file(tmp_path, pdf_folder):
    totals = ingest(str(pdf_folder) + "/", config(tmp_path), workers=2, doc_start=100,
                    progress=False)
    seen = {}
    for w in ("0", "1"):
        mine = [r for r in totals.results if r.worker == w]
        for b in briks.read_briks(tmp_path / "work" / f"briks-w{w}.txt"):
            seen.setdefault(b["file_source"], set()).add(b["doc_ID"])
            assert b["doc_ID"] in {r.doc for r in mine}
    docs = 2 * len(GOOD)
    assert sorted(r.doc for r in totals.results) == list(range(100, 100 + docs + 1))
    assert len(seen) == docs and all(len(d) == 1 for d in seen.values())
    assert totals.blocks == sum(1 for w in "01" for _ in
                                briks.read_briks(tmp_path / "work" / f"briks-w{w}.txt"))


# A child whose library call, on a folder holding a file named so, begins that file (its
# "processing file" line) and then dies (SIGSEGV) or hangs; other calls parse as usual.
FAULTY_CHILD = """
import os, sys, time, pdfbriks.api as api
real = api.add_pdf_main_dorvane_config_new
def entry(account, library, folder, *args, **kw):
    for n in sorted(os.listdir(folder)):
        if "crash" in n or "hang" in n:
            os.write(1, f"INFO: pdf_parser - processing file - 0 - {n} \\n".encode())
            if "crash" in n: os.kill(os.getpid(), 11)
            time.sleep(60)
    return real(account, library, folder, *args, **kw)
api.add_pdf_main_dorvane_config_new = entry
from pdfbriks._child import main
sys.exit(main())
"""


@pytest.mark.parametrize("batch_files", [1, 10])
@pytest.mark.parametrize("database", ["sqlite"], indirect=True)
def test_a_file_that_kills_or_hangs_its_worker_costs_that_file_only(
        tmp_path, pdf_folder, database, monkeypatch, batch_files):
    monkeypatch.setattr(runner, "child_command", lambda: [sys.executable, "-c", FAULTY_CHILD])
    for name in ("a_crash.pdf", "b_hang.pdf"):
        (pdf_folder / name).write_bytes((pdf_folder / "a_letter.pdf").read_bytes())
    totals = ingest(str(pdf_folder) + "/", config(tmp_path, database, file_timeout=5,
                                                  batch_files=batch_files),
                    workers=2, progress=False)
    docs = 2 * len(GOOD)
    assert (totals.files, totals.documents, totals.crashed, totals.timed_out) == (docs + 3, docs, 1, 1)
    kind, db, account, library = database
    assert sorted(events(kind, db, account)) == sorted([
        (str(pdf_folder / "a_crash.pdf"), runner.CRASHED),
        (str(pdf_folder / "b_hang.pdf"), runner.TIMEOUT),
        (str(pdf_folder / "broken.pdf"), "NO_CATALOG")])
    assert dbside.library_totals(kind, db, account=account, library=library)["documents"] == docs
    log = (tmp_path / "run.log").read_text()  # the crash began once: a batch names it
    assert "file failed - PARSER_CRASHED" in log and log.count("- a_crash.pdf \n") == 1


@pytest.mark.parametrize("database", ["postgres", "mongo"], indirect=True)
def test_dask_cluster_of_two_workers(tmp_path, pdf_folder, database):
    distributed = pytest.importorskip("distributed")
    from pdfbriks.dask import ingest_on_cluster, local_cluster

    with local_cluster(2, dashboard_address=None) as cluster, \
            distributed.Client(cluster) as client:
        totals = ingest_on_cluster(client, str(pdf_folder) + "/", config(tmp_path, database),
                                   chunk_files=2, progress=False)
    assert len({r.worker for r in totals.results}) == 2
    check_database_run(totals, pdf_folder, *database)
