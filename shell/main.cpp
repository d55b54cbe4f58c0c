// lxksql: an SQL shell over an in-memory SQLite database with the lxk string
// functions registered under their SQL names.
#include <sqlite3.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#ifdef LXKSQL_READLINE
#include <readline/history.h>
#include <readline/readline.h>
#endif

#include "shell/functions.h"

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
    "  --mode MODE        output mode: column (default), list, csv, json or box\n"
    "  --echo             print each statement before its result\n"
    "  --no-header        print rows without column names\n"
    "  -h, --help         this text\n"
    "  --version          the version\n"
    "\n"
    "FILE '-' is standard input.  A script stops at its first error; the exit status\n"
    "is then 1 (2 for a usage error).  Lines starting with '.' are shell commands:\n"
    "see .help.\n";

constexpr const char* kCommandHelp =
    "Statements end with ';'.  Commands (a line of their own, between statements):\n"
    ".charset [NAME]      show or switch the session character set\n"
    ".collation [NAME]    show or switch the collation: BINARY, CI or AI\n"
    ".headers on|off      column names above the rows\n"
    ".help                this text\n"
    ".mode [MODE]         show or switch the output: column, list, csv, json or box\n"
    ".read FILE           run the statements and commands of FILE\n"
    ".quit                leave (also .exit or end of input)\n"
    "Sets: SELECT * FROM lxk_charsets;  capacity: SELECT lxk_capacity(10);\n";

enum class Mode { kColumn, kList, kCsv, kJson, kBox };

struct ModeName {
  const char* name;
  Mode mode;
};

constexpr ModeName kModes[] = {{"column", Mode::kColumn},
                               {"list", Mode::kList},
                               {"csv", Mode::kCsv},
                               {"json", Mode::kJson},
                               {"box", Mode::kBox}};

bool parseMode(const std::string& name, Mode* out) {
  for (const ModeName& known : kModes) {
    if (name == known.name) {
      *out = known.mode;
      return true;
    }
  }
  return false;
}

const char* modeName(Mode mode) {
  for (const ModeName& known : kModes)
    if (known.mode == mode) return known.name;
  return "column";
}

struct Options {
  bool header = true;
  bool echo = false;
  Mode mode = Mode::kColumn;
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

// Characters (not bytes) of UTF-8 text: columns of a message's position.
size_t characterCount(std::string_view text) {
  return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  }));
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

struct Cell {
  int type;  // SQLITE_INTEGER, SQLITE_FLOAT, SQLITE_TEXT, SQLITE_BLOB or SQLITE_NULL
  std::string text;
};

Cell readCell(sqlite3_stmt* statement, int column) {
  const int type = sqlite3_column_type(statement, column);
  switch (type) {
    case SQLITE_NULL:
      return {type, "NULL"};
    case SQLITE_BLOB:
      return {type, hexLiteral(sqlite3_column_blob(statement, column),
                               sqlite3_column_bytes(statement, column))};
    default: {
      const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
      return {type,
              text ? std::string(text, static_cast<size_t>(sqlite3_column_bytes(statement, column)))
                   : std::string()};
    }
  }
}

using Row = std::vector<Cell>;

