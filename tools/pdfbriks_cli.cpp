// tools/pdfbriks_cli.cpp -- command-line host: parses one PDF into the brik file of a work folder
// through add_one_pdf_opts, then prints one line: pages with briks, briks in the file, its path.
// "pdfbriks folder ..." parses a whole folder through add_pdf_main_dorvane_config_new, into the
// brik file or a database, with progress on a terminal and the run's totals at the end.
// Exits 1 when the file can not be read (not a PDF name, not found) and 2 on a usage error.
#include <dirent.h>
#include <getopt.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <atomic>
#include <chrono>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "pdfbriks.h"
#include "run/run_state.h"

static void usage(FILE* out) {
  fprintf(out,
          "usage: pdfbriks [options] FILE.pdf\n"
          "       pdfbriks folder [options] FOLDER   (every PDF of a folder; see pdfbriks folder --help)\n"
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
          "  -r, --repair           repair mode: read the text the standard reading loses\n"
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

static std::string read_text(const std::string& path) {
  std::string text;
  FILE* in = fopen(path.c_str(), "rb");
  if (in == nullptr) return text;
  char block[1 << 16];
  size_t got;
  while ((got = fread(block, 1, sizeof block, in)) > 0) text.append(block, got);
  fclose(in);
  return text;
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

// ---- folder mode: every PDF of a folder through add_pdf_main_dorvane_config_new ----

static void folder_usage(FILE* out) {
  fprintf(out,
          "usage: pdfbriks folder [options] FOLDER\n"
          "  -w, --work DIR          work folder for the brik file, images and the log (default ./work/)\n"
          "  -o, --out NAME          brik file name inside the work folder (default briks.txt)\n"
          "  -d, --db URI_OR_PATH    write briks to a database: mongodb://..., postgresql://... or\n"
          "                          a key=value connection text, or a SQLite file path\n"
          "  -a, --account NAME      account name; the MongoDB database (default local)\n"
          "  -y, --library NAME      library name; the brik table (default pdfbriks)\n"
          "  -j, --job-id TEXT       job id of the status row and events (default cli)\n"
          "  -u, --doc-num N         first document number; below 0 takes numbers from the\n"
          "                          library row (default -1 with --db, else 1)\n"
          "  -S, --status N          1: status updates every --status-interval files (default 1)\n"
          "  -I, --status-interval N files between status updates (default 10)\n"
          "  -i, --images            export images to the work folder\n"
          "      --no-images         no image export (the default)\n"
          "  -m, --debug-mode N      debug mode passed to the library (default 0)\n"
          "  -b, --brik-size N, -c, --chunk N, -e, --smart-edge N, -n, --encoding N,\n"
          "  -t, --tables N, -g, --grid N, -H, --header-text N, -s, --strip-header N\n"
          "                          text options, as in single-file mode\n"
          "  -l, --log-level N       log level (default 20)\n"
          "  -L, --log-file PATH     the library's log (default WORK/pdfbriks_run.log; - for\n"
          "                          standard output)\n"
          "  -p, --progress          progress on standard error even when it is not a terminal\n"
          "  -q, --quiet             no progress\n"
          "  -h, --help              this text\n");
}

static const char* db_kind_of(const std::string& db) {
  if (db.rfind("mongodb://", 0) == 0 || db.rfind("mongodb+srv://", 0) == 0) return "mongo";
  if (db.rfind("postgresql://", 0) == 0 || db.rfind("postgres://", 0) == 0) return "postgres";
  size_t eq = db.find('=');
  if (eq != std::string::npos && db.find('/') > eq) return "postgres";  // key=value text
  return "sqlite";
}

// The PDFs the library will take from `folder`, by the same name test, in directory order.
static std::vector<std::string> folder_pdfs(const std::string& folder) {
  std::vector<std::string> paths;
  DIR* dir = opendir(folder.c_str());
  if (dir == nullptr) return paths;
  for (dirent* e = readdir(dir); e != nullptr; e = readdir(dir)) {
    std::string name = e->d_name;
    if (name > "." && name > ".." && name != ".DS_Store" && is_pdf_name(name)) paths.push_back(folder + name);
  }
  closedir(dir);
  return paths;
}

static std::string duration_text(double seconds) {
  char text[64];
  long s = static_cast<long>(seconds + 0.5);
  if (s >= 3600) {
    snprintf(text, sizeof text, "%ldh%02ldm", s / 3600, (s / 60) % 60);
  } else if (s >= 60) {
    snprintf(text, sizeof text, "%ldm%02lds", s / 60, s % 60);
  } else {
    snprintf(text, sizeof text, "%lds", s);
  }
  return text;
}

// Shows progress while the entry runs, polling the library's run state read-only: the path of
// the document in work (my_doc.file_path) and the pages so far. The library writes them without
// locks, so a read may see a half-written path; such a read matches no file and is skipped.
struct ProgressWatch {
  std::vector<std::string> paths;
  std::atomic<bool> done{false};
  std::chrono::steady_clock::time_point started = std::chrono::steady_clock::now();

  double elapsed() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  }

  void run() {
    std::map<std::string, size_t> index;
    for (size_t i = 0; i < paths.size(); i++) index[paths[i]] = i;
    size_t files_done = 0;
    while (!done.load()) {
      char path[sizeof my_doc.file_path];
      memcpy(path, my_doc.file_path, sizeof path);
      path[sizeof path - 1] = 0;
      auto found = index.find(path);
      if (found != index.end()) files_done = found->second;
      int pages = __atomic_load_n(&global_total_pages_added, __ATOMIC_RELAXED);
      double t = elapsed();
      std::string left = "?";
      if (files_done > 0) left = duration_text(t / files_done * (paths.size() - files_done));
      fprintf(stderr, "\r  files %zu/%zu  %.1f pages/s  %d pages  %s  left %s   ", files_done,
              paths.size(), t > 0 ? pages / t : 0.0, pages, duration_text(t).c_str(), left.c_str());
      fflush(stderr);
      for (int i = 0; i < 5 && !done.load(); i++) std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
  }
};

// The number after `label` in the run's log, or -1.
static long summary_value(const std::string& log, const std::string& label) {
  size_t at = log.rfind(label);
  return at == std::string::npos ? -1 : strtol(log.c_str() + at + label.size(), nullptr, 10);
}

static int folder_main(int argc, char** argv) {
  std::string work = "./work/", out_name = "briks.txt", log_file, db, account = "local",
              library = "pdfbriks", job_id = "cli";
  int brik_size = 400, chunk = 600, smart_edge = 1, encoding = 2, tables = 1, grid = 1;
  int header_text = 1, strip_header = 0, log_level = 20, doc_num = 0, doc_num_given = 0;
  int status_flag = 1, status_interval = 10, images = 0, debug = 0, progress = -1;
  static const option options[] = {
      {"work", required_argument, nullptr, 'w'},        {"out", required_argument, nullptr, 'o'},
      {"db", required_argument, nullptr, 'd'},          {"account", required_argument, nullptr, 'a'},
      {"library", required_argument, nullptr, 'y'},     {"job-id", required_argument, nullptr, 'j'},
      {"doc-num", required_argument, nullptr, 'u'},     {"status", required_argument, nullptr, 'S'},
      {"status-interval", required_argument, nullptr, 'I'}, {"images", no_argument, nullptr, 'i'},
      {"no-images", no_argument, nullptr, 'N'},         {"debug-mode", required_argument, nullptr, 'm'},
      {"brik-size", required_argument, nullptr, 'b'},   {"chunk", required_argument, nullptr, 'c'},
      {"smart-edge", required_argument, nullptr, 'e'},  {"encoding", required_argument, nullptr, 'n'},
      {"tables", required_argument, nullptr, 't'},      {"grid", required_argument, nullptr, 'g'},
      {"header-text", required_argument, nullptr, 'H'}, {"strip-header", required_argument, nullptr, 's'},
      {"log-level", required_argument, nullptr, 'l'},   {"log-file", required_argument, nullptr, 'L'},
      {"progress", no_argument, nullptr, 'p'},          {"quiet", no_argument, nullptr, 'q'},
      {"help", no_argument, nullptr, 'h'},              {nullptr, 0, nullptr, 0}};
  int opt;
  optind = 1;
  while ((opt = getopt_long(argc, argv, "w:o:d:a:y:j:u:S:I:im:b:c:e:n:t:g:H:s:l:L:pqh", options,
                            nullptr)) != -1) {
    int ok = 1;
    switch (opt) {
      case 'w': work = optarg; break;
      case 'o': out_name = optarg; break;
      case 'd': db = optarg; break;
      case 'a': account = optarg; break;
      case 'y': library = optarg; break;
      case 'j': job_id = optarg; break;
      case 'L': log_file = optarg; break;
      case 'u': ok = read_number(optarg, &doc_num); doc_num_given = 1; break;
      case 'S': ok = read_number(optarg, &status_flag); break;
      case 'I': ok = read_number(optarg, &status_interval); break;
      case 'i': images = 1; break;
      case 'N': images = 0; break;
      case 'm': ok = read_number(optarg, &debug); break;
      case 'b': ok = read_number(optarg, &brik_size); break;
      case 'c': ok = read_number(optarg, &chunk); break;
      case 'e': ok = read_number(optarg, &smart_edge); break;
      case 'n': ok = read_number(optarg, &encoding); break;
      case 't': ok = read_number(optarg, &tables); break;
      case 'g': ok = read_number(optarg, &grid); break;
      case 'H': ok = read_number(optarg, &header_text); break;
      case 's': ok = read_number(optarg, &strip_header); break;
      case 'l': ok = read_number(optarg, &log_level); break;
      case 'p': progress = 1; break;
      case 'q': progress = 0; break;
      case 'h': folder_usage(stdout); return 0;
      default: folder_usage(stderr); return 2;
    }
    if (!ok) {
      fprintf(stderr, "pdfbriks: not a number: %s\n", optarg);
      return 2;
    }
  }
  if (optind + 1 != argc) {
    folder_usage(stderr);
    return 2;
  }
  std::string folder = argv[optind];
  if (folder.back() != '/') folder += '/';
  struct stat info;
  if (stat(folder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
    fprintf(stderr, "pdfbriks: not a folder: %s\n", argv[optind]);
    return 1;
  }
  if (work.empty()) work = "./";
  if (work.back() != '/') work += '/';
  if (!make_folders(work)) {
    fprintf(stderr, "pdfbriks: can not create work folder %s: %s\n", work.c_str(), strerror(errno));
    return 1;
  }
  if (log_file.empty()) log_file = work + "pdfbriks_run.log";
  int to_log_file = log_file != "-";
  const char* db_kind = db.empty() ? "none" : db_kind_of(db);
  if (!doc_num_given) doc_num = db.empty() ? 1 : -1;
  if (progress < 0) progress = isatty(2);

  ProgressWatch watch;
  watch.paths = folder_pdfs(folder);
  std::thread watcher;
  if (progress) watcher = std::thread([&watch] { watch.run(); });
  int pages = add_pdf_main_dorvane_config_new(
      account.c_str(), library.c_str(), folder.c_str(), db_kind, db.c_str(), account.c_str(), "",
      "", work.c_str(), to_log_file ? 60 : debug, images, db.empty() ? 0 : 1, out_name.c_str(),
      brik_size, doc_num, status_flag, status_interval, job_id.c_str(), strip_header, tables,
      smart_edge, chunk, encoding, header_text, grid, log_level, to_log_file ? log_file.c_str() : "");
  double seconds = watch.elapsed();
  watch.done = true;
  if (watcher.joinable()) {
    watcher.join();
    fprintf(stderr, "\r%*s\r", 78, "");
  }

  std::string log = to_log_file ? read_text(log_file) : "";
  printf("pdfbriks: %zu PDF files, %d pages with briks, %.1f s, %.1f pages/s\n", watch.paths.size(),
         pages, seconds, seconds > 0 ? pages / seconds : 0.0);
  long blocks = summary_value(log, "total blocks created - ");
  if (blocks >= 0) {
    printf("pdfbriks: %ld briks, %ld images, %ld tables\n", blocks,
           summary_value(log, "total images created - "), summary_value(log, "total tables created - "));
  }
  if (db.empty()) {
    printf("pdfbriks: briks in %s%s\n", work.c_str(), out_name.c_str());
  } else {
    printf("pdfbriks: briks in %s table %s of %s\n", db_kind, library.c_str(), db.c_str());
  }
  if (images) printf("pdfbriks: images in %s\n", work.c_str());
  if (to_log_file) printf("pdfbriks: log in %s\n", log_file.c_str());
  return 0;
}

int main(int argc, char** argv) {
  if (argc > 1 && strcmp(argv[1], "folder") == 0) return folder_main(argc - 1, argv + 1);
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
      {"repair", no_argument, nullptr, 'r'},
      {nullptr, 0, nullptr, 0}};
  int opt;
  while ((opt = getopt_long(argc, argv, "w:o:b:c:e:n:t:g:H:s:l:L:irh", options, nullptr)) != -1) {
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
      case 'r': set_repair_mode(1); break;
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
