// REGEXP_LIKE, REGEXP_COUNT, REGEXP_INSTR, REGEXP_SUBSTR, REGEXP_REPLACE,
// SQLite's REGEXP operator, and the large-object forms over BLOB columns.
//
// The compiled expression is kept with the pattern argument
// (sqlite3_set_auxdata), so a statement compiles it once and reuses it on
// every row while the pattern, the match parameter, the session set and
// collation stay the same (lxkRegexpReusable decides the parameter part).
#include <cstdlib>
#include <cstring>
#include <new>

#include "shell/call.h"

namespace lxksql {
namespace {

// What an engine result code means, for messages.
const char* engineMessage(int32_t code) {
  switch (code) {
    case -2:
      return "invalid regular expression";
    case -3:
      return "invalid back-reference in the regular expression";
    case -4:
      return "unmatched bracket in the regular expression";
    case -5:
      return "invalid character class name in the regular expression";
    case -6:
      return "unmatched parenthesis in the regular expression";
    case -7:
      return "invalid range in a bracket expression";
    case -8:
      return "invalid repetition in the regular expression";
    case -9:
      return "regular expression too large or nested too deeply";
    case -10:
      return "out of memory in the regular-expression engine";
    case -11:
      return "the search backtracked too often and was stopped";
    case -12:
      return "the search nested too deeply and was stopped";
    case -13:
      return "reading the large object failed";
    case -14:
      return "invalid match parameter";
    case -15:
      return "writing the result failed";
    default:
      return "regular-expression engine error";
  }
}

void failEngine(Call& call, int32_t code) {
  call.fail(std::string(engineMessage(code)) + " (error " + std::to_string(lxkRegexpErr(code)) +
            ")");
}

// A compiled expression kept with the statement's pattern argument.
struct Cached {
  RegexRecord record{};
  Bytes pattern;
  const CharsetHandle* handle = nullptr;
  std::string charset, collation;
  ~Cached() { lxkRegexpFree(&record); }
};

void destroyCached(void* p) { delete static_cast<Cached*>(p); }

// The compiled pattern for one call.  A record compiled by this call is
// handed to SQLite when the call ends (SQLite may destroy it at once when the
// pattern is not a constant, so it is not used after that).
class Expression {
 public:
  Expression(Call& call, int patternIndex) : call_(call), patternIndex_(patternIndex) {}
  ~Expression() {
    if (fresh_ != nullptr)
      sqlite3_set_auxdata(call_.context(), patternIndex_, fresh_, destroyCached);
  }
  Expression(const Expression&) = delete;
  Expression& operator=(const Expression&) = delete;

  // False after a failure, which has been reported.
  bool compile(int paramIndex) {
    Bytes pattern;
    if (!call_.string(patternIndex_, &pattern)) return false;
    std::string param;
    if (paramIndex < call_.argc() && !call_.isNull(paramIndex)) param = call_.word(paramIndex);
    const Session& session = call_.session();
    auto* cached = static_cast<Cached*>(sqlite3_get_auxdata(call_.context(), patternIndex_));
    if (cached != nullptr && cached->pattern == pattern && cached->handle == session.handle() &&
        cached->charset == session.charset() && cached->collation == session.collation() &&
        lxkRegexpReusable(&cached->record, pattern.data(), static_cast<uint32_t>(pattern.size()), 0,
                          param.data(), static_cast<uint32_t>(param.size()), 0, 0,
                          session.handle()) == 1) {
      record_ = &cached->record;
      nlsRegexTakeResult(call_.ctx());
      return true;
    }
    fresh_ = new (std::nothrow) Cached;
    if (fresh_ == nullptr) {
      call_.fail("out of memory");
      return false;
    }
    const int32_t rc = lxkRegexpComp(
        &fresh_->record, pattern.data(), static_cast<uint32_t>(pattern.size()), 0, param.data(),
        static_cast<uint32_t>(param.size()), 0, 0, call_.handle(), call_.ctx());
    if (rc < 0) {
      std::memset(&fresh_->record, 0, sizeof fresh_->record);
      delete fresh_;
      fresh_ = nullptr;
      failEngine(call_, rc);
      return false;
    }
    fresh_->pattern = std::move(pattern);
    fresh_->handle = session.handle();
    fresh_->charset = session.charset();
    fresh_->collation = session.collation();
    record_ = &fresh_->record;
    nlsRegexTakeResult(call_.ctx());
    return true;
  }
  RegexRecord* record() const { return record_; }

