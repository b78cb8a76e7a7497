// tests/support/pdf_writer.h -- builds crafted PDF files for the tests: numbered objects with any
// generation, dictionaries, Flate streams, object streams, page trees, a sound, broken or missing
// cross-reference table, an /Encrypt entry. Objects are written in the order they were added.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace pdftest {

std::string deflate_bytes(const std::string& data);  // zlib stream, as /FlateDecode expects

enum class Xref {
  sound,    // a correct table and trailer with startxref
  broken,   // a table whose offsets are all wrong
  missing,  // no table, no startxref; a trailer dictionary only
  none,     // nothing after the last object
};

struct PdfWriter {
  std::string header = "%PDF-1.7\n%\xE2\xE3\xCF\xD3\n";
  std::vector<std::pair<int, std::string>> objects;  // number and full "N G obj ... endobj" text
  std::string trailer_extra;                          // added to the trailer dictionary, e.g. "/Encrypt 9 0 R"
  int root = 1;                                       // /Root of the trailer

  // A plain object: `body` goes between "N G obj\n" and "\nendobj".
  PdfWriter& add(int number, const std::string& body, int generation = 0);
  // Replaces the body of object `number` (generation 0), or adds it when there is none.
  PdfWriter& set(int number, const std::string& body);
  // A stream object. `dict` holds the entries without << >>; /Length (and /Filter when
  // compressed) are added. With flate, `data` is deflated first.
  PdfWriter& add_stream(int number, const std::string& dict, const std::string& data,
                        bool flate = true, int generation = 0);
  // An object stream holding `members` (number and body). Header "n1 off1 n2 off2 ..." then the
  // bodies separated by one blank, /N and /First as usual.
  PdfWriter& add_object_stream(int number, const std::vector<std::pair<int, std::string>>& members,
                               bool flate = true);

  std::string build(Xref xref = Xref::sound) const;
};

// A ready document: catalog 1, page tree root 2, font 3 (/F1, Helvetica, WinAnsiEncoding), and
// for each page k (from 0) a page object 10+2k with its Flate content stream 11+2k.
// The page tree is flat unless `fanout` > 0: then /Pages nodes (numbered from 1000 above the last
// page's stream) hold at most `fanout` kids each, level by level, under the root.
PdfWriter simple_text_pdf(const std::vector<std::string>& page_contents, int fanout = 0);

// A content stream that shows each line with Tj under /F1 at 12 points, 14 points apart.
std::string text_lines_content(const std::vector<std::string>& lines);

// Files and folders for a test: a fresh empty folder under the system's temp folder.
std::string make_temp_dir(const std::string& tag);
void write_file(const std::string& path, const std::string& bytes);
std::string read_file(const std::string& path);
// The value of field `name` in each record of a brik file's text, in order ("" where absent).
std::vector<std::string> brik_fields(const std::string& file, const std::string& name);

}  // namespace pdftest
