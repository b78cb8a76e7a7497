"""The folder ingest as tasks on a Dask cluster (Debian's python3-distributed).

Each task parses a chunk of files with runner.run_share in a child process of the worker, so a
fault of the library on one file costs that file only (recorded as failed) and neither the
worker nor the rest of the chunk. Workers run one process per core with one thread each; they
read the PDFs from storage every machine sees under the same path, and write to PostgreSQL or
MongoDB (document ids from the database's counter, so no two documents share one).

    python3 -m pdfbriks.dask --scheduler tcp://HOST:8786 ingest /shared/pdfs \\
        --db postgresql://pdfbriks@dbhost/pdfbriks --library contracts -w /shared/work

Without --scheduler a LocalCluster of one worker process per core is started for the run.
"""
from __future__ import annotations

import argparse
import importlib
import os
import socket
import sys
import time
from dataclasses import replace

import distributed

from .ingest import StatusRow, Totals, _tqdm, first_doc_num, list_pdfs, numbered
from .runner import FileResult, IngestConfig, run_share

CHUNK_FILES = 8  # files per task: small enough for an even spread and a live progress bar


def local_cluster(workers: int | None = None, **kwargs) -> distributed.LocalCluster:
    """A cluster on this machine: one worker process per core (or `workers`), one thread each."""
    return distributed.LocalCluster(n_workers=workers or os.cpu_count() or 1,
                                    threads_per_worker=1, processes=True, **kwargs)


def _run_chunk(pairs: list[tuple[str, int]], cfg: IngestConfig) -> list[FileResult]:
    """One task: a chunk of files on this worker. In file mode the brik file is the worker's
    own (one thread per worker, so its tasks append one after the other)."""
    if not cfg.write_to_db:
        stem, ext = os.path.splitext(cfg.brik_file)
        cfg = replace(cfg, brik_file=f"{stem}-{socket.gethostname()}-{os.getpid()}{ext}")
    return run_share(pairs, cfg, worker=f"{socket.gethostname()}:{os.getpid()}")


def ingest_on_cluster(client: distributed.Client, folder: str, cfg: IngestConfig,
                      doc_start: int | None = None, chunk_files: int = CHUNK_FILES,
                      progress: bool = True) -> Totals:
    """Parses every PDF of `folder` as tasks on `client`'s cluster; returns the totals.
    `folder` and cfg.work_folder must have the same path on every worker."""
    paths = list_pdfs(folder)
    os.makedirs(cfg.work_folder, exist_ok=True)
    pairs = numbered(paths, first_doc_num(cfg, doc_start))
    # largest files first, so that the last tasks are short ones
    pairs.sort(key=lambda pd: -os.path.getsize(pd[0]))
    chunks = [pairs[i:i + chunk_files] for i in range(0, len(pairs), chunk_files)]
    status = StatusRow(cfg, len(paths))
    status.start()
    started = time.monotonic()
    # the task by its module's name, also when this file runs as __main__, so that workers
    # import it instead of receiving a pickled copy
    task = importlib.import_module("pdfbriks.dask")._run_chunk
    # retries=0: a chunk already survives a crash per file; rerunning it would parse twice
    futures = [client.submit(task, chunk, cfg, pure=False, retries=0)
               for chunk in chunks]
    bar = None
    if progress and _tqdm() is not None:
        bar = _tqdm()(total=len(paths), unit="file", file=sys.stderr, dynamic_ncols=True)
    totals = Totals()
    for future in distributed.as_completed(futures):
        for r in future.result():
            totals.add(r)
        status.progress(totals.files)
        if bar is not None:
            bar.set_postfix(pages=totals.pages, failed=totals.failed, refresh=False)
            bar.update(len(future.result()))
    if bar is not None:
        bar.close()
    totals.seconds = time.monotonic() - started
    status.completed(totals.files)
    return totals


def main(argv: list[str] | None = None) -> int:
    from .__main__ import add_ingest_options, config_from, report, show_progress

    p = argparse.ArgumentParser(prog="python3 -m pdfbriks.dask")
    p.add_argument("--scheduler", default="",
                   help="scheduler address, tcp://HOST:8786 (default: a local cluster of one "
                        "worker process per core)")
    p.add_argument("--chunk-files", type=int, default=CHUNK_FILES,
                   help=f"files per task (default {CHUNK_FILES})")
    sub = p.add_subparsers(dest="command", required=True)
    add_ingest_options(sub.add_parser("ingest", help="parse every PDF of a folder on the "
                                      "cluster"))
    args = p.parse_args(argv)
    setup = config_from(args)
    if setup is None:
        return 2
    folder, cfg = setup
    cluster = None if args.scheduler else local_cluster()
    with distributed.Client(args.scheduler or cluster) as client:
        totals = ingest_on_cluster(client, folder, cfg, doc_start=args.doc_num,
                                   chunk_files=max(1, args.chunk_files),
                                   progress=show_progress(args))
    if cluster is not None:
        cluster.close()
    report(totals, cfg, True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