 private:
  Call& call_;
  int patternIndex_;
  Cached* fresh_ = nullptr;
  RegexRecord* record_ = nullptr;
};

// An engine error met during the search, which the export cannot report.
bool engineFailed(Call& call) {
  const int32_t rc = nlsRegexTakeResult(call.ctx());
  if (rc >= 0) return false;
  failEngine(call, rc);
  return true;
}

// An optional whole-number argument of at least low.
bool number(Call& call, int index, int64_t fallback, int64_t low, int64_t* out, const char* what) {
  *out = fallback;
  if (index >= call.argc() || call.isNull(index)) return true;
  if (!call.integer(index, out)) return false;
  if (*out < low || *out > INT32_MAX) {
    call.fail(std::string(what) + " must be between " + std::to_string(low) + " and " +
              std::to_string(INT32_MAX));
    return false;
  }
  return true;
}

// The source and pattern: NULL when either is NULL (and the result is set).
bool operands(Call& call, int srcIndex, int patternIndex, Bytes* src) {
  if (call.isNull(srcIndex) || call.isNull(patternIndex)) {
    call.resultNull();
    return false;
  }
  return call.string(srcIndex, src);
}

void finish(Call& call, int64_t value) {
  if (!engineFailed(call)) call.resultInteger(value);
}

// ---- In memory ----------------------------------------------------------------

// REGEXP_LIKE(src, pattern [, match_param])
void sqlRegexpLike(Call& call) {
  Bytes src;
  if (!operands(call, 0, 1, &src)) return;
  Expression e(call, 1);
  if (!e.compile(2)) return;
  finish(call, lxkRegexpLike(e.record(), src.data(), static_cast<uint32_t>(src.size()),
                             call.handle(), call.ctx()));
}

// regexp(pattern, text): SQLite's `text REGEXP pattern`.
void sqlRegexpOperator(Call& call) {
  Bytes src;
  if (!operands(call, 1, 0, &src)) return;
  Expression e(call, 0);
  if (!e.compile(2)) return;
  finish(call, lxkRegexpLike(e.record(), src.data(), static_cast<uint32_t>(src.size()),
                             call.handle(), call.ctx()));
}

// REGEXP_COUNT(src, pattern [, position [, match_param]])
void sqlRegexpCount(Call& call) {
  Bytes src;
  int64_t position;
  if (!operands(call, 0, 1, &src) || !number(call, 2, 1, 1, &position, "position")) return;
  Expression e(call, 1);
  if (!e.compile(3)) return;
  finish(call, lxkRegexpCount(e.record(), src.data(), static_cast<uint32_t>(src.size()),
                              static_cast<uint32_t>(position), call.handle(), call.ctx()));
}

// REGEXP_INSTR(src, pattern [, position [, occurrence [, return_option
//              [, match_param [, subexpression]]]]])
void sqlRegexpInstr(Call& call) {
  Bytes src;
  int64_t position, occurrence, returnOption, sub;
  if (!operands(call, 0, 1, &src) || !number(call, 2, 1, 1, &position, "position") ||
      !number(call, 3, 1, 1, &occurrence, "occurrence") ||
      !number(call, 4, 0, 0, &returnOption, "return option") ||
      !number(call, 6, 0, 0, &sub, "subexpression"))
    return;
  Expression e(call, 1);
  if (!e.compile(5)) return;
  finish(call,
         lxkRegexpInstrNSub(e.record(), src.data(), static_cast<uint32_t>(src.size()),
                            static_cast<uint32_t>(position), static_cast<uint32_t>(occurrence),
                            static_cast<uint16_t>(std::min<int64_t>(sub, 0xFFFF)),
                            returnOption ? 1 : 0, call.handle(), call.ctx()));
}

// REGEXP_SUBSTR(src, pattern [, position [, occurrence [, match_param
//               [, subexpression]]]]): NULL when nothing (or nothing but an
// empty string) matches.
void sqlRegexpSubstr(Call& call) {
  Bytes src;
  int64_t position, occurrence, sub;
  if (!operands(call, 0, 1, &src) || !number(call, 2, 1, 1, &position, "position") ||
      !number(call, 3, 1, 1, &occurrence, "occurrence") ||
      !number(call, 5, 0, 0, &sub, "subexpression"))
    return;
  Expression e(call, 1);
  if (!e.compile(4)) return;
  uint8_t* at = nullptr;
  const uint32_t n = lxkRegexpSubstrNSub(
      e.record(), &at, 0, src.data(), static_cast<uint32_t>(src.size()),
      static_cast<uint32_t>(position), static_cast<uint32_t>(occurrence),
      static_cast<uint16_t>(std::min<int64_t>(sub, 0xFFFF)), call.handle(), call.ctx());
  if (engineFailed(call)) return;
  if (n == 0 || at == nullptr) {
    call.resultNull();
    return;
  }
  // Shift-sensitive text is copied so that the result opens and closes its
  // shifted runs.
  if (call.handle()->flags & CSH_SHIFT_SENSITIVE) {
    Bytes out = call.destination();
    uint8_t* dst = out.data();
    const uint32_t copied = lxkRegexpSubstrNSub(
        e.record(), &dst, static_cast<uint32_t>(out.size()), src.data(),
        static_cast<uint32_t>(src.size()), static_cast<uint32_t>(position),
        static_cast<uint32_t>(occurrence), static_cast<uint16_t>(std::min<int64_t>(sub, 0xFFFF)),
        call.handle(), call.ctx());
    call.resultString(out.data(), copied);
    return;
  }
  call.resultString(at, n);
}

// REGEXP_REPLACE(src, pattern [, replacement [, position [, occurrence
//                [, match_param]]]]): occurrence 0 replaces every match.
void sqlRegexpReplace(Call& call) {
  Bytes src, replacement;
  int64_t position, occurrence;
  if (!operands(call, 0, 1, &src) || !number(call, 3, 1, 1, &position, "position") ||
      !number(call, 4, 0, 0, &occurrence, "occurrence"))
    return;
  if (call.argc() > 2 && !call.isNull(2) && !call.string(2, &replacement)) return;
  Expression e(call, 1);
  if (!e.compile(5)) return;
  Bytes out = call.destination();
  uint8_t* dst = out.data();
  const uint32_t n = lxkRegexpReplace(
      e.record(), &dst, static_cast<uint32_t>(out.size()), src.data(),
      static_cast<uint32_t>(src.size()), replacement.data(),
      static_cast<uint32_t>(replacement.size()), static_cast<uint32_t>(position),
      static_cast<uint32_t>(occurrence), nullptr, nullptr, call.handle(), call.ctx());
  if (engineFailed(call)) return;
  call.resultString(out.data(), n);
}

// ---- Large objects: BLOB columns read through SQLite's incremental I/O ------

// One BLOB opened for reading, and the result collected in memory.
struct BlobLob {
  LobAccess access{};
  sqlite3_blob* blob = nullptr;
  uint32_t width = 1;
  Bytes result;

