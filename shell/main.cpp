// lxksql: an SQL shell over an in-memory SQLite database with the lxk string
// functions registered under their SQL names.
#include <sqlite3.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "shell/functions.h"
#include "shell/session.h"

namespace lxksql {
namespace {

constexpr const char* kVersion = LXK_VERSION;

constexpr const char* kUsage =
    "Usage: lxksql [options] [FILE...]\n"
    "Runs SQL with the lxk string functions.  Without -c or FILE it reads standard\n"
    "input: statement by statement with a prompt on a terminal, as a script otherwise.\n"
    "\n"
    "  -c SQL             run SQL (may be repeated; runs in order with the files)\n"
    "  -i, --interactive  read from the terminal after the scripts have run\n"
    "  --charset NAME     session character set (default AL32UTF8)\n"
    "  --collation NAME   BINARY (default), CI or AI\n"
    "  --capacity BYTES   destination capacity of every string function (default 32767)\n"
    "  --echo             print each statement before its result\n"
    "  --no-header        print rows without column names\n"
    "  -h, --help         this text\n"
    "  --version          the version\n"
    "\n"
    "FILE '-' is standard input.  A script stops at its first error; the exit status\n"
    "is then 1 (2 for a usage error).\n";

constexpr const char* kInteractiveHelp =
    "Statements end with ';'.  Settings: SELECT lxk_charset('SHIFT_JIS');\n"
    "SELECT lxk_collation('CI'); SELECT lxk_capacity(10);  Sets: SELECT * FROM lxk_charsets;\n"
    ".help   this text\n"
    ".quit   leave (also .exit or end of input)\n";

struct Options {
  bool header = true;
  bool echo = false;
};

// Columns a UTF-8 string takes on a terminal: wide East Asian characters two,
// combining marks and format characters none.
size_t displayWidth(const std::string& text) {
  size_t width = 0;
  int32_t offset = 0;
  const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
  const auto length = static_cast<int32_t>(text.size());
  while (offset < length) {
    UChar32 c;
    U8_NEXT(bytes, offset, length, c);
    if (c < 0) {
      ++width;
      continue;
    }
    int8_t category = u_charType(c);
    if (category == U_NON_SPACING_MARK || category == U_ENCLOSING_MARK || category == U_FORMAT_CHAR)
      continue;
    int eastAsian = u_getIntPropertyValue(c, UCHAR_EAST_ASIAN_WIDTH);
    width += (eastAsian == U_EA_WIDE || eastAsian == U_EA_FULLWIDTH) ? 2 : 1;
  }
  return width;
}

std::string hexLiteral(const void* data, int length) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string out = "X'";
  const auto* bytes = static_cast<const uint8_t*>(data);
  for (int i = 0; i < length; ++i) {
    out += kDigits[bytes[i] >> 4];
    out += kDigits[bytes[i] & 15];
  }
  out += '\'';
  return out;
}

std::string cellText(sqlite3_stmt* statement, int column) {
  switch (sqlite3_column_type(statement, column)) {
    case SQLITE_NULL:
      return "NULL";
    case SQLITE_BLOB:
      return hexLiteral(sqlite3_column_blob(statement, column),
                        sqlite3_column_bytes(statement, column));
    default: {
      const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
      return text ? std::string(text, static_cast<size_t>(sqlite3_column_bytes(statement, column)))
                  : std::string();
    }
  }
}

// Aligned columns; with a header its first row is underlined.
void printTable(const std::vector<std::vector<std::string>>& rows, size_t columns, bool header,
                std::ostream& out) {
  std::vector<size_t> widths(columns, 0);
  for (const auto& row : rows)
    for (size_t i = 0; i < columns; ++i) widths[i] = std::max(widths[i], displayWidth(row[i]));
  auto printRow = [&](const std::vector<std::string>& row) {
    std::string line;
    for (size_t i = 0; i < columns; ++i) {
      if (i > 0) line += " | ";
      line += row[i];
      if (i + 1 < columns) line.append(widths[i] - displayWidth(row[i]), ' ');
    }
    out << line << '\n';
  };
  for (size_t r = 0; r < rows.size(); ++r) {
    printRow(rows[r]);
    if (r == 0 && header) {
      std::string rule;
      for (size_t i = 0; i < columns; ++i) {
        if (i > 0) rule += "-+-";
        rule.append(widths[i], '-');
      }
      out << rule << '\n';
    }
  }
}

// Where a statement really starts: past blanks and comments.
size_t statementStart(const std::string& sql, size_t offset) {
  while (offset < sql.size()) {
    if (std::isspace(static_cast<unsigned char>(sql[offset]))) {
      ++offset;
    } else if (sql.compare(offset, 2, "--") == 0) {
      size_t end = sql.find('\n', offset);
      offset = end == std::string::npos ? sql.size() : end + 1;
    } else if (sql.compare(offset, 2, "/*") == 0) {
      size_t end = sql.find("*/", offset + 2);
      offset = end == std::string::npos ? sql.size() : end + 2;
    } else {
      break;
    }
  }
  return offset;
}

// Runs every statement of sql, printing results; stops at the first error,
// which it reports with its source and line.
bool runSql(sqlite3* db, const std::string& sql, const std::string& source, int firstLine,
            const Options& options) {
  size_t offset = 0;
  int line = firstLine;
  size_t lineCountedTo = 0;
  while (offset < sql.size()) {
    size_t start = statementStart(sql, offset);
    if (start >= sql.size()) break;
    line += static_cast<int>(std::count(sql.begin() + lineCountedTo, sql.begin() + start, '\n'));
    lineCountedTo = start;
    sqlite3_stmt* statement = nullptr;
    const char* tail = nullptr;
    const char* head = sql.c_str() + start;
    int rc = sqlite3_prepare_v2(db, head, static_cast<int>(sql.size() - start), &statement, &tail);
    auto report = [&] {
      std::cout.flush();
      std::cerr << "lxksql: " << source << ":" << line << ": " << sqlite3_errmsg(db) << '\n';
    };
    if (rc != SQLITE_OK) {
      report();
      return false;
    }
    const size_t commentsFrom = offset;
    offset = static_cast<size_t>(tail - sql.c_str());
    if (statement == nullptr) continue;
    if (options.echo) {
      // The comments before a statement are echoed with it: they narrate.
      std::string text(sql.c_str() + commentsFrom, tail);
      size_t lineStart = text.rfind('\n', text.find_first_not_of(" \t\r\n"));
      text.erase(0, lineStart == std::string::npos ? 0 : lineStart + 1);
      while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())))
        text.pop_back();
      std::cout << text << '\n';
    }
    const size_t columns = static_cast<size_t>(sqlite3_column_count(statement));
    std::vector<std::vector<std::string>> rows;
    if (options.header && columns > 0) {
      rows.emplace_back();
      for (size_t i = 0; i < columns; ++i)
        rows.back().push_back(sqlite3_column_name(statement, static_cast<int>(i)));
    }
    while ((rc = sqlite3_step(statement)) == SQLITE_ROW) {
      rows.emplace_back();
      for (size_t i = 0; i < columns; ++i)
        rows.back().push_back(cellText(statement, static_cast<int>(i)));
    }
    if (rc != SQLITE_DONE) {
      report();
      sqlite3_finalize(statement);
      return false;
    }
    sqlite3_finalize(statement);
    if (columns > 0) printTable(rows, columns, options.header, std::cout);
    if (options.echo) std::cout << '\n';
  }
  return true;
}

