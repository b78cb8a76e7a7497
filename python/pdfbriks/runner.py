"""Running a share of PDFs through the level-3 entry in a child process, a batch of files per call.

The library runs on global state and a fault inside it ends its process, so a share never runs
in the caller's process: a child (`python -m pdfbriks._child`) loads its own copy of the library
and makes one level-3 call per request, over a private folder of links to the request's files
(the level-3 entry takes a folder). With a database a request holds up to cfg.batch_files
files: each call ends with the library's totals and status updates, each over a connection of
its own, and a batch shares them. The parent sends a request and waits for the answer. When the
child dies, or one file runs past the time limit, the library's "processing file" lines in the
child's log name the file the call was on: that file is recorded as failed, the files the call
had finished keep what they stored, and the files it had not started go one per call to a new
child. Every file of a share thus gets exactly one result.
Used by the multi-process ingest (one thread per worker slot) and by the Dask runner (one task
per chunk of files).
"""
from __future__ import annotations

import json
import os
import re
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from collections import deque
from dataclasses import asdict, dataclass, field
from pathlib import Path
from typing import Callable, Iterable

from . import db as dbside

CRASHED = "PARSER_CRASHED"   # event text: the process parsing the file died on it
TIMEOUT = "PARSER_TIMEOUT"   # event text: the file ran past the time limit and was stopped
RECYCLE_AFTER = 500          # files per child before it is replaced by a fresh one
BATCH_LIMIT = 20             # files per call at most: a call of more writes a status row per file
LOG_SHOWS_PROCESSING = 39    # highest log level at which the library logs "processing file"
POLL_SECONDS = 0.5           # how often a batch's log is read for the next file's start
PROCESSING_LINE = re.compile(rb"INFO: pdf_parser - processing file - \d+ - (.*) \n")


class IngestError(RuntimeError):
    """A run whose configuration the child refused (a missing work folder, a bad argument)."""


@dataclass
class IngestConfig:
    """Everything a level-3 call needs except the folder and the document number."""
    account: str = "local"
    library: str = "pdfbriks"
    work_folder: str = "./work/"    # images and the brik file; ends in "/"
    brik_file: str = "briks.txt"    # file mode: brik file inside work_folder
    db: str = ""                    # connection text: URI or SQLite path; "" for file mode
    db_kind: str = ""               # "mongo", "postgres", "sqlite"; "" for file mode
    db_name: str = ""
    job_id: str = "0"
    image_save: int = 0
    brik_size: int = 400
    strip_header: int = 0
    table_strategy: int = 1
    smart_edge: int = 1
    max_chunk_size: int = 600
    encoding: int = 2
    get_header_text: int = 1
    table_grid: int = 1
    logger_level: int = 20
    debug_mode: int = 0
    log_path: str = ""              # the library's log lines are appended here; "" drops them
    status_interval: int = 10       # files between the job's "In Progress" rows; 0: none
    file_timeout: float = 0.0       # seconds per file; 0: no limit
    repair: bool = False            # the library's repair mode (set_repair_mode) in every worker
    batch_files: int = 10           # files per library call with a database and document ids
                                    # from the library row (else one); 1 to BATCH_LIMIT

    @property
    def write_to_db(self) -> bool:
        return bool(self.db)


@dataclass
class FileResult:
    """What one file gave: the closing summary of its level-3 call, or the reason it failed.
    The counts of a call over several files are the whole call's, given with its first file;
    the other files carry their status and document only."""
    path: str
    doc: int = -1                   # document number given; -1: the next of the library row
    status: str = "ok"              # "ok", "no_content" (library result below 1), CRASHED, TIMEOUT
    documents: int = 0
    blocks: int = 0
    images: int = 0
    tables: int = 0
    pages: int = 0
    seconds: float = 0.0
    worker: str = field(default="")


def child_command() -> list[str]:
    """The child's command line: this interpreter, with this package importable."""
    return [sys.executable, "-m", "pdfbriks._child"]


