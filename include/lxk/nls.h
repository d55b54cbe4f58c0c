/*
 * lxk/nls.h -- records shared with the NLS core library and the index of the
 * core operations that the string functions call.
 *
 * The record layouts are binding for 32-bit processes: every field below sits
 * at a fixed byte offset there (checked by static asserts at the end of this
 * header).  In 64-bit builds pointer fields take their natural width; the
 * handle and the definition hold no pointers and keep every offset, the
 * context keeps every offset after its leading pointer, and the cursor's
 * fields follow one another at natural alignment.
 *
 * Usable from C (C99) and C++.
 */
#ifndef LXK_NLS_H
#define LXK_NLS_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#define NLS_API
#elif defined(NLSCORE_BUILDING)
#define NLS_API __attribute__((visibility("default")))
#else
#define NLS_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- CharsetHandle `flags`: character-set class bits ------------------- */
#define CSH_SINGLE_BYTE 0x00000010u
#define CSH_SIMPLE_CASE 0x00000200u
#define CSH_SHIFT_SENSITIVE 0x00040000u
#define CSH_FIXED_WIDTH 0x00800000u
#define CSH_ASCII_BASED 0x02000000u
#define CSH_UTF16_CODES 0x04000000u
#define CSH_UTF16 0x08000000u
#define CSH_LEAD_BYTE_WIDTH 0x10000000u
#define CSH_GB18030 0x20000000u

/* CharsetHandle `collationFlags` */
#define COLL_LINGUISTIC 0x00000020u
#define COLL_LEVEL_MASK 0x00000F00u

/* ---- Character-set definition `definitionFlags` ----------------------- */
#define CSD_ASCII 0x00000001u
#define CSD_SHIFT_SENSITIVE 0x00000004u
#define CSD_EBCDIC_BLANK 0x00001000u
#define CSD_BLANK_CODE 0x00002000u
#define CSD_UTF8 0x00004000u
#define CSD_UTF8_VARIANT 0x00008000u
#define CSD_ANY_UTF8 0x0000C000u
#define CSD_ASCII_COMPATIBLE 0x00020000u
#define CSD_SUPPLEMENTARY_MAP 0x10000000u

/* ---- Character-set ids the string functions compare with --------------- */
#define CSID_US7ASCII 1
#define CSID_EBCDIC_SPECIAL_DIGITS 835
#define CSID_GB18030 854
#define CSID_UTF8 871
#define CSID_UTFE 872
#define CSID_AL32UTF8 873
#define CSID_AL16UTF16 2000
#define CSID_AL16UTF16LE 2002

/* Byte offsets inside a definition that are read directly. */
#define CSDEF_BASE_LEAD_TABLE_OFFSET 140
#define CSDEF_VARIABLE_AREA_OFFSET 2476

/* lxhlinfo items */
#define LXH_ITEM_BLANK 110

/* ---- Records ------------------------------------------------------------ */

/* One character set as a caller uses it: class bits, collation and the way to
 * its definition.  540 bytes; the bytes not named are the core's own. */
typedef struct CharsetHandle {
  int32_t tableOffset; /* 0: lead-byte table in force, offset in the definition */
  uint8_t coreReserved0[24];
  uint32_t flags;          /* 28: CSH_* */
  uint32_t collationFlags; /* 32: COLL_* */
  uint16_t definitionIndex; /* 36 */
  uint8_t coreReserved1[8];
  int16_t collationId; /* 46: nonzero when a linguistic collation is selected */
  uint8_t coreReserved2[14];
  uint16_t fallbackDefinitionIndex; /* 62 */
  uint8_t coreReserved3[6];
  uint8_t maxCharWidth; /* 70 */
  uint8_t shiftInByte;  /* 71 */
  uint8_t shiftOutByte; /* 72 */
  uint8_t coreReserved4[467];
} CharsetHandle;

/* The loaded tables of one character set.  A definition is a position-free
 * blob: this fixed part of 2476 bytes is followed by a variable area that the
 * from-Unicode tables and the core's private tables live in. */
typedef struct CharsetDefinition {
  uint8_t coreReserved0[92];
  int16_t charsetId; /* 92 */
  uint8_t coreReserved1[2];
  uint32_t definitionFlags; /* 96: CSD_* */
  uint8_t coreReserved2[10];
  uint8_t replacementByte; /* 110 */
  uint8_t coreReserved3[2];
  uint8_t shiftInCode;     /* 113 */
  uint8_t shiftOutCode;    /* 114 */
  uint8_t maxBytesPerChar; /* 115 */
  uint8_t coreReserved4[8];
  uint32_t replacementChar; /* 124 */
  uint32_t blankCode;       /* 128 */
  uint8_t coreReserved5[8];
  uint16_t baseLeadByteTable[256]; /* 140 */
  uint8_t coreReserved6[512];
  uint16_t toUnicode[256]; /* 1164 */
  uint8_t coreReserved7[664];
  uint32_t fromUnicodeOffset; /* 2340: tables at definition + 2476 + this */
  uint8_t coreReserved8[132];
} CharsetDefinition;

