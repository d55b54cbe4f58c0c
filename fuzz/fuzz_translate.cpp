// TRANSLATE with any from- and to-lists at any capacity: the count within
// the capacity, status 0 or 6, 0 at a capacity that holds every mapping,
// 6 whenever a cut result differs from the full one (but in the
// linguistic path of single-byte sets, which reports no cut); whole characters and
// closed runs for well-formed operands; a cut result a prefix of the full one.
#include "harness.h"

using namespace lxkfuzz;

namespace {

Outcome translate(const Picked& set, int64_t capacity, const lxktest::GuardedBuffer& src,
                  const lxktest::GuardedBuffer& from, const lxktest::GuardedBuffer& to,
                  lxktest::GuardedBuffer& buffer) {
  const Destination d = destination(buffer, capacity);
  Outcome o;
  ctx()->status = NLS_STATUS_TRUNCATED;  // cleared at entry
  traceCall("lxkTranslate(capacity %lld), source %s, from %s, to %s",
            static_cast<long long>(capacity), hex(src.data(), src.size()).c_str(),
            hex(from.data(), from.size()).c_str(), hex(to.data(), to.size()).c_str());
  o.bytes = written(d, lxkTranslate(d.out, d.room, src.data(), static_cast<uint32_t>(src.size()),
                                    from.data(), static_cast<uint32_t>(from.size()), to.data(),
                                    static_cast<uint32_t>(to.size()), set.handle, ctx()));
  o.status = ctx()->status;
  LXK_CHECK("status", o.status == NLS_STATUS_OK || o.status == NLS_STATUS_TRUNCATED, "status %d",
            o.status);
  return o;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  const Picked set = pickSet(in);
  const Source s = pickSource(in, set, 128);
  const Source f = pickSource(in, set, 16);
  const Source t = pickSource(in, set, 16);
  static lxktest::GuardedBuffer src, from, to, fullOut, cutOut;
  src.assign(s.bytes.data(), s.bytes.size());
  from.assign(f.bytes.data(), f.bytes.size());
  to.assign(t.bytes.data(), t.bytes.size());

  // Every source character becomes at most one to-list character, with a
  // shift byte on either side in a shift-sensitive set.
  const uint32_t full = static_cast<uint32_t>(s.bytes.size() * (t.bytes.size() + 3) + 4);
  const Outcome whole = translate(set, full, src, from, to, fullOut);
  LXK_CHECK("full-status", whole.status == NLS_STATUS_OK, "status %d at capacity %u", whole.status,
            full);
  const bool checksWhole = s.wellFormed && f.wellFormed && t.wellFormed;
  if (checksWhole) checkWhole("full result", whole.bytes, set);

  const int64_t capacity = pickCapacity(in, static_cast<uint32_t>(whole.bytes.size()));
  const Outcome cut = translate(set, capacity, src, from, to, cutOut);
  if (checksWhole) checkWhole("cut result", cut.bytes, set);
  checkPrefix("cut result", cut.bytes, whole.bytes, set);
  // The linguistic path of single-byte sets stops at a full output silently.
  const bool silentCut =
      set.handle != set.set->handles[0] && (set.handle->flags & CSH_SINGLE_BYTE) != 0;
  if (cut.bytes != whole.bytes && !silentCut)
    LXK_CHECK("cut-status", cut.status == NLS_STATUS_TRUNCATED, "a cut result with status %d",
              cut.status);
  return 0;
}
