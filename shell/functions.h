// The SQL functions of the shell and of the SQLite extension: the string
// functions under their SQL names, the session settings, CONVERT, and the
// lxk_charsets table.
#pragma once

#include <sqlite3.h>

namespace lxksql {

// Sets up one connection: a session of its own (AL32UTF8, BINARY), which the
// connection owns and closes with it, every SQL function and the lxk_charsets
// table.  It has the shape of an extension entry point: lxk_sqlite's entry
// points call it, and lxksql registers it with sqlite3_auto_extension.
// Returns an SQLite result code; on failure *error may hold a message from
// sqlite3_mprintf.
int registerConnection(sqlite3* db, char** error, const sqlite3_api_routines* api);

}  // namespace lxksql