def _child_env() -> dict:
    env = dict(os.environ)
    pkg_parent = str(Path(__file__).resolve().parent.parent)
    env["PYTHONPATH"] = pkg_parent + (os.pathsep + env["PYTHONPATH"]
                                      if env.get("PYTHONPATH") else "")
    return env


class _Child:
    """One child process and its request pipe."""

    def __init__(self, cfg: IngestConfig):
        err = open(cfg.log_path, "ab") if cfg.log_path else None
        self.proc = subprocess.Popen(child_command(), stdin=subprocess.PIPE,
                                     stdout=subprocess.PIPE, stderr=err, env=_child_env())
        if err is not None:
            err.close()
        self.done = 0
        self.private = tempfile.mkdtemp(prefix="pdfbriks-one-")
        self._send(dict(asdict(cfg), private=self.private))

    def _send(self, obj) -> None:
        self.proc.stdin.write((json.dumps(obj) + "\n").encode())
        self.proc.stdin.flush()

    def ask(self, request: dict, timeout: float) -> dict | str:
        """Sends one request; its answer, or CRASHED when the child died and TIMEOUT when one
        file ran out of time (in a batch, the clock starts again at each file begun)."""
        try:
            self._send(request)
        except OSError:
            return CRASHED
        out = self.proc.stdout
        begun, deadline = 0, time.monotonic() + timeout
        while timeout > 0:
            left = max(0.0, deadline - time.monotonic())
            poll = left if len(request["paths"]) == 1 else min(left, POLL_SECONDS)
            if select.select([out], [], [], poll)[0]:
                break
            now = len(self.begun())
            if now > begun:
                begun, deadline = now, time.monotonic() + timeout
            elif time.monotonic() >= deadline:
                return TIMEOUT
        line = out.readline()
        if not line:
            return CRASHED
        self.done += len(request["paths"])
        return json.loads(line)

    def log(self) -> bytes:
        """The library's log of the call under way (the child empties it after each call)."""
        try:
            with open(os.path.join(self.private, "log"), "rb") as f:
                return f.read()
        except OSError:
            return b""

    def begun(self) -> list[str]:
        """Names of the files the call under way has begun, in its order."""
        return [os.fsdecode(n) for n in PROCESSING_LINE.findall(self.log())]

    def stop(self, kill: bool = False) -> None:
        if self.proc.poll() is None:
            if kill:
                self.proc.send_signal(signal.SIGKILL)
            else:
                try:
                    self.proc.stdin.close()
                except OSError:
                    pass
        try:
            self.proc.wait(timeout=30)
        except subprocess.TimeoutExpired:
            self.proc.kill()
            self.proc.wait()
        for pipe in (self.proc.stdin, self.proc.stdout):
            try:
                pipe.close()
            except OSError:
                pass
        shutil.rmtree(self.private, ignore_errors=True)


def batch_width(cfg: IngestConfig) -> int:
    """Files per library call: several only with a database, whose closing calls a batch
    shares, and a log level that shows the "processing file" lines, which name the file a
    dying call was on."""
    if cfg.write_to_db and cfg.logger_level <= LOG_SHOWS_PROCESSING:
        return max(1, min(cfg.batch_files, BATCH_LIMIT))
    return 1


def _record_failure(cfg: IngestConfig, path: str, reason: str) -> None:
    line = (f"WARNING: pdf_parser - ingest - file failed - {reason} - {path} \n")
    if cfg.log_path:
        with open(cfg.log_path, "a") as log:
            log.write(line)
    if cfg.write_to_db:
        try:
            dbside.record_event(cfg.db_kind, cfg.db, job_id=cfg.job_id, library=cfg.library,
                                account=cfg.account, file_name=path, message=reason)
        except Exception as exc:  # the event is lost, the run goes on
            print(f"pdfbriks: could not record the failure of {path}: {exc}", file=sys.stderr)


