-- Run bookkeeping tables of a pdfbriks database in SQLite: job status (one row per job key,
-- upserted), failure events (one row per document that could not be parsed) and library totals
-- (one row per library). Safe to run again: nothing that exists is changed.
CREATE TABLE IF NOT EXISTS status (
    key        TEXT PRIMARY KEY,
    summary    TEXT,
    start_time TEXT,
    end_time   TEXT,
    total      INTEGER,
    current    INTEGER,
    units      TEXT
);

CREATE TABLE IF NOT EXISTS parser_events (
    job_id       TEXT,
    parser_type  TEXT,
    library_name TEXT,
    account_name TEXT,
    file_name    TEXT,
    message      TEXT,
    ocr_flag     TEXT,
    fail_flag    TEXT,
    time_stamp   TEXT
);

CREATE TABLE IF NOT EXISTS library (
    library_name  TEXT PRIMARY KEY,
    unique_doc_id INTEGER NOT NULL DEFAULT 0,
    documents     INTEGER NOT NULL DEFAULT 0,
    blocks        INTEGER NOT NULL DEFAULT 0,
    images        INTEGER NOT NULL DEFAULT 0,
    tables        INTEGER NOT NULL DEFAULT 0,
    pages         INTEGER NOT NULL DEFAULT 0
);

INSERT INTO library (library_name) VALUES ('{library}') ON CONFLICT (library_name) DO NOTHING;
