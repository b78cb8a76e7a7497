// output/db_mongo.cpp -- write_to_mongo: entries [start, stop) of Briks as documents of the
// collection `library_name` in the database `account_name`, one client per call.
// Reads: Briks, my_doc, global_db_uri_string, global_headlines. Writes: the documents, standard
// error on failures, and the header text of a short image brik. Limits: DB_SCRATCH_SIZE.
#include <mongoc/mongoc.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "output/db_text.h"
#include "output/output.h"
#include "run/run_state.h"

extern "C" {

// Result: brik_id plus the briks attempted, or 1 when the URI is rejected. Failures go to
// standard error, never to the log.
int write_to_mongo(int start, int stop, char* account_name, char* library_name, int doc_id,
                   int brik_id, char* time_stamp) {
  // ---- 1. to 3. client, database, collection ----
  char* scratch = static_cast<char*>(malloc(DB_SCRATCH_SIZE));
  const char* uri_text = global_db_uri_string != nullptr ? global_db_uri_string : "";
  bson_error_t error;
  mongoc_uri_t* uri = mongoc_uri_new_with_error(uri_text, &error);
  if (uri == nullptr) {
    fprintf(stderr, "failed to parse URI: %s\nerror message:       %s\n", uri_text, error.message);
    free(scratch);
    return 1;
  }
  const char* account = account_name != nullptr ? account_name : "";
  const char* collection_name = library_name != nullptr ? library_name : "";
  const char* stamp = time_stamp != nullptr ? time_stamp : "";
  mongoc_client_t* client = mongoc_client_new_from_uri(uri);
  mongoc_database_t* database = mongoc_client_get_database(client, account);
  mongoc_collection_t* collection = mongoc_client_get_collection(client, account, collection_name);
  // ---- 4. one document per brik ----
  for (int i = start; i < stop; i++) {
    BrikRecord* brik = &Briks[i];
    const char* flag = db_prepare_text(
        i, scratch, DB_INVALID_HEADER_IF_ON,
        "DEBUG:  pdf_parser - write_to_mongo - bson_utf8 validation failed - will remediate before adding to db. \n");
    bson_t* document = BCON_NEW(
        "block_ID", BCON_INT64(brik_id), "doc_ID", BCON_INT64(doc_id),
        "content_type", BCON_UTF8(brik->content_type), "file_type", BCON_UTF8("pdf"),
        "master_index", BCON_INT64(static_cast<int64_t>(brik->master_index) + 1),
        "master_index2", BCON_INT64(0), "coords_x", BCON_INT64(brik->coords_x),
        "coords_y", BCON_INT64(brik->coords_y), "coords_cx", BCON_INT64(brik->coords_cx),
        "coords_cy", BCON_INT64(brik->coords_cy), "author_or_speaker", BCON_UTF8(my_doc.author),
        "added_to_collection", BCON_UTF8(stamp), "file_source", BCON_UTF8(my_doc.file_name),
        "table", BCON_UTF8(brik->table.c_str()), "modified_date", BCON_UTF8(my_doc.modified_date),
        "created_date", BCON_UTF8(my_doc.created_date), "creator_tool", BCON_UTF8(my_doc.creator_tool),
        "external_files", BCON_UTF8(brik->external_files), "text", BCON_UTF8(scratch),
        "header_text", BCON_UTF8(brik->header_text.c_str()), "text_search", BCON_UTF8(scratch),
        "user_tags", BCON_UTF8(""), "special_field1", BCON_UTF8(""), "special_field2", BCON_UTF8(""),
        "special_field3", BCON_UTF8(flag), "graph_status", BCON_UTF8("false"),
        "dialog", BCON_UTF8("false"), "embedding_flags", BCON_UTF8(""));
    brik_id++;
    if (!mongoc_collection_insert_one(collection, document, nullptr, nullptr, &error)) {
      fprintf(stderr, "%s\n", error.message);
    }
    bson_destroy(document);
  }
  // ---- 5. close ----
  mongoc_collection_destroy(collection);
  mongoc_database_destroy(database);
  mongoc_uri_destroy(uri);
  mongoc_client_destroy(client);
  free(scratch);
  return brik_id;
}

}  // extern "C"
