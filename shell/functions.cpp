#include "shell/functions.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <cmath>
#include <string>

namespace lxksql {
namespace {

// How SUBSTR and LENGTH count.
enum class Unit { kChar, kByte, kByteNoFill, kRaw, kUcs2, kUcs4, kComplete };

struct UnitName {
  const char* name;
  Unit unit;
};

constexpr UnitName kUnitNames[] = {
    {"CHAR", Unit::kChar},        {"BYTE", Unit::kByte}, {"BYTE_NOFILL", Unit::kByteNoFill},
    {"RAW", Unit::kRaw},          {"UCS2", Unit::kUcs2}, {"UCS4", Unit::kUcs4},
    {"COMPLETE", Unit::kComplete}};

uint32_t unitOptions(Unit unit) {
  switch (unit) {
    case Unit::kChar:
      return 0;
    case Unit::kByte:
      return OPT_BYTE_UNITS;
    case Unit::kByteNoFill:
      return OPT_BYTE_UNITS | OPT_NO_BLANK_FILL;
    case Unit::kRaw:
      return OPT_RAW_BYTES;
    case Unit::kUcs2:
      return OPT_UCS2_UNITS;
    case Unit::kUcs4:
      return OPT_UCS4_UNITS;
    case Unit::kComplete:
      return OPT_COMPLETE_CHARS;
  }
  return 0;
}

bool countsBytes(Unit unit) {
  return unit == Unit::kByte || unit == Unit::kByteNoFill || unit == Unit::kRaw;
}

class Call;
using Body = void (*)(Call&);

struct FunctionDef {
  const char* name;  // as messages show it
  int minArgs;
  int maxArgs;  // -1: any number
  Body body;
  Unit unit;          // the unit of SUBSTRB, LENGTH4, ...
  bool unitArgument;  // the last optional argument names the unit
};

struct Binding {
  Session* session;
  const FunctionDef* def;
};

int32_t clampToInt32(int64_t value) {
  return static_cast<int32_t>(std::clamp<int64_t>(value, INT32_MIN, INT32_MAX));
}

// One invocation: argument access with conversion into the session set, and
// results converted back.  Every failure names the function.
class Call {
 public:
  Call(sqlite3_context* context, int argc, sqlite3_value** argv)
      : context_(context), argc_(argc), argv_(argv) {
    const auto* binding = static_cast<const Binding*>(sqlite3_user_data(context));
    session_ = binding->session;
    def_ = binding->def;
  }

  Session& session() const { return *session_; }
  const FunctionDef& def() const { return *def_; }
  int argc() const { return argc_; }
  const CharsetHandle* handle() const { return session_->handle(); }
  NlsContext* ctx() const { return session_->ctx(); }

  bool isNull(int index) const { return sqlite3_value_type(argv_[index]) == SQLITE_NULL; }
  bool anyNull() const {
    for (int i = 0; i < argc_; ++i)
      if (isNull(i)) return true;
    return false;
  }

  // A string operand in the session set: BLOBs as they are, anything else as
  // UTF-8 text converted.  NULL gives an empty string.
  bool string(int index, Bytes* out) {
    sqlite3_value* value = argv_[index];
    if (sqlite3_value_type(value) == SQLITE_BLOB) {
      anyBlob_ = true;
      const auto* data = static_cast<const uint8_t*>(sqlite3_value_blob(value));
      out->assign(data, data + sqlite3_value_bytes(value));
      return true;
    }
    const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(value));
    std::string_view utf8(text ? text : "", static_cast<size_t>(sqlite3_value_bytes(value)));
    if (session_->toSession(utf8, out)) return true;
    fail("argument " + std::to_string(index + 1) + " is not well-formed UTF-8 text");
    return false;
  }

  bool isBlob(int index) const { return sqlite3_value_type(argv_[index]) == SQLITE_BLOB; }

