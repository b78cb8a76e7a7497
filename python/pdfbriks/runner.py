"""Running a share of PDFs through the level-3 entry, one file at a time, in a child process.

The library runs on global state and a fault inside it ends its process, so a share never runs
in the caller's process: a child (`python -m pdfbriks._child`) loads its own copy of the library
and parses one file per request, through a private folder that holds a link to that one file
(the level-3 entry takes a folder). The parent sends a request, waits for the answer, and when
the child dies or overruns the time limit it records the file as failed and starts a new child
for the rest of the share. Every file of a share thus gets exactly one result.
Used by the multi-process ingest (one thread per worker slot) and by the Dask runner (one task
per chunk of files).
"""
from __future__ import annotations

import json
import os
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from dataclasses import asdict, dataclass, field
from pathlib import Path
from typing import Callable, Iterable

from . import db as dbside

CRASHED = "PARSER_CRASHED"   # event text: the process parsing the file died on it
TIMEOUT = "PARSER_TIMEOUT"   # event text: the file ran past the time limit and was stopped
RECYCLE_AFTER = 500          # files per child before it is replaced by a fresh one


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

    @property
    def write_to_db(self) -> bool:
        return bool(self.db)


@dataclass
class FileResult:
    """What one file gave: the closing summary of its level-3 call, or the reason it failed."""
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
        """Sends one file; its answer, or CRASHED when the child died and TIMEOUT when it ran
        out of time."""
        try:
            self._send(request)
        except OSError:
            return CRASHED
        out = self.proc.stdout
        if timeout > 0:
            ready, _, _ = select.select([out], [], [], timeout)
            if not ready:
                return TIMEOUT
        line = out.readline()
        if not line:
            return CRASHED
        self.done += 1
        return json.loads(line)

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


def run_share(files: Iterable[tuple[str, int]], cfg: IngestConfig,
              on_result: Callable[[FileResult], None] | None = None,
              worker: str = "") -> list[FileResult]:
    """Parses (path, document number) pairs in order, one child process at a time; a file on
    which the child dies or hangs is recorded as failed and the next file goes to a new child.
    A document number below 0 takes the next id of the library row (a database run)."""
    results = []
    child = None
    try:
        for path, doc in files:
            if child is None:
                child = _Child(cfg)
            started = time.monotonic()
            answer = child.ask({"path": path, "doc": doc}, cfg.file_timeout)
            if isinstance(answer, str):
                reason = answer
                child.stop(kill=True)
                child = None
                _record_failure(cfg, path, reason)
                res = FileResult(path=path, doc=doc, status=reason)
            elif "error" in answer:
                raise IngestError(answer["error"])
            else:
                res = FileResult(path=path, doc=doc, **answer)
            res.seconds = time.monotonic() - started
            res.worker = worker
            results.append(res)
            if on_result is not None:
                on_result(res)
            if child is not None and child.done >= RECYCLE_AFTER:
                child.stop()
                child = None
    finally:
        if child is not None:
            child.stop()
    return results
