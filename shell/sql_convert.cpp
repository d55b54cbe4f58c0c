// ASCIISTR, UNISTR and CONVTEST: escaped Unicode in the session set, and the
// conversion test's verdict on a string between two sets.
#include <cstdint>
#include <string>

#include "lxk/lxk.h"
#include "lxk/nlsenv.h"
#include "shell/call.h"

namespace lxksql {
namespace {

// ASCIISTR(x): x in the session set as ASCII text with \XXXX escapes.
void sqlAsciistr(Call& call) {
  if (call.anyNull()) return call.resultNull();
  Bytes src;
  if (!call.string(0, &src)) return;
  Bytes out = call.destination();
  call.ctx()->status = NLS_STATUS_OK;
  const uint32_t n =
      lxkAsciistr(out.data(), call.session().capacity(), src.data(),
                  static_cast<uint32_t>(src.size()), 0, nullptr, call.handle(), call.ctx());
  if (call.ctx()->status == NLS_STATUS_UNSUPPORTED_CHARSET)
    return call.fail("a character of the argument has no UTF-16 form");
  call.resultText(std::string(out.begin(), out.begin() + n));
}

// UNISTR(x): the escapes of x (in the session set) read back into the
// session set.
void sqlUnistr(Call& call) {
  if (call.anyNull()) return call.resultNull();
  Bytes src;
  if (!call.string(0, &src)) return;
  Bytes out = call.destination();
  uint32_t result = 0;
  const uint32_t n = lxkUnistr(out.data(), call.session().capacity(), src.data(),
                               static_cast<uint32_t>(src.size()), 0, &result, call.handle(),
                               call.handle(), call.ctx());
  if (result == LXK_RESULT_BAD_ESCAPE)
    return call.fail("a backslash is not followed by a backslash or four hexadecimal digits");
  call.resultString(out.data(), n);
}

const CharsetDefinition* definitionOf(Call& call, const NlsCharsetInfo* info) {
  return static_cast<const CharsetDefinition*>(nlsDefinition(call.ctx(), info->name));
}

// CONVTEST(x, to [, from]): what converting x from `from` (default: the
// session set for a BLOB, UTF-8 for TEXT) into `to` would do, as
// "unchanged N", "changed N" or "lossy N" with N the converted length in
// bytes, followed by "; ends inside a character" when the text is cut.
void sqlConvTest(Call& call) {
  if (call.anyNull()) return call.resultNull();
  const std::string toName = call.word(1);
  const NlsCharsetInfo* to = findCharset(toName);
  if (to == nullptr) return call.fail("unknown character set '" + toName + "'");
  const NlsCharsetInfo* from = nullptr;
  if (call.argc() > 2) {
    const std::string fromName = call.word(2);
    from = findCharset(fromName);
    if (from == nullptr) return call.fail("unknown character set '" + fromName + "'");
  } else {
    from = findCharset(call.isBlob(0) ? call.session().charset() : kTextCharset);
  }
  const Bytes source = call.rawBytes(0);
  NlsContext* ctx = call.ctx();
  const int32_t r = lxkCSConvTest(definitionOf(call, to), source.data(), definitionOf(call, from),
                                  static_cast<uint32_t>(source.size()), 0, ctx);
  std::string verdict;
  if (r == 0)
    verdict = "unchanged " + std::to_string(ctx->lastByteCount);
  else if (r > 0)
    verdict = "changed " + std::to_string(r);
  else
    verdict = "lossy " + std::to_string(-static_cast<int64_t>(r));
  if (ctx->status == NLS_STATUS_INVALID_CHAR) verdict += "; ends inside a character";
  call.resultText(verdict);
}

}  // namespace

constexpr FunctionDef kConvertFunctionDefs[] = {
    {"ASCIISTR", 1, 1, sqlAsciistr, Unit::kChar, false},
    {"UNISTR", 1, 1, sqlUnistr, Unit::kChar, false},
    {"CONVTEST", 2, 3, sqlConvTest, Unit::kChar, false},
};

const FunctionTable kConvertFunctions = kConvertFunctionDefs;

}  // namespace lxksql
