-- The brik table of one library on PostgreSQL: 28 columns in the order the brik sink writes them.
-- {library} stands for the library's table name; provisioning replaces it after checking that it
-- is a plain identifier ([A-Za-z_][A-Za-z0-9_]*). Integer columns receive decimal text parameters;
-- graph_status and dialog receive 'false'; embedding_flags receives '{}'.
CREATE TABLE IF NOT EXISTS {library} (
    block_ID            integer,
    doc_ID              integer,
    content_type        text,
    file_type           text,
    master_index        integer,
    master_index2       integer,
    coords_x            integer,
    coords_y            integer,
    coords_cx           integer,
    coords_cy           integer,
    author_or_speaker   text,
    added_to_collection text,
    file_source         text,
    table_block         text,
    modified_date       text,
    created_date        text,
    creator_tool        text,
    external_files      text,
    text_block          text,
    header_text         text,
    text_search         text,
    user_tags           text,
    special_field1      text,
    special_field2      text,
    special_field3      text,
    graph_status        text,
    dialog              text,
    embedding_flags     text
);
