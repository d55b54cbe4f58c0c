// SUBSTR in every unit, at any position and length, copied at any capacity
// or pointed into the source.  Checks: nothing read past the source or
// written past the capacity (guard pages), the length within the capacity,
// a pointer result inside the source, result word 0, status 0, 6 or 14,
// whole characters and closed runs, every shorter copy a prefix of the full
// one, and the pointer result the same characters as the full copy.
//
// Not asked: whole characters with OPT_RAW_BYTES (text as single bytes), of
// byte units in a shift-sensitive set (a plain byte slice there), of
// AL16UTF16 in byte or UCS-2 units (two-byte units, which may split a pair),
// nor of random bytes; pointer and copy results alike when the pointer
// path's unit skip met invalid data; the pointer result of byte units in
// a multibyte set that is neither shift-sensitive nor AL16UTF16, which is
// empty because its cuts write blanks (edit/substr.cpp, byteCut).  In a
// shift-sensitive set the pointer result is a slice of the source that may
// start inside a double-byte run, so it is compared by its characters, read
// in the shift state the source has there.
#include "harness.h"

using namespace lxkfuzz;

namespace {

struct SubstrOutcome {
  const uint8_t* pointer;
  Bytes bytes;
  uint32_t resultWord;
  int32_t status;
};

SubstrOutcome substr(const Picked& set, int64_t capacity, const lxktest::GuardedBuffer& src,
                     int32_t position, int32_t length, uint32_t options,
                     lxktest::GuardedBuffer& destination) {
  const uint32_t room = capacity == kMissing ? 0 : static_cast<uint32_t>(capacity);
  uint8_t* const out = capacity == kMissing ? nullptr : destination.tail(room);
  SubstrOutcome o{nullptr, {}, kUntouched, NLS_STATUS_OK};
  env().ctx()->status = NLS_STATUS_OK;
  char call[640];
  std::snprintf(call, sizeof call,
                "lxkSubstr(capacity %lld, position %d, length %d, options 0x%08X), source %s",
                static_cast<long long>(capacity), position, length, options,
                hex(src.data(), src.size()).c_str());
  trace().call = call;
  uint32_t n = 0;
  o.pointer = lxkSubstr(&n, out, room, src.data(), static_cast<uint32_t>(src.size()), position,
                        length, options, &o.resultWord, set.handle, env().ctx());
  o.status = env().ctx()->status;
  LXK_CHECK("result-word", o.resultWord == LXK_RESULT_COMPLETE, "result word %u", o.resultWord);
  LXK_CHECK("status",
            o.status == NLS_STATUS_OK || o.status == NLS_STATUS_TRUNCATED ||
                o.status == NLS_STATUS_INVALID_DATA,
            "status %d", o.status);
  if (out != nullptr) {
    LXK_CHECK("pointer", o.pointer == out, "copy result not at the destination");
    LXK_CHECK("length", n <= room, "returned %u for capacity %u", n, room);
  } else {
    const uint8_t* begin = src.data();
    LXK_CHECK("pointer", n == 0 || (o.pointer >= begin && o.pointer + n <= begin + src.size()),
              "pointer result of %u bytes at offset %td outside the source", n, o.pointer - begin);
  }
  if (n != 0) o.bytes.assign(o.pointer, o.pointer + n);
  return o;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  const Picked set = pickSet(in);
  const uint32_t options = pickOptions(in);
  Source s = pickSource(in, set);
  if (!s.wellFormed && !set.shiftSensitive)  // whole at the end, malformed inside
    s.bytes.resize(wholeEnd(s.bytes.data(), static_cast<uint32_t>(s.bytes.size()), set) -
                   s.bytes.data());
  static lxktest::GuardedBuffer src, fullOut, cutOut;
  src.assign(s.bytes.data(), s.bytes.size());
  const uint32_t srcLength = static_cast<uint32_t>(s.bytes.size());
  const int32_t position = pickInt(in, srcLength);
  const int32_t length = pickInt(in, srcLength);

  const bool utf16 = set.set->info->charsetId == 2000;
  const bool byteMode =
      ((options & (OPT_BYTE_UNITS | OPT_RAW_BYTES)) | (set.handle->flags & CSH_SINGLE_BYTE)) != 0;
  // Whole characters are asked of well-formed text only: on malformed text
  // the lead-byte walk SUBSTR steps with and the core's trimmers place the
  // last boundary differently.
  const bool asksWhole =
      s.wellFormed && !(options & OPT_RAW_BYTES) && !(byteMode && set.shiftSensitive);
  const bool blankCuts = byteMode && !(options & OPT_RAW_BYTES) && !utf16 &&
                         !(set.handle->flags & (CSH_SINGLE_BYTE | CSH_SHIFT_SENSITIVE));

  // Room for every selection: blanks stand for cut bytes one for one, and a
  // shift-sensitive copy adds at most a shift-out and a shift-in byte.
  const uint32_t full = srcLength + 2;
  // AL16UTF16 in byte units and in UCS-2 units (its default) counts two-byte
  // code units, so a surrogate pair may be split: what those units ask for.
  const bool unitsOfUtf16 =
      utf16 && (byteMode || !(options & (OPT_UCS4_UNITS | OPT_COMPLETE_CHARS)));
  const bool checksWhole = asksWhole && !unitsOfUtf16;
  const SubstrOutcome whole = substr(set, full, src, position, length, options, fullOut);
  if (checksWhole)
    checkWhole("full copy", whole.bytes.data(), static_cast<uint32_t>(whole.bytes.size()), set,
               s.wellFormed);

  const SubstrOutcome pointed = substr(set, kMissing, src, position, length, options, fullOut);
  // A unit skip that meets invalid data empties the pointer result (status
  // 14), while the copy path copies character by character: not compared.
  if (!blankCuts && pointed.status != NLS_STATUS_INVALID_DATA) {
    if (set.shiftSensitive && !byteMode) {
      const bool shifted = pointed.bytes.empty()
                               ? false
                               : shiftedAfter(src.data(), pointed.pointer - src.data(), set.handle);
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
  const SubstrOutcome cut = substr(set, capacity, src, position, length, options, cutOut);
  if (checksWhole)
    checkWhole("cut copy", cut.bytes.data(), static_cast<uint32_t>(cut.bytes.size()), set,
               s.wellFormed);
  checkPrefix("cut copy", cut.bytes, whole.bytes, set);
  return 0;
}