  // The argument's own bytes: a BLOB's, or the UTF-8 of anything else.
  Bytes rawBytes(int index) const {
    sqlite3_value* value = argv_[index];
    const auto* data = static_cast<const uint8_t*>(isBlob(index) ? sqlite3_value_blob(value)
                                                                 : sqlite3_value_text(value));
    size_t length = static_cast<size_t>(sqlite3_value_bytes(value));
    return data ? Bytes(data, data + length) : Bytes();
  }

  // A plain UTF-8 word such as a set name or a unit.
  std::string word(int index) const {
    const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(argv_[index]));
    return text ? std::string(text, static_cast<size_t>(sqlite3_value_bytes(argv_[index])))
                : std::string();
  }

  // A whole number; fractions are cut toward zero as the engine does.
  bool integer(int index, int64_t* out) {
    sqlite3_value* value = argv_[index];
    switch (sqlite3_value_numeric_type(value)) {
      case SQLITE_INTEGER:
        *out = sqlite3_value_int64(value);
        return true;
      case SQLITE_FLOAT: {
        double number = std::trunc(sqlite3_value_double(value));
        if (std::isfinite(number) && number > -9.2e18 && number < 9.2e18) {
          *out = static_cast<int64_t>(number);
          return true;
        }
        break;
      }
      default:
        break;
    }
    fail("argument " + std::to_string(index + 1) + " must be a number");
    return false;
  }

  // The unit of SUBSTR/LENGTH: fixed by the name, or named by the argument.
  bool unit(int index, Unit* out) {
    if (!def_->unitArgument || index >= argc_) {
      *out = def_->unit;
      return true;
    }
    std::string name = word(index);
    for (char& c : name) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    for (const UnitName& known : kUnitNames) {
      if (name == known.name) {
        *out = known.unit;
        return true;
      }
    }
    fail("unknown length unit '" + word(index) +
         "' (CHAR, BYTE, BYTE_NOFILL, RAW, UCS2, UCS4 or COMPLETE)");
    return false;
  }

  // A destination of the session's capacity; never a null pointer, so that
  // a capacity of 0 is not mistaken for "no destination".
  Bytes destination() const { return Bytes(std::max<uint32_t>(session_->capacity(), 1)); }

