// The LIKE pattern prefix on random patterns and escapes in every set: one
// of the six classes, result 1 exactly for classes 0x01 and 0x06, a prefix no
// longer than the pattern (one shift-in more in shift-sensitive sets), and a
// status only with result 0.  Where the prefix decides the predicate and no
// escape is in use, LIKE agrees: the prefix itself matches the pattern.
#include <algorithm>

#include "frame/frame.h"
#include "harness.h"

using namespace lxkfuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  const Picked set = pickSet(in);
  Bytes p = pickSource(in, set, 64).bytes;
  const uint8_t specials[] = {0x25, 0x5F, 0x6C, 0x6D, 0x5C};
  for (size_t k = in.ConsumeIntegralInRange<size_t>(0, 3); k > 0; --k)
    p.insert(p.begin() + static_cast<ptrdiff_t>(in.ConsumeIntegralInRange<size_t>(0, p.size())),
             specials[in.ConsumeIntegralInRange<size_t>(0, std::size(specials) - 1)]);
  Bytes e;
  const int escapeKind = in.ConsumeIntegralInRange(0, 2);
  if (escapeKind == 1) e = {0x5C};
  if (escapeKind == 2) e = in.ConsumeBytes<uint8_t>(in.ConsumeIntegralInRange(0, 4));
  static lxktest::GuardedBuffer pat, esc, out;
  pat.assign(p.data(), p.size());
  esc.assign(e.data(), e.size());
  const bool shift = set.shiftSensitive;
  uint8_t* prefix = out.tail(p.size() + (shift ? 1 : 0));
  traceCall("lxkLikPatPref, pattern %s, escape %s", hex(p).c_str(),
            escapeKind ? hex(e).c_str() : "none");
  uint32_t length = 99, chars = 99, status = kUntouched;
  uint8_t cls = 0xFF;
  const int32_t r =
      lxkLikPatPref(pat.data(), static_cast<uint32_t>(p.size()), escapeKind ? esc.data() : nullptr,
                    static_cast<uint32_t>(e.size()), prefix, 0, &length, &chars, &cls, &status,
                    set.handle, ctx());
  LXK_CHECK("result", r == 0 || r == 1, "result %d", r);
  if (status != kUntouched) {
    LXK_CHECK("status", r == 0 && (status == 256 || status == 512), "status %u result %d", status,
              r);
    return 0;
  }
  LXK_CHECK("class",
            cls == 0x01 || cls == 0x06 || cls == 0x0A || cls == 0x10 || cls == 0x20 || cls == 0x40,
            "class 0x%02X", cls);
  LXK_CHECK("result-class", r == ((cls == 0x01 || cls == 0x06) ? 1 : 0), "result %d class 0x%02X",
            r, cls);
  LXK_CHECK("length", length <= p.size() + (shift ? 1u : 0u) && chars <= length,
            "length %u chars %u of %zu", length, chars, p.size());
  // LIKE reads the same wildcards outside single-byte EBCDIC and
  // shift-sensitive sets; there the prefix of a decided pattern matches it.
  const CharsetHandle* h = set.handle;
  // A UTF-16 pattern of odd length is refused by LIKE and read without its
  // cut last unit by the prefix; UTF-EBCDIC's four-byte '%' and '_' are
  // wildcards to the prefix only.
  const bool sameWildcards = !shift && lxk::definitionOf(h, ctx())->charsetId != CSID_UTFE &&
                             !((h->flags & CSH_SINGLE_BYTE) && !(h->flags & CSH_ASCII_BASED)) &&
                             !((h->flags & CSH_UTF16) && (p.size() & 1));
  // Malformed patterns are read differently at their end: the prefix stops
  // at the last character a step back from the end finds.
  Bytes utf8(p.size() * 4 + 8), back(p.size() + 8);
  const int32_t n = nlsConvert(ctx(), "AL32UTF8", utf8.data(), static_cast<uint32_t>(utf8.size()),
                               set.set->info->name, p.data(), static_cast<uint32_t>(p.size()));
  const int32_t m = n < 0 ? -1
                          : nlsConvert(ctx(), set.set->info->name, back.data(),
                                       static_cast<uint32_t>(back.size()), "AL32UTF8", utf8.data(),
                                       static_cast<uint32_t>(n));
  const bool wellFormed =
      m == static_cast<int32_t>(p.size()) && std::equal(p.begin(), p.end(), back.begin());
  if (r == 1 && escapeKind == 0 && length > 0 && sameWildcards && wellFormed &&
      !lxk::linguisticInForce(h)) {
    uint32_t likeStatus = 0;
    const int32_t v = lxkLike(prefix, length, pat.data(), static_cast<uint32_t>(p.size()), nullptr,
                              0, nullptr, 0, nullptr, 0, nullptr, 0, &likeStatus, h, ctx());
    LXK_CHECK("like-agrees", v == 1, "the prefix %s does not match its pattern",
              hex(prefix, length).c_str());
  }
  return 0;
}
