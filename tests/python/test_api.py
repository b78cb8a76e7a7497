"""Argument checks of the entry wrappers (nothing may reach the library) and the brik reader."""
import pytest

import pdfbriks
from pdfbriks import _lib, api
from pdfbriks.briks import FIELDS, parse_record

from conftest import GOOD


@pytest.fixture
def no_library(monkeypatch):
    def refuse():
        raise AssertionError("the library was called")
    monkeypatch.setattr(_lib, "load", refuse)


BAD_CALLS = [
    # (why, entry, keyword arguments over a good call, exception)
    ("input folder without separator", "one", {"input_folder": "{d}"}, api.ArgumentError),
    ("work folder without separator", "one", {"image_folder": "{d}"}, api.ArgumentError),
    ("missing input folder", "one", {"input_folder": "{d}/nope/"}, FileNotFoundError),
    ("missing file", "one", {"file_name": "nope.pdf"}, FileNotFoundError),
    ("not a pdf name", "one", {"file_name": "a.Pdf"}, api.ArgumentError),
    ("a path for a file name", "one", {"file_name": "x/a.pdf"}, api.ArgumentError),
    ("zero byte in a text", "one", {"account_name": "a\0b"}, api.ArgumentError),
    ("size past 32 bits", "one", {"brik_size": 2 ** 31}, api.ArgumentError),
    ("log mode 60 without a file", "opts", {"log_mode": 60}, api.ArgumentError),
    ("unknown database kind", "batch", {"db_kind": "oracle"}, api.ArgumentError),
    ("missing SQLite file", "batch", {"db_uri": "{d}/none.db"}, FileNotFoundError),
    ("library name not an identifier", "batch", {"library_name": "x'; drop"}, api.ArgumentError),
    ("folder without separator", "batch", {"input_folder": "{d}"}, api.ArgumentError),
    ("status flag not a number", "batch", {"status_flag": "1"}, TypeError),
]


@pytest.mark.parametrize("why,entry,change,exc", BAD_CALLS, ids=[r[0] for r in BAD_CALLS])
def test_wrong_arguments_raise_before_the_library(tmp_path, no_library, why, entry, change, exc):
    (tmp_path / "a.pdf").write_bytes(b"%PDF-1.4\n")
    (tmp_path / "db.sqlite").write_bytes(b"")
    d = str(tmp_path)
    if entry == "batch":
        call = pdfbriks.add_pdf_main_dorvane_config_new
        args = dict(account_name="acc", library_name="lib", input_folder=d + "/",
                    db_kind="sqlite", db_uri=d + "/db.sqlite", image_folder=d + "/")
    else:
        call = pdfbriks.add_one_pdf if entry == "one" else pdfbriks.add_one_pdf_opts
        args = dict(account_name="acc", library_name="lib", input_folder=d + "/",
                    file_name="a.pdf", image_folder=d + "/")
    args.update({k: v.format(d=d) if isinstance(v, str) else v for k, v in change.items()})
    with pytest.raises(exc):
        call(**args)


RAW = (b"\n<block_ID>: 7,\n<doc_ID>: -3,\n<content_type>: image,\n<file_type>: pdf,"
       b"\n<master_index>: 2,\n<master_index2>: 0,\n<coords_x>: -15,\n<coords_y>: 700,"
       b"\n<coords_cx>: 40,\n<coords_cy>: 30,\n<author_or_speaker>: Ann, Bo,"
       b"\n<added_to_collection>: Mon Nov 23 21:50:00 2026,\n<file_source>: a.pdf,"
       b"\n<table>: <th>x</th>,,\n<modified_date>: D:2020,\n<created_date>: D:2019,"
       b"\n<creator_tool>: Writer,\n<external_files>: image7_1.png,"
       b"\n<text>: line one\nline <two>, end,\n<header_text>: Head,\n<text_search>: near\xc3\xa9,"
       b"\n<user_tags>: ,\n<special_field1>: ,\n<special_field2>: ,"
       b"\n<special_field3>: CMYK_FLAG,\n<graph_status>: false\n<dialog>: false<END_BLOCK>\n")


def test_reader_on_a_record_with_every_field(tmp_path):
    path = tmp_path / "b.txt"
    path.write_bytes(RAW + RAW.replace(b"<block_ID>: 7", b"<block_ID>: 8"))
    briks = list(pdfbriks.read_briks(path))
    assert [b["block_ID"] for b in briks] == [7, 8]
    b = briks[0]
    assert list(b) == list(FIELDS) and len(FIELDS) == 27
    assert (b["doc_ID"], b["coords_x"], b["coords_cx"]) == (-3, -15, 40)
    assert b["text"] == "line one\nline <two>, end"       # raw newline, bracket and comma kept
    assert b["table"] == "<th>x</th>,"                    # only the closing comma goes
    assert b["author_or_speaker"] == "Ann, Bo" and b["text_search"] == "near\u00e9"
    assert (b["user_tags"], b["special_field3"], b["dialog"]) == ("", "CMYK_FLAG", "false")


def test_reader_refuses_a_cut_record(tmp_path):
    path = tmp_path / "b.txt"
    path.write_bytes(RAW[:-40])
    with pytest.raises(pdfbriks.BrikFileError):
        list(pdfbriks.read_briks(path))
    with pytest.raises(pdfbriks.BrikFileError):
        parse_record(RAW.replace(b"\n<coords_y>: 700,", b""))


@pytest.mark.needs_lib
def test_reader_on_the_library_output(tmp_path):
    pages = 0
    for pdf in GOOD:
        pages += pdfbriks.add_one_pdf("acc", "lib", str(pdf.parent) + "/", pdf.name,
                                      str(tmp_path) + "/", "out.txt")
    briks = list(pdfbriks.read_briks(tmp_path / "out.txt"))
    assert pages > 0
    assert len(briks) == (tmp_path / "out.txt").read_bytes().count(b"<END_BLOCK>")
    assert {b["file_source"] for b in briks} == {p.name for p in GOOD}
    assert all(b["master_index"] >= 1 and b["file_type"] == "pdf" for b in briks)