  ~BlobLob() {
    if (blob != nullptr) sqlite3_blob_close(blob);
  }
  static int16_t read(uint32_t low, uint32_t high, uint32_t* amount, void* buffer, uint32_t size,
                      void* context, uint32_t) {
    auto* self = static_cast<BlobLob*>(context);
    const uint64_t offset = static_cast<uint64_t>(high) << 32 | low;
    const uint64_t total = static_cast<uint64_t>(sqlite3_blob_bytes(self->blob));
    const uint64_t n = std::min<uint64_t>({*amount, size, offset < total ? total - offset : 0});
    if (n != 0 && sqlite3_blob_read(self->blob, buffer, static_cast<int>(n),
                                    static_cast<int>(offset)) != SQLITE_OK)
      return 1;
    *amount = static_cast<uint32_t>(n);
    return 0;
  }
  static int16_t write(uint32_t low, uint32_t high, uint32_t* amount, const void* buffer, uint32_t,
                       void* context, uint32_t) {
    auto* self = static_cast<BlobLob*>(context);
    const uint64_t offset = static_cast<uint64_t>(high) << 32 | low;
    if (offset + *amount > (1u << 30)) return 1;
    if (self->result.size() < offset + *amount) self->result.resize(offset + *amount);
    if (*amount) std::memcpy(self->result.data() + offset, buffer, *amount);
    return 0;
  }
  static void length(void* context, uint64_t* bytes, uint64_t* chars) {
    auto* self = static_cast<BlobLob*>(context);
    *bytes = static_cast<uint64_t>(sqlite3_blob_bytes(self->blob));
    *chars = *bytes / self->width;
  }
};

constexpr uint32_t kLobChunk = 4096;

// Opens main.<table>.<column> at rowid (arguments 0 to 2).  False with the
// failure reported, or with NULL set for a NULL argument.
bool openBlob(Call& call, BlobLob& lob) {
  if (call.isNull(0) || call.isNull(1) || call.isNull(2) || call.isNull(3)) {
    call.resultNull();
    return false;
  }
  int64_t rowid;
  if (!call.integer(2, &rowid)) return false;
  const std::string table = call.word(0), column = call.word(1);
  sqlite3* db = sqlite3_context_db_handle(call.context());
  if (sqlite3_blob_open(db, "main", table.c_str(), column.c_str(), rowid, 0, &lob.blob) !=
      SQLITE_OK) {
    call.fail("cannot open " + table + "." + column + " of row " + std::to_string(rowid) + ": " +
              sqlite3_errmsg(db));
    return false;
  }
  lob.width = call.handle()->maxCharWidth ? call.handle()->maxCharWidth : 1;
  lob.access.chunkSize = kLobChunk;
  lob.access.read = BlobLob::read;
  lob.access.readContext = &lob;
  lob.access.write = BlobLob::write;
  lob.access.writeContext = &lob;
  lob.access.getLength = BlobLob::length;
  return true;
}

// The counting forms need text of a fixed width.
bool fixedWidth(Call& call) {
  if (call.handle()->flags & CSH_FIXED_WIDTH) return true;
  call.fail("large-object text must be in a fixed-width character set, not " +
            call.session().charset());
  return false;
}

// REGEXP_LIKE_LOB(table, column, rowid, pattern [, match_param])
void sqlRegexpLikeLob(Call& call) {
  BlobLob lob;
  if (!openBlob(call, lob)) return;
  Expression e(call, 3);
  if (!e.compile(4)) return;
  finish(call, lxkRegexpLikeLob(e.record(), &lob.access, call.handle(), call.ctx()));
}

// REGEXP_COUNT_LOB(table, column, rowid, pattern [, position [, match_param]])
void sqlRegexpCountLob(Call& call) {
  BlobLob lob;
  int64_t position;
  if (!openBlob(call, lob) || !fixedWidth(call) || !number(call, 4, 1, 1, &position, "position"))
    return;
  Expression e(call, 3);
  if (!e.compile(5)) return;
  const uint64_t n = lxkRegexpCountLob(e.record(), &lob.access, static_cast<uint32_t>(position), 0,
                                       call.handle(), call.ctx());
  finish(call, static_cast<int64_t>(n));
}

// REGEXP_INSTR_LOB(table, column, rowid, pattern [, position [, occurrence
//                  [, return_option [, match_param [, subexpression]]]]])
void sqlRegexpInstrLob(Call& call) {
  BlobLob lob;
  int64_t position, occurrence, returnOption, sub;
  if (!openBlob(call, lob) || !fixedWidth(call) || !number(call, 4, 1, 1, &position, "position") ||
      !number(call, 5, 1, 1, &occurrence, "occurrence") ||
      !number(call, 6, 0, 0, &returnOption, "return option") ||
      !number(call, 8, 0, 0, &sub, "subexpression"))
    return;
  Expression e(call, 3);
  if (!e.compile(7)) return;
  const uint64_t at = lxkRegexpInstrLobNSub(
      e.record(), &lob.access, static_cast<uint32_t>(position), 0,
      static_cast<uint32_t>(occurrence), 0, static_cast<uint16_t>(std::min<int64_t>(sub, 0xFFFF)),
      returnOption ? 1 : 0, call.handle(), call.ctx());
  finish(call, static_cast<int64_t>(at));
}

// REGEXP_SUBSTR_LOB(table, column, rowid, pattern [, position [, occurrence
//                   [, match_param [, subexpression]]]])
void sqlRegexpSubstrLob(Call& call) {
  BlobLob lob;
  int64_t position, occurrence, sub;
  if (!openBlob(call, lob) || !fixedWidth(call) || !number(call, 4, 1, 1, &position, "position") ||
      !number(call, 5, 1, 1, &occurrence, "occurrence") ||
      !number(call, 7, 0, 0, &sub, "subexpression"))
    return;
  Expression e(call, 3);
  if (!e.compile(6)) return;
  const uint64_t n = lxkRegexpSubstrLobNSub(
      e.record(), &lob.access, static_cast<uint32_t>(position), 0,
      static_cast<uint32_t>(occurrence), 0, static_cast<uint16_t>(std::min<int64_t>(sub, 0xFFFF)),
      call.handle(), call.ctx());
  if (engineFailed(call)) return;
  if (n == 0) {
    call.resultNull();
    return;
  }
  lob.result.resize(n);
  call.resultString(lob.result);
}

// REGEXP_REPLACE_LOB(table, column, rowid, pattern [, replacement
//                    [, position [, occurrence [, match_param]]]])
void sqlRegexpReplaceLob(Call& call) {
  BlobLob lob;
  Bytes replacement;
  int64_t position, occurrence;
  if (!openBlob(call, lob) || !fixedWidth(call) || !number(call, 5, 1, 1, &position, "position") ||
      !number(call, 6, 0, 0, &occurrence, "occurrence"))
    return;
  if (call.argc() > 4 && !call.isNull(4) && !call.string(4, &replacement)) return;
  Expression e(call, 3);
  if (!e.compile(7)) return;
  const int64_t n = static_cast<int64_t>(lxkRegexpReplaceLob(
      e.record(), &lob.access, replacement.data(), static_cast<uint32_t>(replacement.size()),
      static_cast<uint32_t>(position), 0, static_cast<uint32_t>(occurrence), 0, call.handle(),
      call.ctx()));
  if (n < 0) {
    failEngine(call, static_cast<int32_t>(n));
    return;
  }
  if (engineFailed(call)) return;
  lob.result.resize(static_cast<size_t>(n));
  call.resultString(lob.result);
}

constexpr FunctionDef kRegexpTable[] = {
    {"REGEXP_LIKE", 2, 3, sqlRegexpLike, Unit::kChar, false},
    {"REGEXP_COUNT", 2, 4, sqlRegexpCount, Unit::kChar, false},
    {"REGEXP_INSTR", 2, 7, sqlRegexpInstr, Unit::kChar, false},
    {"REGEXP_SUBSTR", 2, 6, sqlRegexpSubstr, Unit::kChar, false},
    {"REGEXP_REPLACE", 2, 6, sqlRegexpReplace, Unit::kChar, false},
    {"regexp", 2, 2, sqlRegexpOperator, Unit::kChar, false},
    // They read a table: neither deterministic nor innocuous.
    {"REGEXP_LIKE_LOB", 4, 5, sqlRegexpLikeLob, Unit::kChar, false, true},
    {"REGEXP_COUNT_LOB", 4, 6, sqlRegexpCountLob, Unit::kChar, false, true},
    {"REGEXP_INSTR_LOB", 4, 9, sqlRegexpInstrLob, Unit::kChar, false, true},
    {"REGEXP_SUBSTR_LOB", 4, 8, sqlRegexpSubstrLob, Unit::kChar, false, true},
    {"REGEXP_REPLACE_LOB", 4, 8, sqlRegexpReplaceLob, Unit::kChar, false, true},
};

}  // namespace

const FunctionTable kRegexpFunctions = kRegexpTable;

}  // namespace lxksql
