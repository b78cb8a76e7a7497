#!/usr/bin/env python3
"""Image export timing: writes a PDF of PAGES pages, each with a line of text and two 500 x 500
8-bit RGB Flate images (different on every page), parses it with `pdfbriks --images`, and prints
the wall and processor time, pages per second, images written and the parser's peak resident
memory. On a shared machine the processor time is the steadier figure.

    python3 scripts/bench_images.py [--pages 100] [--runs 3] [--cli build/pdfbriks]
"""
import argparse
import os
import resource
import shutil
import subprocess
import tempfile
import time
import zlib

SIDE = 500


def image_samples(page, which):
    """A chart-like picture: 10 x 10 blocks of colour that depend on the page, with a one-pixel
    grid line, never uniform, so every image is exported; it deflates about as well as a diagram."""
    rows = []
    for y in range(SIDE):
        row = bytearray(SIDE * 3)
        for x in range(SIDE):
            if x % 50 == 0 or y % 50 == 0:
                continue  # black grid line
            bx, by = x // 10, y // 10
            row[3 * x] = (bx * 5 + page * 3) & 255
            row[3 * x + 1] = (by * 5 + which * 40) & 255
            row[3 * x + 2] = (bx * by + page) & 255
        rows.append(bytes(row))
    return b"".join(rows)


def build_pdf(pages):
    objects = [(1, b"<</Type/Catalog/Pages 2 0 R>>"),
               (3, b"<</Type/Font/Subtype/Type1/BaseFont/Helvetica/Encoding/WinAnsiEncoding>>")]
    kids = []
    for p in range(pages):
        page, content, im0, im1 = 10 + 4 * p, 11 + 4 * p, 12 + 4 * p, 13 + 4 * p
        kids.append(page)
        text = (b"BT /F1 12 Tf 72 740 Td (Page %d: two pictures of the survey, north and south "
                b"views, with their captions below.) Tj ET\n" % p)
        text += b"q 250 0 0 250 72 400 cm /Im0 Do Q q 250 0 0 250 330 400 cm /Im1 Do Q\n"
        packed = zlib.compress(text, 6)
        objects.append((page, b"<</Type/Page/Parent 2 0 R/MediaBox[0 0 612 792]/Resources<</Font<</F1 3 0 R>>"
                              b"/XObject<</Im0 %d 0 R/Im1 %d 0 R>>>>/Contents %d 0 R>>" % (im0, im1, content)))
        objects.append((content, b"<</Filter/FlateDecode/Length %d>>\nstream\n" % len(packed) + packed + b"\nendstream"))
        for number, which in ((im0, 0), (im1, 1)):
            data = zlib.compress(image_samples(p, which), 6)
            objects.append((number, b"<</Type/XObject/Subtype/Image/Width %d/Height %d/ColorSpace/DeviceRGB"
                                    b"/BitsPerComponent 8/Filter/FlateDecode/Length %d>>\nstream\n"
                                    % (SIDE, SIDE, len(data)) + data + b"\nendstream"))
    objects.insert(2, (2, b"<</Type/Pages/Kids[" + b" ".join(b"%d 0 R" % k for k in kids)
                          + b"]/Count %d>>" % pages))
    out = bytearray(b"%PDF-1.7\n%\xe2\xe3\xcf\xd3\n")
    offsets = {}
    for number, body in objects:
        offsets[number] = len(out)
        out += b"%d 0 obj\n" % number + body + b"\nendobj\n"
    size = max(offsets) + 1
    at = len(out)
    out += b"xref\n0 %d\n0000000000 65535 f \n" % size
    for n in range(1, size):
        out += b"%010d 00000 n \n" % offsets.get(n, 0)
    out += b"trailer\n<</Size %d/Root 1 0 R>>\nstartxref\n%d\n%%%%EOF\n" % (size, at)
    return bytes(out)


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--pages", type=int, default=100)
    ap.add_argument("--runs", type=int, default=3)
    ap.add_argument("--cli", default=os.path.join(os.path.dirname(__file__), "..", "build", "pdfbriks"))
    args = ap.parse_args()
    folder = tempfile.mkdtemp(prefix="pdfbriks-bench-images-")
    pdf_path = os.path.join(folder, "images%d.pdf" % args.pages)
    with open(pdf_path, "wb") as f:
        f.write(build_pdf(args.pages))
    best = best_cpu = None
    for _ in range(args.runs):
        work = os.path.join(folder, "work")
        shutil.rmtree(work, ignore_errors=True)
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        started = time.perf_counter()
        subprocess.run([args.cli, "--images", "-w", work + "/", pdf_path], check=True, stdout=subprocess.DEVNULL)
        elapsed = time.perf_counter() - started
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        cpu = (after.ru_utime - before.ru_utime) + (after.ru_stime - before.ru_stime)
        best = elapsed if best is None else min(best, elapsed)
        best_cpu = cpu if best_cpu is None else min(best_cpu, cpu)
    images = len([n for n in os.listdir(os.path.join(folder, "work")) if n.endswith(".png")])
    peak_mb = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss / 1024
    print("file %s: %d bytes" % (pdf_path, os.path.getsize(pdf_path)))
    print("pages %d, images written %d, best of %d: wall %.2f s (%.0f pages per second), "
          "processor %.2f s (%.0f pages per second), peak RSS %.1f MB"
          % (args.pages, images, args.runs, best, args.pages / best, best_cpu, args.pages / best_cpu, peak_mb))
    shutil.rmtree(folder, ignore_errors=True)


if __name__ == "__main__":
    main()
