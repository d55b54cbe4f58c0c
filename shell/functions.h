// The SQL functions of the shell: the string functions under their SQL names,
// the session settings, CONVERT, and the lxk_charsets table.
#pragma once

#include <sqlite3.h>

#include "shell/session.h"

namespace lxksql {

// Registers every function and the lxk_charsets table on db.  The session
// must outlive the connection.  Returns an SQLite result code.
int registerFunctions(sqlite3* db, Session* session);

}  // namespace lxksql
