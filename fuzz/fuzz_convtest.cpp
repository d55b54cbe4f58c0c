// The conversion test between any two sets on any bytes: the context's
// fields stay within the text, the status takes its documented values, and
// on well-formed text between sets ICU knows the verdict agrees with ICU's
// converters stopped at the first substitution.
#include <unicode/uchar.h>
#include <unicode/ucnv.h>
#include <unicode/utf8.h>
#include <unicode/ucnv_err.h>

#include <map>

#include "harness.h"

using namespace lxkfuzz;

namespace {

const std::map<std::string, const char*>& icuNames() {
  static const std::map<std::string, const char*> names = {{"AL32UTF8", "UTF-8"},
                                                           {"UTF8", "CESU-8"},
                                                           {"AL16UTF16", "UTF-16BE"},
                                                           {"GB18030", "gb18030"},
                                                           {"ISO-8859-1", "ISO-8859-1"},
                                                           {"WINDOWS-1252", "ibm-5348_P100-1997"},
                                                           {"IBM-1047", "ibm-1047_P100-1995"},
                                                           {"SHIFT_JIS", "ibm-943_P15A-2003"},
                                                           {"EUC-JP", "euc-jp-2007"},
                                                           {"BIG5-HKSCS", "ibm-1375_P100-2008"},
                                                           {"IBM-930", "ibm-930_P120-1999"}};
  return names;
}

// Bytes this system counts as no character whatever ICU maps them to.
bool marked(const std::string& set, uint8_t b) {
  if (set == "ISO-8859-1") return b >= 0x80 && b <= 0x9F;
  if (set == "WINDOWS-1252") return b == 0x81 || b == 0x8D || b == 0x8F || b == 0x90 || b == 0x9D;
  return false;
}

// -1 lossy, 0 unchanged, else the converted length.
int64_t icuVerdict(const std::string& from, const std::string& to, const Bytes& text) {
  for (uint8_t b : text)
    if (marked(from, b)) return -1;
  UErrorCode err = U_ZERO_ERROR;
  UConverter* source = ucnv_open(icuNames().at(from), &err);
  UConverter* target = ucnv_open(icuNames().at(to), &err);
  ucnv_setToUCallBack(source, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &err);
  ucnv_setFromUCallBack(target, UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &err);
  std::vector<char> out(text.size() * 4 + 16);
  char* o = out.data();
  const char* in = reinterpret_cast<const char*>(text.data());
  ucnv_convertEx(target, source, &o, out.data() + out.size(), &in, in + text.size(), nullptr,
                 nullptr, nullptr, nullptr, true, true, &err);
  ucnv_close(source);
  ucnv_close(target);
  if (U_FAILURE(err)) return -1;
  return Bytes(out.data(), o) == text ? 0 : static_cast<int64_t>(o - out.data());
}

// Texts the comparison leaves out: U+FFFD, which this system takes for a
// character without a value, the default-ignorable characters, which ICU's
// converters drop where the target lacks them, and private-use characters,
// for which they take one-way mappings.
bool outsideComparison(const Picked& set, const Bytes& text) {
  Bytes utf8(text.size() * 4 + 16);
  const int32_t n = nlsConvert(ctx(), "AL32UTF8", utf8.data(), static_cast<uint32_t>(utf8.size()),
                               set.set->info->name, text.data(), static_cast<uint32_t>(text.size()));
  if (n < 0) return true;
  for (int32_t i = 0; i < n;) {
    UChar32 c;
    U8_NEXT(utf8.data(), i, n, c);
    if (c < 0 || c == 0xFFFD || u_hasBinaryProperty(c, UCHAR_DEFAULT_IGNORABLE_CODE_POINT) ||
        u_charType(c) == U_PRIVATE_USE_CHAR)
      return true;
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  const Picked from = pickSet(in);
  const std::string fromName = from.set->info->name;
  const Picked to = pickSet(in);
  const std::string toName = to.set->info->name;
  const Source s = pickSource(in, from, 200);
  const uint8_t mode = in.ConsumeBool() ? 1 : 0;

  static lxktest::GuardedBuffer src;
  src.assign(s.bytes.data(), s.bytes.size());
  const auto* target = static_cast<const CharsetDefinition*>(nlsDefinition(ctx(), toName.c_str()));
  const auto* source =
      static_cast<const CharsetDefinition*>(nlsDefinition(ctx(), fromName.c_str()));
  traceCall("lxkCSConvTest(%s -> %s, %s, mode %u)", fromName.c_str(), toName.c_str(),
            hex(s.bytes).c_str(), mode);
  NlsContext* c = ctx();
  c->status = 3;
  const int32_t r =
      lxkCSConvTest(target, src.data(), source, static_cast<uint32_t>(s.bytes.size()), mode, c);
  LXK_CHECK("status", c->status == 0 || c->status == NLS_STATUS_INVALID_CHAR, "status %d",
            c->status);
  LXK_CHECK("walked", c->lastByteCount <= s.bytes.size(), "lastByteCount %u of %zu",
            c->lastByteCount, s.bytes.size());
  LXK_CHECK("chars", c->convertedChars <= 2 * s.bytes.size(), "convertedChars %u",
            c->convertedChars);
  LXK_CHECK("replacement", c->replacementSeen == 0 || c->replacementSeen == 1000, "%u",
            c->replacementSeen);
  if (c->status == 0 && mode == 0)
    LXK_CHECK("all-walked", c->lastByteCount == s.bytes.size(), "lastByteCount %u of %zu",
              c->lastByteCount, s.bytes.size());

  const bool known = icuNames().count(fromName) && icuNames().count(toName);
  if (s.wellFormed && mode == 0 && known && !outsideComparison(from, s.bytes)) {
    const int64_t expected = icuVerdict(fromName, toName, s.bytes);
    LXK_CHECK("icu", expected < 0 ? r < 0 : r == expected, "lxk %d, ICU %lld", r,
              static_cast<long long>(expected));
  }
  return 0;
}
