// UPPER/LOWER (lxkToUL, any option word) and INITCAP at any capacity; the
// checks are in docs/fuzzing.md.  Malformed bytes are copied as they are
// (docs/case.md), so on random input the trimming walk may pair a copied
// lead byte with converted characters: whole characters are asked of
// well-formed text only.
#include "harness.h"

using namespace lxkfuzz;

namespace {

Outcome convert(const Picked& set, bool initcap, uint32_t options, int64_t capacity,
                const lxktest::GuardedBuffer& src, lxktest::GuardedBuffer& buffer) {
  const Destination d = destination(buffer, capacity);
  Outcome o;
  ctx()->status = NLS_STATUS_OK;
  traceCall("%s(capacity %lld, source %zu bytes, options 0x%08X): %s",
            initcap ? "lxkInitcap" : "lxkToUL", static_cast<long long>(capacity), src.size(),
            options, hex(src.data(), src.size()).c_str());
  const uint32_t length = static_cast<uint32_t>(src.size());
  o.bytes = written(
      d, initcap ? lxkInitcap(d.out, d.room, src.data(), length, &o.resultWord, set.handle, ctx())
                 : lxkToUL(d.out, d.room, src.data(), length, options, 0, set.handle, ctx()));
  o.status = ctx()->status;
  LXK_CHECK("status", o.status == NLS_STATUS_OK || o.status == NLS_STATUS_TRUNCATED, "status %d",
            o.status);
  // Result word 2 with every cut of a byte-mapped set and for a missing
  // destination; the full conversion reports its cuts in the status only.
  const bool reports = (set.handle->flags & CSH_SIMPLE_CASE) || d.room == 0;
  const uint32_t expected =
      reports && o.status == NLS_STATUS_TRUNCATED ? LXK_RESULT_TRUNCATED : kUntouched;
  LXK_CHECK("initcap-result-word", !initcap || o.resultWord == expected,
            "result word %u with status %d (expected %u)", o.resultWord, o.status, expected);
  return o;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  const Picked set = pickSet(in);
  const bool initcap = in.ConsumeBool();
  const uint32_t options = initcap ? 0 : pickOptions(in);
  const Source s = pickSource(in, set);
  static lxktest::GuardedBuffer src, fullOut, cutOut;
  src.assign(s.bytes.data(), s.bytes.size());
  // The longest expansion of one character is three (U+0390 to three
  // characters); a shift-sensitive result may add its shift bytes.
  const uint32_t full = static_cast<uint32_t>(s.bytes.size() * 6 + 8);
  // Raw bytes with the direction bit clear take the byte-for-byte mapping
  // (scalar/case.cpp), whose cut at the capacity is a byte cut: text as
  // single bytes is what OPT_RAW_BYTES asks for, so only its full result
  // must be whole.
  const bool byteCut = !initcap && (options & OPT_RAW_BYTES) && !(options & CASE_DIRECTION);

  const Outcome whole = convert(set, initcap, options, full, src, fullOut);
  LXK_CHECK("complete", whole.status == NLS_STATUS_OK, "status %d with room for %u bytes",
            whole.status, full);
  if (s.wellFormed) checkWhole("full result", whole.bytes, set);

  const int64_t capacity = pickCapacity(in, static_cast<uint32_t>(whole.bytes.size()));
  const Outcome cut = convert(set, initcap, options, capacity, src, cutOut);
  if (s.wellFormed && !byteCut) checkWhole("cut result", cut.bytes, set);
  checkPrefix("cut result", cut.bytes, whole.bytes, set);
  // INITCAP reports a missing or empty destination as a cut whatever the
  // source; UPPER/LOWER only when a source was left unconverted.
  const bool noRoom = capacity == kMissing || capacity == 0;
  const bool shorter =
      cut.bytes.size() < whole.bytes.size() || (noRoom && (initcap || !s.bytes.empty()));
  LXK_CHECK("truncated-status", (cut.status == NLS_STATUS_TRUNCATED) == shorter,
            "status %d for %zu of %zu bytes", cut.status, cut.bytes.size(), whole.bytes.size());
  return 0;
}