/* The record that the context's first field points to.  Its first field, the
 * null-terminated array of definition pointers indexed by definitionIndex, is
 * also the global area handed to lxpe2i. */
typedef struct NlsDefinitionTable {
  const CharsetDefinition* const* definitions;
  uint32_t count;
} NlsDefinitionTable;

/* Per-thread context: the definition table, the status word and the result
 * fields the core and the conversion test fill. */
typedef struct NlsContext {
  const NlsDefinitionTable* definitions; /* 0 */
  uint8_t coreReserved0[28 - sizeof(void*)];
  uint32_t lastByteCount; /* 28 */
  uint8_t coreReserved1[8];
  uint32_t convertedChars; /* 40 */
  int32_t status;          /* 44 */
  uint8_t coreReserved2[4];
  uint16_t replacementSeen; /* 52 */
  uint8_t coreReserved3[12];
  uint8_t endsShifted; /* 66 */
  uint8_t coreReserved4[3];
  uint8_t endsShiftedExtra; /* 70: cleared together with endsShifted */
  uint8_t coreReserved5[57];
} NlsContext;

/* A cursor over one string; normally a local of the caller.  The core keeps
 * what it needs in coreReserved. */
typedef struct CharCursor {
  int32_t singleByte;     /* 0 */
  int32_t shiftSensitive; /* 4 */
  uint8_t* current;       /* 8: the current character's first byte */
  const CharsetHandle* handle; /* 12 */
  uint8_t* start;              /* 16 */
  int32_t shiftState;          /* 20: nonzero inside a shifted run */
  uint32_t length;             /* 24 */
  union {
    const void* pointer;
    uint32_t words[4];
  } coreReserved; /* 28..43 */
} CharCursor;

/* Regular-expression records; their layouts belong with the regular-expression
 * functions. */
typedef void* (*RegexResultAllocator)(void* allocatorContext, uint32_t size);

/* Compile flags of lxregcomp (RegexRecord.compileFlags). */
#define REGEX_BASE 0x0001u
#define REGEX_MP_C 0x0002u /* case-sensitive */
#define REGEX_MP_I 0x0004u /* case-insensitive */
#define REGEX_MP_N 0x0008u /* '.' matches a newline */
#define REGEX_MP_M 0x0010u /* ^ and $ at every line */
#define REGEX_MP_X 0x0200u /* whitespace in the pattern is ignored */
#define REGEX_ENGINE_FLAGS 0x0160u /* the engine's own; ignored when reuse is decided */

/* Execution flags of lxregexec. */
#define REGEX_EXEC_OFFSETS 0x1000u
#define REGEX_EXEC_POSITIONS 0x2000u

/* Subexpression entries in a RegexMatch array: the whole match and nine. */
#define REGEX_MATCH_ENTRIES 10u

/* A compiled regular expression in caller memory (at least 48 bytes in a
 * 32-bit process, sizeof(RegexRecord) here).  Filled by lxregcomp, released
 * by lxregfree; the bytes not named are the engine's. */
typedef struct RegexRecord {
  uint32_t engineReserved0;       /* 0 */
  RegexResultAllocator allocate;  /* 4: allocate(allocateContext, size) */
  void* allocateContext;          /* 8 */
  void* engineProgram;            /* 12: the engine's compiled program */
  uint8_t engineReserved1[34 - 12 - sizeof(void*)];
  uint16_t subexpressionCount; /* 34 */
  uint16_t engineReserved2;
  uint16_t lobCharsetId; /* 38: set of large-object text, 0 = the handle's */
  int16_t collationId;   /* 40: collationId of the compiling handle */
  uint16_t engineReserved3;
  uint32_t compileFlags; /* 44: REGEX_* */
} RegexRecord;

/* One entry of a match: the whole match (entry 0) or a subexpression. */
typedef struct RegexMatch {
  uint32_t matched; /* 0: nonzero when the entry took part in the match */
  uint32_t engineReserved0;
  uint64_t startOffset;   /* 8: byte offset of the first byte */
  uint64_t endOffset;     /* 16: byte offset past the last byte */
  uint64_t startPosition; /* 24: 1-based character position (REGEX_EXEC_POSITIONS) */
  uint64_t endPosition;   /* 32: position just past the end (same) */
  uint16_t shiftFlags;    /* 40: bit 0: begins inside a shifted run */
  uint8_t engineReserved1[6];
} RegexMatch;