def _call_died(child: _Child, cfg: IngestConfig, batch: list, reason: str):
    """After a call that died or hung, before its child is stopped: (results, files to go one
    per call). The file the call was on fails with `reason`; the files it had finished keep
    their briks and events (the call died before adding them to the library totals); the
    files it had not begun are returned."""
    log = child.log()
    if cfg.log_path and log:
        with open(cfg.log_path, "ab") as f:
            f.write(log)
    if len(batch) == 1:
        begun = batch
    else:
        by_name = {os.path.basename(os.path.abspath(p)): (p, d) for p, d in batch}
        begun = [by_name[n] for n in child.begun() if n in by_name]
    if not begun:
        return [], batch
    *finished, (path, doc) = begun
    results = []
    if finished:
        real_of = {os.path.join(child.private, "in", os.path.basename(os.path.abspath(p))):
                   os.path.abspath(p) for p, _ in finished}
        failed = set()
        if cfg.write_to_db:
            try:
                failed = set(dbside.rename_event_files(cfg.db_kind, cfg.db, account=cfg.account,
                                                       job_id=cfg.job_id, real_of=real_of))
            except Exception as exc:
                print(f"pdfbriks: events of {len(finished)} files keep their link names: {exc}",
                      file=sys.stderr)
        for p, d in finished:
            bad = os.path.abspath(p) in failed
            results.append(FileResult(path=p, doc=d, status="no_content" if bad else "ok",
                                      documents=int(not bad)))
        if cfg.log_path:
            with open(cfg.log_path, "a") as f:
                f.write(f"WARNING: pdf_parser - ingest - not in the library totals - "
                        f"{len(finished)} files parsed before {path} in the same call \n")
    _record_failure(cfg, path, reason)
    results.append(FileResult(path=path, doc=doc, status=reason))
    return results, [f for f in batch if f not in begun]


def run_share(files: Iterable[tuple[str, int]], cfg: IngestConfig,
              on_result: Callable[[FileResult], None] | None = None,
              worker: str = "") -> list[FileResult]:
    """Parses (path, document number) pairs, taken from `files` as the work goes on (several
    callers may share one iterator), batch_width(cfg) files per call in one child process at
    a time; a file on which the child dies or hangs is recorded as failed,
    and the files of its call not yet begun go one per call to a new child. A document number
    below 0 takes the next id of the library row (a database run); a batch holds only those."""
    results = []
    source = iter(files)            # taken as the work goes on: it may be shared with others
    todo = deque()                  # files given back: the rest of a batch whose call died
    width = batch_width(cfg)
    alone = 0                       # files at the head of todo that go one per call
    child = None

    def take():
        return todo.popleft() if todo else next(source, None)

    def give(res: FileResult, started: float, share: int = 1) -> None:
        res.seconds = (time.monotonic() - started) / share
        res.worker = worker
        results.append(res)
        if on_result is not None:
            on_result(res)

    try:
        while (item := take()) is not None:
            batch = [item]
            single = alone > 0
            alone -= single
            while not single and len(batch) < width and batch[0][1] < 0:
                if (item := take()) is None:
                    break
                if item[1] >= 0:
                    todo.appendleft(item)
                    break
                batch.append(item)
            if child is None:
                child = _Child(cfg)
            started = time.monotonic()
            answer = child.ask({"paths": [p for p, _ in batch], "doc": batch[0][1]},
                               cfg.file_timeout)
            if isinstance(answer, str):
                given, rest = _call_died(child, cfg, batch, answer)
                child.stop(kill=True)
                child = None
                for res in given:
                    give(res, started, len(given))
                todo.extendleft(reversed(rest))
                alone += len(rest)
                continue
            if "error" in answer:
                raise IngestError(answer["error"])
            failed = set(answer.pop("failed"))
            for k, (path, doc) in enumerate(batch):
                bad = os.path.abspath(path) in failed
                res = FileResult(path=path, doc=doc, status="no_content" if bad else "ok",
                                 documents=int(not bad))
                if k == 0:
                    for name in ("pages", "blocks", "images", "tables"):
                        setattr(res, name, answer[name])
                give(res, started, len(batch))
            if child.done >= RECYCLE_AFTER:
                child.stop()
                child = None
    finally:
        if child is not None:
            child.stop()
    return results
