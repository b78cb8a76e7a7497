"""Finding and loading libpdfbriks.so, and the C signatures of its five entry points and of
the repair-mode switch.

Look-up order: the PDFBRIKS_LIB environment variable; a libpdfbriks.so installed inside this
package; build/libpdfbriks.so of the checkout this package was installed or run from.
One loaded copy per process: the library keeps its whole run state in globals.
"""
from __future__ import annotations

import ctypes
import os
import threading
from pathlib import Path

_LIB_NAME = "libpdfbriks.so"
_lock = threading.Lock()
_lib: ctypes.CDLL | None = None

_T, _I = ctypes.c_char_p, ctypes.c_int

SIGNATURES = {
    "add_one_pdf": [_T] * 6 + [_I],
    "add_one_pdf_opts": [_T] * 6 + [_I, _T] + [_I] * 7 + [_T, _I, _T, _I],
    "add_pdf_main_dorvane": [_T] * 5 + [_I] * 3 + [_T, _I, _I, _T, _T],
    "add_pdf_main_dorvane_config": [_T] * 9 + [_I] * 3 + [_T] + [_I] * 4 + [_T],
    "add_pdf_main_dorvane_config_new": [_T] * 9 + [_I] * 3 + [_T] + [_I] * 4 + [_T]
    + [_I] * 8 + [_T],
}


def _checkout_root() -> Path | None:
    try:
        from ._build_info import CHECKOUT  # written by setup.py at install time
        return Path(CHECKOUT)
    except ImportError:
        return None


def candidates() -> list[Path]:
    """The places searched for the library, in order."""
    found = []
    env = os.environ.get("PDFBRIKS_LIB")
    if env:
        return [Path(env)]
    here = Path(__file__).resolve().parent
    found.append(here / _LIB_NAME)
    found.append(here.parent.parent / "build" / _LIB_NAME)  # python/pdfbriks -> checkout
    root = _checkout_root()
    if root is not None:
        found.append(root / "build" / _LIB_NAME)
    return found


def library_path() -> Path:
    """Path of the library that load() would open; FileNotFoundError when there is none."""
    tried = candidates()
    for path in tried:
        if path.is_file():
            return path
    raise FileNotFoundError(
        "libpdfbriks.so not found (looked at: " + ", ".join(str(p) for p in tried)
        + "); build it with cmake into build/ or set PDFBRIKS_LIB")


def load() -> ctypes.CDLL:
    """Loads the library once per process and declares the entry points' signatures."""
    global _lib
    with _lock:
        if _lib is None:
            lib = ctypes.CDLL(str(library_path()))
            for name, argtypes in SIGNATURES.items():
                fn = getattr(lib, name)
                fn.argtypes = argtypes
                fn.restype = ctypes.c_int
            lib.set_repair_mode.argtypes = [_I]
            lib.set_repair_mode.restype = None
            _lib = lib
        return _lib


def global_int(name: str) -> int:
    """Current value of one of the library's exported 32-bit integer globals."""
    return ctypes.c_int.in_dll(load(), name).value
