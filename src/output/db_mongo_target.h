// output/db_mongo_target.h -- the three MongoDB handles of one bookkeeping call, opened from
// global_db_uri_string on one collection and destroyed before the call returns. Shared by the
// status, event, document-id and totals functions. No state.
#pragma once

#include <mongoc/mongoc.h>

#include <cstdio>

#include "run/run_state.h"

static inline const char* text_or_empty(const char* text) { return text != nullptr ? text : ""; }

struct MongoTarget {
  mongoc_uri_t* uri;
  mongoc_client_t* client;
  mongoc_database_t* database;
  mongoc_collection_t* collection;
};

// 1 with the handles open; 0 when the URI is refused (the reason goes to standard error and
// every handle stays null).
static inline int mongo_open(const char* database, const char* collection, MongoTarget* target) {
  bson_error_t error;
  *target = MongoTarget{nullptr, nullptr, nullptr, nullptr};
  target->uri = mongoc_uri_new_with_error(text_or_empty(global_db_uri_string), &error);
  if (target->uri == nullptr) {
    fprintf(stderr, "failed to parse URI: %s\nerror message:       %s\n",
            text_or_empty(global_db_uri_string), error.message);
    return 0;
  }
  target->client = mongoc_client_new_from_uri(target->uri);
  target->database = mongoc_client_get_database(target->client, text_or_empty(database));
  target->collection =
      mongoc_client_get_collection(target->client, text_or_empty(database), collection);
  return 1;
}

static inline void mongo_close(MongoTarget* target) {
  mongoc_collection_destroy(target->collection);
  mongoc_database_destroy(target->database);
  mongoc_uri_destroy(target->uri);
  mongoc_client_destroy(target->client);
}
