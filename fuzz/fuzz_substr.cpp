// SUBSTR in every unit, at any position and length, copied at any capacity
// or pointed into the source; the checks and what is not asked are listed in
// docs/fuzzing.md.  In a shift-sensitive set the pointer result is a slice
// of the source that may start inside a double-byte run, so it is compared
// by its characters, read in the shift state the source has there.
#include "harness.h"

using namespace lxkfuzz;

namespace {

Outcome substr(const Picked& set, int64_t capacity, const lxktest::GuardedBuffer& src,
               int32_t position, int32_t length, uint32_t options, lxktest::GuardedBuffer& buffer) {
  const Destination d = destination(buffer, capacity);
  Outcome o;
  ctx()->status = NLS_STATUS_OK;
  traceCall("lxkSubstr(capacity %lld, position %d, length %d, options 0x%08X), source %s",
            static_cast<long long>(capacity), position, length, options,
            hex(src.data(), src.size()).c_str());
  uint32_t n = 0;
  o.pointer = lxkSubstr(&n, d.out, d.room, src.data(), static_cast<uint32_t>(src.size()), position,
                        length, options, &o.resultWord, set.handle, ctx());
  o.status = ctx()->status;
  LXK_CHECK("result-word", o.resultWord == LXK_RESULT_COMPLETE, "result word %u", o.resultWord);
  LXK_CHECK("status",
            o.status == NLS_STATUS_OK || o.status == NLS_STATUS_TRUNCATED ||
                o.status == NLS_STATUS_INVALID_DATA,
            "status %d", o.status);
  if (d.out != nullptr) {
    LXK_CHECK("pointer", o.pointer == d.out, "copy result not at the destination");
    o.bytes = written(d, n);
  } else {
    const uint8_t* begin = src.data();
    LXK_CHECK("pointer", n == 0 || (o.pointer >= begin && o.pointer + n <= begin + src.size()),
              "pointer result of %u bytes at offset %td outside the source", n, o.pointer - begin);
    if (n != 0) o.bytes.assign(o.pointer, o.pointer + n);
  }
  return o;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  const Picked set = pickSet(in);
  const uint32_t options = pickOptions(in);
  Source s = pickSource(in, set);
  if (!s.wellFormed && !set.shiftSensitive)  // whole at the end, malformed inside
    s.bytes.resize(wholeEnd(s.bytes.data(), s.bytes.size(), set) - s.bytes.data());
  static lxktest::GuardedBuffer src, fullOut, cutOut;
  src.assign(s.bytes.data(), s.bytes.size());
  const uint32_t srcLength = static_cast<uint32_t>(s.bytes.size());
  const int32_t position = pickInt(in, srcLength);
  const int32_t length = pickInt(in, srcLength);

  const bool utf16 = set.set->info->charsetId == 2000;
  const bool byteMode =
      ((options & (OPT_BYTE_UNITS | OPT_RAW_BYTES)) | (set.handle->flags & CSH_SINGLE_BYTE)) != 0;
  const bool blankCuts = byteMode && !(options & OPT_RAW_BYTES) && !utf16 &&
                         !(set.handle->flags & (CSH_SINGLE_BYTE | CSH_SHIFT_SENSITIVE));

  // Room for every selection: blanks stand for cut bytes one for one, and a
  // shift-sensitive copy adds at most a shift-out and a shift-in byte.
  const uint32_t full = srcLength + 2;
  // AL16UTF16 in byte units and in UCS-2 units (its default) counts two-byte
  // code units, so a surrogate pair may be split: what those units ask for.
  const bool unitsOfUtf16 =
      utf16 && (byteMode || !(options & (OPT_UCS4_UNITS | OPT_COMPLETE_CHARS)));
  // Whole characters are asked of well-formed text only: on malformed text
  // the lead-byte walk SUBSTR steps with and the core's trimmers place the
  // last boundary differently.
  const bool checksWhole = s.wellFormed && !(options & OPT_RAW_BYTES) &&
                           !(byteMode && set.shiftSensitive) && !unitsOfUtf16;
  const Outcome whole = substr(set, full, src, position, length, options, fullOut);
  if (checksWhole) checkWhole("full copy", whole.bytes, set);

  const Outcome pointed = substr(set, kMissing, src, position, length, options, fullOut);
  // A unit skip that meets invalid data empties the pointer result (status
  // 14), while the copy path copies character by character: not compared.
  if (!blankCuts && pointed.status != NLS_STATUS_INVALID_DATA) {
    if (set.shiftSensitive && !byteMode) {
      const bool shifted =
          !pointed.bytes.empty() &&
          !walkShifted(src.data(), pointed.pointer - src.data(), set.handle).closed;
      const ShiftWalk fromPointer =
          walkShifted(pointed.bytes.data(), pointed.bytes.size(), set.handle, shifted);
      const ShiftWalk fromCopy = walkShifted(whole.bytes.data(), whole.bytes.size(), set.handle);
      LXK_CHECK("pointer-copy", fromPointer.characters == fromCopy.characters,
                "pointer result %s (starting %s) and copy %s hold different characters",
                hex(pointed.bytes).c_str(), shifted ? "in a run" : "in single-byte mode",
                hex(whole.bytes).c_str());
    } else {
      LXK_CHECK("pointer-copy", pointed.bytes == whole.bytes, "pointer result %s, copy %s",
                hex(pointed.bytes).c_str(), hex(whole.bytes).c_str());
    }
  }

  const int64_t capacity = pickCapacity(in, static_cast<uint32_t>(whole.bytes.size()));
  if (capacity == kMissing) return 0;
  const Outcome cut = substr(set, capacity, src, position, length, options, cutOut);
  if (checksWhole) checkWhole("cut copy", cut.bytes, set);
  checkPrefix("cut copy", cut.bytes, whole.bytes, set);
  return 0;
}
