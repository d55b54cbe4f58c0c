// CONCAT: two operands at any capacity.  Checks: nothing past the capacity
// (guard page), the length within it, whole characters and closed runs when
// both operands are whole, a result word of 0 or 2 that says 2 exactly when
// the full result does not fit, status 6 with it, and every shorter result a
// prefix of the full one.  In shift-sensitive sets the full result merges
// the run that closes the first operand with one that opens the second;
// a result cut inside the second operand is still a byte prefix of it, bar
// its own closing shift-in byte.
#include "harness.h"

using namespace lxkfuzz;

namespace {

Outcome concat(const Picked& set, int64_t capacity, const lxktest::GuardedBuffer& first,
               const lxktest::GuardedBuffer& second) {
  static lxktest::GuardedBuffer destination;
  const uint32_t room = capacity == kMissing ? 0 : static_cast<uint32_t>(capacity);
  uint8_t* const out = capacity == kMissing ? nullptr : destination.tail(room);
  Outcome o{{}, kUntouched, NLS_STATUS_OK};
  env().ctx()->status = NLS_STATUS_OK;
  char call[160];
  std::snprintf(call, sizeof call, "lxkConcat(capacity %lld, first %zu bytes, second %zu bytes)",
                static_cast<long long>(capacity), first.size(), second.size());
  trace().call = call;
  const uint32_t n =
      lxkConcat(out, room, first.data(), static_cast<uint32_t>(first.size()), second.data(),
                static_cast<uint32_t>(second.size()), &o.resultWord, set.handle, env().ctx());
  o.status = env().ctx()->status;
  LXK_CHECK("length", n <= room, "returned %u for capacity %u", n, room);
  if (out != nullptr) o.bytes.assign(out, out + (n <= room ? n : room));
  return o;
}

// Random bytes are cut back to whole characters by the trimming walk, so
// that a whole result can be asked of any operand.
Bytes trimmed(const Source& s, const Picked& set) {
  if (s.wellFormed || set.shiftSensitive) return s.bytes;
  const uint8_t* end = wholeEnd(s.bytes.data(), static_cast<uint32_t>(s.bytes.size()), set);
  return Bytes(s.bytes.data(), end);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  const Picked set = pickSet(in);
  const Source a = pickSource(in, set, 128);
  const Source b = pickSource(in, set, 128);
  static lxktest::GuardedBuffer first, second;
  const Bytes firstBytes = trimmed(a, set), secondBytes = trimmed(b, set);
  first.assign(firstBytes.data(), firstBytes.size());
  second.assign(secondBytes.data(), secondBytes.size());
  // Whole characters are asked of well-formed operands only: on malformed
  // text the core's trimmers (lead-byte table, UTF-8 bits, the copy's own
  // cut) place the last boundary differently.
  const bool whole = a.wellFormed && b.wellFormed;
  const uint32_t total = static_cast<uint32_t>(first.size() + second.size());

  const Outcome full = concat(set, total + 2, first, second);
  // Two empty operands leave the result word alone.
  if (total == 0)
    LXK_CHECK("empty-result-word", full.resultWord == kUntouched, "result word %u",
              full.resultWord);
  else
    checkResultWord(full.resultWord);
  if (total != 0)
    LXK_CHECK("complete", full.resultWord == LXK_RESULT_COMPLETE && full.status == NLS_STATUS_OK,
              "result word %u, status %d with room for both operands", full.resultWord,
              full.status);
  if (whole)
    checkWhole("full result", full.bytes.data(), full.bytes.size(), set,
               a.wellFormed && b.wellFormed);

  const int64_t capacity = pickCapacity(in, total);
  const Outcome cut = concat(set, capacity, first, second);
  if (total == 0) return 0;
  checkResultWord(cut.resultWord);
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
  LXK_CHECK("truncated-word", (cutShort ? reported : true) && (mayReport || !reported),
            "result word %u for %zu of %zu bytes", cut.resultWord, cut.bytes.size(),
            full.bytes.size());
  LXK_CHECK(
      "status",
      cut.status == (cut.resultWord == LXK_RESULT_TRUNCATED ? NLS_STATUS_TRUNCATED : NLS_STATUS_OK),
      "status %d with result word %u", cut.status, cut.resultWord);
  if (whole) checkWhole("cut result", cut.bytes.data(), cut.bytes.size(), set, true);
  checkPrefix("cut result", cut.bytes, full.bytes, set);
  return 0;
}
