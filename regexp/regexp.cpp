// REGEXP_LIKE, REGEXP_COUNT, REGEXP_INSTR, REGEXP_SUBSTR and REGEXP_REPLACE
// on text in memory, and the compiled-expression record they share.
#include <cstring>

#include "lxk/lxk.h"
#include "regexp/regexp_common.h"

namespace lxk::regexp {

// The flags a match parameter selects; false when it holds a character that
// is not allowed.  'c' and 'i' are one choice: the later wins.
bool matchParameterFlags(const uint8_t* param, uint32_t length, bool allowExtended,
                         uint32_t& flags) {
  uint32_t caseChoice = 0, switches = 0;
  if (param == nullptr) length = 0;
  if (length > 0xFFFF) return false;
  for (uint32_t i = 0; i < length; ++i) {
    switch (param[i]) {
      case 'c':
        caseChoice = REGEX_MP_C;
        break;
      case 'i':
        caseChoice = REGEX_MP_I;
        break;
      case 'n':
        switches |= REGEX_MP_N;
        break;
      case 'm':
        switches |= REGEX_MP_M;
        break;
      case 'x':
        if (!allowExtended) return false;
        switches |= REGEX_MP_X;
        break;
      default:
        return false;
    }
  }
  flags = caseChoice | switches;
  return true;
}

}  // namespace lxk::regexp

using namespace lxk::regexp;