bool readAll(std::istream& in, std::string* out) {
  std::ostringstream buffer;
  buffer << in.rdbuf();
  *out = buffer.str();
  return !in.bad();
}

// Statement by statement from a terminal; errors are reported and the
// session goes on.
void runInteractive(sqlite3* db, const Session& session, const Options& options, bool terminal) {
  if (terminal) {
    std::cout << "lxksql " << kVersion << ": session set " << session.charset()
              << ".  Enter SQL ending with ';', or .help\n";
  }
  std::string pending;
  std::string line;
  int lineNumber = 0;
  int pendingLine = 1;
  while (true) {
    if (terminal) std::cout << (pending.empty() ? "lxk> " : "...> ") << std::flush;
    if (!std::getline(std::cin, line)) break;
    ++lineNumber;
    if (pending.empty()) {
      std::string command = line.substr(0, line.find_last_not_of(" \t\r") + 1);
      if (command.empty()) continue;
      if (command[0] == '.') {
        if (command == ".quit" || command == ".exit") return;
        if (command == ".help") {
          std::cout << kInteractiveHelp;
        } else {
          std::cerr << "lxksql: unknown command " << command << " (try .help)\n";
        }
        continue;
      }
      pendingLine = lineNumber;
    }
    pending += line;
    pending += '\n';
    if (sqlite3_complete(pending.c_str())) {
      runSql(db, pending, "stdin", pendingLine, options);
      pending.clear();
    }
  }
  if (!pending.empty()) runSql(db, pending, "stdin", pendingLine, options);
  if (terminal) std::cout << '\n';
}

