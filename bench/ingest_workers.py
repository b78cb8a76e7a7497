"""Pages per second of the folder ingest with 1 and 2 worker processes, in file mode, into SQLite and (when
PDFBRIKS_PG_CONNINFO is set, as under scripts/with_test_servers.sh) PostgreSQL.

    bash scripts/with_test_servers.sh /usr/bin/python3 bench/ingest_workers.py FOLDER [REPEATS [EVERY]]

EVERY K takes every K-th PDF of FOLDER in name order (through links in a private folder), e.g.
a fifth of the corpus of bench/fetch_corpus.sh. Each run goes into a freshly provisioned library; prints a Markdown table (best of REPEATS)
with the wall time and the CPU time of the worker processes (the database server's not counted)."""
import os
import resource
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "python"))

from pdfbriks.ingest import ingest, list_pdfs  # noqa: E402
from pdfbriks.runner import IngestConfig  # noqa: E402


def provision(db, library):
    subprocess.run([sys.executable, "-m", "pdfbriks.provision", "--db", db, "--account",
                    "bench", "--library", library], check=True, cwd=ROOT, capture_output=True,
                   env=dict(os.environ, PYTHONPATH=str(ROOT / "python")))


def run(folder, kind, db, workers, work):
    library = f"b{kind[:2]}{workers}_{int(time.time() * 1000) % 10**9}"
    if kind == "sqlite":
        db = os.path.join(work, library + ".db")
    if kind != "file":
        provision(db, library)
    cfg = IngestConfig(account="bench", library=library, db=db, db_kind="" if kind == "file" else kind,
                       brik_file=library + ".txt",
                       work_folder=work + "/", job_id="bench", log_path=work + "/bench.log")
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    totals = ingest(folder, cfg, workers=workers, progress=False)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    totals.cpu = (after.ru_utime + after.ru_stime) - (before.ru_utime + before.ru_stime)
    return totals


def main():
    folder = sys.argv[1].rstrip("/") + "/"
    repeats = int(sys.argv[2]) if len(sys.argv) > 2 else 1
    every = int(sys.argv[3]) if len(sys.argv) > 3 else 1
    files = list_pdfs(folder)
    if every > 1:
        files = files[every - 1::every]
        folder = tempfile.mkdtemp(prefix="pdfbriks-bench-in-") + "/"
        for p in files:
            os.symlink(p, folder + os.path.basename(p))
    size = sum(os.path.getsize(p) for p in files)
    kinds = [("file", ""), ("sqlite", "")]
    if os.environ.get("PDFBRIKS_PG_CONNINFO"):
        kinds.append(("postgres", os.environ["PDFBRIKS_PG_CONNINFO"]))
    print(f"{len(files)} PDFs, {size / 1e6:.0f} MB, {os.cpu_count()} cores, load average "
          f"before {os.getloadavg()[0]:.1f}")
    print("| Database | Workers | Files | Pages | Briks | Time | Workers' CPU | Pages per second "
          "| Speed-up |")
    print("|---|---|---|---|---|---|---|---|---|")
    with tempfile.TemporaryDirectory(prefix="pdfbriks-bench-") as work:
        for kind, db in kinds:
            base = None
            for workers in (1, 2):
                best = min((run(folder, kind, db, workers, work) for _ in range(repeats)),
                           key=lambda t: t.seconds)
                rate = best.pages / best.seconds
                base = base or rate
                print(f"| {kind} | {workers} | {best.files} | {best.pages} | {best.blocks} | "
                      f"{best.seconds:.1f} s | {best.cpu:.1f} s | {rate:.0f} | {rate / base:.2f}x |", flush=True)
    print(f"load average after {os.getloadavg()[0]:.1f}")


if __name__ == "__main__":
    main()
