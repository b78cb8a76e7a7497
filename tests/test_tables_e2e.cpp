// tests/test_tables_e2e.cpp -- whole documents through add_one_pdf_opts: crafted pages whose text
// stands in a grid (placed with Tm or with Td), prose, each table option; and one small PDF that
// an office suite made from an HTML table. Gaps and joined fragments are in test_table_grid.
#include "suite.h"

namespace {

using Row = std::vector<std::pair<int, std::string>>;  // x of each fragment's start, its text

// One text box, each fragment placed with its own Tm (or, with `td`, moved to with Td and back
// to x 72 at each new row); rows 14 apart from y 700.
std::string page(const std::vector<Row>& rows, bool td = false) {
  std::string s = td ? "BT\n/F1 10 Tf\n72 700 Td\n" : "BT\n/F1 10 Tf\n";
  for (size_t r = 0; r < rows.size(); r++) {
    int at = 72;
    if (td && r > 0) s += "0 -14 Td\n";
    for (const auto& cell : rows[r]) {
      if (!td) s += "1 0 0 1 " + std::to_string(cell.first) + " " + std::to_string(700 - 14 * int(r)) + " Tm\n";
      if (td && cell.first != at) s += std::to_string(cell.first - at) + " 0 Td\n";
      at = cell.first;
      s += "(" + cell.second + ") Tj\n";
    }
    if (td && at != 72) s += std::to_string(72 - at) + " 0 Td\n";
  }
  return s + "ET\n";
}

// `rows` rows of `cols` numbers, columns 90 apart from x 72.
std::vector<Row> number_grid(int rows, int cols) {
  std::vector<Row> out(rows);
  for (int r = 0; r < rows; r++)
    for (int c = 0; c < cols; c++)
      out[r].push_back({72 + 90 * c, std::to_string(1000 + 37 * r + c) + ".5" + std::to_string(c)});
  return out;
}

struct Table { std::string table, text; };

// Runs the document through add_one_pdf_opts and gives the table briks of its brik file, and in
// `briks` how many briks there were.
std::vector<Table> tables_of(const std::string& bytes, int strategy = 1, int marks = 1, int* briks = nullptr) {
  std::string folder = make_temp_dir("tables_e2e");
  write_file(folder + "doc.pdf", bytes);
  add_one_pdf_opts("acct", "lib", folder.c_str(), "doc.pdf", folder.c_str(), "briks.txt", 400, "", 0, strategy, 1,
                   600, 2, 1, marks, "", 20, (folder + "run.log").c_str(), 60);
  std::string all = read_file(folder + "briks.txt");
  std::vector<std::string> types = brik_fields(all, "content_type"), tables = brik_fields(all, "table"),
                           texts = brik_fields(all, "text");
  std::vector<Table> out;
  for (size_t k = 0; k < types.size(); k++)
    if (types[k] == "table") out.push_back({tables[k], texts[k]});
  if (briks) *briks = static_cast<int>(types.size());
  return out;
}

std::vector<Table> one_page(const std::string& content, int strategy = 1, int marks = 1, int* briks = nullptr) {
  return tables_of(simple_text_pdf({content}).build(), strategy, marks, briks);
}

TEST(TablesEndToEnd, GridsProseAndTableOptions) {
  int briks = 0;
  EXPECT_TRUE(one_page(text_lines_content(std::vector<std::string>(40, "This is a line of a plain paragraph of prose text, 12.")),
                       1, 1, &briks).empty());
  EXPECT_GT(briks, 0) << "prose gives text briks only";
  const std::string row1 = " <tr> <th> <A1> 1000.50 </th> <th> <B1> 1001.51 </th> ";
  // Eight rows of numbers; the eighth is the newest row and is left out.
  struct { int strategy, marks, cols; bool td; std::vector<std::string> has; const char* why; } rows[] = {
      {1, 1, 6, false, {row1, "<th> <F7> 1227.55 </th>  </tr>  </th> </tr>"}, "placed with Tm"},
      {1, 1, 5, true, {row1, "<th> <E7> 1226.54 </th>  </tr> "}, "placed with Td"},
      {0, 1, 5, false, {}, "strategy 0: no tables"}, {1, 1, 3, false, {}, "three columns need the loose test"},
      {2, 1, 3, false, {"<th> <A1> 1000.50 </th>"}, "loose test"},
      {1, 0, 5, false, {"\r\n1000.501001.511002.521003.531004.54\r\n"}, "tab form"}};
  for (auto& r : rows) {
    auto tables = one_page(page(number_grid(8, r.cols), r.td), r.strategy, r.marks);
    ASSERT_EQ(tables.size(), r.has.empty() ? 0u : 1u) << r.why;
    for (const std::string& h : r.has) EXPECT_NE(find(tables[0].table, h), -1) << r.why << "\n" << tables[0].table;
  }
}

// A PDF made by an office suite from an HTML table of five columns: a header line and ten rows.
// Each cell is a text box of its own, moved there with Td and shown as hex through a subset
// font's map; the header line is row 1 and the last line, the newest row, is left out.
TEST(TablesEndToEnd, OfficeSuitePdf) {
  auto tables = tables_of(read_file(std::string(PDFBRIKS_TEST_DATA) + "/table_office.pdf"));
  ASSERT_EQ(tables.size(), 1u);
  const std::string& t = tables[0].table;
  for (const char* cell : {"<th> <A1> Item </th>", "<th> <B2> 1000.50 </th>", "<th> <C4> 2345.75 </th>",
                           "<th> <D6> 4711.00 </th>", "<th> <E8> 8123.25 </th>", "<th> <A10> Line 9 </th>"})
    EXPECT_NE(find(t, cell), -1) << cell << "\n" << t;
  EXPECT_EQ(find(t, "Line 10"), -1) << t;
  EXPECT_NE(find(tables[0].text, "Line 1 1000.50 7468.83 1791.09 9779.12 "), -1);
}

}  // namespace
