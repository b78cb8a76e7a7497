"""python3 -m pdfbriks ingest FOLDER [options]: parse every PDF of a folder into a library,
with N worker processes, one progress bar over all of them, and the totals at the end.
Exit status: 0 done (failed files are counted, not fatal), 2 usage error, 1 other error."""
from __future__ import annotations

import argparse
import os
import sys
import time

from . import db as dbside
from .api import ArgumentError, check_db, check_library_name
from .ingest import ingest
from .runner import IngestConfig, IngestError


def add_ingest_options(ing: argparse.ArgumentParser) -> None:
    """The options of a folder run, shared with the Dask runner."""
    a = ing.add_argument
    a("folder", help="folder of PDFs")
    a("-w", "--work", default="./work/",
      help="work folder for images and brik files, created if missing (default ./work/)")
    a("-o", "--out", default="briks.txt",
      help="brik file name inside the work folder, without --db (default briks.txt; with "
           "several workers briks-w0.txt, briks-w1.txt, ...)")
    a("-d", "--db", default="",
      help="database: a SQLite file path, postgresql://... or key=value connection text, "
           "or mongodb://...; provision it first (python3 -m pdfbriks.provision)")
    a("-a", "--account", default="local", help="account name; MongoDB database (default local)")
    a("-y", "--library", default="pdfbriks", help="library name; brik table (default pdfbriks)")
    a("-j", "--job-id", default="", help="job id of the status row and events "
      "(default: the start time in seconds)")
    a("-u", "--doc-num", type=int, default=None,
      help="first document number, each worker numbering from its own range; below 0 takes "
           "numbers from the library row (default -1 with --db, else 1)")
    a("-S", "--status", type=int, default=1,
      help="1: the job's status row is updated every --status-interval files (default 1)")
    a("-I", "--status-interval", type=int, default=10,
      help="files between status updates (default 10)")
    a("-i", "--images", action="store_true", help="export images to the work folder")
    a("--no-images", dest="images", action="store_false", help="no image export (the default)")
    a("-m", "--debug-mode", type=int, default=0, help="debug mode passed to the library "
      "(default 0)")
    a("-b", "--brik-size", type=int, default=400, help="target brik size in bytes (default 400)")
    a("-c", "--chunk", type=int, default=600, help="hard bound of a brik in bytes (default 600)")
    a("-e", "--smart-edge", type=int, default=1,
      help="1: cut at blanks and sentence ends; 0: at the size (default 1)")
    a("-n", "--encoding", type=int, default=2,
      help="1: one byte per character; 2: UTF-8 (default 2)")
    a("-t", "--tables", type=int, default=1,
      help="table strategy: 0 none, 1 strict, 2 loose (default 1)")
    a("-g", "--grid", type=int, default=1,
      help="1: table text with row and cell marks (default 1)")
    a("-H", "--header-text", type=int, default=1, help="1: briks carry header text (default 1)")
    a("-s", "--strip-header", type=int, default=0, help="strip-header option (default 0)")
    a("-l", "--log-level", type=int, default=20,
      help="log level: 9 deep debug, 10 debug, 20 info, 40 errors (default 20)")
    a("-L", "--log-file", default="",
      help="append the library's log here (default: pdfbriks_run.log in the work folder)")
    a("-r", "--repair", action="store_true",
      help="repair mode: read the text the standard reading loses (default off)")
    a("-N", "--workers", type=int, default=1, help="worker processes (default 1)")
    a("--file-timeout", type=float, default=0.0,
      help="seconds one file may take before it is stopped and recorded as failed (default "
           "no limit)")
    a("--batch-files", type=int, default=10,
      help="files per library call with --db and ids from the library row, 1 to 20: a call "
           "ends with its own totals and status updates, which a batch shares; a file the "
           "call dies on sends the rest of its batch one file per call (default 10)")
    a("-p", "--progress", action="store_true",
      help="progress bar on standard error even when it is not a terminal")
    a("-q", "--quiet", action="store_true", help="no progress bar")


