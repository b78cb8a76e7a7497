"""Ingest of one folder by N worker processes on this machine.

The folder's PDFs wait in one queue, the largest first; one thread per worker drives a child
process that takes the next files of the queue whenever it is free and runs the level-3 entry
on them (runner.run_share), so the workers end close together. One progress bar counts files
over all workers. With a database every document id comes from the database's counter, so
workers never share one; in file mode each document's number is fixed by its place in name
order before the run, and worker w writes its own brik file.
"""
from __future__ import annotations

import os
import queue
import sqlite3
import sys
import threading
import time
from dataclasses import dataclass, field, replace
from pathlib import Path

from . import db as dbside
from .api import ArgumentError
from .runner import CRASHED, TIMEOUT, FileResult, IngestConfig, run_share


def _tqdm():
    """tqdm's bar class (Debian's python3-tqdm), or None without it: no bar then."""
    try:
        from tqdm import tqdm
        return tqdm
    except ImportError:
        return None


def pdf_type_ok(name: bytes) -> bool:
    """The library's folder test for one name: it sorts after "." and "..", is not
    ".DS_Store", and the text after its last point is exactly "pdf" or "PDF"."""
    if not (name > b"." and name > b".." and name != b".DS_Store"):
        return False
    pieces = [p for p in name.split(b".") if p]
    return bool(pieces) and pieces[-1] in (b"pdf", b"PDF")


def list_pdfs(folder: str) -> list[str]:
    """The PDFs a folder run of the library would take (no sub-folders), sorted by name."""
    if not os.path.isdir(folder):
        raise FileNotFoundError(f"no such folder: {folder}")
    base = os.fsencode(folder)
    names = sorted(n for n in os.listdir(base) if pdf_type_ok(n)
                   and os.path.isfile(os.path.join(base, n)))
    return [os.fsdecode(os.path.join(base, n)) for n in names]


class Feed:
    """An iterator that several threads take from, one item at a time."""

    def __init__(self, items):
        self._items = iter(items)
        self._lock = threading.Lock()

    def __iter__(self):
        return self

    def __next__(self):
        with self._lock:
            return next(self._items)


def share_brik_file(name: str, worker: int, workers: int) -> str:
    """The brik file of one worker: the name itself for one worker, else "-w<k>" before the
    extension ("briks.txt" -> "briks-w0.txt")."""
    if workers <= 1:
        return name
    stem, ext = os.path.splitext(name)
    return f"{stem}-w{worker}{ext}"


@dataclass
class Totals:
    files: int = 0
    documents: int = 0
    no_content: int = 0
    crashed: int = 0
    timed_out: int = 0
    pages: int = 0
    blocks: int = 0
    images: int = 0
    tables: int = 0
    seconds: float = 0.0
    results: list = field(default_factory=list, repr=False)

    def add(self, r: FileResult) -> None:
        self.files += 1
        self.documents += r.documents
        self.no_content += r.status == "no_content"
        self.crashed += r.status == CRASHED
        self.timed_out += r.status == TIMEOUT
        self.pages += r.pages
        self.blocks += r.blocks
        self.images += r.images
        self.tables += r.tables
        self.results.append(r)

    @property
    def failed(self) -> int:
        return self.no_content + self.crashed + self.timed_out

    def lines(self) -> list[str]:
        rate = self.pages / self.seconds if self.seconds > 0 else 0.0
        return [f"files {self.files}, documents {self.documents}, failed {self.failed} "
                f"(no content {self.no_content}, crashed {self.crashed}, "
                f"timed out {self.timed_out})",
                f"pages {self.pages}, blocks {self.blocks}, images {self.images}, "
                f"tables {self.tables}",
                f"time {self.seconds:.2f} s, {rate:.1f} pages/s"]


def job_status_key(cfg: IngestConfig) -> str:
    """The status key of a job, as the library forms it."""
    return f"{cfg.library}_pdf_parser_{cfg.job_id}"


def first_doc_num(cfg: IngestConfig, doc_start: int | None) -> int:
    """The first document number of a run: by default -1 (ids from the library row) with a
    database and 1 without; ids from the row need a database."""
    if doc_start is None:
        return -1 if cfg.write_to_db else 1
    if doc_start < 0 and not cfg.write_to_db:
        raise ArgumentError("document numbers from the library row need a database")
    return doc_start


