#include "shell/functions.h"

#include <new>
#include <string>

#include "shell/call.h"

// The routine table SQLite hands registerConnection; every SQLite call of the
// SQL functions goes through it.  SQLite's extension interface keeps it in
// this one process-wide pointer, which every connection sets to the same table.
SQLITE_EXTENSION_INIT1

namespace lxksql {
namespace {

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

constexpr FunctionDef kScalarAndEditFunctions[] = {
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
    {"lxk_charset", 0, 1, sqlCharset, Unit::kChar, false, true},
    {"lxk_collation", 0, 1, sqlCollation, Unit::kChar, false, true},
    {"lxk_capacity", 0, 1, sqlCapacity, Unit::kChar, false, true},
};

void invoke(sqlite3_context* context, int argc, sqlite3_value** argv) {
  Call call(context, argc, argv);
  call.def().body(call);
}

void destroyBinding(void* binding) { delete static_cast<Binding*>(binding); }
void destroySession(void* session) { delete static_cast<Session*>(session); }

// Registers every table's functions and the lxk_charsets table, bound to
// session; the connection takes the session over, even on failure.
int registerFunctions(sqlite3* db, Session* session) {
  // The catalogue table owns the session: SQLite destroys it with the
  // connection, or with this registration when a second one replaces it.
  static const sqlite3_module module = catalogueModule();
  int rc = sqlite3_create_module_v2(db, "lxk_charsets", &module, session, destroySession);
  if (rc != SQLITE_OK) return rc;
  // Each family of functions keeps its table beside its bodies.
  const FunctionTable tables[] = {kScalarAndEditFunctions, kRegexpFunctions, kConvertFunctions,
                                  kLikeFunctions};
  for (FunctionTable table : tables) {
    for (const FunctionDef& def : table) {
      const int flags =
          SQLITE_UTF8 |
          (def.sessionSetting ? SQLITE_DIRECTONLY : SQLITE_DETERMINISTIC | SQLITE_INNOCUOUS);
      // One registration per argument count, so that SQLite itself rejects a
      // wrong count with the function's name; -1 takes any count.
      int first = def.maxArgs < 0 ? -1 : def.minArgs;
      int last = def.maxArgs < 0 ? -1 : def.maxArgs;
      for (int argc = first; argc <= last; ++argc) {
        auto* binding = new (std::nothrow) Binding{session, &def};
        if (binding == nullptr) return SQLITE_NOMEM;
        // SQLite destroys the binding itself when the call fails.
        rc = sqlite3_create_function_v2(db, def.name, argc, flags, binding, invoke, nullptr,
                                        nullptr, destroyBinding);
        if (rc != SQLITE_OK) return rc;
      }
    }
  }
  return SQLITE_OK;
}

}  // namespace

int registerConnection(sqlite3* db, char** error, const sqlite3_api_routines* api) {
  SQLITE_EXTENSION_INIT2(api);
  auto* session = new (std::nothrow) Session;
  if (session == nullptr || !session->ready()) {
    delete session;
    if (error != nullptr)
      *error = sqlite3_mprintf("lxk: the character-set catalogue could not be loaded");
    return SQLITE_ERROR;
  }
  return registerFunctions(db, session);
}

}  // namespace lxksql
