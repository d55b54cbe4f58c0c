// What every SQL function body of the shell shares: the function table's
// row, the unit names of SUBSTR/LENGTH, and Call, which reads arguments into
// the session set and turns results back.
#pragma once

#include <algorithm>
#include <cctype>
#include <climits>
#include <cmath>
#include <span>
#include <string>

#include "shell/session.h"
#include "shell/sqlite_api.h"

namespace lxksql {

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

inline uint32_t unitOptions(Unit unit) {
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

inline bool countsBytes(Unit unit) {
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
  // Reads or changes the connection's session: neither deterministic nor
  // innocuous, and usable only in top-level SQL (not in a schema's views,
  // triggers or indexes).  Every other function is deterministic and
  // innocuous: its result follows from its arguments and the session.
  bool sessionSetting = false;
};

struct Binding {
  Session* session;
  const FunctionDef* def;
};

inline int32_t clampToInt32(int64_t value) {
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

  sqlite3_context* context() const { return context_; }
  sqlite3_value* value(int index) const { return argv_[index]; }

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

// One family's functions, registered together.  A family in a file of its
// own declares its table here; registerFunctions lists every table.
using FunctionTable = std::span<const FunctionDef>;

extern const FunctionTable kRegexpFunctions;   // sql_regexp.cpp
extern const FunctionTable kConvertFunctions;  // ASCIISTR, UNISTR, CONVTEST (sql_convert.cpp)
extern const FunctionTable kLikeFunctions;     // sql_like.cpp

}  // namespace lxksql
