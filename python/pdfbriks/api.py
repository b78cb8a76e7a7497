"""Typed wrappers over the library's five entry points.

Every argument is checked here before anything reaches the library, which trusts its caller:
a folder without its trailing separator, a missing file or folder, an unknown database kind, a
library name that is not a plain identifier, or a number outside 32 bits raises at once.
Keyword defaults are the library's built-in values (table strategy 1, smart edge 1, chunk bound
600, UTF-8, header text on, table grid marks on, log level 20).
Each wrapper returns what its entry returns: the pages that yielded at least one brik.
Calls are serialised by a lock: the library runs on one thread over global state.
"""
from __future__ import annotations

import os
import re
import threading
from typing import Union

from . import _lib

PathText = Union[str, bytes, "os.PathLike[str]"]

DB_KINDS = ("mongo", "postgres", "sqlite")
LOG_TO_FILE = 60  # log mode (and level-3 debug mode) that sends the log to log_file_path

_call_lock = threading.Lock()
_IDENTIFIER = re.compile(r"[A-Za-z_][A-Za-z0-9_]*\Z")
_I32_MIN, _I32_MAX = -(2 ** 31), 2 ** 31 - 1


class ArgumentError(ValueError):
    """An argument the library would misread; raised before the call."""


def _text(name: str, value) -> bytes:
    if value is None:
        value = ""
    if isinstance(value, os.PathLike):
        value = os.fspath(value)
    if isinstance(value, str):
        value = os.fsencode(value)
    if not isinstance(value, bytes):
        raise TypeError(f"{name} must be text, not {type(value).__name__}")
    if b"\0" in value:
        raise ArgumentError(f"{name} holds a zero byte")
    return value


def _i32(name: str, value) -> int:
    if isinstance(value, bool):
        value = int(value)
    if not isinstance(value, int):
        raise TypeError(f"{name} must be an int, not {type(value).__name__}")
    if not _I32_MIN <= value <= _I32_MAX:
        raise ArgumentError(f"{name} = {value} does not fit in 32 bits")
    return value


def _folder(name: str, value, must_exist: bool = True) -> bytes:
    raw = _text(name, value)
    if not raw.endswith(b"/"):
        raise ArgumentError(
            f"{name} must end in a path separator: {os.fsdecode(raw)!r} "
            f"(the library adds none; pass {os.fsdecode(raw) + '/'!r})")
    if must_exist and not os.path.isdir(raw):
        raise FileNotFoundError(f"{name}: no such folder: {os.fsdecode(raw)}")
    return raw


def _pdf_name(name: str, value) -> bytes:
    raw = _text(name, value)
    if b"/" in raw or not raw:
        raise ArgumentError(f"{name} must be a bare file name inside the input folder: {raw!r}")
    kind = raw.rsplit(b".", 1)[-1]
    if kind not in (b"pdf", b"PDF"):
        raise ArgumentError(f"{name} must end in .pdf or .PDF: {os.fsdecode(raw)!r}")
    return raw


def check_library_name(library_name) -> bytes:
    """A library name names a table: only a plain identifier is accepted."""
    raw = _text("library_name", library_name)
    if not _IDENTIFIER.match(os.fsdecode(raw)):
        raise ArgumentError(f"library_name must be a plain identifier: {os.fsdecode(raw)!r}")
    return raw


def check_db(db_kind, db_uri) -> tuple[bytes, bytes]:
    """Database kind and connection text; a SQLite database must be an existing file."""
    kind = os.fsdecode(_text("db_kind", db_kind))
    if kind not in DB_KINDS:
        raise ArgumentError(f"unknown database kind {kind!r}: use one of {', '.join(DB_KINDS)}")
    uri = _text("db_uri", db_uri)
    if not uri:
        raise ArgumentError("db_uri is empty")
    if kind == "sqlite" and not os.path.isfile(uri):
        raise FileNotFoundError(
            f"SQLite database not found: {os.fsdecode(uri)} (provision it first)")
    return kind.encode(), uri


def _log_file(log_mode: int, log_file_path) -> bytes:
    raw = _text("log_file_path", log_file_path)
    if log_mode == LOG_TO_FILE:
        if not raw:
            raise ArgumentError("log mode 60 needs a log_file_path")
        parent = os.path.dirname(raw) or b"."
        if not os.path.isdir(parent):
            raise FileNotFoundError(f"log_file_path: no such folder: {os.fsdecode(parent)}")
    return raw