struct Script {
  bool isCommand;     // -c SQL rather than a file
  std::string value;  // the SQL or the file name
};

int run(int argc, char** argv) {
  Options options;
  std::vector<Script> scripts;
  std::string charset;
  std::string collation;
  std::string capacity;
  bool interactive = false;
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    auto value = [&](std::string* out) {
      if (i + 1 >= argc) {
        std::cerr << "lxksql: " << arg << " needs a value\n" << kUsage;
        return false;
      }
      *out = argv[++i];
      return true;
    };
    std::string text;
    if (arg == "-c") {
      if (!value(&text)) return 2;
      scripts.push_back({true, text});
    } else if (arg == "--charset") {
      if (!value(&charset)) return 2;
    } else if (arg == "--collation") {
      if (!value(&collation)) return 2;
    } else if (arg == "--capacity") {
      if (!value(&capacity)) return 2;
    } else if (arg == "-i" || arg == "--interactive") {
      interactive = true;
    } else if (arg == "--echo") {
      options.echo = true;
    } else if (arg == "--no-header") {
      options.header = false;
    } else if (arg == "-h" || arg == "--help") {
      std::cout << kUsage;
      return 0;
    } else if (arg == "--version") {
      std::cout << "lxksql " << kVersion << '\n';
      return 0;
    } else if (arg.size() > 1 && arg[0] == '-') {
      std::cerr << "lxksql: unknown option " << arg << '\n' << kUsage;
      return 2;
    } else {
      scripts.push_back({false, arg});
    }
  }

  Session session;
  if (!session.ready()) {
    std::cerr << "lxksql: the character-set catalogue could not be loaded\n";
    return 1;
  }
  std::string error;
  if (!charset.empty() && !session.setCharset(charset, &error)) {
    std::cerr << "lxksql: --charset: " << error << '\n';
    return 2;
  }
  if (!collation.empty() && !session.setCollation(collation, &error)) {
    std::cerr << "lxksql: --collation: " << error << '\n';
    return 2;
  }
  if (!capacity.empty()) {
    char* end = nullptr;
    long long bytes = std::strtoll(capacity.c_str(), &end, 10);
    if (*end != '\0' || capacity.empty() || !session.setCapacity(bytes, &error)) {
      std::cerr << "lxksql: --capacity: " << (error.empty() ? "not a number" : error) << '\n';
      return 2;
    }
  }

  sqlite3* db = nullptr;
  if (sqlite3_open(":memory:", &db) != SQLITE_OK) {
    std::cerr << "lxksql: cannot open the database: " << sqlite3_errmsg(db) << '\n';
    sqlite3_close(db);
    return 1;
  }
  int status = 0;
  if (registerFunctions(db, &session) != SQLITE_OK) {
    std::cerr << "lxksql: cannot register the functions: " << sqlite3_errmsg(db) << '\n';
    status = 1;
  }
  const bool terminal = isatty(STDIN_FILENO) != 0;
  if (status == 0 && scripts.empty() && !terminal && !interactive) scripts.push_back({false, "-"});
  for (const Script& script : scripts) {
    if (status != 0) break;
    std::string sql;
    std::string source = script.isCommand ? "-c" : script.value;
    if (script.isCommand) {
      sql = script.value;
    } else if (script.value == "-") {
      source = "stdin";
      readAll(std::cin, &sql);
    } else {
      std::ifstream file(script.value, std::ios::binary);
      if (!file || !readAll(file, &sql)) {
        std::cerr << "lxksql: cannot read " << script.value << ": " << std::strerror(errno) << '\n';
        status = 2;
        break;
      }
    }
    if (!runSql(db, sql, source, 1, options)) status = 1;
  }
  if (status == 0 && (interactive || (scripts.empty() && terminal))) {
    runInteractive(db, session, options, terminal);
  }
  sqlite3_close(db);
  return status;
}

}  // namespace
}  // namespace lxksql

int main(int argc, char** argv) { return lxksql::run(argc, argv); }