// Aligned columns; with a header its first row is underlined.
void printColumns(const std::vector<Row>& rows, size_t columns, bool header, std::ostream& out) {
  std::vector<size_t> widths(columns, 0);
  for (const Row& row : rows)
    for (size_t i = 0; i < columns; ++i) widths[i] = std::max(widths[i], displayWidth(row[i].text));
  for (size_t r = 0; r < rows.size(); ++r) {
    std::string line;
    for (size_t i = 0; i < columns; ++i) {
      if (i > 0) line += " | ";
      line += rows[r][i].text;
      if (i + 1 < columns) line.append(widths[i] - displayWidth(rows[r][i].text), ' ');
    }
    out << line << '\n';
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

// Columns in a frame of box-drawing characters.
void printBox(const std::vector<Row>& rows, size_t columns, bool header, std::ostream& out) {
  std::vector<size_t> widths(columns, 0);
  for (const Row& row : rows)
    for (size_t i = 0; i < columns; ++i) widths[i] = std::max(widths[i], displayWidth(row[i].text));
  auto rule = [&](const char* left, const char* middle, const char* right) {
    std::string line = left;
    for (size_t i = 0; i < columns; ++i) {
      if (i > 0) line += middle;
      for (size_t k = 0; k < widths[i] + 2; ++k) line += "─";
    }
    out << line << right << '\n';
  };
  rule("┌", "┬", "┐");
  for (size_t r = 0; r < rows.size(); ++r) {
    std::string line = "│";
    for (size_t i = 0; i < columns; ++i) {
      const Cell& cell = rows[r][i];
      const size_t fill = widths[i] - displayWidth(cell.text);
      // Numbers line up on the right, as in a spreadsheet.
      const bool right = cell.type == SQLITE_INTEGER || cell.type == SQLITE_FLOAT;
      line += ' ';
      if (right) line.append(fill, ' ');
      line += cell.text;
      if (!right) line.append(fill, ' ');
      line += " │";
    }
    out << line << '\n';
    if (r == 0 && header && rows.size() > 1) rule("├", "┼", "┤");
  }
  rule("└", "┴", "┘");
}

void printList(const std::vector<Row>& rows, size_t columns, std::ostream& out) {
  for (const Row& row : rows) {
    for (size_t i = 0; i < columns; ++i) out << (i > 0 ? "|" : "") << row[i].text;
    out << '\n';
  }
}

// RFC 4180 fields: quoted when they hold a separator, a quote or a line
// break, with quotes doubled; NULL is an empty field.
void printCsv(const std::vector<Row>& rows, size_t columns, std::ostream& out) {
  for (const Row& row : rows) {
    for (size_t i = 0; i < columns; ++i) {
      if (i > 0) out << ',';
      const Cell& cell = row[i];
      if (cell.type == SQLITE_NULL) continue;
      if (cell.text.find_first_of(",\"\r\n") == std::string::npos) {
        out << cell.text;
        continue;
      }
      out << '"';
      for (char c : cell.text) out << (c == '"' ? "\"\"" : std::string(1, c));
      out << '"';
    }
    out << '\n';
  }
}

// A JSON string: escapes for quotes, backslashes and control characters;
// bytes that are not UTF-8 become U+FFFD.
std::string jsonString(const std::string& text) {
  std::string out = "\"";
  const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
  const auto length = static_cast<int32_t>(text.size());
  for (int32_t offset = 0; offset < length;) {
    const int32_t start = offset;
    UChar32 c;
    U8_NEXT(bytes, offset, length, c);
    if (c < 0) {
      out += "\\ufffd";
    } else if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c == '\n') {
      out += "\\n";
    } else if (c == '\r') {
      out += "\\r";
    } else if (c == '\t') {
      out += "\\t";
    } else if (c < 0x20) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
      out += escape;
    } else {
      out.append(text, static_cast<size_t>(start), static_cast<size_t>(offset - start));
    }
  }
  return out + '"';
}

// An array of objects, one per row, keyed by column name; BLOBs as their
// X'..' text.
void printJson(const std::vector<std::string>& names, const std::vector<Row>& rows,
               std::ostream& out) {
  if (rows.empty()) return;
  for (size_t r = 0; r < rows.size(); ++r) {
    out << (r == 0 ? "[{" : ",\n{");
    for (size_t i = 0; i < names.size(); ++i) {
      const Cell& cell = rows[r][i];
      out << (i > 0 ? "," : "") << jsonString(names[i]) << ':';
      switch (cell.type) {
        case SQLITE_NULL:
          out << "null";
          break;
        case SQLITE_INTEGER:
        case SQLITE_FLOAT:
          out << cell.text;
          break;
        default:
          out << jsonString(cell.text);
      }
    }
    out << '}';
  }
  out << "]\n";
}

