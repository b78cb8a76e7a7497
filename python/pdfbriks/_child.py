"""Child process of the share runner: parses the PDFs of one request with one level-3 call.

Protocol, one JSON object per line: the first line on stdin is the IngestConfig; then each line
is {"paths", "doc"}, one library call over links to those files, and is answered on stdout by
the call's counts and the files that failed. The library's log goes to a private file (the
process's standard output is moved there), whose closing summary gives the counts; the lines
are then appended to the run's log and the file is emptied. While a call runs, the parent
reads that file for the library's "processing file" lines: they tell which file a call that
dies or hangs was on.
"""
from __future__ import annotations

import json
import os
import re
import sys

from .runner import PROCESSING_LINE

_SUMMARY = {
    "blocks": re.compile(rb"INFO: pdf_parser - total blocks created - (-?\d+) \n"),
    "images": re.compile(rb"INFO: pdf_parser - total images created - (-?\d+) \n"),
    "tables": re.compile(rb"INFO: pdf_parser - total tables created - (-?\d+) \n"),
}


def main() -> int:
    requests = sys.stdin.buffer
    answers = os.fdopen(os.dup(1), "w")
    cfg = json.loads(requests.readline())
    private = cfg.pop("private")   # made and removed by the parent, also when this child dies

    from . import api
    api._lib.load()
    api.set_repair_mode(bool(cfg.get("repair")))

    capture_path = os.path.join(private, "log")
    capture = os.open(capture_path, os.O_RDWR | os.O_CREAT | os.O_APPEND, 0o600)
    os.dup2(capture, 1)          # the library's log_stream is standard output
    folder = os.path.join(private, "in") + "/"
    os.mkdir(folder)
    write_to_db = 1 if cfg["db"] else 0
    debug_mode = 0 if cfg["debug_mode"] == api.LOG_TO_FILE else cfg["debug_mode"]
    for line in requests:
        req = json.loads(line)
        real_of = {}                 # private link -> the real path it stands for
        for path in req["paths"]:
            real = os.path.abspath(path)
            real_of[folder + os.path.basename(real)] = real
        for link, real in real_of.items():
            os.symlink(real, link)
        try:
            pages = api.add_pdf_main_dorvane_config_new(
                cfg["account"], cfg["library"], folder, cfg["db_kind"] or "sqlite",
                cfg["db"], cfg["db_name"] or cfg["account"], cfg["work_folder"],
                debug_mode=debug_mode, image_save=cfg["image_save"], write_to_db=write_to_db,
                write_to_filename=cfg["brik_file"], brik_size=cfg["brik_size"],
                unique_doc_num=req["doc"],
                # the closing summary, which gives the counts, is written with status_flag 1;
                # a run of at most 20 files never reaches the periodic status updates
                status_flag=1, status_interval=1, job_id=cfg["job_id"],
                strip_header=cfg["strip_header"], table_strategy=cfg["table_strategy"],
                smart_edge=cfg["smart_edge"], max_chunk_size=cfg["max_chunk_size"],
                encoding=cfg["encoding"], get_header_text=cfg["get_header_text"],
                table_grid=cfg["table_grid"], logger_level=cfg["logger_level"])
        except (api.ArgumentError, OSError, TypeError) as exc:
            # a configuration the library must not see: the whole run stops, not this file
            for link in real_of:
                os.unlink(link)
            os.ftruncate(1, 0)
            answers.write(json.dumps({"error": f"{type(exc).__name__}: {exc}"}) + "\n")
            answers.flush()
            continue
        for link in real_of:
            os.unlink(link)
        with open(capture_path, "rb") as f:
            log = f.read()
        counts = {k: int(m[-1]) if (m := rx.findall(log)) else 0
                  for k, rx in _SUMMARY.items()}
        counts["pages"] = pages
        # One file failed when it gave no brik; in a batch, the failed files are those with
        # an event, whose private link is replaced by the real path on the way, and those the
        # call left out (no "processing file" line).
        single = len(real_of) == 1
        failed = [] if single and counts["blocks"] > 0 else list(real_of.values())
        if write_to_db and failed:
            from . import db
            try:
                renamed = db.rename_event_files(cfg["db_kind"], cfg["db"], account=cfg["account"],
                                                job_id=cfg["job_id"], real_of=real_of)
                if not single:
                    begun = {os.fsdecode(n) for n in PROCESSING_LINE.findall(log)}
                    failed = renamed + [r for r in real_of.values()
                                        if os.path.basename(r) not in begun]
            except Exception as exc:
                log += f"WARNING: pdf_parser - ingest - event path not updated - {exc} \n".encode()
        counts["failed"] = failed
        if cfg["log_path"] and log:
            fd = os.open(cfg["log_path"], os.O_WRONLY | os.O_CREAT | os.O_APPEND, 0o644)
            os.write(fd, log)
            os.close(fd)
        os.ftruncate(1, 0)           # empty for the next request, which the parent may read
        answers.write(json.dumps(counts) + "\n")
        answers.flush()
    return 0


if __name__ == "__main__":
    sys.exit(main())
