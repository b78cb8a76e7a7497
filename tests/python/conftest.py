"""Fixtures of the Python package tests: the package from the checkout, a folder of real PDFs
(with one file that is no PDF at all), and provisioned databases."""
import os
import shutil
import subprocess
import sys
import uuid
from pathlib import Path

import pytest

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "python"))

import pdfbriks  # noqa: E402

GOOD = sorted([ROOT / "samples" / n for n in ("letter.pdf", "report.pdf", "tables.pdf")] + [
    ROOT / "tests/data" / n for n in ("table_office.pdf", "text_poster_ps.pdf")])


def pytest_collection_modifyitems(config, items):
    try:
        pdfbriks.library_path()
    except FileNotFoundError as exc:
        skip = pytest.mark.skip(reason=str(exc))
        for item in items:
            if "needs_lib" in item.keywords:
                item.add_marker(skip)


@pytest.fixture
def pdf_folder(tmp_path):
    """The real PDFs of GOOD under two names each, and "broken.pdf" (no catalog)."""
    folder = tmp_path / "in"
    folder.mkdir()
    for copy in ("a", "b"):
        for src in GOOD:
            shutil.copy(src, folder / f"{copy}_{src.name}")
    (folder / "broken.pdf").write_bytes(b"%PDF-1.4\nnothing here\n%%EOF\n")
    (folder / "notes.txt").write_text("not taken")
    return folder


@pytest.fixture
def library():
    return "t" + uuid.uuid4().hex[:10]


def provision(db, account, library):  # through the command, as a user runs it
    subprocess.run([sys.executable, "-m", "pdfbriks.provision", "--db", db, "--account", account,
                    "--library", library], check=True, cwd=ROOT, capture_output=True,
                   env=dict(os.environ, PYTHONPATH=str(ROOT / "python")))


@pytest.fixture(params=["sqlite", "postgres", "mongo"])
def database(request, tmp_path, library):
    """(kind, connection text, account, library), provisioned; a server that is not running
    (outside scripts/with_test_servers.sh) skips the test."""
    kind = request.param
    db = {"sqlite": str(tmp_path / "briks.db"),
          "postgres": os.environ.get("PDFBRIKS_PG_CONNINFO", ""),
          "mongo": os.environ.get("PDFBRIKS_MONGO_URI", "")}[kind]
    if not db:
        pytest.skip(f"no {kind} server (run under scripts/with_test_servers.sh)")
    account = "acct" + library
    provision(db, account, library)
    return kind, db, account, library


def pytest_configure(config):
    config.addinivalue_line("markers", "needs_lib: needs libpdfbriks.so")