void printResult(const std::vector<std::string>& names, std::vector<Row> rows,
                 const Options& options, std::ostream& out) {
  const size_t columns = names.size();
  if (options.mode == Mode::kJson) return printJson(names, rows, out);
  if (options.header) {
    Row header;
    for (const std::string& name : names) header.push_back({SQLITE_TEXT, name});
    rows.insert(rows.begin(), std::move(header));
  }
  switch (options.mode) {
    case Mode::kColumn:
      return printColumns(rows, columns, options.header, out);
    case Mode::kBox:
      return printBox(rows, columns, options.header, out);
    case Mode::kList:
      return printList(rows, columns, out);
    case Mode::kCsv:
      return printCsv(rows, columns, out);
    case Mode::kJson:
      break;
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

bool readAll(std::istream& in, std::string* out) {
  std::ostringstream buffer;
  buffer << in.rdbuf();
  *out = buffer.str();
  return !in.bad();
}

// Words of a command line; a word may be quoted with ' or ".
std::vector<std::string> commandWords(const std::string& line) {
  std::vector<std::string> words;
  size_t at = 0;
  while (true) {
    at = line.find_first_not_of(" \t\r", at);
    if (at == std::string::npos) break;
    if (line[at] == '\'' || line[at] == '"') {
      size_t end = line.find(line[at], at + 1);
      if (end == std::string::npos) end = line.size();
      words.push_back(line.substr(at + 1, end - at - 1));
      at = end + 1;
    } else {
      size_t end = line.find_first_of(" \t\r", at);
      if (end == std::string::npos) end = line.size();
      words.push_back(line.substr(at, end - at));
      at = end;
    }
  }
  return words;
}

// Where a message points: a source, its line and column (both from 1).
struct Place {
  std::string source;
  int line;
  size_t column;
};

class Shell {
 public:
  Shell(sqlite3* db, Options options) : db_(db), options_(options) {}

  bool quitRequested() const { return quit_; }

  // Runs a whole script: commands and statements line by line.  In a script
  // the first error stops it; on a terminal the session goes on.
  bool runScript(const std::string& text, const std::string& source, bool stopOnError) {
    Reader reader(source, stopOnError);
    size_t at = 0;
    while (at < text.size() && !quit_) {
      size_t end = text.find('\n', at);
      if (end == std::string::npos) end = text.size();
      if (!feed(&reader, text.substr(at, end - at)) && stopOnError) return false;
      at = end + 1;
    }
    return finish(&reader) || !stopOnError;
  }

  // The terminal, line by line with editing and history where there is one.
  void runInteractive(bool terminal) {
    if (terminal) {
      std::string charset;
      std::string ignored;
      setting("lxk_charset", "", &charset, &ignored);
      std::cout << "lxksql " << kVersion << ": session set " << charset
                << ".  Enter SQL ending with ';', or .help\n";
    }
    Reader reader("stdin", false);
    LineInput input(terminal);
    std::string line;
    while (!quit_ && input.next(reader.pending.empty() ? "lxk> " : "...> ", &line))
      feed(&reader, line);
    if (!quit_) finish(&reader);
    if (terminal) std::cout << '\n';
  }

  // Calls a session function with one argument (none when value is empty);
  // its answer goes to *result, a failure's message to *error.
  bool setting(const char* function, const std::string& value, std::string* result,
               std::string* error) {
    std::string sql = std::string("SELECT ") + function + (value.empty() ? "()" : "(?1)");
    sqlite3_stmt* statement = nullptr;
    bool ok = sqlite3_prepare_v2(db_, sql.c_str(), -1, &statement, nullptr) == SQLITE_OK;
    if (ok && !value.empty())
      sqlite3_bind_text(statement, 1, value.data(), static_cast<int>(value.size()),
                        SQLITE_TRANSIENT);
    ok = ok && sqlite3_step(statement) == SQLITE_ROW;
    if (ok) {
      const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, 0));
      *result = text ? text : "";
    } else {
      *error = sqlite3_errmsg(db_);
    }
    sqlite3_finalize(statement);
    return ok;
  }

 private:
  // Lines gathered into statements, for one script.
  struct Reader {
    Reader(std::string sourceName, bool stop, int nesting = 0)
        : source(std::move(sourceName)), stopOnError(stop), depth(nesting) {}
    std::string source;
    bool stopOnError;
    std::string pending;
    int lineNumber = 0;
    int pendingLine = 1;  // the line pending starts on
    int depth;            // .read nesting
  };

  // Reads lines from the terminal, with editing and history when built with
  // readline, or from standard input.
  class LineInput {
   public:
    explicit LineInput(bool terminal) : terminal_(terminal) {
#ifdef LXKSQL_READLINE
      if (terminal_) {
        const char* home = std::getenv("HOME");
        if (home != nullptr) historyFile_ = std::string(home) + "/.lxksql_history";
        using_history();
        stifle_history(1000);
        if (!historyFile_.empty()) read_history(historyFile_.c_str());
      }
#endif
    }
    ~LineInput() {
#ifdef LXKSQL_READLINE
      if (terminal_ && !historyFile_.empty()) write_history(historyFile_.c_str());
#endif
    }
    LineInput(const LineInput&) = delete;
    LineInput& operator=(const LineInput&) = delete;

    bool next(const char* prompt, std::string* line) {
#ifdef LXKSQL_READLINE
      if (terminal_) {
        char* read = readline(prompt);
        if (read == nullptr) return false;
        *line = read;
        if (line->find_first_not_of(" \t") != std::string::npos) add_history(read);
        std::free(read);
        return true;
      }
#endif
      if (terminal_) std::cout << prompt << std::flush;
      return static_cast<bool>(std::getline(std::cin, *line));
    }

   private:
    bool terminal_;
    std::string historyFile_;
  };

  // One line of a script: a command between statements, or part of one.
  bool feed(Reader* reader, const std::string& line) {
    ++reader->lineNumber;
    const bool betweenStatements = statementStart(reader->pending, 0) >= reader->pending.size();
    if (betweenStatements && !line.empty() && line[0] == '.') {
      if (options_.echo) {
        std::cout << commentsOf(reader->pending) << line << '\n';
      }
      reader->pending.clear();
      return command(reader, line);
    }
    if (reader->pending.empty()) reader->pendingLine = reader->lineNumber;
    reader->pending += line;
    reader->pending += '\n';
    if (!sqlite3_complete(reader->pending.c_str())) return true;
    std::string sql;
    sql.swap(reader->pending);
    return runSql(sql, reader->source, reader->pendingLine);
  }

  // The end of a script: a last statement without its ';' still runs.
  bool finish(Reader* reader) {
    std::string sql;
    sql.swap(reader->pending);
    if (statementStart(sql, 0) >= sql.size()) return true;
    return runSql(sql, reader->source, reader->pendingLine);
  }

  // The comment lines before a command, for --echo.
  static std::string commentsOf(const std::string& pending) {
    size_t first = pending.find_first_not_of(" \t\r\n");
    if (first == std::string::npos) return "";
    size_t lineStart = pending.rfind('\n', first);
    return pending.substr(lineStart == std::string::npos ? 0 : lineStart + 1);
  }

  void report(const Place& place, const std::string& message) {
    std::cout.flush();
    std::cerr << "lxksql: " << place.source << ':' << place.line << ':' << place.column << ": "
              << message << '\n';
  }

  bool command(Reader* reader, const std::string& line) {
    const std::vector<std::string> words = commandWords(line);
    const std::string& name = words[0];
    const Place place{reader->source, reader->lineNumber, 1};
    auto fail = [&](const std::string& message) {
      report(place, name + ": " + message);
      return false;
    };
    if (name == ".quit" || name == ".exit") {
      quit_ = true;
      return true;
    }
    if (name == ".help") {
      std::cout << kCommandHelp;
      return true;
    }
    if (name == ".mode") {
      if (words.size() == 1) {
        std::cout << modeName(options_.mode) << '\n';
        return true;
      }
      if (words.size() > 2 || !parseMode(words[1], &options_.mode))
        return fail("give one of column, list, csv, json or box");
      return true;
    }
    if (name == ".headers") {
      if (words.size() != 2 || (words[1] != "on" && words[1] != "off"))
        return fail("give on or off");
      options_.header = words[1] == "on";
      return true;
    }
    if (name == ".charset" || name == ".collation") {
      if (words.size() > 2) return fail("give one name");
      std::string result;
      std::string error;
      if (!setting(name == ".charset" ? "lxk_charset" : "lxk_collation",
                   words.size() == 2 ? words[1] : "", &result, &error))
        return fail(error);
      if (words.size() == 1) std::cout << result << '\n';
      return true;
    }
    if (name == ".read") {
      if (words.size() != 2) return fail("give one file");
      if (reader->depth >= 16) return fail("files read each other too deeply");
      std::ifstream file(words[1], std::ios::binary);
      std::string text;
      if (!file || !readAll(file, &text))
        return fail("cannot read " + words[1] + ": " + std::strerror(errno));
      Reader nested(words[1], true, reader->depth + 1);
      // The file's own errors name the file; the .read line fails with it.
      size_t at = 0;
      while (at < text.size() && !quit_) {
        size_t end = text.find('\n', at);
        if (end == std::string::npos) end = text.size();
        if (!feed(&nested, text.substr(at, end - at))) return false;
        at = end + 1;
      }
      return finish(&nested);
    }
    return fail("unknown command (try .help)");
  }

  // The place of byte offset in sql, whose first line is firstLine.
  static Place placeOf(const std::string& sql, size_t offset, const std::string& source,
                       int firstLine) {
    offset = std::min(offset, sql.size());
    const auto before = std::string_view(sql).substr(0, offset);
    const size_t lineStart = before.rfind('\n');
    const size_t column =
        characterCount(lineStart == std::string_view::npos ? before : before.substr(lineStart + 1));
    return {source, firstLine + static_cast<int>(std::count(before.begin(), before.end(), '\n')),
            column + 1};
  }

  // Runs every statement of sql, printing results; stops at the first error,
  // which it reports with its source, line and column: where SQLite places a
  // syntax error, otherwise where the statement starts.
  bool runSql(const std::string& sql, const std::string& source, int firstLine) {
    size_t offset = 0;
    while (offset < sql.size()) {
      size_t start = statementStart(sql, offset);
      if (start >= sql.size()) break;
      sqlite3_stmt* statement = nullptr;
      const char* tail = nullptr;
      const char* head = sql.c_str() + start;
      int rc =
          sqlite3_prepare_v2(db_, head, static_cast<int>(sql.size() - start), &statement, &tail);
      if (rc != SQLITE_OK) {
        const int at = sqlite3_error_offset(db_);
        report(placeOf(sql, start + (at >= 0 ? static_cast<size_t>(at) : 0), source, firstLine),
               sqlite3_errmsg(db_));
        return false;
      }
      const size_t commentsFrom = offset;
      offset = static_cast<size_t>(tail - sql.c_str());
      if (statement == nullptr) continue;
      if (options_.echo) {
        // The comments before a statement are echoed with it: they narrate.
        std::string text(sql.c_str() + commentsFrom, tail);
        size_t lineStart = text.rfind('\n', text.find_first_not_of(" \t\r\n"));
        text.erase(0, lineStart == std::string::npos ? 0 : lineStart + 1);
        while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())))
          text.pop_back();
        std::cout << text << '\n';
      }
      const int columns = sqlite3_column_count(statement);
      std::vector<std::string> names;
      for (int i = 0; i < columns; ++i) names.push_back(sqlite3_column_name(statement, i));
      std::vector<Row> rows;
      while ((rc = sqlite3_step(statement)) == SQLITE_ROW) {
        rows.emplace_back();
        for (int i = 0; i < columns; ++i) rows.back().push_back(readCell(statement, i));
      }
      if (rc != SQLITE_DONE) {
        report(placeOf(sql, start, source, firstLine), sqlite3_errmsg(db_));
        sqlite3_finalize(statement);
        return false;
      }
      sqlite3_finalize(statement);
      if (columns > 0) printResult(names, std::move(rows), options_, std::cout);
      if (options_.echo) std::cout << '\n';
    }
    return true;
  }

  sqlite3* db_;
  Options options_;
  bool quit_ = false;
};

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
    } else if (arg == "--mode") {
      if (!value(&text)) return 2;
      if (!parseMode(text, &options.mode)) {
        std::cerr << "lxksql: --mode: give one of column, list, csv, json or box\n";
        return 2;
      }
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

  // Every connection gets its session and the functions as it opens.
  sqlite3_auto_extension(reinterpret_cast<void (*)()>(registerConnection));
  sqlite3* db = nullptr;
  if (sqlite3_open(":memory:", &db) != SQLITE_OK) {
    std::cerr << "lxksql: cannot open the database: " << sqlite3_errmsg(db) << '\n';
    sqlite3_close(db);
    return 1;
  }
  Shell shell(db, options);
  struct Setting {
    const char* option;
    const char* function;
    const std::string& value;
  };
  for (const Setting& s : {Setting{"--charset", "lxk_charset", charset},
                           Setting{"--collation", "lxk_collation", collation},
                           Setting{"--capacity", "lxk_capacity", capacity}}) {
    std::string result;
    std::string error;
    if (!s.value.empty() && !shell.setting(s.function, s.value, &result, &error)) {
      // The function's own name adds nothing to the option's.
      const std::string prefix = std::string(s.function) + ": ";
      if (error.compare(0, prefix.size(), prefix) == 0) error.erase(0, prefix.size());
      std::cerr << "lxksql: " << s.option << ": " << error << '\n';
      sqlite3_close(db);
      return 2;
    }
  }

  int status = 0;
  const bool terminal = isatty(STDIN_FILENO) != 0;
  if (scripts.empty() && !terminal && !interactive) scripts.push_back({false, "-"});
  for (const Script& script : scripts) {
    if (shell.quitRequested()) break;
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
    if (!shell.runScript(sql, source, true)) {
      status = 1;
      break;
    }
  }
  if (status == 0 && !shell.quitRequested() && (interactive || (scripts.empty() && terminal)))
    shell.runInteractive(terminal);
  sqlite3_close(db);
  return status;
}

}  // namespace
}  // namespace lxksql

int main(int argc, char** argv) { return lxksql::run(argc, argv); }
