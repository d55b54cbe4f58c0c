// LPAD and RPAD with any source and pad string, any width, at any capacity.
// Checks: the length within the capacity; nothing for width or capacity 0;
// the result word untouched, or 2 with nothing written and status 6; the
// result within the width (bytes in single-byte sets, display columns of
// well-formed operands elsewhere); whole characters and closed runs for
// well-formed operands; with room enough, a result that fills the width.
#include "harness.h"

using namespace lxkfuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  const Picked set = pickSet(in);
  // The small picks first: the source takes what input is left.
  const uint32_t options = in.ConsumeBool() ? PAD_LEFT : 0u;
  uint32_t width = in.ConsumeIntegralInRange<uint32_t>(0, 80);
  if (in.ConsumeIntegralInRange(0, 9) == 0) width = in.ConsumeIntegral<uint32_t>();
  const Source padding = pickSource(in, set, 16);
  const Source s = pickSource(in, set, 128);
  const int64_t capacity = pickCapacity(in, static_cast<uint32_t>(s.bytes.size()) + 2 * 80);

  static lxktest::GuardedBuffer src, pad, buffer;
  src.assign(s.bytes.data(), s.bytes.size());
  pad.assign(padding.bytes.data(), padding.bytes.size());
  const Destination d = destination(buffer, capacity);
  traceCall("lxkPad(capacity %lld, width %u, options 0x%X), source %s, pad %s",
            static_cast<long long>(capacity), width, options, hex(s.bytes).c_str(),
            hex(padding.bytes).c_str());
  Outcome o;
  ctx()->status = NLS_STATUS_OK;
  const uint32_t n =
      lxkPad(d.out, d.room, src.data(), static_cast<uint32_t>(src.size()), pad.data(),
             static_cast<uint32_t>(pad.size()), width, options, &o.resultWord, set.handle, ctx());
  o.status = ctx()->status;
  o.bytes = written(d, n);
  LXK_CHECK("empty", (width != 0 && d.room != 0) || n == 0, "%u bytes for width %u, capacity %u", n,
            width, d.room);
  LXK_CHECK("result-word",
            o.resultWord == kUntouched ||
                (o.resultWord == LXK_RESULT_TRUNCATED && n == 0 && o.status == 6),
            "result word %u, %u bytes, status %d", o.resultWord, n, o.status);
  const bool singleByte = (set.handle->flags & CSH_SINGLE_BYTE) != 0;
  const bool wellFormed = s.wellFormed && padding.wellFormed;
  const auto columnsOf = [&](const Bytes& b) {
    return singleByte ? static_cast<uint32_t>(b.size())
                      : lxsCntDisp(b.data(), static_cast<uint32_t>(b.size()), OPT_STANDARD,
                                   set.handle, ctx());
  };
  // Columns are summed piece by piece; malformed pieces may read otherwise
  // once joined.
  if (singleByte || wellFormed) {
    const uint32_t columns = columnsOf(o.bytes);
    LXK_CHECK("width", columns <= width, "%u columns for width %u: %s", columns, width,
              hex(o.bytes).c_str());
  }
  if (!wellFormed) return 0;
  checkWhole("result", o.bytes, set);

  // With room for every column and a pad string that takes columns, the
  // result fills the width exactly: pad characters that do not fit leave at
  // most one column, which a blank takes.
  if (width > 80 || (!padding.bytes.empty() && columnsOf(padding.bytes) == 0)) return 0;
  // Room for the source and a pad string (or blank) for every column, each
  // with a shift byte either side.
  const uint32_t roomy = static_cast<uint32_t>(s.bytes.size() + 8 +
                                               (width + 2) * (std::max<size_t>(pad.size(), 2) + 2));
  const Destination big = destination(buffer, roomy);
  const uint32_t m =
      lxkPad(big.out, big.room, src.data(), static_cast<uint32_t>(src.size()), pad.data(),
             static_cast<uint32_t>(pad.size()), width, options, nullptr, set.handle, ctx());
  const Bytes full = written(big, m);
  LXK_CHECK("fills-width", columnsOf(full) == width, "%u columns for width %u: %s", columnsOf(full),
            width, hex(full).c_str());
  return 0;
}
