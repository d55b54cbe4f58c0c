// ASCII and CHR.  ASCII reads a source that ends at a guard page; CHR writes
// any code into any capacity up to a guard page.  Checks: the length within
// the capacity, whole characters and a closed run for a code the set holds,
// CHR(ASCII(x)) has the code ASCII(x) for well-formed x, and neither export
// touches the status word.
#include "harness.h"

using namespace lxkfuzz;

namespace {

constexpr int32_t kEarlier = 3;  // a status neither export may change

Bytes chr(const Picked& set, uint32_t code, int64_t capacity) {
  static lxktest::GuardedBuffer destination;
  const uint32_t room = capacity == kMissing ? 0 : static_cast<uint32_t>(capacity);
  uint8_t* const out = capacity == kMissing ? nullptr : destination.tail(room);
  char call[96];
  std::snprintf(call, sizeof call, "lxkChr(code 0x%X, capacity %lld)", code,
                static_cast<long long>(capacity));
  trace().call = call;
  env().ctx()->status = kEarlier;
  const uint32_t n = lxkChr(out, room, code, set.handle, env().ctx());
  LXK_CHECK("length", n <= room, "returned %u for capacity %u", n, room);
  LXK_CHECK("status", env().ctx()->status == kEarlier, "status %d", env().ctx()->status);
  return out == nullptr ? Bytes{} : Bytes(out, out + n);
}

uint32_t ascii(const Picked& set, const uint8_t* p, uint32_t n) {
  char call[96];
  std::snprintf(call, sizeof call, "lxkAscii(%s)", hex(p, n).c_str());
  trace().call = call;
  env().ctx()->status = kEarlier;
  const uint32_t code = lxkAscii(p, n, set.handle, env().ctx());
  LXK_CHECK("status", env().ctx()->status == kEarlier, "status %d", env().ctx()->status);
  return code;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  const Picked set = pickSet(in);
  const Source s = pickSource(in, set, 32);
  static lxktest::GuardedBuffer src;
  src.assign(s.bytes.data(), s.bytes.size());
  const uint32_t code = ascii(set, src.data(), static_cast<uint32_t>(src.size()));

  // A fixed-width set's CHR writes one character of its width (AL16UTF16:
  // one code unit), so a supplementary code there does not come back.
  const bool chrHolds = !((set.handle->flags & CSH_FIXED_WIDTH) && code > 0xFFFFu);
  if (s.wellFormed && code != 0 && chrHolds) {
    const Bytes again = chr(set, code, 16);
    checkWhole("CHR(ASCII(x))", again.data(), static_cast<uint32_t>(again.size()), set, true);
    static lxktest::GuardedBuffer back;
    back.assign(again.data(), again.size());
    const uint32_t roundTrip = ascii(set, back.data(), static_cast<uint32_t>(back.size()));
    LXK_CHECK("round-trip", roundTrip == code, "ASCII(CHR(0x%X)) = 0x%X, source %s", code,
              roundTrip, hex(s.bytes).c_str());
  }

  // CHR writes any code's bytes unchecked; only a code the set gave back
  // through ASCII must come out as a closed character.
  const bool arbitrary = in.ConsumeBool();
  const uint32_t any = arbitrary ? in.ConsumeIntegral<uint32_t>() : code;
  const int64_t capacity = pickCapacity(in, 6);
  const Bytes written = chr(set, any, capacity);
  if (set.shiftSensitive && !arbitrary && s.wellFormed) {
    const ShiftWalk w = walkShifted(written.data(), written.size(), set.handle);
    LXK_CHECK("closed", w.closed && w.whole, "CHR wrote %s", hex(written).c_str());
  }
  return 0;
}
