/* pdfbriks.h -- the five entry points of the pdfbriks library.
 * Each parses PDF files into briks (text, table and image records) and returns the number of
 * pages that yielded at least one brik. Texts are zero-terminated; a folder text must end in
 * a path separator. Not thread-safe: one call at a time per process. */
#ifndef PDFBRIKS_H
#define PDFBRIKS_H

#ifdef __cplusplus
extern "C" {
#endif

/* One named PDF into the brik file `write_to_filename` inside `image_folder`. */
int add_one_pdf(const char* account_name, const char* library_name, const char* input_folder,
                const char* file_name, const char* image_folder, const char* write_to_filename,
                int brik_size);

/* The same, with the text options and the log settings. log_mode 60 logs to log_file_path. */
int add_one_pdf_opts(const char* account_name, const char* library_name,
                     const char* input_folder, const char* file_name, const char* image_folder,
                     const char* write_to_filename, int brik_size, const char* spare_1,
                     int strip_header, int table_strategy, int smart_edge, int max_chunk_size,
                     int encoding, int get_header_text, int table_grid, const char* spare_2,
                     int logger_level, const char* log_file_path, int log_mode);

/* Every PDF of a folder into one library. */
int add_pdf_main_dorvane(const char* account_name, const char* library_name,
                         const char* input_folder, const char* db_uri, const char* image_folder,
                         int debug_mode, int image_save, int write_to_db,
                         const char* write_to_filename, int brik_size, int unique_doc_num,
                         const char* spare_1, const char* spare_2);

int add_pdf_main_dorvane_config(const char* account_name, const char* library_name,
                                const char* input_folder, const char* db_kind,
                                const char* db_uri, const char* db_name, const char* spare_1,
                                const char* spare_2, const char* image_folder, int debug_mode,
                                int image_save, int write_to_db, const char* write_to_filename,
                                int brik_size, int unique_doc_num, int status_flag,
                                int status_interval, const char* job_id);

int add_pdf_main_dorvane_config_new(const char* account_name, const char* library_name,
                                    const char* input_folder, const char* db_kind,
                                    const char* db_uri, const char* db_name,
                                    const char* spare_1, const char* spare_2,
                                    const char* image_folder, int debug_mode, int image_save,
                                    int write_to_db, const char* write_to_filename,
                                    int brik_size, int unique_doc_num, int status_flag,
                                    int status_interval, const char* job_id, int strip_header,
                                    int table_strategy, int smart_edge, int max_chunk_size,
                                    int encoding, int get_header_text, int table_grid,
                                    int logger_level, const char* log_file_path);

/* Repair mode, off at load: 1 reads the text that the standard reading of a document loses
 * (names tested as names, every content filter chain, widths as numbers, word gaps after every
 * show operator, Form XObject and Type3 text, inherited resources). 0 turns it off again. The
 * setting stays in force for later calls; the entry points never change it. */
void set_repair_mode(int on);

#ifdef __cplusplus
}
#endif

#endif /* PDFBRIKS_H */
