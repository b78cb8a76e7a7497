// tests/support/pdf_writer.cpp -- the test-side PDF writer.
#include "pdf_writer.h"

#include <zlib.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <unistd.h>

namespace pdftest {

std::string deflate_bytes(const std::string& data) {
  uLongf size = compressBound(data.size());
  std::string out(size, '\0');
  if (compress2(reinterpret_cast<Bytef*>(&out[0]), &size, reinterpret_cast<const Bytef*>(data.data()), data.size(), 9) != Z_OK)
    throw std::runtime_error("deflate failed");
  out.resize(size);
  return out;
}

PdfWriter& PdfWriter::add(int number, const std::string& body, int generation) {
  objects.emplace_back(number, std::to_string(number) + " " + std::to_string(generation) + " obj\n" + body + "\nendobj\n");
  return *this;
}

PdfWriter& PdfWriter::set(int number, const std::string& body) {
  for (auto& o : objects) {
    if (o.first != number) continue;
    o.second = std::to_string(number) + " 0 obj\n" + body + "\nendobj\n";
    return *this;
  }
  return add(number, body);
}

PdfWriter& PdfWriter::add_stream(int number, const std::string& dict, const std::string& data,
                                 bool flate, int generation) {
  std::string payload = flate ? deflate_bytes(data) : data;
  return add(number, "<<" + dict + (flate ? "/Filter/FlateDecode" : "") + "/Length " + std::to_string(payload.size()) +
                         ">>\nstream\n" + payload + "\nendstream", generation);
}

PdfWriter& PdfWriter::add_object_stream(int number,
                                        const std::vector<std::pair<int, std::string>>& members,
                                        bool flate) {
  std::string head, bodies;
  for (const auto& m : members) {
    head += std::to_string(m.first) + " " + std::to_string(bodies.size()) + " ";
    bodies += m.second + " ";
  }
  std::string dict = "/Type/ObjStm/N " + std::to_string(members.size()) + "/First " +
                     std::to_string(head.size());
  return add_stream(number, dict, head + bodies, flate);
}

std::string PdfWriter::build(Xref xref) const {
  std::string out = header;
  std::vector<std::pair<int, size_t>> offsets;
  int highest = 0;
  for (const auto& o : objects) {
    if (o.first >= 0) {
      offsets.emplace_back(o.first, out.size());
      if (o.first > highest) highest = o.first;
    }
    out += o.second;
  }
  std::string trailer = "trailer\n<</Size " + std::to_string(highest + 1) + "/Root " +
                        std::to_string(root) + " 0 R" + trailer_extra + ">>\n";
  if (xref == Xref::none) return out;
  if (xref == Xref::missing) return out + trailer + "%%EOF\n";
  size_t xref_at = out.size();
  std::vector<size_t> table(highest + 1, 0);
  for (const auto& o : offsets) table[o.first] = o.second;
  char line[32];
  out += "xref\n0 " + std::to_string(highest + 1) + "\n0000000000 65535 f \n";
  for (int n = 1; n <= highest; n++) {
    size_t at = xref == Xref::broken ? 7 * n + 3 : table[n];
    snprintf(line, sizeof line, "%010zu 00000 n \n", at);
    out += line;
  }
  out += trailer + "startxref\n" + std::to_string(xref == Xref::broken ? 12 : xref_at) + "\n%%EOF\n";
  return out;
}

std::string text_lines_content(const std::vector<std::string>& lines) {
  std::string s = "BT\n/F1 12 Tf\n1 0 0 1 72 720 Tm\n";
  for (size_t k = 0; k < lines.size(); k++) {
    if (k > 0) s += "0 -14 Td\n";
    s += "(" + lines[k] + ") Tj\n";
  }
  return s + "ET\n";
}

PdfWriter simple_text_pdf(const std::vector<std::string>& page_contents, int fanout) {
  PdfWriter w;
  w.add(1, "<</Type/Catalog/Pages 2 0 R>>");
  w.add(3, "<</Type/Font/Subtype/Type1/BaseFont/Helvetica/Encoding/WinAnsiEncoding>>");
  int pages = static_cast<int>(page_contents.size());
  std::vector<int> level;  // the pages or nodes not yet under a node, in document order
  for (int k = 0; k < pages; k++) level.push_back(10 + 2 * k);
  for (int node = 10 + 2 * pages + 1000; fanout > 0 && level.size() > static_cast<size_t>(fanout);) {
    std::vector<int> up;
    for (size_t i = 0; i < level.size(); i += fanout) {
      std::string kids;
      for (size_t j = i; j < std::min(level.size(), i + fanout); j++) kids += std::to_string(level[j]) + " 0 R ";
      w.add(node, "<</Type/Pages/Parent 2 0 R/Kids[" + kids + "]>>");
      up.push_back(node++);
    }
    level = up;
  }
  std::string kids;
  for (int n : level) kids += std::to_string(n) + " 0 R ";
  w.add(2, "<</Type/Pages/Kids[" + kids + "]/Count " + std::to_string(pages) + ">>");
  for (int k = 0; k < pages; k++) {
    int page = 10 + 2 * k;
    w.add(page, "<</Type/Page/Parent 2 0 R/MediaBox[0 0 612 792]/Resources<</Font<</F1 3 0 R>>>>/Contents " +
                    std::to_string(page + 1) + " 0 R>>");
    w.add_stream(page + 1, "", page_contents[k]);
  }
  return w;
}

std::string make_temp_dir(const std::string& tag) {
  std::string templ = std::string(P_tmpdir) + "/pdfbriks-" + tag + "-XXXXXX";
  std::vector<char> buf(templ.begin(), templ.end());
  buf.push_back('\0');
  if (mkdtemp(buf.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  return std::string(buf.data()) + "/";
}

void write_file(const std::string& path, const std::string& bytes) {
  std::ofstream f(path, std::ios::binary);
  f.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::vector<std::string> brik_fields(const std::string& file, const std::string& name) {
  std::vector<std::string> out;
  for (size_t at = 0, end; (end = file.find("<END_BLOCK>", at)) != std::string::npos; at = end + 11) {
    size_t value = file.find("\n<" + name + ">: ", at);
    value = value > end ? end : value + name.size() + 5;
    out.push_back(file.substr(value, std::min(end, file.find(",\n<", value)) - value));
  }
  return out;
}

std::string read_file(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  std::ostringstream s;
  s << f.rdbuf();
  return s.str();
}

}  // namespace pdftest