def _call(name: str, *args):
    fn = getattr(_lib.load(), name)
    with _call_lock:
        return fn(*args)


def set_repair_mode(on: bool) -> None:
    """Turns the repair mode on or off for this process's later calls. The mode reads text
    that the standard reading loses (word gaps after every show operator, /Widths as numbers,
    the catalog by its /Type, every content filter chain, Form XObject text, inherited
    resources, ...); off, the output is the standard one. No entry point changes it."""
    if not isinstance(on, (bool, int)):
        raise TypeError("set_repair_mode: on must be a bool")
    with _call_lock:
        _lib.load().set_repair_mode(1 if on else 0)


def add_one_pdf(account_name: str, library_name: str, input_folder: PathText,
                file_name: str, image_folder: PathText, write_to_filename: str = "briks.txt",
                brik_size: int = 400) -> int:
    """Parses input_folder + file_name into the brik file image_folder + write_to_filename
    (appended to). Text and table briks only; no database, no images."""
    args = (_text("account_name", account_name), _text("library_name", library_name),
            _folder("input_folder", input_folder), _pdf_name("file_name", file_name),
            _folder("image_folder", image_folder),
            _text("write_to_filename", write_to_filename), _i32("brik_size", brik_size))
    if not os.path.isfile(args[2] + args[3]):
        raise FileNotFoundError(f"no such PDF: {os.fsdecode(args[2] + args[3])}")
    return _call("add_one_pdf", *args)


def add_one_pdf_opts(account_name: str, library_name: str, input_folder: PathText,
                     file_name: str, image_folder: PathText,
                     write_to_filename: str = "briks.txt", brik_size: int = 400, *,
                     strip_header: int = 0, table_strategy: int = 1, smart_edge: int = 1,
                     max_chunk_size: int = 600, encoding: int = 2, get_header_text: int = 1,
                     table_grid: int = 1, logger_level: int = 20, log_file_path: PathText = "",
                     log_mode: int = 0) -> int:
    """add_one_pdf with the text options and the log: log_mode 60 logs to log_file_path.
    The options stay in force in this process for later calls that do not set them."""
    args = (_text("account_name", account_name), _text("library_name", library_name),
            _folder("input_folder", input_folder), _pdf_name("file_name", file_name),
            _folder("image_folder", image_folder),
            _text("write_to_filename", write_to_filename), _i32("brik_size", brik_size))
    if not os.path.isfile(args[2] + args[3]):
        raise FileNotFoundError(f"no such PDF: {os.fsdecode(args[2] + args[3])}")
    log_mode = _i32("log_mode", log_mode)
    return _call("add_one_pdf_opts", *args, b"",
                 _i32("strip_header", strip_header), _i32("table_strategy", table_strategy),
                 _i32("smart_edge", smart_edge), _i32("max_chunk_size", max_chunk_size),
                 _i32("encoding", encoding), _i32("get_header_text", get_header_text),
                 _i32("table_grid", table_grid), b"", _i32("logger_level", logger_level),
                 _log_file(log_mode, log_file_path), log_mode)


def _batch_common(account_name, library_name, input_folder, image_folder, write_to_db,
                  db_kind, db_uri, unique_doc_num):
    """Shared checks of the folder entries; returns write_to_db and unique_doc_num resolved:
    by default a run writes to the database when it has one, and takes its document numbers
    from the database then (-1), else numbers from 1."""
    if write_to_db is None:
        write_to_db = 1 if db_uri else 0
    write_to_db = _i32("write_to_db", write_to_db)
    lib = (check_library_name(library_name) if write_to_db == 1
           else _text("library_name", library_name))
    kind, uri = (check_db(db_kind, db_uri) if write_to_db == 1
                 else (_text("db_kind", db_kind), _text("db_uri", db_uri)))
    if unique_doc_num is None:
        unique_doc_num = -1 if write_to_db == 1 else 1
    return (_text("account_name", account_name), lib, _folder("input_folder", input_folder),
            kind, uri, _folder("image_folder", image_folder), write_to_db,
            _i32("unique_doc_num", unique_doc_num))