/* Large-object callbacks.  read and write move *amount bytes at a 64-bit byte
 * offset (low word first) and store the bytes moved in *amount; 0 on success.
 * getLength stores the length in bytes and in characters. */
typedef int16_t (*LobReadFn)(uint32_t offsetLow, uint32_t offsetHigh, uint32_t* amount,
                             void* buffer, uint32_t bufferSize, void* readContext,
                             uint32_t reserved);
typedef int16_t (*LobWriteFn)(uint32_t offsetLow, uint32_t offsetHigh, uint32_t* amount,
                              const void* buffer, uint32_t bufferSize, void* writeContext,
                              uint32_t reserved);
typedef void (*LobLengthFn)(void* readContext, uint64_t* byteLength, uint64_t* charLength);

/* A large object as the caller reaches it. */
typedef struct LobAccess {
  uint32_t chunkSize;     /* 0: bytes per piece */
  LobReadFn read;         /* 4 */
  void* readContext;      /* 8 */
  LobWriteFn write;       /* 12 */
  void* writeContext;     /* 16 */
  LobLengthFn getLength;  /* 20: may be null */
} LobAccess;

/* ---- Cursor operations -------------------------------------------------- */
NLS_API uint32_t lxmopen(const void* buffer, uint32_t length, CharCursor* cursor,
                         const CharsetHandle* handle, NlsContext* ctx, uint32_t mode);
NLS_API uint32_t lxmcpen(const void* buffer, uint32_t length, CharCursor* cursor,
                         const CharsetHandle* handle, NlsContext* ctx);
NLS_API uint32_t lxmvopen(const void* buffer, uint32_t length, CharCursor* cursor,
                          const CharsetHandle* handle, NlsContext* ctx, uint32_t mode,
                          uint32_t initialShiftState);
NLS_API uint32_t lxmfwdx(CharCursor* cursor, NlsContext* ctx);
NLS_API uint32_t lxmfwtx(CharCursor* cursor, const uint16_t* leadByteTable);
NLS_API uint32_t lxmc2wx(const CharCursor* cursor, NlsContext* ctx);
NLS_API int32_t lxmctex(const CharCursor* cursor, uint32_t invariantChar, NlsContext* ctx);
NLS_API int32_t lxmbteqx(const CharCursor* a, const CharCursor* b, const uint16_t* leadByteTable);

/* ---- Cursor-based string operations ------------------------------------- */
/* lxoSkip: count is a number of units of the options' kind; with
 * OPT_BYTE_UNITS it is a byte count, and the cursor passes the whole
 * characters (and shift bytes) that lie within it. */
NLS_API uint32_t lxoSkip(CharCursor* cursor, uint32_t count, uint32_t options, NlsContext* ctx);
NLS_API uint32_t lxoCpChar(CharCursor* dst, uint32_t capacity, CharCursor* src,
                           uint32_t srcLimit, uint32_t options, NlsContext* ctx);
NLS_API uint32_t lxoCpStr(CharCursor* dst, uint32_t capacity, CharCursor* src,
                          uint32_t srcBytes, uint32_t options, NlsContext* ctx);
NLS_API uint32_t lxoCpToOp(CharCursor* dst, uint32_t capacity, const void* src,
                           uint32_t srcBytes, uint32_t options, NlsContext* ctx);
/* lxoCpDisp: copies as lxoCpStr while the running display columns stay within
 * width (docs/display.md); marks of no width after the last character that
 * fits go with it. */
NLS_API uint32_t lxoCpDisp(CharCursor* dst, uint32_t capacity, CharCursor* src,
                           uint32_t srcBytes, uint32_t displayWidth, uint32_t options,
                           NlsContext* ctx);
NLS_API uint32_t lxoWriWChar(CharCursor* cursor, uint32_t code, uint32_t options,
                             NlsContext* ctx);
NLS_API uint32_t lxoCntChar(CharCursor* cursor, uint32_t byteCount, uint32_t options,
                            NlsContext* ctx);
NLS_API uint32_t lxoCntByte(CharCursor* cursor, uint32_t byteLimit, uint32_t charCount,
                            uint32_t options, NlsContext* ctx);
/* lxoSchPat: the first character start reached by stepping the cursor within
 * length at which the pattern's characters follow with equal bytes and modes
 * (shift bytes between characters not compared; a pattern cut inside its
 * last character matches that character's bytes as far as they go).  Returns
 * the distance, shift bytes included, with the cursor moved there; -1 with
 * the cursor unchanged when there is none.  The pattern cursor is not moved. */
