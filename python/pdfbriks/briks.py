"""Reading a brik file back: one dict per brik, with the 27 fields under their file labels.

A record is 27 lines "\\n<label>: value," (no comma after graph_status and dialog) closed by
"<END_BLOCK>\\n" right behind the dialog value. Values are raw: they may hold commas, newlines
and angle brackets, so a value runs up to the next label of the fixed order, and a record ends
only at "\\n<dialog>: false<END_BLOCK>\\n".
"""
from __future__ import annotations

import os
from typing import Iterator

FIELDS = (
    "block_ID", "doc_ID", "content_type", "file_type", "master_index", "master_index2",
    "coords_x", "coords_y", "coords_cx", "coords_cy", "author_or_speaker",
    "added_to_collection", "file_source", "table", "modified_date", "created_date",
    "creator_tool", "external_files", "text", "header_text", "text_search", "user_tags",
    "special_field1", "special_field2", "special_field3", "graph_status", "dialog",
)
INT_FIELDS = frozenset({"block_ID", "doc_ID", "master_index", "master_index2", "coords_x",
                        "coords_y", "coords_cx", "coords_cy"})
_NO_COMMA = frozenset({"graph_status", "dialog"})
_LABELS = [("\n<%s>: " % f).encode() for f in FIELDS]
_END = b"<END_BLOCK>\n"
_RECORD_END = b"\n<dialog>: false" + _END
_CHUNK = 1 << 20


class BrikFileError(ValueError):
    """A record of the brik file that does not have the 27 labels in their order."""


def parse_record(raw: bytes, encoding: str = "utf-8", errors: str = "replace") -> dict:
    """One record (from its leading newline up to and including "<END_BLOCK>") as a dict."""
    if raw.endswith(_END):
        raw = raw[:-len(_END)]
    elif raw.endswith(_END[:-1]):
        raw = raw[:-len(_END) + 1]
    starts = []
    at = 0
    for label in _LABELS:
        at = raw.find(label, at)
        if at < 0:
            raise BrikFileError(f"record without {label.strip().decode()!r}: {raw[:80]!r}")
        starts.append(at)
        at += len(label)
    rec = {}
    for i, field in enumerate(FIELDS):
        begin = starts[i] + len(_LABELS[i])
        end = starts[i + 1] if i + 1 < len(FIELDS) else len(raw)
        value = raw[begin:end]
        if field not in _NO_COMMA:
            if not value.endswith(b","):
                raise BrikFileError(f"{field} of block {rec.get('block_ID')} has no comma")
            value = value[:-1]
        if field in INT_FIELDS:
            try:
                rec[field] = int(value)
            except ValueError:
                raise BrikFileError(f"{field} is not a number: {value[:40]!r}") from None
        else:
            rec[field] = value.decode(encoding, errors)
    return rec


def read_briks(path: str | os.PathLike, encoding: str = "utf-8",
               errors: str = "replace") -> Iterator[dict]:
    """Yields the briks of a brik file in order, as dicts of the 27 fields (numbers as int).
    The file is read in blocks, so a file of any size streams. Text is decoded with
    `encoding`/`errors` (a file written with encoding 1 is bytes of one character each;
    errors="surrogateescape" keeps every byte)."""
    with open(path, "rb") as f:
        pending = b""
        while True:
            block = f.read(_CHUNK)
            pending += block
            pos = 0
            while True:
                at = pending.find(_RECORD_END, pos)
                if at < 0:
                    break
                cut = at + len(_RECORD_END)
                yield parse_record(pending[pos:cut], encoding, errors)
                pos = cut
            pending = pending[pos:]
            if not block:
                break
        if pending.strip():
            raise BrikFileError(f"{os.fspath(path)} ends inside a record: {pending[:80]!r}")
