// tests/test_tables_e2e.cpp -- whole documents through add_one_pdf_opts: crafted pages whose text
// stands in a grid (placed with Tm or with Td), with gaps, with split fragments, prose, each
// table option; and one small PDF that an office suite made from an HTML table.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "doc_fixture.h"
#include "pdf_writer.h"
#include "pdfbriks.h"
#include "objects/objects.h"
#include "run/run_state.h"
#include "text/text.h"

using namespace pdftest;

namespace {

using Row = std::vector<std::pair<int, std::string>>;  // x of each fragment's start, its text

// One text box, each fragment placed with its own Tm; rows 14 apart from y 700.
std::string tm_page(const std::vector<Row>& rows) {
  std::string s = "BT\n/F1 10 Tf\n";
  for (size_t r = 0; r < rows.size(); r++)
    for (const auto& cell : rows[r])
      s += "1 0 0 1 " + std::to_string(cell.first) + " " + std::to_string(700 - 14 * int(r)) +
           " Tm\n(" + cell.second + ") Tj\n";
  return s + "ET\n";
}

// One text box, moving with Td from fragment to fragment and back to x 72 at each new row.
std::string td_page(const std::vector<Row>& rows) {
  std::string s = "BT\n/F1 10 Tf\n72 700 Td\n";
  for (size_t r = 0; r < rows.size(); r++) {
    int at = 72;
    if (r > 0) s += "0 -14 Td\n";
    for (const auto& cell : rows[r]) {
      if (cell.first != at) s += std::to_string(cell.first - at) + " 0 Td\n";
      at = cell.first;
      s += "(" + cell.second + ") Tj\n";
    }
    if (at != 72) s += std::to_string(72 - at) + " 0 Td\n";
  }
  return s + "ET\n";
}

// `rows` rows of `cols` numbers, columns 90 apart from x 72.
std::vector<Row> number_grid(int rows, int cols) {
  std::vector<Row> out;
  for (int r = 0; r < rows; r++) {
    Row row;
    for (int c = 0; c < cols; c++)
      row.push_back({72 + 90 * c, std::to_string(1000 + 37 * r + c) + ".5" + std::to_string(c)});
    out.push_back(row);
  }
  return out;
}

struct Options {
  int table_strategy = 1;
  int table_grid = 1;
};

struct Block {
  std::string content_type, table, text;
};

// Runs the document through add_one_pdf_opts into a fresh folder and reads the brik file back.
std::vector<Block> run_document(const std::string& bytes, Options o = {}) {
  std::string folder = make_temp_dir("tables_e2e");
  write_file(folder + "doc.pdf", bytes);
  std::string log_path = folder + "run.log";
  add_one_pdf_opts("acct", "lib", folder.c_str(), "doc.pdf", folder.c_str(), "briks.txt", 400, "",
                   0, o.table_strategy, 1, 600, 2, 1, o.table_grid, "", 20, log_path.c_str(), 60);
  std::string all = read_file(folder + "briks.txt");
  std::vector<Block> blocks;
  auto field = [](const std::string& rec, const std::string& name, const std::string& next) {
    size_t a = rec.find("\n<" + name + ">: ");
    size_t b = rec.find(",\n<" + next + ">: ", a);
    if (a == std::string::npos || b == std::string::npos) return std::string();
    a += name.size() + 5;
    return rec.substr(a, b - a);
  };
  size_t at = 0;
  for (size_t end; (end = all.find("<END_BLOCK>", at)) != std::string::npos; at = end + 11) {
    std::string rec = all.substr(at, end - at);
    blocks.push_back({field(rec, "content_type", "file_type"), field(rec, "table", "modified_date"),
                      field(rec, "text", "header_text")});
  }
  return blocks;
}

std::vector<Block> tables_of(const std::vector<Block>& blocks) {
  std::vector<Block> out;
  for (const Block& b : blocks)
    if (b.content_type == "table") out.push_back(b);
  return out;
}

std::string one_page(const std::string& content) { return simple_text_pdf({content}).build(); }

// The same content straight through text_processor_page, as the page loop hands it over, with no
// font known (every character 500 wide). Gives the briks it made.
std::vector<Block> run_stream(const std::string& content, Options o = {}) {
  LoadedDoc doc("%PDF-1.7\n", false);
  TABLE_STRATEGY = o.table_strategy;
  TABLE_GRID = o.table_grid;
  GLOBAL_BRIK_SIZE = 400;
  MAX_CHUNK_SIZE = 600;
  CHUNKING_SMART_EDGE = 1;
  GLOBAL_GET_HEADER_TEXT = 1;
  GLOBAL_PAGE_CMAP = -1;
  GLOBAL_FONT_SIZE = 10;
  flate_dst_tmp_buffer = static_cast<unsigned char*>(malloc(content.size() + 1));
  memcpy(flate_dst_tmp_buffer, content.data(), content.size());
  flate_dst_tmp_buffer[content.size()] = 0;
  int made = text_processor_page(static_cast<int>(content.size()), 0);
  free(flate_dst_tmp_buffer);
  flate_dst_tmp_buffer = nullptr;
  std::vector<Block> blocks;
  for (int i = 0; i < global_brik_counter; i++)
    blocks.push_back({Briks[i].content_type, Briks[i].table, Briks[i].text});
  EXPECT_EQ(made, global_brik_counter);
  TABLE_STRATEGY = 1;
  TABLE_GRID = 1;
  return blocks;
}

// Each crafted page runs both ways: alone through the page processor, and as a whole document.
using Runner = std::vector<Block> (*)(const std::string&, Options);
std::vector<Block> run_as_stream(const std::string& content, Options o) { return run_stream(content, o); }
std::vector<Block> run_as_document(const std::string& content, Options o) {
  return run_document(one_page(content), o);
}

void NumericGridPlacedWithTm(Runner run) {
  auto blocks = run(tm_page(number_grid(8, 6)), {});
  auto tables = tables_of(blocks);
  ASSERT_EQ(tables.size(), 1u);
  const std::string& t = tables[0].table;
  // Row 1 is the first line; the last line is the newest row and is left out.
  EXPECT_NE(find(t, " <tr> <th> <A1> 1000.50 </th> <th> <B1> 1001.51 </th> "), -1) << t;
  EXPECT_NE(find(t, "<th> <F7> 1227.55 </th>  </tr>  </th> </tr>"), -1) << t;
  EXPECT_EQ(find(t, "1259.5"), -1) << "the eighth line is the newest row";
  EXPECT_NE(find(tables[0].text, "1000.50 1001.51 1002.52 "), -1);
}

void NumericGridPlacedWithTd(Runner run) {
  auto tables = tables_of(run(td_page(number_grid(8, 5)), {}));
  ASSERT_EQ(tables.size(), 1u);
  EXPECT_NE(find(tables[0].table, " <tr> <th> <A1> 1000.50 </th> <th> <B1> 1001.51 </th> "), -1)
      << tables[0].table;
  EXPECT_NE(find(tables[0].table, "<th> <E7> 1226.54 </th>  </tr> "), -1) << tables[0].table;
}

void FinancialStatementWithGaps(Runner run) {
  std::vector<Row> rows;
  const char* labels[] = {"Revenue", "Cost of sales", "Gross profit", "Expenses", "Operating",
                          "Interest", "Taxes", "Net income", "Shares"};
  for (int r = 0; r < 9; r++) {
    Row row = {{72, labels[r]}};
    for (int c = 0; c < 4; c++) {
      if ((r == 3 && (c == 1 || c == 2)) || (r == 6 && c == 0)) continue;  // the gaps
      row.push_back({200 + 80 * c, std::to_string(2000 + 111 * r + c) + ".00"});
    }
    rows.push_back(row);
  }
  auto tables = tables_of(run(tm_page(rows), {}));
  ASSERT_EQ(tables.size(), 1u);
  const std::string& t = tables[0].table;
  EXPECT_NE(find(t, " <tr> <th> <A4> Expenses </th> <th> <B4> 2333.00 </th> <th> <C4>  </th> "
                    "<th> <D4>  </th> <th> <E4> 2336.00 </th>  </tr> "),
            -1)
      << t;
  EXPECT_NE(find(t, " <tr> <th> <A7> Taxes </th> <th> <B7>  </th> <th> <C7> 2667.00 </th> "),
            -1)
      << t;
}

void RowSplitIntoTooManyFragments(Runner run) {
  std::vector<Row> rows = number_grid(8, 5);
  rows[2] = {{72, "Tot"}, {110, "al"}, {162, "1234.51"}, {252, "1234.52"}, {342, "1234.53"},
             {432, "1234.54"}};
  auto tables = tables_of(run(tm_page(rows), {}));
  ASSERT_EQ(tables.size(), 1u);
  const std::string& t = tables[0].table;
  // Tot and al are neighbours and join; the last column of such a row lives only in the text.
  EXPECT_NE(find(t, " <tr> <th> <A3> Total </th> <th> <B3> 1234.51 </th> <th> <C3> 1234.52 "
                    "</th> <th> <D3> 1234.53 </th>  </tr> "),
            -1)
      << t;
  EXPECT_NE(find(tables[0].text, "Tot al 1234.51 1234.52 1234.53 1234.54 "), -1);
}

void ProseGivesNoTable(Runner run) {
  std::vector<std::string> lines;
  for (int i = 0; i < 40; i++)
    lines.push_back("This is line " + std::to_string(i) + " of a plain paragraph of prose text.");
  auto blocks = run(text_lines_content(lines), {});
  EXPECT_FALSE(blocks.empty());
  EXPECT_TRUE(tables_of(blocks).empty());
}

void TableOptions(Runner run) {
  struct {
    int strategy, grid, cols;
    bool table;
    const char* why;
  } rows[] = {
      {0, 1, 5, false, "strategy 0: no tables"},
      {1, 1, 3, false, "three columns need the loose test"},
      {2, 1, 3, true, "loose test"},
      {1, 0, 5, true, "tab form"},
  };
  for (auto& r : rows) {
    Options o;
    o.table_strategy = r.strategy;
    o.table_grid = r.grid;
    auto tables = tables_of(run(tm_page(number_grid(8, r.cols)), o));
    ASSERT_EQ(tables.size(), r.table ? 1u : 0u) << r.why;
    if (!r.table) continue;
    const std::string& t = tables[0].table;
    if (r.grid == 1) {
      EXPECT_NE(find(t, "<th> <A1> 1000.50 </th>"), -1) << r.why;
    } else {
      EXPECT_EQ(find(t, "<tr>"), -1) << r.why;
      EXPECT_NE(find(t, "\r\n1000.501001.511002.521003.531004.54\r\n"), -1) << r.why << t;
    }
  }
}

#define BOTH_WAYS(name)                                          \
  TEST(TablesOneStream, name) { name(run_as_stream); }           \
  TEST(TablesEndToEnd, name) { name(run_as_document); }
BOTH_WAYS(NumericGridPlacedWithTm)
BOTH_WAYS(NumericGridPlacedWithTd)
BOTH_WAYS(FinancialStatementWithGaps)
BOTH_WAYS(RowSplitIntoTooManyFragments)
BOTH_WAYS(ProseGivesNoTable)
BOTH_WAYS(TableOptions)


// A PDF made by an office suite from an HTML table of five columns: a header line and ten rows
// (tests/data/table_office.pdf). Its text is drawn its own way; the table still comes out.
TEST(TablesEndToEnd, OfficeSuitePdf) {
  std::string bytes = read_file(std::string(PDFBRIKS_TEST_DATA) + "/table_office.pdf");
  ASSERT_FALSE(bytes.empty());
  auto tables = tables_of(run_document(bytes));
  ASSERT_EQ(tables.size(), 1u);
  const std::string& t = tables[0].table;
  // Each cell is a text box of its own, moved there with Td and shown as hex through a subset
  // font's map; the header line is row 1 and the last line, the newest row, is left out.
  for (const char* cell : {"<th> <A1> Item </th>", "<th> <B2> 1000.50 </th>",
                           "<th> <C4> 2345.75 </th>", "<th> <D6> 4711.00 </th>",
                           "<th> <E8> 8123.25 </th>", "<th> <A10> Line 9 </th>"})
    EXPECT_NE(find(t, cell), -1) << cell << "\n" << t;
  EXPECT_EQ(find(t, "Line 10"), -1) << t;
  EXPECT_NE(find(tables[0].text, "Line 1 1000.50 7468.83 1791.09 9779.12 "), -1);
}

}  // namespace