extern "C" {

LXK_API int32_t lxkRegexpComp(RegexRecord* record, const void* pattern, uint32_t patternLength,
                              uint16_t lobCharsetId, const void* matchParam,
                              uint32_t matchParamLength, uint32_t extraFlags, uint32_t engineArg,
                              const CharsetHandle* handle, NlsContext* ctx) {
  uint32_t flags = 0;
  if (!matchParameterFlags(static_cast<const uint8_t*>(matchParam), matchParamLength, true,
                           flags)) {
    std::memset(record, 0, kRecordClearBytes);
    return REGEX_RESULT_BAD_MATCH_PARAMETER;
  }
  return lxregcomp(record, pattern, patternLength, lobCharsetId, flags | extraFlags | REGEX_BASE,
                   engineArg, handle, ctx);
}

LXK_API void lxkRegexpFree(RegexRecord* record) { lxregfree(record); }

LXK_API uint32_t lxkRegexpErr(int32_t code) {
  switch (code) {
    case 0:
    case 1:
      return 0;
    case -2:
      return 12723;
    case -3:
      return 12724;
    case -4:
    case -6:
      return 12725;
    case -5:
    case -7:
      return 12726;
    case -8:
      return 12727;
    case -9:
      return 12728;
    case -10:
      return 12729;
    case -11:
      return 12730;
    case -12:
      return 12731;
    case -13:
      return 12732;
    case -14:
      return 1760;
    case -15:
      return 12733;
    default:
      return 12722;
  }
}

LXK_API int32_t lxkRegexpReusable(const RegexRecord* record, const void* /*pattern*/,
                                  uint32_t /*patternLength*/, uint16_t lobCharsetId,
                                  const void* matchParam, uint32_t matchParamLength,
                                  uint32_t extraFlags, uint32_t /*engineArg*/,
                                  const CharsetHandle* handle) {
  uint32_t flags = 0;
  if (!matchParameterFlags(static_cast<const uint8_t*>(matchParam), matchParamLength, false, flags))
    return 0;
  flags |= extraFlags | REGEX_BASE;
  return (record->compileFlags & ~REGEX_ENGINE_FLAGS) == flags &&
         record->lobCharsetId == lobCharsetId && record->collationId == handle->collationId;
}

LXK_API int32_t lxkRegexpLike(RegexRecord* record, const void* src, uint32_t srcLength,
                              const CharsetHandle* handle, NlsContext* ctx) {
  return lxregexec(record, src, srcLength, nullptr, 0, 1, nullptr, nullptr, REGEX_EXEC_OFFSETS,
                   nullptr, 0, handle, ctx) == 0;
}

LXK_API uint32_t lxkRegexpCount(RegexRecord* record, const void* src, uint32_t srcLength,
                                uint32_t position, const CharsetHandle* handle, NlsContext* ctx) {
  const auto* text = static_cast<const uint8_t*>(src);
  uint64_t next = 0;
  if (!positionOffset(text, srcLength, position, handle, ctx, &next)) return 0;
  const bool shiftSensitive = (handle->flags & CSH_SHIFT_SENSITIVE) != 0;
  const uint32_t utf16 = (handle->flags & CSH_UTF16) >> 27;
  uint32_t continuation = 0, count = 0;
  // Shift-sensitive text is stepped by a cursor that moves forward with the
  // walk, so each empty match costs the bytes since the last one.
  CharCursor cursor;
  bool cursorOpen = false;
  uint64_t start = 0, end = 0;
  int32_t r = lxregmatch(record, src, srcLength, nullptr, next, continuation, &start, &end, 0, 0,
                         handle, ctx);
  while (r == 0) {
    ++count;
    if (start != end) {
      next = end;
      continuation = 0;
    } else {
      uint32_t width;
      if (!shiftSensitive) {
        width = lxsCntByte(text + end, srcLength - static_cast<uint32_t>(end), 1, OPT_STANDARD,
                           handle, ctx);
        if (width == 0) return count;
        next = end + width;
      } else {
        if (!cursorOpen) {
          lxmopen(text, srcLength, &cursor, handle, ctx, 0);
          cursorOpen = true;
        }
        const uint64_t at = static_cast<uint64_t>(cursor.current - cursor.start);
        if (end > at)
          lxoSkip(&cursor, static_cast<uint32_t>(end - at), OPT_STANDARD | OPT_BYTE_UNITS, ctx);
        if (static_cast<uint32_t>(cursor.current - cursor.start) >= cursor.length) return count;
        if (lxmfwdx(&cursor, ctx) == 0) return count;
        next = static_cast<uint64_t>(cursor.current - cursor.start);
        if (next <= end) return count;
        width = static_cast<uint32_t>(next - end);
      }
      if (lxregmatchknl(text + end, width, utf16) != 0) {
        if (next >= srcLength) return count;
        continuation = 1;
      } else {
        continuation = 0;
      }
    }
    r = lxregmatch(record, src, srcLength, nullptr, next, continuation, &start, &end, 0, 0, handle,
                   ctx);
  }
  return count;
}

LXK_API uint32_t lxkRegexpInstrNSub(RegexRecord* record, const void* src, uint32_t srcLength,
                                    uint32_t position, uint32_t occurrence, uint16_t subexpression,
                                    uint16_t returnOption, const CharsetHandle* handle,
                                    NlsContext* ctx) {
  uint64_t offset = 0;
  if (occurrence == 0 ||
      !positionOffset(static_cast<const uint8_t*>(src), srcLength, position, handle, ctx, &offset))
    return 0;
  if (subexpression > 9 || subexpression > record->subexpressionCount) return 0;
  RegexMatch* matches = nullptr;
  if (subexpression > 0) {
    matches = static_cast<RegexMatch*>(lxldalc(0, kMatchArrayBytes));
    if (matches == nullptr) return 0;
  }
  uint64_t start = 0, end = 0;
  const int32_t r =
      lxregexec(record, src, srcLength, nullptr, offset, occurrence, &start, &end,
                REGEX_EXEC_POSITIONS, matches, matches ? REGEX_MATCH_ENTRIES : 0, handle, ctx);
  uint32_t result = 0;
  if (r == 0) {
    if (subexpression == 0)
      result = static_cast<uint32_t>(returnOption ? end : start);
    else if (matches[subexpression].matched)
      result = static_cast<uint32_t>(returnOption ? matches[subexpression].endPosition
                                                  : matches[subexpression].startPosition);
  }
  if (matches != nullptr) lxldfre(0, matches);
  return result;
}

LXK_API uint32_t lxkRegexpSubstrNSub(RegexRecord* record, uint8_t** out, uint32_t outCapacity,
                                     const void* src, uint32_t srcLength, uint32_t position,
                                     uint32_t occurrence, uint16_t subexpression,
                                     const CharsetHandle* handle, NlsContext* ctx) {
  const auto* text = static_cast<const uint8_t*>(src);
  uint64_t offset = 0;
  if (occurrence == 0 || subexpression >= 10 || subexpression > record->subexpressionCount ||
      !positionOffset(text, srcLength, position, handle, ctx, &offset))
    return 0;
  RegexMatch matches[REGEX_MATCH_ENTRIES];
  uint64_t start = 0, end = 0;
  const int32_t r = lxregexec(record, src, srcLength, nullptr, offset, occurrence, &start, &end,
                              REGEX_EXEC_OFFSETS, matches, REGEX_MATCH_ENTRIES, handle, ctx);
  if (r != 0 || !matches[subexpression].matched) return 0;
  const RegexMatch& m = matches[subexpression];
  const uint32_t s = static_cast<uint32_t>(m.startOffset);
  uint32_t n = static_cast<uint32_t>(m.endOffset - m.startOffset);
  if (out == nullptr) return n;
  if (outCapacity == 0 || *out == nullptr) {
    *out = const_cast<uint8_t*>(text + s);
    return n;
  }
  if (!(handle->flags & CSH_SHIFT_SENSITIVE)) {
    if (n > outCapacity) {
      n = lxsCpStr(*out, outCapacity, text + s, n, OPT_STANDARD, handle, ctx);
      ctx->status = NLS_STATUS_TRUNCATED;
    } else {
      std::memcpy(*out, text + s, n);
    }
    if (n < outCapacity) (*out)[n] = 0;
    if (n + 1 < outCapacity) (*out)[n + 1] = 0;
    return n;
  }
  CharCursor writer, reader;
  lxmopen(*out, outCapacity, &writer, handle, ctx, 1);
  lxmvopen(text + s, n, &reader, handle, ctx, 0, m.shiftFlags & 1u);
  lxoCpStr(&writer, writer.length, &reader,
           static_cast<uint32_t>(reader.start + reader.length - reader.current), OPT_STANDARD, ctx);
  if (writer.shiftSensitive && writer.shiftState &&
      static_cast<uint32_t>(writer.current - writer.start) < writer.length) {
    *writer.current++ = handle->shiftInByte;
    writer.shiftState = 0;
  }
  return static_cast<uint32_t>(writer.current - writer.start);
}

LXK_API uint32_t lxkRegexpReplace(RegexRecord* record, uint8_t** out, uint32_t outCapacity,
                                  const void* src, uint32_t srcLength, const void* replacement,
                                  uint32_t replacementLength, uint32_t position,
                                  uint32_t occurrence, RegexResultAllocator allocateResult,
                                  void* allocateResultContext, const CharsetHandle* handle,
                                  NlsContext* ctx) {
  if (src == nullptr || out == nullptr) return 0;
  const bool scratch = outCapacity == 0 || *out == nullptr;
  uint8_t* block = nullptr;
  uint8_t* buffer = *out;
  uint32_t capacity = outCapacity;
  if (scratch) {
    block = static_cast<uint8_t*>(lxldalc(0, kReplaceScratchBytes));
    if (block == nullptr) return 0;
    buffer = block;
    capacity = kReplaceScratchBytes;
  }
  uint32_t length;
  uint64_t offset = 0;
  if (!positionOffset(static_cast<const uint8_t*>(src), srcLength, position, handle, ctx,
                      &offset)) {
    length = srcLength < capacity ? srcLength : capacity;
    std::memcpy(buffer, src, length);
  } else {
    const int32_t r = lxregreplace(record, &buffer, capacity, src, srcLength, nullptr, replacement,
                                   replacementLength, offset, occurrence, 0, 0, allocateResult,
                                   allocateResultContext, handle, ctx);
    length = r > 0 ? static_cast<uint32_t>(r) : 0;
  }
  if (scratch) {
    const uint32_t size = length > 0 ? length : 1;
    void* result = allocateResult != nullptr     ? allocateResult(allocateResultContext, size)
                   : record->allocate != nullptr ? record->allocate(record->allocateContext, size)
                                                 : nullptr;
    if (result == nullptr) {
      length = 0;
    } else {
      std::memcpy(result, buffer, length);
      *out = static_cast<uint8_t*>(result);
    }
    lxldfre(0, buffer);
  }
  return length;
}

}  // extern "C"
