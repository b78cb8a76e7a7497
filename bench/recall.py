#!/usr/bin/python3
"""Word recall of the brik text against `pdftotext -raw`, per document and over a corpus.

For each PDF the words of every text brik (the <text> field of records whose content type is
"text") are compared, as a multiset, with the words that `pdftotext -raw` prints for the same
file. Recall = words of the reference also found in the briks (each counted at most as often as
the briks hold it) / words of the reference. Micro recall sums over every document; macro is the
mean of the per-document figures.

    /usr/bin/python3 bench/recall.py [--repair] [--jobs N] [--list FILE | PDF_OR_FOLDER...]

Words: NFKC-normalised text, runs of letters and digits (\\w+), case kept. The reference text is
cached beside the file list in ~/.cache/pdfbriks-recall (by path, size and time of the PDF).
"""
import argparse
import collections
import concurrent.futures
import hashlib
import os
import re
import subprocess
import sys
import tempfile
import time
import unicodedata

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
CACHE = os.path.expanduser("~/.cache/pdfbriks-recall")
WORD = re.compile(r"\w+")
TEXT_FIELD = re.compile(r"\n<content_type>: (\w+),.*?\n<text>: (.*?),\n<header_text>: ", re.S)


def words(text):
    return collections.Counter(WORD.findall(unicodedata.normalize("NFKC", text)))


def reference_text(pdf):
    st = os.stat(pdf)
    key = hashlib.sha1(f"{os.path.abspath(pdf)}|{st.st_size}|{st.st_mtime_ns}".encode()).hexdigest()
    path = os.path.join(CACHE, key + ".txt")
    if os.path.exists(path):
        with open(path, encoding="utf-8", errors="replace") as f:
            return f.read()
    os.makedirs(CACHE, exist_ok=True)
    try:
        out = subprocess.run(["pdftotext", "-raw", "-enc", "UTF-8", pdf, "-"], capture_output=True,
                             timeout=300).stdout.decode("utf-8", "replace")
    except subprocess.TimeoutExpired:
        out = ""
    with open(path, "w", encoding="utf-8") as f:
        f.write(out)
    return out


def brik_text(pdf, repair, cli):
    with tempfile.TemporaryDirectory(prefix="recall-") as work:
        cmd = [cli, "-w", work, "-o", "briks.txt", "-l", "40"]
        if repair:
            cmd.append("--repair")
        cmd.append(pdf)
        t0 = time.perf_counter()
        try:
            subprocess.run(cmd, capture_output=True, timeout=600)
        except subprocess.TimeoutExpired:
            return "", 600.0
        elapsed = time.perf_counter() - t0
        path = os.path.join(work, "briks.txt")
        if not os.path.exists(path):
            return "", elapsed
        with open(path, encoding="utf-8", errors="replace") as f:
            data = f.read()
    return " ".join(t for kind, t in TEXT_FIELD.findall(data) if kind == "text"), elapsed


def measure(pdf, repair, cli):
    ref = words(reference_text(pdf))
    got_text, elapsed = brik_text(pdf, repair, cli)
    got = words(got_text)
    total = sum(ref.values())
    found = sum(min(n, got[w]) for w, n in ref.items())
    return pdf, total, found, elapsed


def pdf_list(args):
    files = []
    if args.list:
        with open(args.list) as f:
            files += [line.strip() for line in f if line.strip()]
    for p in args.paths:
        if os.path.isdir(p):
            for base, _, names in os.walk(p):
                files += [os.path.join(base, n) for n in names if n.lower().endswith(".pdf")]
        else:
            files.append(p)
    return sorted(f for f in set(files) if os.path.isfile(f))


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("paths", nargs="*")
    ap.add_argument("--list", help="file with one PDF path a line")
    ap.add_argument("--repair", action="store_true", help="run the library with the repair mode on")
    ap.add_argument("--jobs", type=int, default=2)
    ap.add_argument("--cli", default=os.path.join(ROOT, "build", "pdfbriks"))
    ap.add_argument("--worst", type=int, default=0, help="print the N documents of lowest recall")
    ap.add_argument("--per-doc", help="write path<TAB>words<TAB>found<TAB>recall<TAB>seconds here")
    args = ap.parse_args()
    files = pdf_list(args)
    if not files:
        ap.error("no PDF files given")
    with concurrent.futures.ThreadPoolExecutor(args.jobs) as pool:
        results = list(pool.map(lambda p: measure(p, args.repair, args.cli), files))
    total = sum(r[1] for r in results)
    found = sum(r[2] for r in results)
    seconds = sum(r[3] for r in results)
    scored = [r for r in results if r[1] > 0]
    macro = sum(r[2] / r[1] for r in scored) / len(scored) if scored else 0.0
    if args.per_doc:
        with open(args.per_doc, "w") as f:
            for pdf, t, k, s in results:
                f.write(f"{pdf}\t{t}\t{k}\t{(k / t if t else 1.0):.4f}\t{s:.3f}\n")
    if args.worst:
        for pdf, t, k, s in sorted(scored, key=lambda r: r[2] / r[1])[: args.worst]:
            print(f"  {k / t:6.3f} {t - k:8d} lost  {pdf}")
    print(f"documents {len(results)}  reference words {total}  found {found}  "
          f"recall micro {found / total if total else 0:.4f}  macro {macro:.4f}  "
          f"cli seconds {seconds:.1f}  repair {'on' if args.repair else 'off'}")


if __name__ == "__main__":
    sys.exit(main())
