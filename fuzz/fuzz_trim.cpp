// TRIM, LTRIM, RTRIM with any side bits, a set or the default, copied at
// any capacity or pointed into the source: the result lies in the source or
// in the destination within the capacity, the statuses are those
// documented, a rejected set gives nothing, a cut copy is a prefix of the
// full one and the pointer result holds the full copy's characters; whole
// characters and closed runs for well-formed text (not asked of the
// fixed-width set, which trims and cuts two-byte units).
#include "harness.h"

using namespace lxkfuzz;

namespace {

struct Trimmed {
  Outcome outcome;
  uint32_t outStatus = kUntouched;
  bool rejected = false;
};

Trimmed trim(const Picked& set, int64_t capacity, const lxktest::GuardedBuffer& src,
             const lxktest::GuardedBuffer* trimSet, uint32_t options,
             lxktest::GuardedBuffer& buffer) {
  const Destination d = destination(buffer, capacity);
  Trimmed t;
  ctx()->status = NLS_STATUS_TRUNCATED;  // cleared at entry
  traceCall("lxkTrim(capacity %lld, options 0x%08X), source %s, set %s",
            static_cast<long long>(capacity), options, hex(src.data(), src.size()).c_str(),
            trimSet ? hex(trimSet->data(), trimSet->size()).c_str() : "default");
  uint32_t n = 0x7777;
  const bool withStatus = options & 0x100;  // a spare bit decides whether to ask
  const uint8_t* p = lxkTrim(&n, d.out, d.room, src.data(), static_cast<uint32_t>(src.size()),
                             trimSet ? trimSet->data() : nullptr,
                             trimSet ? static_cast<uint32_t>(trimSet->size()) : 0, options,
                             withStatus ? &t.outStatus : nullptr, set.handle, ctx());
  Outcome& o = t.outcome;
  o.pointer = p;
  o.status = ctx()->status;
  LXK_CHECK("status", o.status == NLS_STATUS_OK || o.status == NLS_STATUS_TRUNCATED, "status %d",
            o.status);
  LXK_CHECK("out-status", !withStatus || t.outStatus == 0 || t.outStatus == 6 || t.outStatus == 256,
            "out-status %u", t.outStatus);
  t.rejected = withStatus && t.outStatus == TRIM_STATUS_NOT_SINGLE;
  if (t.rejected)
    LXK_CHECK("rejected", p == nullptr && n == 0 && o.status == NLS_STATUS_OK,
              "a rejected set gave %u bytes, status %d", n, o.status);
  if (src.size() == 0) LXK_CHECK("empty", p == nullptr && n == 0, "empty source gave %u bytes", n);
  if (p == nullptr || n == 0) return t;
  const bool inSource = p >= src.data() && p + n <= src.data() + src.size();
  const bool inDestination = d.out != nullptr && p == d.out && n <= d.room;
  LXK_CHECK("pointer", inSource || inDestination,
            "%u bytes at %p neither in the source nor in the destination", n,
            static_cast<const void*>(p));
  o.bytes.assign(p, p + n);
  return t;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  const Picked set = pickSet(in);
  static const uint32_t kOptions[] = {0x0, 0x1, 0x2, 0x3, 0x4, 0x5, 0x6, 0x10004, 0x10001, 0x10003};
  uint32_t options = kOptions[in.ConsumeIntegralInRange<size_t>(0, std::size(kOptions) - 1)];
  if (in.ConsumeBool()) options |= 0x100;
  if (in.ConsumeIntegralInRange(0, 15) == 0) options = in.ConsumeIntegral<uint32_t>();
  const Source s = pickSource(in, set, 128);
  const bool defaultSet = in.ConsumeIntegralInRange(0, 3) == 0;
  const Source t = pickSource(in, set, 12);
  static lxktest::GuardedBuffer src, setBuffer, fullOut, cutOut;
  src.assign(s.bytes.data(), s.bytes.size());
  setBuffer.assign(t.bytes.data(), t.bytes.size());
  const lxktest::GuardedBuffer* trimSet = defaultSet ? nullptr : &setBuffer;

  const uint32_t full = static_cast<uint32_t>(s.bytes.size()) + 2;
  const Trimmed whole = trim(set, full, src, trimSet, options, fullOut);
  const bool linguistic = set.set->handles[0] != set.handle;
  const bool units = (set.handle->flags & (CSH_FIXED_WIDTH | CSH_SIMPLE_CASE)) == CSH_FIXED_WIDTH;
  const bool checksWhole = s.wellFormed && (defaultSet || t.wellFormed) && !units;
  if (checksWhole) checkWhole("full copy", whole.outcome.bytes, set);
  LXK_CHECK("full-status", whole.outcome.status == NLS_STATUS_OK, "status %d at full capacity",
            whole.outcome.status);

  const Trimmed pointed = trim(set, kMissing, src, trimSet, options, cutOut);
  if (set.shiftSensitive) {
    const uint8_t* p = pointed.outcome.pointer;
    const bool shifted =
        p != nullptr && !walkShifted(src.data(), p - src.data(), set.handle).closed;
    const ShiftWalk fromPointer = walkShifted(pointed.outcome.bytes.data(),
                                              pointed.outcome.bytes.size(), set.handle, shifted);
    const ShiftWalk fromCopy =
        walkShifted(whole.outcome.bytes.data(), whole.outcome.bytes.size(), set.handle);
    if (s.wellFormed && !linguistic)
      LXK_CHECK("pointer-copy", fromPointer.characters == fromCopy.characters,
                "pointer result %s and copy %s hold different characters",
                hex(pointed.outcome.bytes).c_str(), hex(whole.outcome.bytes).c_str());
  } else {
    LXK_CHECK("pointer-copy", pointed.outcome.bytes == whole.outcome.bytes,
              "pointer result %s, copy %s", hex(pointed.outcome.bytes).c_str(),
              hex(whole.outcome.bytes).c_str());
  }

  const int64_t capacity = pickCapacity(in, static_cast<uint32_t>(whole.outcome.bytes.size()));
  if (capacity == kMissing) return 0;
  const Trimmed cut = trim(set, capacity, src, trimSet, options, cutOut);
  if (cut.outcome.pointer != nullptr && cut.outcome.pointer != cutOut.tail(capacity)) return 0;
  if (checksWhole) checkWhole("cut copy", cut.outcome.bytes, set);
  checkPrefix("cut copy", cut.outcome.bytes, whole.outcome.bytes, set);
  return 0;
}