NLS_API int32_t lxoSchPat(CharCursor* cursor, uint32_t length, CharCursor* pattern,
                          uint32_t patternLength, uint32_t options, NlsContext* ctx);
/* lxoCmpStr: 0 when the lengthA bytes at cursor a and the lengthB bytes at
 * cursor b are equal: the same bytes in the same shift state, or, under a
 * linguistic handle (a's), each matching the whole of the other
 * (lxpoLinDirMatch); otherwise the sign of the first differing byte, the
 * shorter first. */
NLS_API int32_t lxoCmpStr(CharCursor* a, uint32_t lengthA, CharCursor* b, uint32_t lengthB,
                          uint32_t options, NlsContext* ctx);
NLS_API uint32_t lxoCnvNumStrToInt(CharCursor* cursor, uint32_t digitCount, uint32_t options,
                                   NlsContext* ctx);

/* ---- Buffer-based string operations ------------------------------------- */
NLS_API uint32_t lxsCntChar(const void* str, uint32_t length, uint32_t options,
                            const CharsetHandle* handle, NlsContext* ctx);
NLS_API uint32_t lxsCntByte(const void* str, uint32_t length, uint32_t charCount,
                            uint32_t options, const CharsetHandle* handle, NlsContext* ctx);
/* lxsCntDisp: display columns (docs/display.md); a character cut off by the
 * end takes one. */
NLS_API uint32_t lxsCntDisp(const void* str, uint32_t length, uint32_t options,
                            const CharsetHandle* handle, NlsContext* ctx);
NLS_API uint32_t lxsCpStr(void* dst, uint32_t capacity, const void* src, uint32_t length,
                          uint32_t options, const CharsetHandle* handle, NlsContext* ctx);
NLS_API uint32_t lxsCnvCase(void* dst, uint32_t capacity, const void* src, uint32_t length,
                            uint32_t options, const CharsetHandle* handle, NlsContext* ctx);
NLS_API uint32_t lxsCnvSimple(void* dst, const void* src, uint32_t length, uint32_t options,
                              const CharsetHandle* handle, NlsContext* ctx);
/* lxsRepStr: leftmost, non-overlapping occurrences at character starts
 * replaced; with LING_MATCH under a linguistic handle the occurrences are the
 * linguistic matcher's.  The output is the longest whole-character prefix
 * within the capacity (a shift-sensitive one closed); lastByteCount = the
 * source bytes whose output was written whole. */
NLS_API uint32_t lxsRepStr(void* dst, uint32_t capacity, const void* src, uint32_t length,
                           const void* search, uint32_t searchLength, const void* replacement,
                           uint32_t replacementLength, uint32_t options,
                           const CharsetHandle* handle, NlsContext* ctx);
/* lxsCmpStr: 0 when a and b are equal: the same bytes, or, under a
 * linguistic handle, b matching the whole of a (lxpLinDirMatch at the start);
 * otherwise the sign of the first differing byte, the shorter first.  LIKE
 * compares escaped characters with it. */
NLS_API int32_t lxsCmpStr(const void* a, uint32_t lengthA, const void* b, uint32_t lengthB,
                          uint32_t options, const CharsetHandle* handle, NlsContext* ctx);
NLS_API uint32_t lxsCnvNumStrToInt(const void* digits, uint32_t digitCount, uint32_t options,
                                   const CharsetHandle* handle, NlsContext* ctx);

/* ---- Partial-character trimming ----------------------------------------- */
NLS_API const uint8_t* lxptmult(const void* str, uint32_t length, const CharsetHandle* handle,
                                NlsContext* ctx);
NLS_API const uint8_t* lxptmutf8(const uint8_t* start, const uint8_t* end);

/* ---- Handles and lookups ------------------------------------------------ */
NLS_API int32_t lxhebc(const CharsetHandle* handle, NlsContext* ctx);
NLS_API uint32_t lxhlinfo(const CharsetHandle* handle, uint32_t item, void* buffer,
                          uint32_t bufferSize, NlsContext* ctx);
NLS_API uint32_t lxhcsn(const CharsetHandle* handle, NlsContext* ctx);
NLS_API const CharsetDefinition* lxhci2h(uint32_t charsetId, NlsContext* ctx);
NLS_API CharsetHandle* lxhnmod(void* handleBuffer, uint32_t charsetId, uint32_t mode,
                               uint32_t reserved, NlsContext* ctx);
NLS_API uint32_t lxpe2i(uint32_t externalId, const void* globalArea, uint32_t kind,
                        int32_t* error, uint32_t reserved);
NLS_API int32_t lxpcset(uint32_t internalId, CharsetHandle* handle, NlsContext* ctx);