def _parser() -> argparse.ArgumentParser:
    p = argparse.ArgumentParser(prog="python3 -m pdfbriks")
    sub = p.add_subparsers(dest="command", required=True)
    add_ingest_options(sub.add_parser("ingest", help="parse every PDF of a folder (no "
                                      "sub-folders) with N worker processes"))
    return p


def config_from(args) -> tuple[str, IngestConfig] | None:
    """The folder (with its separator) and the run's configuration; None after printing a
    usage error."""
    folder = args.folder if args.folder.endswith("/") else args.folder + "/"
    work = args.work if args.work.endswith("/") else args.work + "/"
    try:
        if not os.path.isdir(folder):
            raise FileNotFoundError(f"no such folder: {args.folder}")
        if args.workers < 1:
            raise ArgumentError("--workers must be 1 or more")
        if not 1 <= args.batch_files <= 20:
            raise ArgumentError("--batch-files must be 1 to 20")
        if args.doc_num is not None and args.doc_num < 0 and not args.db:
            raise ArgumentError("document numbers from the library row need --db")
        if args.log_file == "-":
            raise ArgumentError("the workers' log goes to a file: give -L PATH")
        kind = ""
        if args.db:
            kind = dbside.db_kind_of(args.db)
            check_db(kind, args.db)
            check_library_name(args.library)
        os.makedirs(work, exist_ok=True)
    except (ArgumentError, FileNotFoundError, OSError) as exc:
        print(f"pdfbriks: {exc}", file=sys.stderr)
        return None
    return folder, IngestConfig(
        account=args.account, library=args.library, work_folder=os.path.abspath(work) + "/",
        brik_file=args.out, db=args.db, db_kind=kind, db_name=args.account,
        job_id=args.job_id or str(int(time.time())), image_save=1 if args.images else 0,
        brik_size=args.brik_size, strip_header=args.strip_header, table_strategy=args.tables,
        smart_edge=args.smart_edge, max_chunk_size=args.chunk, encoding=args.encoding,
        get_header_text=args.header_text, table_grid=args.grid, logger_level=args.log_level,
        debug_mode=args.debug_mode,
        log_path=os.path.abspath(args.log_file or os.path.join(work, "pdfbriks_run.log")),
        file_timeout=args.file_timeout, repair=args.repair, batch_files=args.batch_files,
        status_interval=args.status_interval if args.status == 1 else 0)


def show_progress(args) -> bool:
    return not args.quiet and (args.progress or sys.stderr.isatty())


def report(totals, cfg: IngestConfig, several_brik_files: bool) -> None:
    """The totals of a run, then the library's row or where the brik files went."""
    for line in totals.lines():
        print(line)
    if cfg.write_to_db:
        row = dbside.library_totals(cfg.db_kind, cfg.db, account=cfg.account,
                                    library=cfg.library)
        if row:
            print("library " + cfg.library + ": " + ", ".join(f"{k} {v}" for k, v in row.items()))
        print(f"briks in {cfg.db_kind} library {cfg.library}; job {cfg.job_id}; "
              f"log {cfg.log_path}")
    else:
        stem, ext = os.path.splitext(cfg.brik_file)
        name = f"{stem}-*{ext}" if several_brik_files else cfg.brik_file
        print(f"briks in {cfg.work_folder}{name}; log {cfg.log_path}")


def main(argv: list[str] | None = None) -> int:
    args = _parser().parse_args(argv)
    setup = config_from(args)
    if setup is None:
        return 2
    folder, cfg = setup
    try:
        totals = ingest(folder, cfg, workers=args.workers, doc_start=args.doc_num,
                        progress=show_progress(args))
    except (IngestError, OSError) as exc:  # OSError: a full disk or a lost work folder, say
        print(f"pdfbriks: run stopped: {exc}", file=sys.stderr)
        return 1
    report(totals, cfg, args.workers > 1)
    return 0


if __name__ == "__main__":
    sys.exit(main())
