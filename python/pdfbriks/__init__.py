"""pdfbriks: PDF files into briks (text blocks, tables, image references), from Python.

    import pdfbriks
    pages = pdfbriks.add_one_pdf("acme", "contracts", "/data/in/", "lease.pdf", "/data/work/")
    for brik in pdfbriks.read_briks("/data/work/briks.txt"):
        print(brik["master_index"], brik["text"][:60])

The five entry points of libpdfbriks.so with keyword arguments (api), a reader of brik files
(briks), provisioning of a database (provision), the multi-process ingest of a folder
(ingest; `python3 -m pdfbriks ingest FOLDER`) and a Dask runner (pdfbriks.dask).
The library is found through PDFBRIKS_LIB, inside this package, or in build/ of the checkout.
"""
from ._lib import library_path
from .api import (ArgumentError, add_one_pdf, add_one_pdf_opts, add_pdf_main_dorvane,
                  add_pdf_main_dorvane_config, add_pdf_main_dorvane_config_new,
                  set_repair_mode)
from .db import db_kind_of, library_totals, provision_database
from .briks import FIELDS, BrikFileError, read_briks
from .ingest import Totals, ingest, list_pdfs
from .runner import FileResult, IngestConfig, run_share

__all__ = [
    "ArgumentError", "BrikFileError", "FIELDS", "FileResult", "IngestConfig", "Totals",
    "add_one_pdf", "add_one_pdf_opts", "add_pdf_main_dorvane", "add_pdf_main_dorvane_config",
    "add_pdf_main_dorvane_config_new", "db_kind_of", "ingest", "library_totals",
    "provision_database", "library_path", "list_pdfs", "read_briks", "set_repair_mode",
    "run_share",
]
