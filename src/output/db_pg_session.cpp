// output/db_pg_session.cpp -- the PostgreSQL connection of a batch run. Every PostgreSQL call
// asks here for its connection and hands it back when it is done. Outside a run that is a fresh
// connection each time, finished on return. Inside a run (db_pg_session_begin to
// db_pg_session_end) one good connection is kept and handed to each call in turn, since starting
// a server process per call cost more than the call's own statements. What a call logs does not
// change: each still tests the status of what it gets and logs its own "connection successful"
// or "connection failed" line, and a kept connection that the server has dropped is replaced by
// a fresh one before it is handed out, so a server that goes away mid-run still gives every
// later call its "connection failed" line.
// Reads: its arguments. Writes: pg_session_open, pg_session_conn, pg_session_conninfo (output.h).
#include <libpq-fe.h>

#include <string>

#include "output/output.h"

extern "C" {
int pg_session_open = 0;             // declared in output.h
PGconn* pg_session_conn = nullptr;   // declared in output.h
}  // extern "C"

static std::string pg_session_conninfo;  // the text pg_session_conn was opened with

// A kept connection is handed out again only when it is idle, outside pipeline mode, and answers
// an empty statement: a server that ended the connection (or went away) fails that round trip.
// Whatever the server said while nobody was asking (its farewell, say) is dropped, where a call
// on a connection of its own would never have seen it.
static void silent(void*, const char*) {}

static bool idle(PGconn* conn) {
  return PQstatus(conn) == CONNECTION_OK && PQtransactionStatus(conn) == PQTRANS_IDLE &&
         PQpipelineStatus(conn) == PQ_PIPELINE_OFF;
}

// The library never sets a notice processor of its own, so libpq's default (whose argument is
// null) is the one put back.
static bool still_usable(PGconn* conn) {
  if (!idle(conn)) return false;
  PQnoticeProcessor before = PQsetNoticeProcessor(conn, silent, nullptr);
  PGresult* answer = PQexec(conn, "");
  bool good = PQresultStatus(answer) == PGRES_EMPTY_QUERY && idle(conn);
  PQclear(answer);
  PQsetNoticeProcessor(conn, before, nullptr);
  return good;
}

static void drop_kept() {
  if (pg_session_conn != nullptr) PQfinish(pg_session_conn);
  pg_session_conn = nullptr;
  pg_session_conninfo.clear();
}

extern "C" {

void db_pg_session_begin() {
  drop_kept();
  pg_session_open = 1;
}

void db_pg_session_end() {
  drop_kept();
  pg_session_open = 0;
}

PGconn* db_pg_connect(const char* conninfo) {
  const char* text = conninfo != nullptr ? conninfo : "";
  if (pg_session_open && pg_session_conn != nullptr) {
    if (pg_session_conninfo == text && still_usable(pg_session_conn)) return pg_session_conn;
    drop_kept();
  }
  PGconn* conn = PQconnectdb(text);
  // A failed connection is not kept: the next call tries afresh, as it would on its own.
  if (pg_session_open && PQstatus(conn) == CONNECTION_OK) {
    pg_session_conn = conn;
    pg_session_conninfo = text;
  }
  return conn;
}

void db_pg_release(PGconn* conn) {
  if (conn == nullptr) return;
  if (conn == pg_session_conn) {
    if (!idle(conn)) drop_kept();
    return;
  }
  PQfinish(conn);
}

}  // extern "C"
