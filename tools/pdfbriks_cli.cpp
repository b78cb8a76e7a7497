// tools/pdfbriks_cli.cpp -- command-line host: parses one PDF into the brik file of a work folder
// through add_one_pdf_opts, then prints one line: pages with briks, briks in the file, its path.
// Exits 1 when the file can not be read (not a PDF name, not found) and 2 on a usage error.
#include <getopt.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "pdfbriks.h"
#include "run/run_state.h"

static void usage(FILE* out) {
  fprintf(out,
          "usage: pdfbriks [options] FILE.pdf\n"
          "  -w, --work DIR         work folder, created if missing (default ./work/)\n"
          "  -o, --out NAME         brik file name inside the work folder (default briks.txt)\n"
          "  -b, --brik-size N      target brik size in bytes (default 400)\n"
          "  -c, --chunk N          hard bound of a brik in bytes (default 600)\n"
          "  -e, --smart-edge N     1: cut at blanks and sentence ends; 0: at the size (default 1)\n"
          "  -n, --encoding N       1: one byte per character; 2: UTF-8 (default 2)\n"
          "  -t, --tables N         table strategy: 0 none, 1 strict, 2 loose (default 1)\n"
          "  -g, --grid N           1: table text with row and cell marks (default 1)\n"
          "  -H, --header-text N    1: briks carry header text (default 1)\n"
          "  -s, --strip-header N   strip-header option (default 0)\n"
          "  -l, --log-level N      log level: 9 deep debug, 10 debug, 20 info, 40 errors (default 20)\n"
          "  -L, --log-file PATH    log to this file instead of standard output\n"
          "  -i, --images           also export the file's images into the work folder (PNG, JPEG\n"
          "                         and the raw data of other kinds), each with an image brik\n"
          "  -h, --help             this text\n");
}

static int read_number(const char* text, int* value) {
  char* end = nullptr;
  long v = strtol(text, &end, 10);
  if (end == text || *end != 0) return 0;
  *value = static_cast<int>(v);
  return 1;
}

// mkdir -p: every missing folder along the path.
static int make_folders(const std::string& path) {
  for (size_t i = 1; i <= path.size(); i++) {
    if (i < path.size() && path[i] != '/') continue;
    std::string part = path.substr(0, i);
    if (mkdir(part.c_str(), 0755) != 0 && errno != EEXIST) return 0;
  }
  return 1;
}

// Records in the brik file: one "<END_BLOCK>" each. Read in blocks, with the tail of each block
// kept in front of the next so that a mark cut by a block edge is still found.
static int count_records(const std::string& path) {
  FILE* in = fopen(path.c_str(), "rb");
  if (in == nullptr) return 0;
  static const char mark[] = "<END_BLOCK>";
  const size_t mark_len = sizeof mark - 1;
  std::string block(1 << 20, '\0');
  std::string carry;
  int count = 0;
  size_t got;
  while ((got = fread(&block[0], 1, block.size(), in)) > 0) {
    std::string text = carry + block.substr(0, got);
    size_t at = 0;
    size_t last_end = 0;
    while ((at = text.find(mark, at)) != std::string::npos) {
      count++;
      at += mark_len;
      last_end = at;
    }
    size_t keep_from = text.size() > mark_len - 1 ? text.size() - (mark_len - 1) : 0;
    if (keep_from < last_end) keep_from = last_end;
    carry = text.substr(keep_from);
  }
  fclose(in);
  return count;
}

// The single-file entries never export images, so --images sets the run's globals as a folder
// entry with image saving on would, and calls the document builder itself. Returns the pages
// with briks; `images` receives the images exported.
static int parse_with_images(const std::string& path, const std::string& name, const std::string& work,
                             const std::string& out_name, int brik_size, int strip_header, int tables,
                             int smart_edge, int chunk, int encoding, int header_text, int grid,
                             int log_level, const std::string& log_file, int* images) {
  static char account[] = "local", library[] = "pdfbriks", db_kind[] = "sqlite";
  FILE* log_out = log_file.empty() ? nullptr : fopen(log_file.c_str(), "w");
  log_stream = log_out != nullptr ? log_out : stdout;
  GLOBAL_LOGGER_LEVEL = log_level;
  GLOBAL_STRIP_HEADER = strip_header;
  TABLE_STRATEGY = tables;
  CHUNKING_SMART_EDGE = smart_edge;
  MAX_CHUNK_SIZE = chunk;
  GLOBAL_ENCODING = encoding;
  GLOBAL_GET_HEADER_TEXT = header_text;
  TABLE_GRID = grid;
  char time_stamp[64];
  time_t now = time(nullptr);
  strftime(time_stamp, sizeof time_stamp, "%c", localtime(&now));
  std::string work_text = work, out_text = out_name, path_text = path;
  global_db = db_kind;
  global_image_fp = &work_text[0];
  GLOBAL_BRIK_SIZE = brik_size;
  GLOBAL_WRITE_TO_DB = 0;
  global_write_to_filename = &out_text[0];
  debug_mode = 0;
  global_table_count = 0;
  IMG_MIN_HEIGHT = 5;
  IMG_MIN_WIDTH = 5;
  IMG_MIN_HxW = 250;
  global_ccitt_image_save_on = 1;
  global_png_convert_on = 1;
  master_brik_tracker = 0;
  master_doc_tracker = 0;
  master_image_tracker = 0;
  global_total_pages_added = 0;
  global_image_save_on = 1;
  global_account_name = account;
  global_library_name = library;
  global_time_stamp = time_stamp;
  snprintf(my_doc.account_name, sizeof my_doc.account_name, "%s", account);
  snprintf(my_doc.library_name, sizeof my_doc.library_name, "%s", library);
  snprintf(my_doc.file_path, sizeof my_doc.file_path, "%s", path.c_str());
  snprintf(my_doc.file_name, sizeof my_doc.file_name, "%s", name.c_str());
  pdf_builder(&path_text[0], account, library, time_stamp);
  *images = master_new_images_added;
  if (log_out != nullptr) fclose(log_out);
  log_stream = stdout;
  return global_total_pages_added;
}