/* ---- Linguistic matching -------------------------------------------------
 * Equality under the handle's collation.  A binary handle compares bytes;
 * "CI" ignores case (equal where a collator at secondary strength finds two
 * texts equal), "AI" ignores case and accents (primary strength).  Text and
 * pattern are in the handle's set.  A match covers whole characters, starts
 * and ends on grapheme-cluster boundaries of the text, and is the longest
 * such match from its start (trailing characters that weigh nothing at the
 * strength belong to it).  A byte sequence that is not a character equals
 * only the same bytes.  Offsets and lengths are bytes of the text.
 *
 * lxpLinMatch: returns 1 when pattern occurs in str[0, length), with
 *   *matchStart the offset of the leftmost occurrence and *matchLength its
 *   length; otherwise 0.  options: LING_MATCH or 0, the same search.
 * lxpLinDirMatch: direction 0: returns 1 when pattern matches at the start
 *   of str (*matchStart 0, *matchLength the bytes matched); direction 1: when
 *   it matches at the end (*matchStart where the match begins, *matchLength
 *   length minus that).
 * lxpoLinMatch, lxpoLinDirMatch: the same over the length bytes at a cursor's
 *   current position (text decoded in the cursor's shift state) against
 *   patternLength bytes at the pattern cursor; offsets are from the cursor.
 *   lxpoLinDirMatch reads bit LING_AT_END of flags: set, the match must end
 *   length bytes from the cursor; clear, it must start at the cursor.  The
 *   cursors are not moved.
 * lxpLinTrimPunc: *firstOffset and *lastOffset get the offsets of the first
 *   and last byte of what remains of str after the characters that weigh
 *   nothing at the handle's strength are cut from both ends; when nothing
 *   remains, *firstOffset = length and *lastOffset = length - 1 (so last -
 *   first + 1 is 0).  Returns 1 when something remains.  mode: 0. */
NLS_API int32_t lxpLinMatch(const void* str, uint32_t length, const void* pattern,
                            uint32_t patternLength, uint32_t* matchStart, uint32_t* matchLength,
                            uint32_t options, const CharsetHandle* handle, NlsContext* ctx);
NLS_API int32_t lxpLinDirMatch(const void* str, uint32_t length, const void* pattern,
                               uint32_t patternLength, uint32_t* matchStart,
                               uint32_t* matchLength, uint32_t direction,
                               const CharsetHandle* handle, NlsContext* ctx);
NLS_API int32_t lxpoLinMatch(CharCursor* str, uint32_t length, CharCursor* pattern,
                             uint32_t patternLength, uint32_t* matchStart, uint32_t* matchLength,
                             uint32_t options, const CharsetHandle* handle, NlsContext* ctx);
NLS_API int32_t lxpoLinDirMatch(CharCursor* str, uint32_t length, CharCursor* pattern,
                                uint32_t patternLength, uint32_t* matchStart,
                                uint32_t* matchLength, uint32_t flags,
                                const CharsetHandle* handle, NlsContext* ctx);
NLS_API int32_t lxpLinTrimPunc(const void* str, uint32_t length, uint32_t mode,
                               uint32_t* firstOffset, uint32_t* lastOffset,
                               const CharsetHandle* handle, NlsContext* ctx);

/* ---- Conversion ---------------------------------------------------------- */
NLS_API uint32_t lxcgbgwt2(const CharsetDefinition* def, const void* p, uint32_t bytesLeft);
NLS_API uint32_t lxcgbgwt(const CharsetDefinition* def, const void* p, uint32_t bytesLeft,
                          uint32_t flags);
NLS_API uint32_t lxcss2m(const CharsetDefinition* def, void* buffer, uint32_t invariantCode);
NLS_API uint32_t lxcsCompose(const CharsetDefinition* def, void* out32, const void* input,
                             uint32_t inputLength, NlsContext* ctx);

/* Validity scanners: the width of the valid character at p, 0 when invalid
 * (lxcsVldUTF8 returns 6 for a surrogate pair written as two sequences). */
NLS_API uint32_t lxcsVldUTF8(const void* p, uint32_t width, uint32_t bytesLeft);
NLS_API uint32_t lxcsVldAL32UTF8(const void* p, uint32_t width);
NLS_API uint32_t lxcsVldAL16UTF16(const void* p, uint32_t width);

/* Set to Unicode: the Unicode value of the width-byte character at p; a
 * supplementary character comes back as a surrogate pair packed in 32 bits
 * (high surrogate in the upper half); 0xFFFD when it has none. */
