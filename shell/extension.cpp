// lxk_sqlite: the SQLite loadable extension.  `.load lxk_sqlite` in the
// sqlite3 shell, or load_extension('lxk_sqlite') from any SQLite client,
// registers on that connection every SQL function lxksql has.
#include "shell/functions.h"

#define LXKSQL_ENTRY extern "C" __attribute__((visibility("default")))

// The entry point SQLite derives from the file name lxk_sqlite.
LXKSQL_ENTRY int sqlite3_lxksqlite_init(sqlite3* db, char** error,
                                        const sqlite3_api_routines* api) {
  return lxksql::registerConnection(db, error, api);
}

// The generic entry point, for a copy renamed or loaded with no name given.
LXKSQL_ENTRY int sqlite3_extension_init(sqlite3* db, char** error,
                                        const sqlite3_api_routines* api) {
  return sqlite3_lxksqlite_init(db, error, api);
}