  // A string result in the session set: a BLOB when an operand was one,
  // otherwise TEXT, or a BLOB when the bytes are not valid in the set.
  void resultString(const uint8_t* data, uint32_t length) {
    if (!anyBlob_) {
      std::string utf8;
      if (session_->fromSession(data, length, &utf8)) {
        sqlite3_result_text(context_, utf8.data(), static_cast<int>(utf8.size()), SQLITE_TRANSIENT);
        return;
      }
    }
    // SQLite takes a null pointer as NULL, so an empty BLOB needs some address.
    static const uint8_t kEmpty = 0;
    sqlite3_result_blob(context_, length ? data : &kEmpty, static_cast<int>(length),
                        SQLITE_TRANSIENT);
  }
  void resultString(const Bytes& bytes) {
    resultString(bytes.data(), static_cast<uint32_t>(bytes.size()));
  }
  void resultInteger(int64_t value) { sqlite3_result_int64(context_, value); }
  void resultText(const std::string& text) {
    sqlite3_result_text(context_, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
  }
  void resultBlob(const Bytes& bytes) {
    sqlite3_result_blob(context_, bytes.empty() ? "" : static_cast<const void*>(bytes.data()),
                        static_cast<int>(bytes.size()), SQLITE_TRANSIENT);
  }
  void resultNull() { sqlite3_result_null(context_); }

  void fail(const std::string& message) {
    std::string full = std::string(def_->name) + ": " + message;
    sqlite3_result_error(context_, full.data(), static_cast<int>(full.size()));
  }

 private:
  sqlite3_context* context_;
  int argc_;
  sqlite3_value** argv_;
  Session* session_;
  const FunctionDef* def_;
  bool anyBlob_ = false;
};

// ---- String functions ------------------------------------------------------

void sqlAscii(Call& call) {
  Bytes text;
  if (call.isNull(0) || !call.string(0, &text)) return call.resultNull();
  if (text.empty()) return call.resultNull();
  call.resultInteger(
      lxkAscii(text.data(), static_cast<uint32_t>(text.size()), call.handle(), call.ctx()));
}

void sqlChr(Call& call) {
  int64_t code = 0;
  if (call.isNull(0)) return call.resultNull();
  if (!call.integer(0, &code)) return;
  if (code < 0 || code > UINT32_MAX) return call.fail("the code must lie in 0..4294967295");
  // Room for the widest character with a shift-out and a shift-in byte.
  uint8_t out[16];
  uint32_t written =
      lxkChr(out, sizeof out, static_cast<uint32_t>(code), call.handle(), call.ctx());
  if (written == 0) return call.resultNull();
  call.resultString(out, written);
}

void sqlConcat(Call& call) {
  if (call.argc() < 2) return call.fail("needs at least two arguments");
  bool allNull = true;
  for (int i = 0; i < call.argc(); ++i) allNull = allNull && call.isNull(i);
  if (allNull) return call.resultNull();
  // A NULL operand is an empty string, as in the engine.
  Bytes result;
  if (!call.string(0, &result)) return;
  Bytes next;
  Bytes out = call.destination();
  for (int i = 1; i < call.argc(); ++i) {
    if (!call.string(i, &next)) return;
    uint32_t resultWord = 0;
    uint32_t written = lxkConcat(
        out.data(), call.session().capacity(), result.data(), static_cast<uint32_t>(result.size()),
        next.data(), static_cast<uint32_t>(next.size()), &resultWord, call.handle(), call.ctx());
    result.assign(out.begin(), out.begin() + written);
  }
  call.resultString(result);
}

void caseConversion(Call& call, uint32_t direction) {
  Bytes text;
  if (call.isNull(0)) return call.resultNull();
  if (!call.string(0, &text)) return;
  Bytes out = call.destination();
  uint32_t written =
      lxkToUL(out.data(), call.session().capacity(), text.data(),
              static_cast<uint32_t>(text.size()), direction, 0, call.handle(), call.ctx());
  call.resultString(out.data(), written);
}

void sqlUpper(Call& call) { caseConversion(call, CASE_DIRECTION); }
void sqlLower(Call& call) { caseConversion(call, 0); }

void sqlInitcap(Call& call) {
  Bytes text;
  if (call.isNull(0)) return call.resultNull();
  if (!call.string(0, &text)) return;
  Bytes out = call.destination();
  uint32_t resultWord = 0;
  uint32_t written =
      lxkInitcap(out.data(), call.session().capacity(), text.data(),
                 static_cast<uint32_t>(text.size()), &resultWord, call.handle(), call.ctx());
  call.resultString(out.data(), written);
}

void sqlSubstr(Call& call) {
  if (call.anyNull()) return call.resultNull();
  Bytes text;
  int64_t position = 0;
  int64_t length = INT32_MAX;
  Unit unit = Unit::kChar;
  if (!call.string(0, &text) || !call.integer(1, &position)) return;
  if (call.argc() > 2 && !call.integer(2, &length)) return;
  if (!call.unit(3, &unit)) return;
  Bytes out = call.destination();
  uint32_t resultLength = 0;
  uint32_t resultWord = 0;
  const uint8_t* result =
      lxkSubstr(&resultLength, out.data(), call.session().capacity(), text.data(),
                static_cast<uint32_t>(text.size()), clampToInt32(position), clampToInt32(length),
                unitOptions(unit), &resultWord, call.handle(), call.ctx());
  // With nothing selected the returned pointer is not to be read.
  if (resultLength == 0) return call.resultString(nullptr, 0);
  call.resultString(result, resultLength);
}

void sqlLength(Call& call) {
  if (call.anyNull()) return call.resultNull();
  Bytes text;
  Unit unit = Unit::kChar;
  if (!call.string(0, &text) || !call.unit(1, &unit)) return;
  if (countsBytes(unit) || text.empty()) return call.resultInteger(int64_t(text.size()));
  call.resultInteger(lxsCntChar(text.data(), static_cast<uint32_t>(text.size()),
                                OPT_STANDARD | unitOptions(unit), call.handle(), call.ctx()));
}

// INSTR(s, sub [, position [, occurrence]]) and its unit variants.
void sqlInstr(Call& call) {
  if (call.anyNull()) return call.resultNull();
  Bytes text;
  Bytes search;
  int64_t position = 1;
  int64_t occurrence = 1;
  if (!call.string(0, &text) || !call.string(1, &search)) return;
  if (call.argc() > 2 && !call.integer(2, &position)) return;
  if (call.argc() > 3 && !call.integer(3, &occurrence)) return;
  if (occurrence < 1) return call.fail("the occurrence must be 1 or more");
  const uint32_t options = unitOptions(call.def().unit);
  call.resultInteger(lxkInstr(text.data(), static_cast<uint32_t>(text.size()), search.data(),
                              static_cast<uint32_t>(search.size()), clampToInt32(position),
                              static_cast<uint32_t>(std::min<int64_t>(occurrence, UINT32_MAX)),
                              options, call.handle(), call.ctx()));
}

// REPLACE(s, search [, replacement]): without a replacement, or with a NULL
// one, every occurrence is removed; a NULL search leaves s as it is.
void sqlReplace(Call& call) {
  if (call.isNull(0)) return call.resultNull();
  Bytes text;
  Bytes search;
  Bytes replacement;
  if (!call.string(0, &text)) return;
  if (!call.isNull(1) && !call.string(1, &search)) return;
  if (call.argc() > 2 && !call.isNull(2) && !call.string(2, &replacement)) return;
  Bytes out = call.destination();
  uint32_t resultWord = 0;
  CharsetHandle handle = *call.handle();
  const uint32_t written = lxkReplace(
      out.data(), call.session().capacity(), text.data(), static_cast<uint32_t>(text.size()),
      search.data(), static_cast<uint32_t>(search.size()), replacement.data(),
      static_cast<uint32_t>(replacement.size()), 0, &resultWord, &handle, call.ctx());
  call.resultString(out.data(), written);
}

// LPAD/RPAD(s, width [, pad]): width in display columns.
void pad(Call& call, uint32_t options) {
  if (call.anyNull()) return call.resultNull();
  Bytes text;
  Bytes padding;
  int64_t width = 0;
  if (!call.string(0, &text) || !call.integer(1, &width)) return;
  if (call.argc() > 2 && !call.string(2, &padding)) return;
  Bytes out = call.destination();
  uint32_t resultWord = 0;
  const uint32_t written =
      lxkPad(out.data(), call.session().capacity(), text.data(), static_cast<uint32_t>(text.size()),
             padding.data(), static_cast<uint32_t>(padding.size()),
             static_cast<uint32_t>(std::clamp<int64_t>(width, 0, UINT32_MAX)), options, &resultWord,
             call.handle(), call.ctx());
  call.resultString(out.data(), written);
}

void sqlLpad(Call& call) { pad(call, PAD_LEFT); }
void sqlRpad(Call& call) { pad(call, 0); }

void sqlTranslate(Call& call) {
  if (call.anyNull()) return call.resultNull();
  Bytes text;
  Bytes from;
  Bytes to;
  if (!call.string(0, &text) || !call.string(1, &from) || !call.string(2, &to)) return;
  Bytes out = call.destination();
  const uint32_t written = lxkTranslate(
      out.data(), call.session().capacity(), text.data(), static_cast<uint32_t>(text.size()),
      from.data(), static_cast<uint32_t>(from.size()), to.data(), static_cast<uint32_t>(to.size()),
      call.handle(), call.ctx());
  call.resultString(out.data(), written);
}

// TRIM(s [, c]) takes one character (both ends); LTRIM/RTRIM(s [, set]) a
// set.  Without the second argument the set's blank is trimmed.
void trim(Call& call, uint32_t options) {
  if (call.anyNull()) return call.resultNull();
  Bytes text;
  Bytes set;
  if (!call.string(0, &text)) return;
  if (call.argc() > 1 && !call.string(1, &set)) return;
  Bytes out = call.destination();
  uint32_t length = 0;
  uint32_t status = 0;
  const uint8_t* result =
      lxkTrim(&length, out.data(), call.session().capacity(), text.data(),
              static_cast<uint32_t>(text.size()), set.empty() ? nullptr : set.data(),
              static_cast<uint32_t>(set.size()), options, &status, call.handle(), call.ctx());
  if (status == TRIM_STATUS_NOT_SINGLE)
    return call.fail("the trim character must be one character");
  if (result == nullptr || length == 0) return call.resultString(nullptr, 0);
  call.resultString(result, length);
}

void sqlTrim(Call& call) { trim(call, TRIM_SINGLE); }
void sqlLtrim(Call& call) { trim(call, TRIM_LEADING); }
void sqlRtrim(Call& call) { trim(call, TRIM_TRAILING); }

// CONVERT(x, to [, from]): the bytes of x taken as text of `from` (default:
// the session set for a BLOB, UTF-8 for TEXT) in the set `to`, as a BLOB; as
// TEXT when `to` is the UTF-8 set itself.
void sqlConvert(Call& call) {
  if (call.anyNull()) return call.resultNull();
  std::string toName = call.word(1);
  const NlsCharsetInfo* to = findCharset(toName);
  if (to == nullptr) return call.fail("unknown character set '" + toName + "'");
  const NlsCharsetInfo* from = nullptr;
  if (call.argc() > 2) {
    std::string fromName = call.word(2);
    from = findCharset(fromName);
    if (from == nullptr) return call.fail("unknown character set '" + fromName + "'");
  } else {
    from = findCharset(call.isBlob(0) ? call.session().charset() : kTextCharset);
  }
  Bytes source = call.rawBytes(0);
  Bytes converted;
  if (!call.session().convert(to->name, from->name, source.data(), source.size(), &converted))
    return call.fail("the argument ends inside a character of " + std::string(from->name));
  if (std::string_view(to->name) == kTextCharset)
    return call.resultText(std::string(converted.begin(), converted.end()));
  call.resultBlob(converted);
}

// ---- Session settings --------------------------------------------------------

void sqlCharset(Call& call) {
  if (call.argc() == 1) {
    if (call.isNull(0)) return call.fail("the character set name is NULL");
    std::string error;
    if (!call.session().setCharset(call.word(0), &error)) return call.fail(error);
  }
  call.resultText(call.session().charset());
}

void sqlCollation(Call& call) {
  if (call.argc() == 1) {
    if (call.isNull(0)) return call.fail("the collation name is NULL");
    std::string error;
    if (!call.session().setCollation(call.word(0), &error)) return call.fail(error);
  }
  call.resultText(call.session().collation());
}

void sqlCapacity(Call& call) {
  if (call.argc() == 1) {
    int64_t capacity = 0;
    if (call.isNull(0)) return call.fail("the capacity is NULL");
    if (!call.integer(0, &capacity)) return;
    std::string error;
    if (!call.session().setCapacity(capacity, &error)) return call.fail(error);
  }
  call.resultInteger(call.session().capacity());
}

// ---- The lxk_charsets table ---------------------------------------------------

struct CatalogueCursor {
  sqlite3_vtab_cursor base;
  uint32_t index;
};

enum CatalogueColumn { kName, kId, kClass, kMaxBytes, kStringFunctions, kAliases, kDescription };

int catalogueConnect(sqlite3* db, void*, int, const char* const*, sqlite3_vtab** out, char**) {
  int rc = sqlite3_declare_vtab(db,
                                "CREATE TABLE x(name TEXT, id INTEGER, class TEXT, "
                                "max_bytes INTEGER, string_functions INTEGER, aliases TEXT, "
                                "description TEXT)");
  if (rc != SQLITE_OK) return rc;
  auto* table = static_cast<sqlite3_vtab*>(sqlite3_malloc(sizeof(sqlite3_vtab)));
  if (table == nullptr) return SQLITE_NOMEM;
  *table = sqlite3_vtab{};
  *out = table;
  return SQLITE_OK;
}

int catalogueDisconnect(sqlite3_vtab* table) {
  sqlite3_free(table);
  return SQLITE_OK;
}

int catalogueBestIndex(sqlite3_vtab*, sqlite3_index_info* info) {
  info->estimatedRows = nlsCatalogueCount();
  info->estimatedCost = static_cast<double>(info->estimatedRows);
  return SQLITE_OK;
}

int catalogueOpen(sqlite3_vtab*, sqlite3_vtab_cursor** out) {
  auto* cursor = new CatalogueCursor{};
  *out = &cursor->base;
  return SQLITE_OK;
}

int catalogueClose(sqlite3_vtab_cursor* cursor) {
  delete reinterpret_cast<CatalogueCursor*>(cursor);
  return SQLITE_OK;
}

int catalogueFilter(sqlite3_vtab_cursor* cursor, int, const char*, int, sqlite3_value**) {
  reinterpret_cast<CatalogueCursor*>(cursor)->index = 0;
  return SQLITE_OK;
}

int catalogueNext(sqlite3_vtab_cursor* cursor) {
  ++reinterpret_cast<CatalogueCursor*>(cursor)->index;
  return SQLITE_OK;
}

int catalogueEof(sqlite3_vtab_cursor* cursor) {
  return reinterpret_cast<CatalogueCursor*>(cursor)->index >= nlsCatalogueCount();
}

void resultCString(sqlite3_context* context, const char* text) {
  sqlite3_result_text(context, text ? text : "", -1, SQLITE_STATIC);
}

int catalogueColumn(sqlite3_vtab_cursor* cursor, sqlite3_context* context, int column) {
  const NlsCharsetInfo* info = nlsCatalogueEntry(reinterpret_cast<CatalogueCursor*>(cursor)->index);
  if (info == nullptr) {
    sqlite3_result_null(context);
    return SQLITE_OK;
  }
  switch (column) {
    case kName:
      resultCString(context, info->name);
      break;
    case kId:
      sqlite3_result_int(context, info->charsetId);
      break;
    case kClass:
      resultCString(context, charsetClass(*info));
      break;
    case kMaxBytes:
      sqlite3_result_int64(context, info->maxBytesPerChar);
      break;
    case kStringFunctions:
      sqlite3_result_int(context, info->conversionOnly ? 0 : 1);
      break;
    case kAliases:
      resultCString(context, info->aliases);
      break;
    case kDescription:
      resultCString(context, info->description);
      break;
    default:
      sqlite3_result_null(context);
  }
  return SQLITE_OK;
}

int catalogueRowid(sqlite3_vtab_cursor* cursor, sqlite3_int64* rowid) {
  *rowid = reinterpret_cast<CatalogueCursor*>(cursor)->index + 1;
  return SQLITE_OK;
}

// Eponymous only (no xCreate): the table exists in every connection as is.
sqlite3_module catalogueModule() {
  sqlite3_module module{};
  module.xConnect = catalogueConnect;
  module.xBestIndex = catalogueBestIndex;
  module.xDisconnect = catalogueDisconnect;
  module.xOpen = catalogueOpen;
  module.xClose = catalogueClose;
  module.xFilter = catalogueFilter;
  module.xNext = catalogueNext;
  module.xEof = catalogueEof;
  module.xColumn = catalogueColumn;
  module.xRowid = catalogueRowid;
  return module;
}

// ---- Registration ----------------------------------------------------------

constexpr FunctionDef kFunctions[] = {
    {"ASCII", 1, 1, sqlAscii, Unit::kChar, false},
    {"CHR", 1, 1, sqlChr, Unit::kChar, false},
    {"CONCAT", 2, -1, sqlConcat, Unit::kChar, false},
    {"UPPER", 1, 1, sqlUpper, Unit::kChar, false},
    {"LOWER", 1, 1, sqlLower, Unit::kChar, false},
    {"INITCAP", 1, 1, sqlInitcap, Unit::kChar, false},
    {"SUBSTR", 2, 4, sqlSubstr, Unit::kChar, true},
    {"SUBSTRING", 2, 4, sqlSubstr, Unit::kChar, true},
    {"SUBSTRB", 2, 3, sqlSubstr, Unit::kByte, false},
    {"SUBSTRC", 2, 3, sqlSubstr, Unit::kComplete, false},
    {"SUBSTR2", 2, 3, sqlSubstr, Unit::kUcs2, false},
    {"SUBSTR4", 2, 3, sqlSubstr, Unit::kUcs4, false},
    {"LENGTH", 1, 2, sqlLength, Unit::kChar, true},
    {"LENGTHB", 1, 1, sqlLength, Unit::kByte, false},
    {"LENGTHC", 1, 1, sqlLength, Unit::kComplete, false},
    {"LENGTH2", 1, 1, sqlLength, Unit::kUcs2, false},
    {"LENGTH4", 1, 1, sqlLength, Unit::kUcs4, false},
    {"INSTR", 2, 4, sqlInstr, Unit::kChar, false},
    {"INSTRB", 2, 4, sqlInstr, Unit::kByte, false},
    {"INSTRC", 2, 4, sqlInstr, Unit::kComplete, false},
    {"INSTR2", 2, 4, sqlInstr, Unit::kUcs2, false},
    {"INSTR4", 2, 4, sqlInstr, Unit::kUcs4, false},
    {"REPLACE", 2, 3, sqlReplace, Unit::kChar, false},
    {"LPAD", 2, 3, sqlLpad, Unit::kChar, false},
    {"RPAD", 2, 3, sqlRpad, Unit::kChar, false},
    {"TRANSLATE", 3, 3, sqlTranslate, Unit::kChar, false},
    {"TRIM", 1, 2, sqlTrim, Unit::kChar, false},
    {"LTRIM", 1, 2, sqlLtrim, Unit::kChar, false},
    {"RTRIM", 1, 2, sqlRtrim, Unit::kChar, false},
    {"CONVERT", 2, 3, sqlConvert, Unit::kChar, false},
    {"lxk_charset", 0, 1, sqlCharset, Unit::kChar, false},
    {"lxk_collation", 0, 1, sqlCollation, Unit::kChar, false},
    {"lxk_capacity", 0, 1, sqlCapacity, Unit::kChar, false},
};

void invoke(sqlite3_context* context, int argc, sqlite3_value** argv) {
  Call call(context, argc, argv);
  call.def().body(call);
}

void destroyBinding(void* binding) { delete static_cast<Binding*>(binding); }

}  // namespace

int registerFunctions(sqlite3* db, Session* session) {
  for (const FunctionDef& def : kFunctions) {
    // One registration per argument count, so that SQLite itself rejects a
    // wrong count with the function's name; -1 takes any count.
    int first = def.maxArgs < 0 ? -1 : def.minArgs;
    int last = def.maxArgs < 0 ? -1 : def.maxArgs;
    for (int argc = first; argc <= last; ++argc) {
      auto* binding = new Binding{session, &def};
      int rc = sqlite3_create_function_v2(db, def.name, argc, SQLITE_UTF8, binding, invoke, nullptr,
                                          nullptr, destroyBinding);
      if (rc != SQLITE_OK) return rc;
    }
  }
  static const sqlite3_module module = catalogueModule();
  return sqlite3_create_module(db, "lxk_charsets", &module, nullptr);
}

}  // namespace lxksql
