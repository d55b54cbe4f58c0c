// ASCII and CHR: ASCII of a source that ends at a guard page, CHR of any
// code into any capacity up to one; the checks are in docs/fuzzing.md.
#include "harness.h"

using namespace lxkfuzz;

namespace {

constexpr int32_t kEarlier = 3;  // a status neither export may change

void checkStatus() { LXK_CHECK("status", ctx()->status == kEarlier, "status %d", ctx()->status); }

Bytes chr(const Picked& set, uint32_t code, int64_t capacity) {
  static lxktest::GuardedBuffer buffer;
  const Destination d = destination(buffer, capacity);
  traceCall("lxkChr(code 0x%X, capacity %lld)", code, static_cast<long long>(capacity));
  ctx()->status = kEarlier;
  const Bytes out = written(d, lxkChr(d.out, d.room, code, set.handle, ctx()));
  checkStatus();
  return out;
}

uint32_t ascii(const Picked& set, const Bytes& text) {
  static lxktest::GuardedBuffer src;
  src.assign(text.data(), text.size());
  traceCall("lxkAscii(%s)", hex(text).c_str());
  ctx()->status = kEarlier;
  const uint32_t code = lxkAscii(src.data(), static_cast<uint32_t>(src.size()), set.handle, ctx());
  checkStatus();
  return code;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  const Picked set = pickSet(in);
  const Source s = pickSource(in, set, 32);
  const uint32_t code = ascii(set, s.bytes);

  // A fixed-width set's CHR writes one character of its width (AL16UTF16:
  // one code unit), so a supplementary code there does not come back.
  const bool chrHolds = !((set.handle->flags & CSH_FIXED_WIDTH) && code > 0xFFFFu);
  if (s.wellFormed && code != 0 && chrHolds) {
    const Bytes again = chr(set, code, 16);
    checkWhole("CHR(ASCII(x))", again, set);
    const uint32_t roundTrip = ascii(set, again);
    LXK_CHECK("round-trip", roundTrip == code, "ASCII(CHR(0x%X)) = 0x%X, source %s", code,
              roundTrip, hex(s.bytes).c_str());
  }

  // CHR writes any code's bytes unchecked; only a code the set gave back
  // through ASCII must come out as a closed character.
  const bool arbitrary = in.ConsumeBool();
  const uint32_t any = arbitrary ? in.ConsumeIntegral<uint32_t>() : code;
  const Bytes written = chr(set, any, pickCapacity(in, 6));
  if (set.shiftSensitive && !arbitrary && s.wellFormed) {
    const ShiftWalk w = walkShifted(written.data(), written.size(), set.handle);
    LXK_CHECK("closed", w.closed && w.whole, "CHR wrote %s", hex(written).c_str());
  }
  return 0;
}
