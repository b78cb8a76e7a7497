"""Child process of the share runner: parses one PDF per request with the level-3 entry.

Protocol, one JSON object per line: the first line on stdin is the IngestConfig; then each line
is {"path", "doc"} and is answered on stdout by the file's counts. The library's log goes to a
private file (the process's standard output is moved there), whose closing summary gives the
counts; the lines are then appended to the run's log.
"""
from __future__ import annotations

import json
import os
import re
import sys

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
        real = os.path.abspath(req["path"])
        link = folder + os.path.basename(real)
        os.symlink(real, link)
        os.ftruncate(1, 0)
        try:
            pages = api.add_pdf_main_dorvane_config_new(
                cfg["account"], cfg["library"], folder, cfg["db_kind"] or "sqlite",
                cfg["db"], cfg["db_name"] or cfg["account"], cfg["work_folder"],
                debug_mode=debug_mode, image_save=cfg["image_save"], write_to_db=write_to_db,
                write_to_filename=cfg["brik_file"], brik_size=cfg["brik_size"],
                unique_doc_num=req["doc"],
                # the closing summary, which gives the counts, is written with status_flag 1;
                # a run of one file never reaches the periodic status updates
                status_flag=1, status_interval=1, job_id=cfg["job_id"],
                strip_header=cfg["strip_header"], table_strategy=cfg["table_strategy"],
                smart_edge=cfg["smart_edge"], max_chunk_size=cfg["max_chunk_size"],
                encoding=cfg["encoding"], get_header_text=cfg["get_header_text"],
                table_grid=cfg["table_grid"], logger_level=cfg["logger_level"])
        except (api.ArgumentError, OSError, TypeError) as exc:
            # a configuration the library must not see: the whole run stops, not this file
            os.unlink(link)
            answers.write(json.dumps({"error": f"{type(exc).__name__}: {exc}"}) + "\n")
            answers.flush()
            continue
        os.unlink(link)
        with open(capture_path, "rb") as f:
            log = f.read()
        counts = {k: int(m[-1]) if (m := rx.findall(log)) else 0
                  for k, rx in _SUMMARY.items()}
        counts["pages"] = pages
        counts["documents"] = 1 if counts["blocks"] > 0 else 0
        counts["status"] = "ok" if counts["documents"] else "no_content"
        if write_to_db and not counts["documents"]:
            # the library's event names the private link; give it the real path
            from . import db
            try:
                db.rename_event_file(cfg["db_kind"], cfg["db"], account=cfg["account"],
                                     job_id=cfg["job_id"], old=link, new=real)
            except Exception as exc:
                log += f"WARNING: pdf_parser - ingest - event path not updated - {exc} \n".encode()
        if cfg["log_path"] and log:
            fd = os.open(cfg["log_path"], os.O_WRONLY | os.O_CREAT | os.O_APPEND, 0o644)
            os.write(fd, log)
            os.close(fd)
        answers.write(json.dumps(counts) + "\n")
        answers.flush()
    return 0


if __name__ == "__main__":
    sys.exit(main())