NLS_API uint32_t lxcsm2uUTF8(const CharsetDefinition* def, const void* p, uint32_t width);
NLS_API uint32_t lxcsm2uAL32UTF8(const CharsetDefinition* def, const void* p, uint32_t width);
NLS_API uint32_t lxcsm2uAL16UTF16(const CharsetDefinition* def, const void* p, uint32_t width);
NLS_API uint32_t lxcsm2uAL16UTF16LE(const CharsetDefinition* def, const void* p,
                                    uint32_t width);
NLS_API uint32_t lxcsm2uUTFE(const CharsetDefinition* def, const void* p, uint32_t width);
NLS_API uint32_t lxcsm2uUTF32(const CharsetDefinition* def, const void* p, uint32_t width);
NLS_API uint32_t lxcsm2uGB18030(const CharsetDefinition* def, const void* p, uint32_t width);
NLS_API uint32_t lxcsm2ux(const CharsetDefinition* def, const void* p, uint32_t width);

/* Unicode to set: writes the set's bytes of count codes (packed pairs as
 * above; count is 1 where the string functions call them) and returns the
 * number of bytes written, 0 when the set has no form for the code. */
NLS_API uint32_t lxcsu2mUTF8(const CharsetDefinition* def, void* out, uint32_t code,
                             uint32_t count, NlsContext* ctx);
NLS_API uint32_t lxcsu2mAL32UTF8(const CharsetDefinition* def, void* out, uint32_t code,
                                 uint32_t count, NlsContext* ctx);
NLS_API uint32_t lxcsu2mAL16UTF16(const CharsetDefinition* def, void* out, uint32_t code,
                                  uint32_t count, NlsContext* ctx);
NLS_API uint32_t lxcsu2mAL16UTF16LE(const CharsetDefinition* def, void* out, uint32_t code,
                                    uint32_t count, NlsContext* ctx);
NLS_API uint32_t lxcsu2mUTFE(const CharsetDefinition* def, void* out, uint32_t code,
                             uint32_t count, NlsContext* ctx);
NLS_API uint32_t lxcsu2mUTF32(const CharsetDefinition* def, void* out, uint32_t code,
                              uint32_t count, NlsContext* ctx);
NLS_API uint32_t lxcsu2mGB18030(const CharsetDefinition* def, void* out, uint32_t code,
                                uint32_t count, NlsContext* ctx);
NLS_API uint32_t lxcsu2mx(const CharsetDefinition* def, void* out, uint32_t code,
                          uint32_t count, NlsContext* ctx);

/* One character into at most maxUnits UTF-16 units; returns the units
 * produced, 0 when it cannot be converted. */
NLS_API uint32_t lxgt2u(uint16_t* units, uint32_t maxUnits, const void* charBytes,
                        const CharsetDefinition* source, uint32_t width, uint32_t flags,
                        NlsContext* ctx);
/* Converts a run; returns the bytes written, stores the characters converted
 * in convertedChars and sets status 6 when the output was cut. */
NLS_API uint32_t lxgcnv(void* out, const CharsetDefinition* target, uint32_t room,
                        const void* src, const CharsetDefinition* source, uint32_t length,
                        NlsContext* ctx);
/* UTF-8 form (three-byte surrogates allowed) of count UTF-16 units. */
NLS_API uint32_t lxgucs2utf(void* out, uint32_t room, uint32_t unit, uint32_t count,
                            int32_t* overflow);

/* ---- Data objects --------------------------------------------------------- */
NLS_API extern const uint8_t lxppCodeHexToIntASCIITbl[256];
NLS_API extern const uint8_t lxppCodeHexToIntEBCDICTbl[256];
NLS_API extern const uint8_t lxppCodeHexToIntEBCDICTblSpec[256];
NLS_API extern const uint8_t lxcsbm[16];  /* set bits per nibble value */
NLS_API extern const uint8_t lxcsbmr[8];  /* masks of the bits below bit i */
/* The BMP ranges of GB18030 four-byte characters, sorted: first code, last
 * code, linear index of the first code (high and low 16 bits).  The count is
 * that of the GB18030-2005 mapping that ICU carries. */
#define NLS_GB18030_RANGE_COUNT 208
NLS_API extern const uint16_t lxcgbMaping[NLS_GB18030_RANGE_COUNT][4];
NLS_API extern const uint8_t lxdlwkb[4];

/* ---- Scratch memory ------------------------------------------------------- */
NLS_API void* lxldalc(uint32_t reserved, uint32_t size);
NLS_API void lxldfre(uint32_t reserved, void* block);

/* ---- Regular expressions -------------------------------------------------- */
NLS_API int32_t lxregcomp(RegexRecord* record, const void* pattern, uint32_t patternLength,
                          uint32_t lobCharsetId, uint32_t flags, uint32_t engineArg,
                          const CharsetHandle* handle, NlsContext* ctx);
