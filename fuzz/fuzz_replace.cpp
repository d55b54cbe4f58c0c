// REPLACE with any source, search and replacement, at any capacity, under
// every collation, sometimes with an explicit character set (known,
// unknown or for conversion only) switched into a copy of the handle.
// Checks: the length within the capacity; the handle restored after an
// explicit set; result word 1 and nothing written for an unusable id, the
// word untouched otherwise; status 0 or 6, 6 exactly when the result is
// shorter than at full capacity; whole characters and closed runs for
// well-formed operands; a cut result a prefix of the full one.
#include <cstring>

#include "harness.h"

using namespace lxkfuzz;

namespace {

struct Operands {
  const lxktest::GuardedBuffer& src;
  const Bytes& search;
  const Bytes& with;
  uint32_t charsetId;
};

Outcome replace(CharsetHandle* handle, int64_t capacity, const Operands& o,
                lxktest::GuardedBuffer& buffer) {
  const Destination d = destination(buffer, capacity);
  const CharsetHandle before = *handle;
  traceCall("lxkReplace(capacity %lld, charsetId %u), source %s, search %s, replacement %s",
            static_cast<long long>(capacity), o.charsetId, hex(o.src.data(), o.src.size()).c_str(),
            hex(o.search).c_str(), hex(o.with).c_str());
  Outcome out;
  ctx()->status = NLS_STATUS_TRUNCATED;  // cleared at entry
  const uint32_t n =
      lxkReplace(d.out, d.room, o.src.data(), static_cast<uint32_t>(o.src.size()), o.search.data(),
                 static_cast<uint32_t>(o.search.size()), o.with.data(),
                 static_cast<uint32_t>(o.with.size()), o.charsetId, &out.resultWord, handle, ctx());
  out.status = ctx()->status;
  out.bytes = written(d, n);
  LXK_CHECK("handle", std::memcmp(handle, &before, sizeof before) == 0,
            "the handle differs after the call");
  LXK_CHECK("status", out.status == NLS_STATUS_OK || out.status == NLS_STATUS_TRUNCATED,
            "status %d", out.status);
  LXK_CHECK("result-word",
            out.resultWord == kUntouched ||
                (out.resultWord == LXK_RESULT_BAD_CHARSET && n == 0 && out.status == 0),
            "result word %u, %u bytes, status %d", out.resultWord, n, out.status);
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  const Picked set = pickSet(in);
  CharsetHandle handle = *set.handle;
  // The small picks first: the source takes what input is left.
  uint32_t charsetId = 0;
  switch (in.ConsumeIntegralInRange(0, 5)) {
    case 0:
      charsetId = static_cast<uint32_t>(set.set->info->charsetId);
      break;
    case 1:
      charsetId = static_cast<uint32_t>(
          env().sets[in.ConsumeIntegralInRange<size_t>(0, env().sets.size() - 1)].info->charsetId);
      break;
    case 2:
      charsetId = in.ConsumeIntegral<uint32_t>();  // mostly no set at all
      break;
    default:
      break;
  }
  const Source with = pickSource(in, set, 12);
  Source search = pickSource(in, set, 12);
  const Source s = pickSource(in, set, 128);
  if (in.ConsumeBool() && !s.bytes.empty()) {  // a piece of the source itself
    const size_t from = in.ConsumeIntegralInRange<size_t>(0, s.bytes.size() - 1);
    const size_t n =
        in.ConsumeIntegralInRange<size_t>(0, std::min<size_t>(8, s.bytes.size() - from));
    search = {Bytes(s.bytes.begin() + from, s.bytes.begin() + from + n), false};
  }
  static lxktest::GuardedBuffer src, fullOut, cutOut;
  src.assign(s.bytes.data(), s.bytes.size());
  const Operands o{src, search.bytes, with.bytes, charsetId};

  // Room for every replacement: each source byte may start an occurrence.
  const uint32_t full = static_cast<uint32_t>(s.bytes.size() * (with.bytes.size() + 1) + 4);
  const Outcome whole = replace(&handle, full, o, fullOut);
  if (whole.resultWord == LXK_RESULT_BAD_CHARSET) return 0;
  // Whole characters where the operands are read in the set they were made
  // for and are whole characters themselves.
  const bool ownSet =
      (charsetId & 0xFFFF) == 0 ||
      (charsetId & 0xFFFF) == static_cast<uint32_t>(set.set->info->charsetId & 0xFFFF);
  const bool wellFormed = ownSet && s.wellFormed && search.wellFormed && with.wellFormed;
  if (wellFormed) {
    LXK_CHECK("status", whole.status == NLS_STATUS_OK, "status %d at full capacity", whole.status);
    checkWhole("full result", whole.bytes, set);
  }

  const int64_t capacity = pickCapacity(in, static_cast<uint32_t>(whole.bytes.size()));
  if (capacity == kMissing) return 0;
  const Outcome cut = replace(&handle, capacity, o, cutOut);
  if (!wellFormed) return 0;
  checkWhole("cut result", cut.bytes, set);
  checkPrefix("cut result", cut.bytes, whole.bytes, set);
  const bool shorter = capacity < static_cast<int64_t>(whole.bytes.size());
  LXK_CHECK("status", (cut.status == NLS_STATUS_TRUNCATED) == shorter,
            "status %d with capacity %lld for a result of %zu bytes", cut.status,
            static_cast<long long>(capacity), whole.bytes.size());
  return 0;
}