def numbered(paths: list[str], first: int) -> list[tuple[str, int]]:
    """(path, document number): consecutive from `first`, or all -1 (from the library row)."""
    return [(p, -1 if first < 0 else first + i) for i, p in enumerate(paths)]


class StatusRow:
    """The job's status row, as the library keys it: "In Progress" every cfg.status_interval
    files, "Completed" at the end. (Each file's own level-3 call also upserts the row with
    its one file; the next update here puts the job's counts back.)"""

    def __init__(self, cfg: IngestConfig, total: int):
        self.cfg, self.total, self.last = cfg, total, 0

    def _set(self, summary: str, current: int, **times) -> None:
        if self.cfg.write_to_db:
            dbside.set_status(self.cfg.db_kind, self.cfg.db, account=self.cfg.account,
                              key=job_status_key(self.cfg), summary=summary, total=self.total,
                              current=current, **times)

    def start(self) -> None:
        self._set("In Progress", 0, start_time=time.strftime("%c"))

    def progress(self, done: int) -> None:
        every = self.cfg.status_interval
        if every > 0 and done // every > self.last // every:
            self._set("In Progress", done)
        self.last = done

    def completed(self, done: int) -> None:
        self._set("Completed", done, end_time=time.strftime("%c"))


def keep_sqlite_log(cfg: IngestConfig):
    """For a SQLite run, a connection kept open until the end, or None. The library opens
    the file for each statement; when the last connection to a file in write-ahead-log mode
    closes, SQLite copies the log into the file and removes it, one sync more per statement.
    This one stays open (it has read the file once, and holds no lock)."""
    if cfg.db_kind != "sqlite":
        return None
    try:  # read-write, never creating the file
        conn = sqlite3.connect(Path(cfg.db).resolve().as_uri() + "?mode=rw", uri=True)
        conn.execute("PRAGMA schema_version").fetchone()
    except sqlite3.Error:
        return None
    return conn


def ingest(folder: str, cfg: IngestConfig, workers: int = 1, doc_start: int | None = None,
           progress: bool = True) -> Totals:
    """Parses every PDF of `folder` with `workers` processes; returns the totals.
    doc_start: see first_doc_num; numbers go to the files in name order."""
    if workers < 1:
        raise ArgumentError(f"workers must be 1 or more, not {workers}")
    if not cfg.work_folder.endswith("/"):
        raise ArgumentError(f"work folder must end in a path separator: {cfg.work_folder!r}")
    os.makedirs(cfg.work_folder, exist_ok=True)
    paths = list_pdfs(folder)
    slots = max(1, min(workers, len(paths)))
    totals = Totals()
    started = time.monotonic()
    pairs = numbered(paths, first_doc_num(cfg, doc_start))
    feed = Feed(sorted(pairs, key=lambda pair: -os.path.getsize(pair[0])))
    status = StatusRow(cfg, len(paths))
    status.start()
    log_keeper = keep_sqlite_log(cfg)

    done: queue.Queue = queue.Queue()
    threads = []
    errors = []
    for w in range(slots):
        wcfg = replace(cfg, brik_file=share_brik_file(cfg.brik_file, w, slots))

        def work(wcfg=wcfg, w=w):
            try:
                run_share(feed, wcfg, done.put, worker=str(w))
            except BaseException as exc:  # reported by the main thread
                errors.append(exc)
            finally:
                done.put(None)

        threads.append(threading.Thread(target=work, name=f"pdfbriks-worker-{w}", daemon=True))
    bar = None
    if progress and _tqdm() is not None:
        bar = _tqdm()(total=len(paths), unit="file", file=sys.stderr, dynamic_ncols=True)
    for t in threads:
        t.start()
    running = len(threads)
    while running:
        r = done.get()
        if r is None:
            running -= 1
            continue
        totals.add(r)
        status.progress(totals.files)
        if bar is not None:
            elapsed = time.monotonic() - started
            bar.set_postfix(pages=totals.pages, failed=totals.failed,
                            pages_s=f"{totals.pages / elapsed:.1f}" if elapsed else "0",
                            refresh=False)
            bar.update(1)
    for t in threads:
        t.join()
    if log_keeper is not None:
        log_keeper.close()
    if bar is not None:
        bar.close()
    totals.seconds = time.monotonic() - started
    if errors:
        raise errors[0]
    status.completed(totals.files)
    return totals
