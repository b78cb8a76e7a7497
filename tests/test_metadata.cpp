// tests/test_metadata.cpp -- author, dates and creator tool read from the catalog's XMP stream.
#include "suite.h"

// Runs metadata_handler on a catalog whose /Metadata object holds `xml` as it stands: the text
// the handler reads is ">" (the dictionary's close) followed by `xml`, and nothing after it.
static void read_metadata(const std::string& xml, const std::string& catalog = "<</Type/Catalog/Metadata 5 0 R>>") {
  std::string bytes = "%PDF-1.7\n1 0 obj" + catalog + "endobj\n5 0 obj<</Type/Metadata>>" + xml + "\nendobj\n";
  LoadedDoc doc(bytes);
  get_obj(1);
  metadata_handler(global_tmp_obj.dict_start, global_tmp_obj.dict_stop);
}

TEST(Metadata, Fields) {
  const std::string pad(20, ' ');
  struct { std::string xml, created, modified, author; const char* why; } rows[] = {
      {"<xmp:CreateDate>2020-01-02T03:04:05Z</xmp:CreateDate> ", "2020-01-02T03:04:05Z", "", "", "time zone kept"},
      {"<xmp:ModifyDate>2021-05-06\n</xmp:ModifyDate> ", "", "2021-05-06", "", "line ends dropped"},
      {"<xmp:CreateDate>" + std::string(60, '7') + "</xmp:CreateDate> " + pad, std::string(50, '7'), "", "", "cut at 50"},
      {"<xmp:CreateDate x=\"1\">2020</xmp:CreateDate>" + pad, "", "", "", "the attribute form does not match"},
      {"<xmp:CreateDate>12", "1", "", "", "short window: the last byte is not read"},
      {"   <xmp:CreateDate>", "", "", "", "a tag fewer than 17 bytes from the end is not tested"},
      {"<xmp:CreateDate>A</xmp:CreateDate><xmp:CreateDate>B</xmp:CreateDate>" + pad, "AB", "", "", "a repeated tag appends"},
      {"<xmp:CreateDate>caf\xC3\xA9</xmp:CreateDate>" + pad, "caf", "", "", "bytes from 0x80 up are dropped"},
      {"<dc:creator><rdf:Seq><rdf:li>First Author</rdf:li><rdf:li>Second</rdf:li></rdf:Seq></dc:creator>", "", "",
       "First Author", "only the first value, inner blank kept"},
      {"<dc:creator><rdf:li>   Ann Lee</rdf:li></dc:creator>" + pad, "", "", "Ann Lee", "leading blanks skipped"},
      {"<dc:creator>Name</dc:creator>\n<xmp:CreatorTool>Tool</xmp:CreatorTool>", "", "", "Tool",
       "a bare value is not read; the next text in the window is"},
      {"<dc:creator>Name</dc:creator>" + std::string(120, ' '), "", "", "", "nothing else in the window"},
      {"<dc:creator>" + std::string(98, ' ') + "<a>Late</a>" + pad, "", "", "", "text past the window"},
      {"<dc:creator><rdf:li>" + std::string(60, 'a') + "</rdf:li></dc:creator>" + pad + pad, "", "", std::string(50, 'a'), "cut at 50"}};
  for (auto& r : rows) {
    read_metadata(r.xml);
    EXPECT_EQ(std::string(my_doc.created_date) + "|" + my_doc.modified_date + "|" + my_doc.author,
              r.created + "|" + r.modified + "|" + r.author) << r.why;
  }
  std::string wide, ascii = "<xmp:CreateDate>2020</xmp:CreateDate>" + pad;
  for (char c : ascii) wide += std::string(1, '\0') + c;
  read_metadata(wide);
  EXPECT_STREQ(my_doc.created_date, "2020") << "a UTF-16 stream reads as ASCII";
  std::string many;
  for (int k = 0; k < 8; k++) many += "<xmp:CreatorTool>" + std::string(90, 'a' + k) + "</xmp:CreatorTool>";
  read_metadata(many + pad);
  EXPECT_EQ(strlen(my_doc.creator_tool), 299u) << "eight tools of 90 bytes stop at the field";
  EXPECT_EQ(my_doc.creator_tool[0], 'a');
}

TEST(Metadata, StreamsThatMatchNothingEmptyTheFieldsAndLogLines) {
  std::string date = "<xmp:CreateDate>2020</xmp:CreateDate>" + std::string(20, ' ');
  struct { std::string xml, catalog; const char* why; } rows[] = {
      {deflate_bytes(date), "<</Type/Catalog/Metadata 5 0 R>>", "a compressed stream is not inflated"},
      {date, "<</Type/Catalog>>", "no /Metadata: every field is written empty"},
      {date, "<</Type/Catalog/Metadata 6 0 R>>", "object not found"}};
  for (auto& r : rows) {
    read_metadata(date);
    read_metadata(r.xml, r.catalog);
    EXPECT_STREQ(my_doc.created_date, "") << r.why;
  }
  {
    LogCapture log(10);
    read_metadata("<dc:creator><rdf:li>Ann</rdf:li></dc:creator><xmp:CreateDate>D1</xmp:CreateDate>"
                  "<xmp:ModifyDate>D2</xmp:ModifyDate><xmp:CreatorTool>T</xmp:CreatorTool>                  ");
    EXPECT_EQ(log.text(), "DEBUG: pdf_parser - metadata_handler - author - Ann \n"
                          "DEBUG: pdf_parser - metadata_handler - create_date - D1 \n"
                          "DEBUG: pdf_parser -  metadata_handler - modify_date - D2 \n"
                          "DEBUG: pdf metadata_handler - creator_tool - T \n");
  }
  LogCapture deep(9);
  read_metadata("");
  EXPECT_EQ(deep.text(), "DEBUG: pdf_parser - Meta Dict Str - <</Type/Metadata> \n");
  LogCapture missing(9);
  LoadedDoc doc("%PDF-1.7\n1 0 obj<</Type/Catalog/Metadata 5 0 R>>endobj\n5 0 obj 17 endobj\n");
  get_obj(1);
  metadata_handler(global_tmp_obj.dict_start, global_tmp_obj.dict_stop);
  EXPECT_NE(find(missing.text(), "DEBUG: pdf_parser - xml meta stream not found - may not be able to extract key "
                                 "file metadata. \n"), -1);
}
