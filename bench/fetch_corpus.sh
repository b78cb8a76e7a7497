#!/usr/bin/env bash
# Fetches the benchmark corpus: a fixed list of Debian documentation packages, downloaded with
# `apt-get download` into a cache outside the repository, their PDFs gathered into one flat folder.
#
#   bash bench/fetch_corpus.sh            # prints the corpus folder on its last line
#
# Cache: ${PDFBRIKS_BENCH_CACHE:-$HOME/.cache/pdfbriks-bench}
#   debs/    the downloaded packages
#   tree/    each package unpacked (dpkg-deb -x)
#   corpus/  every PDF of the list, flat: <package>__<path with / as _>.pdf (.pdf.gz unpacked)
# Nothing here is ever committed. A second run reuses what is already in the cache.
#
# Versions are pinned to those of Debian 12 (bookworm) when the list was made, so the corpus,
# and with it the output checksum, stays fixed. Where the archive no longer serves a pinned
# version (a security update replaced it), the current one is fetched and a warning is printed.
set -euo pipefail

CACHE="${PDFBRIKS_BENCH_CACHE:-$HOME/.cache/pdfbriks-bench}"

# package=version   producers of its PDFs                            PDFs  pages
PACKAGES=(
  "r-doc-pdf=4.2.2.20221110-2"                         # pdfTeX                            17  8599
  "texlive-latex-base-doc=2022.20230122-3"             # pdfTeX, LuaTeX                   269  8002
  "texlive-latex-recommended-doc=2022.20230122-3"      # pdfTeX, Distiller, Ghostscript   155  6122
  "erlang-doc=1:25.2.3+dfsg-1+deb12u4"                 # FOP                               38  4621
  "lilypond-doc-pdf=2.24.1-2"                          # Ghostscript                       40  3281
  "texlive-metapost-doc=2022.20230122-3"               # pdfTeX, Ghostscript, LuaTeX       79  1465
  "pari-doc=2.15.2-1"                                  # PARI's own writer, pdfTeX         12  1263
  "octave-doc=7.3.0-2"                                 # pdfTeX                             5  1224
  "auto-multiple-choice-doc-pdf=1.6.0-1"               # pdfTeX, xdvipdfmx                  7   498
  "asymptote-doc=2.85+ds-1"                            # pdfTeX, Ghostscript               10   437
  "gnuplot-doc=5.4.4+dfsg1-2"                          # pdfTeX                             1   311
  "docbook-xsl-doc-pdf=1.79.1-1"                       # pdfTeX                             3   285
  "xorg-docs=1:1.7.1-1.2"                              # FOP                               16   266
  "texlive-fonts-recommended-doc=2022.20230122-3"      # pdfTeX, Distiller                 11   160
  "maxima-doc=5.46.0-11"                               # pdfTeX                             1   155
  "python-reportlab-doc=3.6.12-1+deb12u1"              # ReportLab                          1   134
  "gutenprint-doc=5.3.4.20220624T01008808d602-1"       # LibreOffice                        1    73
  "vym=2.6.11-3+b2"                                    # pdfTeX                             1    54
  "freefem-doc=3.5.8-7"                                # pdfTeX                             1    50
  "ghostscript-doc=10.0.0~dfsg-11+deb12u9"             # pdfTeX                             1    42
  "camlidl-doc=1.04-5"                                 # pdfTeX                             1    26
  "debian-handbook=11.20220922"                        # cairo                             16    16
)

mkdir -p "$CACHE/debs" "$CACHE/tree"
cd "$CACHE/debs"

# Download what is missing, pinned version first.
for pkg in "${PACKAGES[@]}"; do
  name="${pkg%%=*}"
  if compgen -G "${name}_*.deb" > /dev/null; then continue; fi
  if ! apt-get download "$pkg" > /dev/null 2>&1; then
    echo "warning: $pkg is no longer served; fetching the current $name (checksums will differ)" >&2
    if ! apt-get download "$name" > /dev/null 2>&1; then
      echo "warning: $name could not be fetched; run 'apt-get update' first? skipped" >&2
    fi
  fi
done

# The corpus is gathered again only when the list changed.
STAMP="$(printf '%s\n' "${PACKAGES[@]}")"
if [ -f "$CACHE/corpus/.list" ] && [ "$(cat "$CACHE/corpus/.list")" = "$STAMP" ]; then
  echo "corpus: $(find "$CACHE/corpus" -name '*.pdf' | wc -l) PDFs (cached)" >&2
  echo "$CACHE/corpus"
  exit 0
fi

# Unpack each package once, then gather its PDFs into the flat folder.
rm -rf "$CACHE/corpus.new"
mkdir -p "$CACHE/corpus.new"
for pkg in "${PACKAGES[@]}"; do
  name="${pkg%%=*}"
  deb=$(compgen -G "${name}_*.deb" | head -n 1 || true)
  [ -n "$deb" ] || continue
  if [ ! -d "$CACHE/tree/$name" ]; then
    mkdir -p "$CACHE/tree/$name.tmp"
    dpkg-deb -x "$deb" "$CACHE/tree/$name.tmp"
    mv "$CACHE/tree/$name.tmp" "$CACHE/tree/$name"
  fi
  (cd "$CACHE/tree/$name" && find . -type f \( -name '*.pdf' -o -name '*.pdf.gz' \) | LC_ALL=C sort) |
  while IFS= read -r rel; do
    flat="${rel#./}"
    flat="${flat%.gz}"
    flat="${name}__$(printf '%s' "${flat%.pdf}" | tr -c 'A-Za-z0-9._-' '_').pdf"
    src="$CACHE/tree/$name/${rel#./}"
    case "$rel" in
      *.gz) gzip -dc "$src" > "$CACHE/corpus.new/$flat" ;;
      *)    cp "$src" "$CACHE/corpus.new/$flat" ;;
    esac
  done
done
printf '%s\n' "$STAMP" > "$CACHE/corpus.new/.list"
rm -rf "$CACHE/corpus"
mv "$CACHE/corpus.new" "$CACHE/corpus"

count=$(find "$CACHE/corpus" -name '*.pdf' | wc -l)
bytes=$(du -sm "$CACHE/corpus" | cut -f1)
echo "corpus: $count PDFs, ${bytes} MB" >&2
echo "$CACHE/corpus"
