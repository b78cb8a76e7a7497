// bench/bench_host.cpp -- in-process benchmark host: runs every PDF of a folder through the
// library in one process and prints pages per second, peak resident memory and checksums of the
// brik file and the log with their time-dependent fields masked. Not a test.
//
//   pdfbriks_bench [--mode auto|single|batch] [--pages N] [--work DIR] [--log-level N] FOLDER/
//
// single: one add_one_pdf_opts call per file, in name order.
// batch:  one add_pdf_main_dorvane_config_new call over the folder, level 3, file mode (no
//         database); looked up at run time, so the host builds where that entry is absent.
// auto (the default): batch where the library has that entry, else single.
// --pages: the corpus's page count (bench/run.sh counts it once with pdfinfo); without it the
//         pages with briks, as the entries return them, are the measure.
#include <dirent.h>
#include <dlfcn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "pdfbriks.h"

using BatchEntry = int (*)(const char*, const char*, const char*, const char*, const char*,
                           const char*, const char*, const char*, const char*, int, int, int,
                           const char*, int, int, int, int, const char*, int, int, int, int, int,
                           int, int, int, const char*);

static long peak_rss_kb() {
  rusage u{};
  getrusage(RUSAGE_SELF, &u);
  return u.ru_maxrss;
}

static double cpu_seconds() {
  rusage u{};
  getrusage(RUSAGE_SELF, &u);
  return u.ru_utime.tv_sec + u.ru_stime.tv_sec + (u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

// FNV-1a over the file's bytes, line by line. A line holding `mask` (at its start when
// `at_start`), or `mask2` anywhere, counts only up to the mask's end: the time stamp or time that
// follows is dropped.
static uint64_t masked_checksum(const std::string& path, const char* mask, bool at_start,
                                const char* mask2, long* lines_out) {
  uint64_t h = 1469598103934665603ull;
  auto add = [&h](const char* p, size_t n) {
    for (size_t i = 0; i < n; i++) h = (h ^ static_cast<unsigned char>(p[i])) * 1099511628211ull;
  };
  *lines_out = 0;
  FILE* in = fopen(path.c_str(), "rb");
  if (in == nullptr) return 0;
  char* line = nullptr;
  size_t cap = 0;
  ssize_t n;
  size_t mask_len = strlen(mask);
  while ((n = getline(&line, &cap, in)) > 0) {
    ++*lines_out;
    const char* at = at_start ? (strncmp(line, mask, mask_len) == 0 ? line : nullptr) : strstr(line, mask);
    size_t len = mask_len;
    if (at == nullptr && mask2 != nullptr && (at = strstr(line, mask2)) != nullptr) len = strlen(mask2);
    if (at != nullptr) {
      add(line, static_cast<size_t>(at - line) + len);
      add("\n", 1);
    } else {
      add(line, static_cast<size_t>(n));
    }
  }
  free(line);
  fclose(in);
  return h;
}

static void usage() {
  fprintf(stderr, "usage: pdfbriks_bench [--mode auto|single|batch] [--pages N] [--work DIR] [--log-level N] [--repair] FOLDER/\n");
}

int main(int argc, char** argv) {
  std::string mode = "auto", work = "/tmp/pdfbriks-bench-work/", folder;
  long corpus_pages = 0;
  int log_level = 20;
  for (int i = 1; i < argc; i++) {
    std::string a = argv[i];
    if (a == "--mode" && i + 1 < argc) mode = argv[++i];
    else if (a == "--pages" && i + 1 < argc) corpus_pages = atol(argv[++i]);
    else if (a == "--work" && i + 1 < argc) work = argv[++i];
    else if (a == "--log-level" && i + 1 < argc) log_level = atoi(argv[++i]);
    else if (a == "--repair") set_repair_mode(1);  // the repair mode for every file
    else if (!a.empty() && a[0] != '-' && folder.empty()) folder = a;
    else { usage(); return 2; }
  }
  if (folder.empty() || (mode != "single" && mode != "batch" && mode != "auto")) { usage(); return 2; }
  if (mode == "auto") mode = dlsym(RTLD_DEFAULT, "add_pdf_main_dorvane_config_new") != nullptr ? "batch" : "single";
  if (folder.back() != '/') folder += '/';
  if (work.back() != '/') work += '/';
  mkdir(work.c_str(), 0755);
  const std::string brik_name = "bench_briks.txt";
  const std::string brik_path = work + brik_name;
  const std::string log_path = work + "bench_log.txt";
  unlink(brik_path.c_str());

  std::vector<std::string> names;
  if (DIR* d = opendir(folder.c_str())) {
    while (dirent* e = readdir(d)) {
      std::string n = e->d_name;
      if (n.size() > 4 && n.compare(n.size() - 4, 4, ".pdf") == 0) names.push_back(n);
    }
    closedir(d);
  }
  std::sort(names.begin(), names.end());
  if (names.empty()) {
    fprintf(stderr, "pdfbriks_bench: no .pdf files in %s\n", folder.c_str());
    return 1;
  }

  // The library logs to standard output; send that to the log file, keep ours on a copy.
  fflush(stdout);
  int report_fd = dup(1);
  FILE* report = fdopen(report_fd, "w");
  if (freopen(log_path.c_str(), "w", stdout) == nullptr) return 1;

  BatchEntry batch = nullptr;
  if (mode == "batch") {
    batch = reinterpret_cast<BatchEntry>(dlsym(RTLD_DEFAULT, "add_pdf_main_dorvane_config_new"));
    if (batch == nullptr) {
      fprintf(report, "pdfbriks_bench: this library has no add_pdf_main_dorvane_config_new\n");
      return 1;
    }
  }

  long pages_with_briks = 0, rss_before = peak_rss_kb();
  std::string peak_doc;
  double cpu0 = cpu_seconds();
  auto t0 = std::chrono::steady_clock::now();
  if (batch != nullptr) {
    pages_with_briks = batch("bench", "corpus", folder.c_str(), "", "", "", "", "", work.c_str(),
                             3, 0, 0, brik_name.c_str(), 400, 0, 0, 0, "", 0, 1, 1, 600, 2, 1, 1,
                             log_level, "");
  } else {
    for (const std::string& n : names) {
      long before = peak_rss_kb();
      pages_with_briks += add_one_pdf_opts("bench", "corpus", folder.c_str(), n.c_str(), work.c_str(),
                                           brik_name.c_str(), 400, "", 0, 1, 1, 600, 2, 1, 1, "",
                                           log_level, "", 0);
      if (peak_rss_kb() > before) peak_doc = n;
    }
  }
  double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  double cpu = cpu_seconds() - cpu0;
  fflush(stdout);

  long brik_lines = 0, log_lines = 0;
  uint64_t brik_sum = masked_checksum(brik_path, "<added_to_collection>: ", true, nullptr, &brik_lines);
  uint64_t log_sum = masked_checksum(log_path, "time elapsed - ", false, "processing time - ", &log_lines);
  struct stat st{};
  stat(brik_path.c_str(), &st);

  long pages = corpus_pages > 0 ? corpus_pages : pages_with_briks;
  fprintf(report, "mode            %s\n", mode.c_str());
  fprintf(report, "documents       %zu\n", names.size());
  fprintf(report, "pages           %ld%s\n", pages, corpus_pages > 0 ? " (corpus)" : " (with briks)");
  fprintf(report, "pages with briks %ld\n", pages_with_briks);
  fprintf(report, "wall seconds    %.3f\n", wall);
  fprintf(report, "cpu seconds     %.3f\n", cpu);
  fprintf(report, "pages/s wall    %.0f\n", pages / wall);
  fprintf(report, "pages/s cpu     %.0f\n", pages / cpu);
  fprintf(report, "peak RSS MB     %.1f (before the first document %.1f%s%s)\n", peak_rss_kb() / 1024.0,
          rss_before / 1024.0, peak_doc.empty() ? "" : "; last raised by ", peak_doc.c_str());
  fprintf(report, "brik file       %s, %.1f MB, %ld lines\n", brik_path.c_str(), st.st_size / 1e6, brik_lines);
  fprintf(report, "brik checksum   %016llx\n", static_cast<unsigned long long>(brik_sum));
  fprintf(report, "log checksum    %016llx (%ld lines)\n", static_cast<unsigned long long>(log_sum), log_lines);
  fclose(report);
  return 0;
}