def add_pdf_main_dorvane(account_name: str, library_name: str, input_folder: PathText,
                         db_uri: str = "", image_folder: PathText = "./", *,
                         debug_mode: int = 0, image_save: int = 0, write_to_db: int | None = None,
                         write_to_filename: str = "briks.txt", brik_size: int = 400,
                         unique_doc_num: int | None = None) -> int:
    """Level 1: every PDF of input_folder into one library; the database is MongoDB
    (db_uri a mongodb:// URI, the database named by account_name)."""
    acc, lib, folder, _, uri, images, wdb, doc = _batch_common(
        account_name, library_name, input_folder, image_folder, write_to_db, "mongo", db_uri,
        unique_doc_num)
    return _call("add_pdf_main_dorvane", acc, lib, folder, uri, images,
                 _i32("debug_mode", debug_mode), _i32("image_save", image_save), wdb,
                 _text("write_to_filename", write_to_filename), _i32("brik_size", brik_size),
                 doc, b"", b"")


def add_pdf_main_dorvane_config(account_name: str, library_name: str, input_folder: PathText,
                                db_kind: str = "sqlite", db_uri: str = "",
                                db_name: str | None = None, image_folder: PathText = "./", *,
                                debug_mode: int = 0, image_save: int = 0,
                                write_to_db: int | None = None,
                                write_to_filename: str = "briks.txt", brik_size: int = 400,
                                unique_doc_num: int | None = None, status_flag: int = 1,
                                status_interval: int = 10, job_id: str = "0") -> int:
    """Level 2: level 1 with the database kind ("mongo", "postgres", "sqlite"), periodic status
    rows (status_flag 1, every status_interval files, runs above 20 files) and failure events
    under job_id. Sets encoding 2, smart edge 1 and chunk bound 600."""
    acc, lib, folder, kind, uri, images, wdb, doc = _batch_common(
        account_name, library_name, input_folder, image_folder, write_to_db, db_kind, db_uri,
        unique_doc_num)
    return _call("add_pdf_main_dorvane_config", acc, lib, folder, kind, uri,
                 _text("db_name", account_name if db_name is None else db_name), b"", b"",
                 images, _i32("debug_mode", debug_mode), _i32("image_save", image_save), wdb,
                 _text("write_to_filename", write_to_filename), _i32("brik_size", brik_size),
                 doc, _i32("status_flag", status_flag), _i32("status_interval", status_interval),
                 _text("job_id", job_id))


def add_pdf_main_dorvane_config_new(
        account_name: str, library_name: str, input_folder: PathText, db_kind: str = "sqlite",
        db_uri: str = "", db_name: str | None = None, image_folder: PathText = "./", *,
        debug_mode: int = 0, image_save: int = 0, write_to_db: int | None = None,
        write_to_filename: str = "briks.txt", brik_size: int = 400,
        unique_doc_num: int | None = None, status_flag: int = 1, status_interval: int = 10,
        job_id: str = "0", strip_header: int = 0, table_strategy: int = 1, smart_edge: int = 1,
        max_chunk_size: int = 600, encoding: int = 2, get_header_text: int = 1,
        table_grid: int = 1, logger_level: int = 20, log_file_path: PathText = "") -> int:
    """Level 3: level 2 with every text option and the log (debug_mode 60 logs to
    log_file_path, which is truncated at the start of the call)."""
    acc, lib, folder, kind, uri, images, wdb, doc = _batch_common(
        account_name, library_name, input_folder, image_folder, write_to_db, db_kind, db_uri,
        unique_doc_num)
    debug_mode = _i32("debug_mode", debug_mode)
    return _call("add_pdf_main_dorvane_config_new", acc, lib, folder, kind, uri,
                 _text("db_name", account_name if db_name is None else db_name), b"", b"",
                 images, debug_mode, _i32("image_save", image_save), wdb,
                 _text("write_to_filename", write_to_filename), _i32("brik_size", brik_size),
                 doc, _i32("status_flag", status_flag), _i32("status_interval", status_interval),
                 _text("job_id", job_id), _i32("strip_header", strip_header),
                 _i32("table_strategy", table_strategy), _i32("smart_edge", smart_edge),
                 _i32("max_chunk_size", max_chunk_size), _i32("encoding", encoding),
                 _i32("get_header_text", get_header_text), _i32("table_grid", table_grid),
                 _i32("logger_level", logger_level), _log_file(debug_mode, log_file_path))