static int is_pdf_name(const std::string& name) {
  size_t dot = name.rfind('.');
  std::string type = dot == std::string::npos ? name : name.substr(dot + 1);
  return type == "pdf" || type == "PDF";
}

int main(int argc, char** argv) {
  std::string work = "./work/";
  std::string out_name = "briks.txt";
  std::string log_file;
  int brik_size = 400, chunk = 600, smart_edge = 1, encoding = 2, tables = 1, grid = 1;
  int header_text = 1, strip_header = 0, log_level = 20, images = 0;
  static const option options[] = {
      {"work", required_argument, nullptr, 'w'},         {"out", required_argument, nullptr, 'o'},
      {"brik-size", required_argument, nullptr, 'b'},    {"chunk", required_argument, nullptr, 'c'},
      {"smart-edge", required_argument, nullptr, 'e'},   {"encoding", required_argument, nullptr, 'n'},
      {"tables", required_argument, nullptr, 't'},       {"grid", required_argument, nullptr, 'g'},
      {"header-text", required_argument, nullptr, 'H'},  {"strip-header", required_argument, nullptr, 's'},
      {"log-level", required_argument, nullptr, 'l'},    {"log-file", required_argument, nullptr, 'L'},
      {"images", no_argument, nullptr, 'i'},             {"help", no_argument, nullptr, 'h'},
      {nullptr, 0, nullptr, 0}};
  int opt;
  while ((opt = getopt_long(argc, argv, "w:o:b:c:e:n:t:g:H:s:l:L:ih", options, nullptr)) != -1) {
    int ok = 1;
    switch (opt) {
      case 'w': work = optarg; break;
      case 'o': out_name = optarg; break;
      case 'L': log_file = optarg; break;
      case 'b': ok = read_number(optarg, &brik_size); break;
      case 'c': ok = read_number(optarg, &chunk); break;
      case 'e': ok = read_number(optarg, &smart_edge); break;
      case 'n': ok = read_number(optarg, &encoding); break;
      case 't': ok = read_number(optarg, &tables); break;
      case 'g': ok = read_number(optarg, &grid); break;
      case 'H': ok = read_number(optarg, &header_text); break;
      case 's': ok = read_number(optarg, &strip_header); break;
      case 'l': ok = read_number(optarg, &log_level); break;
      case 'i': images = 1; break;
      case 'h': usage(stdout); return 0;
      default: usage(stderr); return 2;
    }
    if (!ok) {
      fprintf(stderr, "pdfbriks: not a number: %s\n", optarg);
      return 2;
    }
  }
  if (optind + 1 != argc) {
    usage(stderr);
    return 2;
  }

  // The library takes a folder ending in "/" and a name inside it.
  std::string input = argv[optind];
  size_t slash = input.rfind('/');
  std::string folder = slash == std::string::npos ? "./" : input.substr(0, slash + 1);
  std::string name = slash == std::string::npos ? input : input.substr(slash + 1);
  if (!is_pdf_name(name)) {
    fprintf(stderr, "pdfbriks: not a PDF file name: %s\n", input.c_str());
    return 1;
  }
  FILE* probe = fopen(input.c_str(), "rb");
  if (probe == nullptr) {
    fprintf(stderr, "pdfbriks: can not read %s: %s\n", input.c_str(), strerror(errno));
    return 1;
  }
  fclose(probe);
  if (work.empty()) work = "./";
  if (work.back() != '/') work += '/';
  if (!make_folders(work)) {
    fprintf(stderr, "pdfbriks: can not create work folder %s: %s\n", work.c_str(), strerror(errno));
    return 1;
  }

  if (images) {
    int exported = 0;
    int pages = parse_with_images(input, name, work, out_name, brik_size, strip_header, tables,
                                  smart_edge, chunk, encoding, header_text, grid, log_level, log_file,
                                  &exported);
    std::string out_path = work + out_name;
    printf("pdfbriks: %d pages with briks, %d briks in %s, %d images in %s\n", pages,
           count_records(out_path), out_path.c_str(), exported, work.c_str());
    return 0;
  }
  int pages = add_one_pdf_opts("local", "pdfbriks", folder.c_str(), name.c_str(), work.c_str(),
                               out_name.c_str(), brik_size, "", strip_header, tables, smart_edge,
                               chunk, encoding, header_text, grid, "", log_level,
                               log_file.c_str(), log_file.empty() ? 0 : 60);
  std::string out_path = work + out_name;
  printf("pdfbriks: %d pages with briks, %d briks in %s\n", pages, count_records(out_path),
         out_path.c_str());
  return 0;
}