NLS_API int32_t lxregexec(RegexRecord* record, const void* text, uint32_t textLength,
                          LobAccess* lob, uint64_t startOffset, uint64_t occurrence,
                          uint64_t* matchStart, uint64_t* matchEnd, uint32_t execFlags,
                          RegexMatch* matches, uint32_t matchCount, const CharsetHandle* handle,
                          NlsContext* ctx);
NLS_API int32_t lxregmatch(RegexRecord* record, const void* text, uint32_t textLength,
                           LobAccess* lob, uint64_t startOffset, uint32_t continuation,
                           uint64_t* matchStart, uint64_t* matchEnd, uint32_t reserved1,
                           uint32_t reserved2, const CharsetHandle* handle, NlsContext* ctx);
NLS_API int32_t lxregmatchknl(const void* bytes, uint32_t length, uint32_t utf16);
NLS_API int32_t lxregreplace(RegexRecord* record, uint8_t** buffer, uint32_t bufferCapacity,
                             const void* src, uint32_t srcLength, LobAccess* lob,
                             const void* replacement, uint32_t replacementLength,
                             uint64_t startOffset, uint64_t occurrence, uint32_t reserved1,
                             uint32_t reserved2, RegexResultAllocator allocateResult,
                             void* allocatorContext, const CharsetHandle* handle,
                             NlsContext* ctx);
NLS_API void lxregfree(RegexRecord* record);

/* ---- Core utility library ------------------------------------------------- */
/* lstcpyr (libnlsutil): byte-wise replacement of every non-overlapping
 * occurrence; *truncated nonzero when the output was cut at the capacity. */
NLS_API uint32_t lstcpyr(void* dst, uint32_t capacity, const void* src, uint32_t length,
                         const void* search, uint32_t searchLength, const void* replacement,
                         uint32_t replacementLength, int32_t* truncated);

#ifdef __cplusplus
} /* extern "C" */
#endif

/* ---- Layout checks ---------------------------------------------------------- */
#ifdef __cplusplus
#define LXK_LAYOUT_ASSERT(cond, msg) static_assert(cond, msg)
#else
#define LXK_LAYOUT_ASSERT(cond, msg) _Static_assert(cond, msg)
#endif

LXK_LAYOUT_ASSERT(offsetof(CharsetHandle, tableOffset) == 0, "handle tableOffset");
LXK_LAYOUT_ASSERT(offsetof(CharsetHandle, flags) == 28, "handle flags");
LXK_LAYOUT_ASSERT(offsetof(CharsetHandle, collationFlags) == 32, "handle collationFlags");
LXK_LAYOUT_ASSERT(offsetof(CharsetHandle, definitionIndex) == 36, "handle definitionIndex");
LXK_LAYOUT_ASSERT(offsetof(CharsetHandle, collationId) == 46, "handle collationId");
LXK_LAYOUT_ASSERT(offsetof(CharsetHandle, fallbackDefinitionIndex) == 62, "handle fallback");
LXK_LAYOUT_ASSERT(offsetof(CharsetHandle, maxCharWidth) == 70, "handle maxCharWidth");
LXK_LAYOUT_ASSERT(offsetof(CharsetHandle, shiftInByte) == 71, "handle shiftInByte");
LXK_LAYOUT_ASSERT(offsetof(CharsetHandle, shiftOutByte) == 72, "handle shiftOutByte");
LXK_LAYOUT_ASSERT(sizeof(CharsetHandle) == 540, "handle size");

LXK_LAYOUT_ASSERT(offsetof(CharsetDefinition, charsetId) == 92, "definition charsetId");
LXK_LAYOUT_ASSERT(offsetof(CharsetDefinition, definitionFlags) == 96, "definition flags");
LXK_LAYOUT_ASSERT(offsetof(CharsetDefinition, replacementByte) == 110, "replacementByte");
LXK_LAYOUT_ASSERT(offsetof(CharsetDefinition, shiftInCode) == 113, "shiftInCode");
LXK_LAYOUT_ASSERT(offsetof(CharsetDefinition, shiftOutCode) == 114, "shiftOutCode");
LXK_LAYOUT_ASSERT(offsetof(CharsetDefinition, maxBytesPerChar) == 115, "maxBytesPerChar");
LXK_LAYOUT_ASSERT(offsetof(CharsetDefinition, replacementChar) == 124, "replacementChar");
LXK_LAYOUT_ASSERT(offsetof(CharsetDefinition, blankCode) == 128, "blankCode");
LXK_LAYOUT_ASSERT(offsetof(CharsetDefinition, baseLeadByteTable) == CSDEF_BASE_LEAD_TABLE_OFFSET,
                  "base lead-byte table");
