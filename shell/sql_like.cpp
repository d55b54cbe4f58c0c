// LIKE in the shell: SQLite's like() with two and three arguments, so that
// the LIKE operator and LIKE ... ESCAPE run lxkLike in the session set and
// collation; LIKEC, LIKE2 and LIKE4 for complete characters, UCS-2 units and
// code points; and LIKE_PREFIX, the fixed prefix of a pattern and its class.
#include <cstdio>

#include "shell/call.h"

namespace lxksql {
namespace {

// The operands in the set, the escape if any; NULL in, NULL out.  like()
// takes the pattern first, as SQLite's operator calls it.
void likeWith(Call& call, uint32_t options, bool patternFirst) {
  if (call.anyNull()) return call.resultNull();
  Bytes source, pattern, escape;
  if (!call.string(patternFirst ? 1 : 0, &source) || !call.string(patternFirst ? 0 : 1, &pattern))
    return;
  const bool hasEscape = call.argc() > 2;
  if (hasEscape && !call.string(2, &escape)) return;
  if (hasEscape && escape.empty()) return call.fail("the escape must be one character");
  uint32_t status = LIKE_STATUS_OK;
  const int32_t verdict =
      lxkLike(source.data(), static_cast<uint32_t>(source.size()), pattern.data(),
              static_cast<uint32_t>(pattern.size()), hasEscape ? escape.data() : nullptr,
              static_cast<uint32_t>(escape.size()), nullptr, 0, nullptr, 0, nullptr, options,
              &status, call.handle(), call.ctx());
  if (status == LIKE_STATUS_BAD_ESCAPE_CHAR) return call.fail("the escape must be one character");
  if (status == LIKE_STATUS_BAD_ESCAPE_SEQUENCE)
    return call.fail("an escape must be followed by %, _ or the escape itself");
  call.resultInteger(verdict);
}

void sqlLikeOperator(Call& call) { likeWith(call, 0, true); }

void sqlLikeUnits(Call& call) { likeWith(call, unitOptions(call.def().unit), false); }

const char* className(uint8_t cls) {
  switch (cls) {
    case LIKE_PREFIX_NO_WILDCARD:
      return "equals";
    case LIKE_PREFIX_ONE_TRAILING_WILDCARD | LIKE_PREFIX_TRAILING_PERCENT:
      return "starts with";
    case LIKE_PREFIX_ONE_TRAILING_WILDCARD | LIKE_PREFIX_TRAILING_UNDERSCORE:
      return "prefix and one character";
    case LIKE_PREFIX_MORE_AFTER_WILDCARD:
      return "prefix and more";
    case LIKE_PREFIX_EMPTY:
      return "no prefix";
    default:
      return "only wildcards";
  }
}

// LIKE_PREFIX(pattern [, escape]): 'prefix' [class 0xNN: what it means].
void sqlLikePrefix(Call& call) {
  if (call.anyNull()) return call.resultNull();
  Bytes pattern, escape;
  if (!call.string(0, &pattern)) return;
  const bool hasEscape = call.argc() > 1;
  if (hasEscape && !call.string(1, &escape)) return;
  Bytes prefix(pattern.size() + 2);
  uint32_t length = 0, chars = 0, status = LIKE_STATUS_OK;
  uint8_t cls = 0;
  lxkLikPatPref(pattern.data(), static_cast<uint32_t>(pattern.size()),
                hasEscape ? escape.data() : nullptr, static_cast<uint32_t>(escape.size()),
                prefix.data(), 0, &length, &chars, &cls, &status, call.handle(), call.ctx());
  if (status == LIKE_STATUS_BAD_ESCAPE_CHAR) return call.fail("the escape must be one character");
  if (status == LIKE_STATUS_BAD_ESCAPE_SEQUENCE)
    return call.fail("an escape must be followed by %, _ or the escape itself");
  std::string text;
  if (!call.session().fromSession(prefix.data(), length, &text)) text = "?";
  char tail[64];
  std::snprintf(tail, sizeof tail, "' [%u characters, class 0x%02X: %s]", chars, cls,
                className(cls));
  call.resultText("'" + text + tail);
}

constexpr FunctionDef kLike[] = {
    {"LIKE", 2, 3, sqlLikeOperator, Unit::kChar, false},
    {"LIKEC", 2, 3, sqlLikeUnits, Unit::kComplete, false},
    {"LIKE2", 2, 3, sqlLikeUnits, Unit::kUcs2, false},
    {"LIKE4", 2, 3, sqlLikeUnits, Unit::kUcs4, false},
    {"LIKE_PREFIX", 1, 2, sqlLikePrefix, Unit::kChar, false},
};

}  // namespace

const FunctionTable kLikeFunctions{kLike};

}  // namespace lxksql
