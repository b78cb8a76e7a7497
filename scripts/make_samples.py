#!/usr/bin/env python3
"""Writes the small PDFs under samples/ that the main job parses. They are made by this
script, byte for byte, so they can be made again: python3 scripts/make_samples.py
With --big N PATH it writes one large text document of N pages instead, for timing runs."""
import os
import sys
import zlib

HERE = os.path.dirname(os.path.abspath(__file__))
OUT = os.path.join(HERE, "..", "samples")


def pdf(objects, root=1, xref=True):
    """objects: list of (number, body bytes). Returns the file's bytes."""
    out = bytearray(b"%PDF-1.7\n%\xe2\xe3\xcf\xd3\n")
    offsets = {}
    for number, body in objects:
        offsets[number] = len(out)
        out += b"%d 0 obj\n" % number + body + b"\nendobj\n"
    size = max(offsets) + 1
    trailer = b"trailer\n<</Size %d/Root %d 0 R>>\n" % (size, root)
    if not xref:
        return bytes(out + trailer + b"%%EOF\n")
    at = len(out)
    out += b"xref\n0 %d\n0000000000 65535 f \n" % size
    for n in range(1, size):
        out += b"%010d 00000 n \n" % offsets.get(n, 0)
    out += trailer + b"startxref\n%d\n%%%%EOF\n" % at
    return bytes(out)


def stream(dict_entries, data):
    packed = zlib.compress(data, 9)
    return (b"<<" + dict_entries + b"/Filter/FlateDecode/Length %d>>\nstream\n" % len(packed)
            + packed + b"\nendstream")


def text_page(lines, size=11, top=720, x=72):
    s = [b"BT", b"/F1 %d Tf" % size, b"1 0 0 1 %d %d Tm" % (x, top)]
    for k, line in enumerate(lines):
        if k:
            s.append(b"0 -%d Td" % (size + 3))
        s.append(b"(" + line.encode("latin-1").replace(b"(", b"\\(").replace(b")", b"\\)") + b") Tj")
    s.append(b"ET")
    return b"\n".join(s) + b"\n"


def heading(text, size=20, y=760):
    return b"BT\n/F2 %d Tf\n1 0 0 1 72 %d Tm\n(%s) Tj\nET\n" % (size, y, text.encode("latin-1"))


def document(pages, title):
    """pages: list of content stream bytes. Catalog 1, pages 2, fonts 3 and 4, metadata 5."""
    xmp = (b'<?xpacket begin="" id="W5M0MpCehiHzreSzNTczkc9d"?>\n'
           b'<x:xmpmeta xmlns:x="adobe:ns:meta/"><rdf:RDF xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#">\n'
           b'<rdf:Description rdf:about="" xmlns:xmp="http://ns.adobe.com/xap/1.0/" xmlns:dc="http://purl.org/dc/elements/1.1/">\n'
           b'<xmp:CreateDate>2026-11-01T09:30:00Z</xmp:CreateDate>\n'
           b'<xmp:ModifyDate>2026-11-02T10:00:00Z</xmp:ModifyDate>\n'
           b'<xmp:CreatorTool>pdfbriks sample maker</xmp:CreatorTool>\n'
           b'<dc:creator><rdf:Seq><rdf:li>Sample Author</rdf:li></rdf:Seq></dc:creator>\n'
           b'</rdf:Description></rdf:RDF></x:xmpmeta>\n<?xpacket end="w"?>')
    objs = [
        (1, b"<</Type/Catalog/Pages 2 0 R/Metadata 5 0 R>>"),
        (3, b"<</Type/Font/Subtype/Type1/BaseFont/Helvetica/Encoding/WinAnsiEncoding>>"),
        (4, b"<</Type/Font/Subtype/Type1/BaseFont/Helvetica-Bold/Encoding/WinAnsiEncoding>>"),
        (5, b"<</Type/Metadata/Subtype/XML/Length %d>>\nstream\n" % len(xmp) + xmp + b"\nendstream"),
    ]
    kids = b" ".join(b"%d 0 R" % (10 + 2 * k) for k in range(len(pages)))
    objs.append((2, b"<</Type/Pages/Kids[%s]/Count %d>>" % (kids, len(pages))))
    for k, content in enumerate(pages):
        n = 10 + 2 * k
        objs.append((n, b"<</Type/Page/Parent 2 0 R/MediaBox[0 0 612 792]"
                        b"/Resources<</Font<</F1 3 0 R/F2 4 0 R>>>>/Contents %d 0 R>>" % (n + 1)))
        objs.append((n + 1, stream(b"", content)))
    return objs


PROSE = [
    "Quarterly operations review for the northern distribution region.",
    "Shipments rose steadily through the quarter, helped by the new depot.",
    "Late deliveries fell to a record low after the routing change in August.",
    "Staff turnover stayed flat; two warehouse leads moved to the new site.",
    "The board asked for a forecast of fuel costs for the coming winter.",
    "Next review: the first week of February, with the audit results.",
]


def letter():
    body = heading("Operations Review") + text_page(PROSE * 3)
    return pdf(document([body], "Operations Review"))


def report():
    pages = []
    for p in range(3):
        lines = ["Section %d. %s" % (p + 1, PROSE[p])] + PROSE[p:] + PROSE[:p]
        pages.append(heading("Chapter %d" % (p + 1)) + text_page(lines * 2))
    return pdf(document(pages, "Report"), xref=False)


def table_page():
    rows = [["Region", "Q1", "Q2", "Q3", "Q4"]]
    for r, name in enumerate(["North", "South", "East", "West", "Central", "Coast", "Hills"]):
        rows.append([name] + ["%d.%d" % (1000 + 137 * r + 41 * q, (r + q) % 10) for q in range(4)])
    s = [b"BT", b"/F1 10 Tf"]
    y = 700
    for row in rows:
        for c, cell in enumerate(row):
            s.append(b"1 0 0 1 %d %d Tm" % (72 + 90 * c, y))
            s.append(b"(%s) Tj" % cell.encode())
        y -= 16
    s.append(b"ET")
    return heading("Regional Totals") + b"\n".join(s) + b"\n" + text_page(PROSE[:2], top=540)


def tables():
    return pdf(document([table_page()], "Tables"))


def big(pages):
    words = " ".join(PROSE).split()
    contents = []
    for p in range(pages):
        lines = [" ".join(words[(p + 7 * k + j) % len(words)] for j in range(12)) for k in range(45)]
        contents.append(heading("Page %d" % (p + 1), 14) + text_page(lines, size=11, top=740))
    return pdf(document(contents, "Big"))


def main():
    if len(sys.argv) == 4 and sys.argv[1] == "--big":
        with open(sys.argv[3], "wb") as f:
            f.write(big(int(sys.argv[2])))
        print("wrote %s (%s pages)" % (sys.argv[3], sys.argv[2]))
        return
    os.makedirs(OUT, exist_ok=True)
    for name, data in [("letter.pdf", letter()), ("report.pdf", report()), ("tables.pdf", tables())]:
        with open(os.path.join(OUT, name), "wb") as f:
            f.write(data)
        print("wrote samples/%s (%d bytes)" % (name, len(data)))


if __name__ == "__main__":
    main()
