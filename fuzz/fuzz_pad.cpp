// LPAD and RPAD with any source and pad string, any width, at any capacity.
// Checks: the length within the capacity; nothing for width or capacity 0;
// the result word untouched, or 2 with nothing written and status 6; the
// result within the width (bytes in single-byte sets, display columns of
// well-formed operands elsewhere); whole characters and closed runs for
// well-formed operands.
#include "harness.h"

using namespace lxkfuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  const Picked set = pickSet(in);
  const Source s = pickSource(in, set, 128);
  const Source padding = pickSource(in, set, 16);
  const uint32_t options = in.ConsumeBool() ? PAD_LEFT : 0u;
  uint32_t width = in.ConsumeIntegralInRange<uint32_t>(0, 80);
  if (in.ConsumeIntegralInRange(0, 9) == 0) width = in.ConsumeIntegral<uint32_t>();
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
  const uint32_t columns = (set.handle->flags & CSH_SINGLE_BYTE)
                               ? n
                               : lxsCntDisp(o.bytes.data(), static_cast<uint32_t>(o.bytes.size()),
                                            OPT_STANDARD, set.handle, ctx());
  LXK_CHECK("width", columns <= width, "%u columns for width %u: %s", columns, width,
            hex(o.bytes).c_str());
  if (s.wellFormed && padding.wellFormed) checkWhole("result", o.bytes, set);
  return 0;
}
