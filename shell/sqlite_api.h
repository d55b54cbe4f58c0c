// How the SQL functions reach SQLite.  They are built once, as a loadable
// extension: every sqlite3_* call goes through the routine table that SQLite
// hands the extension's entry point.  lxk_sqlite gets that table from the
// connection that loads it; lxksql, linked with SQLite, registers the same
// entry point as an automatic extension and SQLite hands it its own table.
// Compiled with SQLITE_CORE the same code makes plain calls instead.
#pragma once

#include <sqlite3ext.h>

SQLITE_EXTENSION_INIT3
