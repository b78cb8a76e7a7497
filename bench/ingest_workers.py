"""Pages per second of the folder ingest with 1 and 2 worker processes, in file mode, into SQLite and (when
PDFBRIKS_PG_CONNINFO is set, as under scripts/with_test_servers.sh) PostgreSQL.

    bash scripts/with_test_servers.sh /usr/bin/python3 bench/ingest_workers.py FOLDER [REPEATS [EVERY]] [--readme]

EVERY K takes every K-th PDF of FOLDER in name order (through links in a private folder), e.g.
a fifth of the corpus of bench/fetch_corpus.sh. Each run goes into a freshly provisioned library; prints a Markdown
table (best of REPEATS) and, with --readme, puts it with the command and the machine's load into README.md between
the "ingest_workers" marks. "Workers' CPU" is the CPU time of the worker processes, "Server CPU" that of the
PostgreSQL server when it runs on this machine (its connection processes included), and "Cores busy" their sum over
the wall time: what one worker already keeps busy is all a second one can add to."""
import os
import re
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

MARKS = ("<!-- ingest_workers: start -->", "<!-- ingest_workers: end -->")


def provision(db, library):
    subprocess.run([sys.executable, "-m", "pdfbriks.provision", "--db", db, "--account",
                    "bench", "--library", library], check=True, cwd=ROOT, capture_output=True,
                   env=dict(os.environ, PYTHONPATH=str(ROOT / "python")))


def pg_server_pid(conninfo):
    """The PostgreSQL server's main process when it runs here (the parent of its checkpointer), else None."""
    import psycopg2
    conn = psycopg2.connect(conninfo)
    try:
        cur = conn.cursor()
        cur.execute("SELECT pid FROM pg_stat_activity WHERE backend_type = 'checkpointer'")
        row = cur.fetchone()
    finally:
        conn.close()
    try:
        status = Path(f"/proc/{row[0]}/status").read_text()
        return int(re.search(r"^PPid:\s*(\d+)", status, re.M).group(1))
    except (OSError, TypeError, AttributeError):
        return None


def process_cpu(pid):
    """CPU seconds of a process and of its children it has waited for."""
    fields = Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
    return sum(int(x) for x in fields[11:15]) / os.sysconf("SC_CLK_TCK")


def run(folder, kind, db, workers, work, server):
    library = f"b{kind[:2]}{workers}_{int(time.time() * 1000) % 10**9}"
    if kind == "sqlite":
        db = os.path.join(work, library + ".db")
    if kind != "file":
        provision(db, library)
    cfg = IngestConfig(account="bench", library=library, db=db, db_kind="" if kind == "file" else kind,
                       brik_file=library + ".txt",
                       work_folder=work + "/", job_id="bench", log_path=work + "/bench.log")
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    server_before = process_cpu(server) if server else 0.0
    totals = ingest(folder, cfg, workers=workers, progress=False)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    totals.cpu = (after.ru_utime + after.ru_stime) - (before.ru_utime + before.ru_stime)
    totals.server_cpu = process_cpu(server) - server_before if server else None
    return totals


def main():
    args = [a for a in sys.argv[1:] if a != "--readme"]
    folder = args[0].rstrip("/") + "/"
    repeats = int(args[1]) if len(args) > 1 else 1
    every = int(args[2]) if len(args) > 2 else 1
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
    lines = [f"{len(files)} PDFs, {size / 1e6:.0f} MB, {os.cpu_count()} cores, "
             f"{IngestConfig.batch_files} files per library call with a database, load average "
             f"before {os.getloadavg()[0]:.1f}", "",
             "| Database | Workers | Files | Pages | Briks | Time | Workers' CPU | Server CPU | Cores busy "
             "| Pages per second | Speed-up |",
             "|---|---|---|---|---|---|---|---|---|---|---|"]
    print("\n".join(lines), flush=True)
    with tempfile.TemporaryDirectory(prefix="pdfbriks-bench-") as work:
        for kind, db in kinds:
            server = pg_server_pid(db) if kind == "postgres" else None
            base = None
            for workers in (1, 2):
                best = min((run(folder, kind, db, workers, work, server) for _ in range(repeats)),
                           key=lambda t: t.seconds)
                rate = best.pages / best.seconds
                base = base or rate
                server_cpu = best.server_cpu or 0.0
                lines.append(
                    f"| {kind} | {workers} | {best.files} | {best.pages} | {best.blocks} | "
                    f"{best.seconds:.1f} s | {best.cpu:.1f} s | "
                    f"{'-' if best.server_cpu is None else f'{server_cpu:.1f} s'} | "
                    f"{(best.cpu + server_cpu) / best.seconds:.2f} | {rate:.0f} | {rate / base:.2f}x |")
                print(lines[-1], flush=True)
    lines += ["", f"Load average after {os.getloadavg()[0]:.1f}."]
    print(lines[-1])
    if "--readme" in sys.argv:
        command = ("bash scripts/with_test_servers.sh /usr/bin/python3 bench/ingest_workers.py "
                   + " ".join(a.replace(os.path.expanduser("~"), "~") for a in sys.argv[1:]))
        readme = ROOT / "README.md"
        text = readme.read_text()
        start, end = text.index(MARKS[0]) + len(MARKS[0]), text.index(MARKS[1])
        block = "\n".join([f"Measured with `{command}`:", ""] + lines)
        readme.write_text(text[:start] + "\n" + block + "\n" + text[end:])
        print(f"README.md: table written between the {MARKS[0]} marks")


if __name__ == "__main__":
    main()