LXK_LAYOUT_ASSERT(offsetof(CharsetDefinition, toUnicode) == 1164, "toUnicode");
LXK_LAYOUT_ASSERT(offsetof(CharsetDefinition, fromUnicodeOffset) == 2340, "fromUnicodeOffset");
LXK_LAYOUT_ASSERT(sizeof(CharsetDefinition) == CSDEF_VARIABLE_AREA_OFFSET, "definition size");

LXK_LAYOUT_ASSERT(offsetof(NlsContext, definitions) == 0, "context definitions");
LXK_LAYOUT_ASSERT(offsetof(NlsContext, lastByteCount) == 28, "context lastByteCount");
LXK_LAYOUT_ASSERT(offsetof(NlsContext, convertedChars) == 40, "context convertedChars");
LXK_LAYOUT_ASSERT(offsetof(NlsContext, status) == 44, "context status");
LXK_LAYOUT_ASSERT(offsetof(NlsContext, replacementSeen) == 52, "context replacementSeen");
LXK_LAYOUT_ASSERT(offsetof(NlsContext, endsShifted) == 66, "context endsShifted");
LXK_LAYOUT_ASSERT(offsetof(NlsContext, endsShiftedExtra) == 70, "context byte 70");

LXK_LAYOUT_ASSERT(offsetof(RegexRecord, allocate) == sizeof(void*), "regex allocate");
LXK_LAYOUT_ASSERT(offsetof(RegexMatch, startOffset) == 8, "match startOffset");
LXK_LAYOUT_ASSERT(offsetof(RegexMatch, endPosition) == 32, "match endPosition");
LXK_LAYOUT_ASSERT(offsetof(RegexMatch, shiftFlags) == 40, "match shiftFlags");
LXK_LAYOUT_ASSERT(sizeof(RegexMatch) == 48, "match size");
#if UINTPTR_MAX == 0xFFFFFFFFu
LXK_LAYOUT_ASSERT(offsetof(RegexRecord, allocateContext) == 8, "regex allocateContext");
LXK_LAYOUT_ASSERT(offsetof(RegexRecord, subexpressionCount) == 34, "regex subexpressions");
LXK_LAYOUT_ASSERT(offsetof(RegexRecord, lobCharsetId) == 38, "regex lobCharsetId");
LXK_LAYOUT_ASSERT(offsetof(RegexRecord, collationId) == 40, "regex collationId");
LXK_LAYOUT_ASSERT(offsetof(RegexRecord, compileFlags) == 44, "regex compileFlags");
LXK_LAYOUT_ASSERT(sizeof(RegexRecord) == 48, "regex record size");
LXK_LAYOUT_ASSERT(offsetof(LobAccess, read) == 4, "lob read");
LXK_LAYOUT_ASSERT(offsetof(LobAccess, getLength) == 20, "lob getLength");
#endif

LXK_LAYOUT_ASSERT(offsetof(CharCursor, singleByte) == 0, "cursor singleByte");
LXK_LAYOUT_ASSERT(offsetof(CharCursor, shiftSensitive) == 4, "cursor shiftSensitive");
LXK_LAYOUT_ASSERT(offsetof(CharCursor, current) == 8, "cursor current");
#if UINTPTR_MAX == 0xFFFFFFFFu
LXK_LAYOUT_ASSERT(offsetof(CharCursor, handle) == 12, "cursor handle");
LXK_LAYOUT_ASSERT(offsetof(CharCursor, start) == 16, "cursor start");
LXK_LAYOUT_ASSERT(offsetof(CharCursor, shiftState) == 20, "cursor shiftState");
LXK_LAYOUT_ASSERT(offsetof(CharCursor, length) == 24, "cursor length");
LXK_LAYOUT_ASSERT(offsetof(CharCursor, coreReserved) == 28, "cursor core bytes");
LXK_LAYOUT_ASSERT(sizeof(CharCursor) == 44, "cursor size");
#else
LXK_LAYOUT_ASSERT(offsetof(CharCursor, handle) == 16, "cursor handle");
LXK_LAYOUT_ASSERT(offsetof(CharCursor, start) == 24, "cursor start");
LXK_LAYOUT_ASSERT(offsetof(CharCursor, shiftState) == 32, "cursor shiftState");
LXK_LAYOUT_ASSERT(offsetof(CharCursor, length) == 36, "cursor length");
LXK_LAYOUT_ASSERT(offsetof(CharCursor, coreReserved) == 40, "cursor core bytes");
#endif

#endif /* LXK_NLS_H */
