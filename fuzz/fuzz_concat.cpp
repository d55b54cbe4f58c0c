// CONCAT: two operands at any capacity; the checks are in docs/fuzzing.md.
// In shift-sensitive sets the full result merges the run that closes the
// first operand with one that opens the second; a result cut inside the
// second operand is still a byte prefix of it, bar its own closing shift-in.
#include "harness.h"

using namespace lxkfuzz;

namespace {

Outcome concat(const Picked& set, int64_t capacity, const lxktest::GuardedBuffer& first,
               const lxktest::GuardedBuffer& second) {
  static lxktest::GuardedBuffer buffer;
  const Destination d = destination(buffer, capacity);
  Outcome o;
  ctx()->status = NLS_STATUS_OK;
  traceCall("lxkConcat(capacity %lld, first %zu bytes, second %zu bytes)",
            static_cast<long long>(capacity), first.size(), second.size());
  o.bytes = written(
      d, lxkConcat(d.out, d.room, first.data(), static_cast<uint32_t>(first.size()), second.data(),
                   static_cast<uint32_t>(second.size()), &o.resultWord, set.handle, ctx()));
  o.status = ctx()->status;
  LXK_CHECK("result-word",
            o.resultWord == LXK_RESULT_COMPLETE || o.resultWord == LXK_RESULT_TRUNCATED ||
                (first.size() + second.size() == 0 && o.resultWord == kUntouched),
            "result word %u", o.resultWord);
  return o;
}

// Random bytes are cut back to whole characters by the trimming walk, so
// that a whole result can be asked of any operand.
const Bytes& trimmed(Source& s, const Picked& set) {
  if (!s.wellFormed && !set.shiftSensitive)
    s.bytes.resize(wholeEnd(s.bytes.data(), s.bytes.size(), set) - s.bytes.data());
  return s.bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  const Picked set = pickSet(in);
  Source a = pickSource(in, set, 128);
  Source b = pickSource(in, set, 128);
  static lxktest::GuardedBuffer first, second;
  first.assign(trimmed(a, set).data(), a.bytes.size());
  second.assign(trimmed(b, set).data(), b.bytes.size());
  // Whole characters are asked of well-formed operands only: on malformed
  // text the core's trimmers (lead-byte table, UTF-8 bits, the copy's own
  // cut) place the last boundary differently.
  const bool whole = a.wellFormed && b.wellFormed;
  const uint32_t total = static_cast<uint32_t>(first.size() + second.size());

  const Outcome full = concat(set, total + 2, first, second);
  // Two empty operands leave the result word alone.
  LXK_CHECK("empty-result-word", total != 0 || full.resultWord == kUntouched, "result word %u",
            full.resultWord);
  LXK_CHECK("complete",
            total == 0 || (full.resultWord == LXK_RESULT_COMPLETE && full.status == NLS_STATUS_OK),
            "result word %u, status %d with room for both operands", full.resultWord, full.status);
  if (whole) checkWhole("full result", full.bytes, set);

  const int64_t capacity = pickCapacity(in, total);
  const Outcome cut = concat(set, capacity, first, second);
  if (total == 0) return 0;
  // A missing destination counts as capacity 0.  A result shorter than the
  // full one is always reported.  Shift-sensitive sets report nothing else
  // (merged runs and operands of shift bytes alone make lengths say
  // nothing); the other sets judge by the operands' bytes, so they may also
  // report a cut when the bytes left out are an incomplete last character
  // the full result drops too, but never when every byte fits.
  const uint32_t room = capacity == kMissing ? 0 : static_cast<uint32_t>(capacity);
  const bool cutShort = cut.bytes.size() < full.bytes.size();
  const bool reported = cut.resultWord == LXK_RESULT_TRUNCATED;
  const bool mayReport = cutShort || (!set.shiftSensitive && total > room);
  LXK_CHECK("truncated-word", (!cutShort || reported) && (mayReport || !reported),
            "result word %u for %zu of %zu bytes", cut.resultWord, cut.bytes.size(),
            full.bytes.size());
  LXK_CHECK("status", cut.status == (reported ? NLS_STATUS_TRUNCATED : NLS_STATUS_OK),
            "status %d with result word %u", cut.status, cut.resultWord);
  if (whole) checkWhole("cut result", cut.bytes, set);
  checkPrefix("cut result", cut.bytes, full.bytes, set);
  return 0;
}
