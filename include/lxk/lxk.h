/*
 * lxk/lxk.h -- the exported SQL string functions.
 *
 * Every function takes its operands as (pointer, byte length), its SQL
 * arguments as 32-bit integers, then the option word, an optional result
 * word, the character-set handle and, last, the per-thread context.  Nothing
 * is allocated, thrown or printed; failures are return values plus the result
 * word and the context's status word.
 */
#ifndef LXK_LXK_H
#define LXK_LXK_H

#include <stdint.h>

#include "lxk/nls.h"

#if defined(LXK_BUILDING)
#define LXK_API __attribute__((visibility("default")))
#else
#define LXK_API
#endif

/* ---- Option word ----------------------------------------------------------- */
#define OPT_STANDARD 0x20000000u       /* on every option word handed to the core */
#define OPT_CURSOR_COPY 0x40000000u    /* single-character cursor writes */
#define OPT_CURSOR_WRITE_CODE 0x00800000u /* with OPT_CURSOR_COPY for code writes */
#define OPT_BYTE_UNITS 0x00000010u     /* positions and lengths in bytes */
#define OPT_NO_BLANK_FILL 0x00000020u  /* byte units: drop cut characters */
#define OPT_RAW_BYTES 0x00000040u      /* treat text as single bytes */
#define OPT_UCS2_UNITS 0x00001000u     /* UCS-2 code units */
#define OPT_UCS4_UNITS 0x00002000u     /* code points */
#define OPT_COMPLETE_CHARS 0x00004000u /* base character with its combining marks */
#define OPT_CHAR_UNIT_COUNT 0x00008000u /* lxsCntChar over one character: its UCS-2 units */
#define OPT_BYTE_SEARCH 0x00010000u    /* plain byte search */
#define OPT_UNIT_MASK (OPT_UCS2_UNITS | OPT_UCS4_UNITS | OPT_COMPLETE_CHARS)

/* Case operations */
/* Bit 0x1 of the case operations: for lxkToUL and lxsCnvSimple set means
 * upper case, clear lower case; lxsCnvCase reads it the other way round
 * (set means lower case), which is why lxkToUL inverts it for that call. */
#define CASE_DIRECTION 0x00000001u
#define CASE_INITCAP 0x00000040u

/* Linguistic-match words */
#define LING_MATCH 0x00000800u
#define LING_AT_END 0x00000001u

/* Padding */
#define PAD_LEFT 0x00000001u /* LPAD; clear for RPAD */

/* Trimming */
#define TRIM_LEADING 0x00000001u
#define TRIM_TRAILING 0x00000002u
#define TRIM_SINGLE 0x00000004u /* the set must be one character; alone: both ends */
#define TRIM_BLANK_CLASS 0x00010000u /* shift-sensitive: the blank also matches its wide forms */
#define TRIM_STATUS_NOT_SINGLE 0x00000100u /* in *outStatus only */

/* ---- Result word ---------------------------------------------------------- */
#define LXK_RESULT_COMPLETE 0u
#define LXK_RESULT_BAD_CHARSET 1u
#define LXK_RESULT_TRUNCATED 2u
#define LXK_RESULT_BAD_ESCAPE 16u

/* ---- Status word (NlsContext.status) --------------------------------------- */
#define NLS_STATUS_OK 0
#define NLS_STATUS_TRUNCATED 6
#define NLS_STATUS_BAD_CHARSET 8
#define NLS_STATUS_INVALID_DATA 14
#define NLS_STATUS_UNSUPPORTED_CHARSET 32
#define NLS_STATUS_INVALID_CHAR 34

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Contracts.  Every export: strings are (pointer, byte length) and never
 * zero-terminated; a null pointer is an empty string; a destination of
 * capacity 0 or a null destination never receives a byte; nothing is read
 * past a source's length or written past a capacity, and no partial
 * multibyte character is written.  "Status" is ctx->status: an export that
 * does not say it clears the status leaves an earlier code in place unless
 * it sets one.
 */

/* ASCII: the code of the string's first character.
 *   Returns: the byte itself for a one-byte character of a set without
 *     UTF-16 codes; the UTF-16 value in sets with UTF-16 codes (a pair as
 *     high << 16 | low); otherwise the big-endian value of the character's
 *     bytes.  CHR of that code writes the character again.
 *   Empty: 0 for an empty source, one holding only shift bytes, or one whose
 *     first character runs past its end.
 *   Status: not written. */
LXK_API uint32_t lxkAscii(const void* src, uint32_t srcLength, const CharsetHandle* handle,
                          NlsContext* ctx);

/* CHR: writes the character with that code (as ASCII returns it).
 *   Returns: the bytes written; in a shift-sensitive set a double-byte
 *     character comes with its shift-out and shift-in bytes.  A code wider
 *     than the set's widest character writes the set's replacement
 *     character.
 *   Empty: 0, nothing written, when the destination is missing or the whole
 *     character (shift bytes included) does not fit.
 *   Status: not written. */
LXK_API uint32_t lxkChr(void* dst, uint32_t capacity, uint32_t code,
                        const CharsetHandle* handle, NlsContext* ctx);

/* CONCAT: the first string followed by the second.
 *   Returns: the bytes written: the longest prefix of the concatenation
 *     that ends on a whole character and fits; in a shift-sensitive set the
 *     runs of the two strings merge and the result ends in single-byte mode,
 *     its closing shift-in byte inside the capacity.  UTF-16 sets cut at even
 *     byte counts.  An incomplete last character of a string that fits is
 *     dropped without a report.
 *   Result word: 0 at entry (left alone when both strings are empty); 2 when
 *     the first string's bytes exceed the capacity or the second's the room
 *     the first left, and in a shift-sensitive set exactly when a character of
 *     either string is left out (merged runs may fit more than the strings'
 *     lengths); a missing destination counts as capacity 0.
 *   Status: 6 when the result word is 2; never cleared. */
LXK_API uint32_t lxkConcat(void* dst, uint32_t capacity, const void* first,
                           uint32_t firstLength, const void* second, uint32_t secondLength,
                           uint32_t* resultWord, const CharsetHandle* handle,
                           NlsContext* ctx);

/* UPPER/LOWER: CASE_DIRECTION set converts to upper case, clear to lower.
 *   Byte-mapped sets (CSH_SIMPLE_CASE), and single-byte sets or
 *   OPT_RAW_BYTES when lowering, map byte for byte: the result is as long as
 *   the source, cut at the capacity.  Other cases take the full case
 *   conversion (special casing such as ß to SS, final sigma), whose length
 *   may differ, cut to whole characters at the capacity with shifted runs
 *   closed.  reserved is never read.
 *   Returns: the bytes written.
 *   Empty: 0 for an empty source or a missing destination.
 *   Status: cleared at entry; 6 when the result was cut, or when a missing
 *     destination left a non-empty source unconverted. */
LXK_API uint32_t lxkToUL(void* dst, uint32_t capacity, const void* src, uint32_t srcLength,
                         uint32_t options, uint32_t reserved, const CharsetHandle* handle,
                         NlsContext* ctx);

/* INITCAP: the first letter of each word in title case, the rest lowered
 *   (a word is a run of letters and digits).
 *   Returns: the bytes written, cut as UPPER/LOWER cuts.
 *   Result word (may be null): 2 when the destination is missing or has
 *     capacity 0, and when a byte-mapped set's result is cut at the capacity;
 *     otherwise not written (a cut in the full conversion shows in the status
 *     only).
 *   Status: not cleared; 6 whenever the result was cut or the destination is
 *     missing. */
LXK_API uint32_t lxkInitcap(void* dst, uint32_t capacity, const void* src,
                            uint32_t srcLength, uint32_t* resultWord,
                            const CharsetHandle* handle, NlsContext* ctx);

/* SUBSTR: the part at a position (1-based; 0 counts as 1; negative counts
 *   from the end, -1 the last unit) of a length (below 1 selects nothing),
 *   in bytes (OPT_BYTE_UNITS, OPT_RAW_BYTES, single-byte sets), UCS-2 units
 *   (OPT_UCS2_UNITS), code points (OPT_UCS4_UNITS), complete characters
 *   (OPT_COMPLETE_CHARS) or characters of the set (no unit bit).
 *   Returns: dst with the part copied into it, or, when dst is null, a
 *     pointer to the part inside src; *resultLength (always written) its
 *     byte length.  When nothing is selected *resultLength is 0 and the
 *     pointer, dst or one into or just past src, must not be read.
 *   Byte units over multibyte sets: a character cut at either end of the
 *     range becomes blanks (0x40 in EBCDIC-based sets, else 0x20), or is
 *     dropped with OPT_NO_BLANK_FILL; these cuts need a destination.
 *     AL16UTF16 moves an odd start to the next unit and keeps whole units.
 *     A shift-sensitive set is sliced as plain bytes: such a slice may cut
 *     or leave open a shifted run.
 *   Character units: whole characters only; a shift-sensitive result that
 *     ends inside a run is closed when a byte of capacity is left.
 *   A result that does not fit the capacity is cut silently (whole
 *     characters in character units, the capacity in byte units).
 *   Result word (may be null): set to 0 at entry, never otherwise written.
 *   Status: not written by SUBSTR; the core leaves 14 when a unit skip meets
 *     invalid data, and the result is then empty. */
LXK_API const uint8_t* lxkSubstr(uint32_t* resultLength, void* dst, uint32_t capacity,
                                 const void* src, uint32_t srcLength, int32_t position,
                                 int32_t length, uint32_t options, uint32_t* resultWord,
                                 const CharsetHandle* handle, NlsContext* ctx);

/* REPLACE: every occurrence of search in src replaced by replacement.
 *   charsetId: 0 = the handle's set; otherwise the handle is switched to
 *     that set for the call and switched back before returning (so such a
 *     handle must not be shared by a concurrent call).
 *   Returns: bytes written; 0 and result word 1 for an unusable charsetId.
 *   Status: cleared at entry; 6 when the result was cut to the capacity. */
LXK_API uint32_t lxkReplace(void* dst, uint32_t capacity, const void* src, uint32_t srcLength,
                            const void* search, uint32_t searchLength, const void* replacement,
                            uint32_t replacementLength, uint32_t charsetId, uint32_t* resultWord,
                            CharsetHandle* handle, NlsContext* ctx);

/* LPAD (options PAD_LEFT) and RPAD: src padded with repetitions of pad (the
 *   set's blank when pad is empty) or cut to width display columns.
 *   Returns: bytes written; 0 for width or capacity 0.
 *   A result longer than the capacity is cut silently; a shift-sensitive
 *   result that cannot be closed gives 0, result word 2 and status 6. */
LXK_API uint32_t lxkPad(void* dst, uint32_t capacity, const void* src, uint32_t srcLength,
                        const void* pad, uint32_t padLength, uint32_t width, uint32_t options,
                        uint32_t* resultWord, const CharsetHandle* handle, NlsContext* ctx);

/* TRANSLATE: each character of src found in from is replaced by the
 *   character at the same index of to, or deleted when to is shorter; the
 *   first occurrence in from decides.  Under a linguistic collation a
 *   from-list character may match a longer or shorter source sequence.
 *   Returns: bytes written.  Status: cleared at entry; 6 when the capacity
 *   ran out: in byte-mapped sets whenever source bytes remain (even ones
 *   that would be deleted), elsewhere when a character does not fit; the
 *   linguistic path of single-byte sets stops at the capacity without it.
 *   An empty from-list copies src (6 when the capacity held it back). */
LXK_API uint32_t lxkTranslate(void* dst, uint32_t capacity, const void* src, uint32_t srcLength,
                              const void* from, uint32_t fromLength, const void* to,
                              uint32_t toLength, const CharsetHandle* handle, NlsContext* ctx);

/* INSTR: the position of the occurrence-th match of search in src, from
 *   position (negative: counted from the end, searching leftward).
 *   Returns: the 1-based position from the left of the match's first unit,
 *     in the units the options select; 0 when there is none or position,
 *     occurrence, src or search is empty or out of range.
 *   Matches may overlap.  Under a linguistic collation the characters that
 *     weigh nothing are cut from both ends of the search string first, and
 *     matches are the core's linguistic matches.  OPT_UCS2_UNITS counts
 *     UCS-2 units only in rightward searches of lead-byte sets with
 *     supplementary characters (GB18030).
 *   Status: not cleared; 34 for a linguistic code-point or complete-
 *     character search on UTF-8 whose search string ends inside a
 *     character. */
LXK_API uint32_t lxkInstr(const void* src, uint32_t srcLength, const void* search,
                          uint32_t searchLength, int32_t position, uint32_t occurrence,
                          uint32_t options, const CharsetHandle* handle, NlsContext* ctx);

/* TRIM, LTRIM, RTRIM: trim-set characters removed from the sides that
 *   options select (TRIM_LEADING, TRIM_TRAILING; TRIM_SINGLE alone: both).
 *   A null or empty trimSet is the set's blank (in a set whose blank begins
 *   with a zero byte, AL16UTF16, that default is empty and nothing is
 *   trimmed).  Under a linguistic collation a set character may match a
 *   longer or shorter sequence, and the set is tried again from its first
 *   character after every match.
 *   Returns: dst when the result was copied there, a pointer into src when
 *     dst is null (and when the capacity is 0, except in byte-mapped,
 *     shift-sensitive and linguistic paths), null for an empty src or a
 *     rejected set; *outLength
 *     (always written) the result's byte length.
 *   Cut at the capacity: byte-mapped sets by bytes, fixed-width sets to a
 *     multiple of the width, others to whole characters (a shift-sensitive
 *     result closed, a UTF-16 pair never split).
 *   *outStatus (may be null): 0; 6 when cut (byte-mapped, fixed-width and
 *     lead-byte sets); TRIM_STATUS_NOT_SINGLE when TRIM_SINGLE is given a
 *     set of two or more characters (a supplementary character is one).
 *   Status: cleared at entry; 6 when cut: always in fixed-width sets and the
 *     untrimmed copy, in byte-mapped and lead-byte sets only when outStatus
 *     is given; shift-sensitive and linguistic cuts report nothing. */
LXK_API const uint8_t* lxkTrim(uint32_t* outLength, void* dst, uint32_t dstCapacity,
                               const void* src, uint32_t srcLength, const void* trimSet,
                               uint32_t trimSetLength, uint32_t options, uint32_t* outStatus,
                               const CharsetHandle* handle, NlsContext* ctx);

/* ---- LIKE ------------------------------------------------------------------- */

/* Options of lxkLike (besides OPT_RAW_BYTES, OPT_UCS4_UNITS, OPT_COMPLETE_CHARS) */
#define LIKE_LINGUISTIC 0x00000002u        /* compare under the handle's collation */
#define LIKE_SKIP_ESCAPE_CHECK 0x00100000u /* the caller has checked the escapes */

/* Status codes of lxkLike and lxkLikPatPref, in the caller's word */
#define LIKE_STATUS_OK 0u
#define LIKE_STATUS_BAD_ESCAPE_SEQUENCE 0x100u
#define LIKE_STATUS_BAD_ESCAPE_CHAR 0x200u

/* Pattern classes of lxkLikPatPref */
#define LIKE_PREFIX_NO_WILDCARD 0x01u
#define LIKE_PREFIX_ONE_TRAILING_WILDCARD 0x02u
#define LIKE_PREFIX_TRAILING_PERCENT 0x04u
#define LIKE_PREFIX_TRAILING_UNDERSCORE 0x08u
#define LIKE_PREFIX_MORE_AFTER_WILDCARD 0x10u
#define LIKE_PREFIX_EMPTY 0x20u
#define LIKE_PREFIX_ONLY_WILDCARDS 0x40u

/* source LIKE pattern [ESCAPE escape]: 1 when the whole source matches the
 *   whole pattern, else 0.  '%' is any run of characters, '_' one character,
 *   an escape followed by '%', '_' or itself that character literally.  The
 *   wildcards are the bytes 0x25 and 0x5F (0x6C and 0x6D in UTF-EBCDIC's
 *   character paths), the units 0x0025 and 0x005F in UTF-16.  A character
 *   is a byte (single-byte sets, OPT_RAW_BYTES), a UTF-16 unit, a code point
 *   (OPT_UCS4_UNITS), a complete character (OPT_COMPLETE_CHARS: a base with
 *   its combining marks; equal when their composed forms are) or a character
 *   of the set.  LIKE_LINGUISTIC, or a handle whose linguistic comparison is
 *   in force, compares literal text under the collation (runs of literal
 *   characters may match source text of another length).
 *   Returns 0 for a missing or empty source or pattern (even against '%').
 *   *resultFlagA, *resultFlagB (may be null): cleared; arguments 8 and 10
 *   are not read.  shiftTable: accepted and not needed (the middle literal
 *   is found by the search kernels).
 *   *likeStatus (may be null): LIKE_STATUS_OK at entry;
 *   LIKE_STATUS_BAD_ESCAPE_SEQUENCE when an escape ends the pattern or is
 *   followed by another character (unless LIKE_SKIP_ESCAPE_CHECK), or a
 *   UTF-16 pattern has an odd length (code-unit semantics);
 *   LIKE_STATUS_BAD_ESCAPE_CHAR when the escape argument is not usable: in
 *   UTF-8 sets (other than complete characters) anything but one byte, in
 *   UTF-16 fewer than two bytes or a lone surrogate (code points), in the
 *   complete-character paths an encoded lone surrogate; single-byte,
 *   lead-byte and shift-sensitive sets take the escape's first byte.
 *   Whenever a status is written the result is 0.  The context's status
 *   word is left as it was. */
LXK_API int32_t lxkLike(const void* source, uint32_t sourceLength, const void* pattern,
                        uint32_t patternLength, const void* escape, uint32_t escapeLength,
                        uint8_t* resultFlagA, uint32_t reservedA, uint8_t* resultFlagB,
                        uint32_t reservedB, const int32_t* shiftTable, uint32_t options,
                        uint32_t* likeStatus, const CharsetHandle* handle, NlsContext* ctx);

/* The fixed prefix of a LIKE pattern: the characters before its first
 *   unescaped wildcard, escapes removed, copied to prefix (room for
 *   patternLength bytes, one more in shift-sensitive sets), with
 *   *prefixLength its bytes and *prefixChars its characters, and
 *   *patternClass one of LIKE_PREFIX_NO_WILDCARD (0x01), ONE_TRAILING_WILDCARD
 *   with TRAILING_PERCENT (0x06) or TRAILING_UNDERSCORE (0x0A),
 *   MORE_AFTER_WILDCARD (0x10), EMPTY (0x20), ONLY_WILDCARDS (0x40).
 *   Single-byte sets take 0x6C and 0x6D as the wildcards when the handle is
 *   not ASCII-based.  Argument 6 is not read.
 *   Returns 1 when the prefix decides the predicate (classes 0x01 and 0x06),
 *   else 0, and 0 on every failure.
 *   *likeStatus (may be null): LIKE_STATUS_BAD_ESCAPE_CHAR for a null prefix
 *   (nothing else written) or an escape argument that is not one character
 *   (single-byte: one byte; UTF-16: maxCharWidth bytes);
 *   LIKE_STATUS_BAD_ESCAPE_SEQUENCE for an escape that ends the pattern or
 *   precedes another character (single-byte sets, and shift-sensitive sets
 *   before the first wildcard: LIKE_STATUS_BAD_ESCAPE_CHAR). */
LXK_API int32_t lxkLikPatPref(const void* pattern, uint32_t patternLength, const void* escape,
                              uint32_t escapeLength, uint8_t* prefix, uint32_t reserved,
                              uint32_t* prefixLength, uint32_t* prefixChars,
                              uint8_t* patternClass, uint32_t* likeStatus,
                              const CharsetHandle* handle, NlsContext* ctx);

/* ---- Regular expressions ----------------------------------------------------
 * A compiled expression lives in a RegexRecord that the caller supplies
 * (lxk/nls.h); the engine's result codes are 0 (compiled, or found), 1 (no
 * match) and negative codes that lxkRegexpErr turns into error numbers.  The
 * functions take per-call scratch from lxldalc and release it before they
 * return.  A compiled record serves one call at a time. */
#define REGEX_RESULT_BAD_MATCH_PARAMETER (-14)

/* lxkRegexpComp: compiles pattern under the match parameter (c, i, n, m, x;
 *   'c'/'i': the later wins) with extraFlags ORed in.  Returns the engine's
 *   code, or -14 (record cleared, engine not called) for any other
 *   match-parameter byte.  The engine sets record->allocate to an allocator
 *   whose blocks are released with free(); a caller may set its own
 *   allocate/allocateContext after compiling. */
LXK_API int32_t lxkRegexpComp(RegexRecord* record, const void* pattern, uint32_t patternLength,
                              uint16_t lobCharsetId, const void* matchParam,
                              uint32_t matchParamLength, uint32_t extraFlags, uint32_t engineArg,
                              const CharsetHandle* handle, NlsContext* ctx);
/* lxkRegexpFree: releases what the engine holds in the record. */
LXK_API void lxkRegexpFree(RegexRecord* record);
/* lxkRegexpErr: the error number of an engine result code (0 for 0 and 1,
 *   1760 for -14, 12722 for codes outside the table). */
LXK_API uint32_t lxkRegexpErr(int32_t code);
/* lxkRegexpReusable: 1 when record can serve a call that would compile with
 *   these arguments (pattern not compared; 'x' in the match parameter always
 *   gives 0), else 0. */
LXK_API int32_t lxkRegexpReusable(const RegexRecord* record, const void* pattern,
                                  uint32_t patternLength, uint16_t lobCharsetId,
                                  const void* matchParam, uint32_t matchParamLength,
                                  uint32_t extraFlags, uint32_t engineArg,
                                  const CharsetHandle* handle);

/* REGEXP_LIKE: 1 when the expression matches anywhere in src. */
LXK_API int32_t lxkRegexpLike(RegexRecord* record, const void* src, uint32_t srcLength,
                              const CharsetHandle* handle, NlsContext* ctx);
/* REGEXP_COUNT: non-overlapping matches from the 1-based character position;
 *   an empty match is counted and stepped over by one character.  0 for
 *   position 0 or beyond the last character. */
LXK_API uint32_t lxkRegexpCount(RegexRecord* record, const void* src, uint32_t srcLength,
                                uint32_t position, const CharsetHandle* handle, NlsContext* ctx);
/* REGEXP_INSTR: the character position where the occurrence-th match (or its
 *   subexpression 1..9) begins, or just past its end when returnOption is
 *   nonzero; 0 when there is none or an argument is out of range. */
LXK_API uint32_t lxkRegexpInstrNSub(RegexRecord* record, const void* src, uint32_t srcLength,
                                    uint32_t position, uint32_t occurrence, uint16_t subexpression,
                                    uint16_t returnOption, const CharsetHandle* handle,
                                    NlsContext* ctx);
/* REGEXP_SUBSTR: the text of the occurrence-th match or subexpression.  With
 *   outCapacity 0 or *out null, *out points into src and the match's byte
 *   length is returned.  Otherwise the text is copied, cut to whole
 *   characters (status 6) when it does not fit, followed by up to two zero
 *   bytes where there is room; shift-sensitive text is copied closed, without
 *   terminator or status.  Returns the byte length. */
LXK_API uint32_t lxkRegexpSubstrNSub(RegexRecord* record, uint8_t** out, uint32_t outCapacity,
                                     const void* src, uint32_t srcLength, uint32_t position,
                                     uint32_t occurrence, uint16_t subexpression,
                                     const CharsetHandle* handle, NlsContext* ctx);
/* REGEXP_REPLACE: replaces the occurrence-th match (0: every match) from the
 *   character position; \1..\9 in replacement insert subexpressions, \\ a
 *   backslash.  Position 0 or beyond the end: src comes back unchanged.
 *   Without a buffer (outCapacity 0 or *out null) the result, at most 32,767
 *   bytes, is returned in a block of its exact size (at least 1 byte) from
 *   allocateResult, or from record->allocate when allocateResult is null.
 *   Returns the byte length; 0 when src or out is null. */
LXK_API uint32_t lxkRegexpReplace(RegexRecord* record, uint8_t** out, uint32_t outCapacity,
                                  const void* src, uint32_t srcLength, const void* replacement,
                                  uint32_t replacementLength, uint32_t position,
                                  uint32_t occurrence, RegexResultAllocator allocateResult,
                                  void* allocateResultContext, const CharsetHandle* handle,
                                  NlsContext* ctx);

/* Large objects: the text is read through lob's callbacks in chunks; 64-bit
 * positions and occurrences come as two 32-bit words, low word first.
 * Position 0 counts as 1.  Except LIKE, the text must be in a fixed-width set
 * (the record's lobCharsetId, or the handle's): otherwise 0. */
LXK_API int32_t lxkRegexpLikeLob(RegexRecord* record, LobAccess* lob, const CharsetHandle* handle,
                                 NlsContext* ctx);
LXK_API uint64_t lxkRegexpCountLob(RegexRecord* record, LobAccess* lob, uint32_t positionLow,
                                   uint32_t positionHigh, const CharsetHandle* handle,
                                   NlsContext* ctx);
LXK_API uint64_t lxkRegexpInstrLobNSub(RegexRecord* record, LobAccess* lob, uint32_t positionLow,
                                       uint32_t positionHigh, uint32_t occurrenceLow,
                                       uint32_t occurrenceHigh, uint16_t subexpression,
                                       uint16_t returnOption, const CharsetHandle* handle,
                                       NlsContext* ctx);
/* The match is written to offset 0 of the destination; returns its length,
 *   0 when none or when a callback failed. */
LXK_API uint64_t lxkRegexpSubstrLobNSub(RegexRecord* record, LobAccess* lob, uint32_t positionLow,
                                        uint32_t positionHigh, uint32_t occurrenceLow,
                                        uint32_t occurrenceHigh, uint16_t subexpression,
                                        const CharsetHandle* handle, NlsContext* ctx);
/* The result is written to the destination; returns the bytes written, or a
 *   negative engine code sign-extended (a read or write failure: -13, -15). */
LXK_API uint64_t lxkRegexpReplaceLob(RegexRecord* record, LobAccess* lob, const void* replacement,
                                     uint32_t replacementLength, uint32_t positionLow,
                                     uint32_t positionHigh, uint32_t occurrenceLow,
                                     uint32_t occurrenceHigh, const CharsetHandle* handle,
                                     NlsContext* ctx);

/* ---- Escaped Unicode and the conversion test ------------------------------- */

/* ASCIISTR: src as ASCII text.  ASCII characters other than '\' are copied;
 * every other character, and '\', is written as '\' and the four uppercase
 * hexadecimal digits of each of its UTF-16 units (a supplementary character
 * as two escapes).  In ASCII-based sets a one-byte character below 0x80 is
 * copied as its byte; in other sets (EBCDIC) an ASCII character is written
 * by its ASCII code.
 *   charsetId: 0 = src is in the handle's set; 2000 (AL16UTF16) or 871
 *     (UTF8) name the source set; any other value: *result (may be null) =
 *     LXK_RESULT_BAD_CHARSET, status 32, result 0.  An AL16UTF16 source is
 *     read two bytes a unit (a last odd byte is ignored).
 *   Returns the bytes written.  A zero byte is stored at dst[0] first when
 *     the capacity allows (also for a null src and a refused id).
 *   Null dst: status 6, result 0.  The walk ends at a character cut by the
 *     end of src.
 *   Status: not cleared; 6 when the next character or escape does not fit
 *     (the output holds whole characters and escapes); 32 when a character
 *     has no UTF-16 form (the output before it stays). */
LXK_API uint32_t lxkAsciistr(void* dst, uint32_t capacity, const void* src, uint32_t srcLength,
                             int32_t charsetId, uint32_t* result, const CharsetHandle* handle,
                             NlsContext* ctx);

/* UNISTR: src (in srcHandle's set) into a Unicode target, '\' + four
 * hexadecimal digits (the set's own digit codes; in AL16UTF16 units whose
 * low byte is an ASCII digit) standing for the UTF-16 unit they name, and
 * '\\' for one backslash.  '\' is the byte 0x5C as a one-byte character
 * (the unit 0x005C in AL16UTF16).  Text between escapes is converted by the
 * core (unmappable characters become the target's replacement character).
 *   charsetId: 0 = the target is dstHandle's set; 2000 (AL16UTF16) or 871
 *     (UTF8); any other value: *result = LXK_RESULT_BAD_CHARSET, status 32,
 *     result 0.  A unit is written as two bytes into AL16UTF16, as its one-
 *     to three-byte form into UTF8 (a surrogate on its own), and converted
 *     alone into any other target.
 *   Returns the bytes written; ctx->convertedChars = the characters written
 *     (16 bits, wrapping).
 *   *result (may be null): LXK_RESULT_TRUNCATED when the output was cut
 *     (status 6; whole units and characters only); LXK_RESULT_BAD_ESCAPE for
 *     a backslash at the end or not followed by a backslash or four digits
 *     (status 0; the output before it stays).
 *   Null dst or capacity 0: result 0; status 6 and *result 2 when src is not
 *     empty, else status 0.  Empty src: status 0, result 0.
 *   Status: cleared at entry. */
LXK_API uint32_t lxkUnistr(void* dst, uint32_t capacity, const void* src, uint32_t srcLength,
                           int32_t charsetId, uint32_t* result, const CharsetHandle* srcHandle,
                           const CharsetHandle* dstHandle, NlsContext* ctx);

/* The conversion test: what converting src from sourceDefinition's set to
 * targetDefinition's would do, without converting.
 *   mode: 1 = blank-padded text, trailing blanks are not counted; any other
 *     value: plain text.
 *   Returns 0 when the text converts unchanged; the converted byte length
 *     when it converts with changed bytes; minus that length when some
 *     character cannot be represented (it then counts the target's
 *     replacement character).
 *   ctx: lastByteCount = source bytes accounted for (ASCII prefix, dropped
 *     blanks, bytes walked); convertedChars = characters, without trailing
 *     blanks in mode 1 (a supplementary character counts 2 into UTF8 and the
 *     UTF-16 forms); replacementSeen = 1000 when a UTF8 or AL32UTF8 source
 *     holds EF BF BD, else 0; for a shift-sensitive source endsShifted = 1
 *     when the text ends inside a multibyte run (byte 70 cleared with it).
 *   Status: 0; 8 for a null definition or lxdlwkb (result 0); 34 when the
 *     text ends inside a character (the result covers the text before it). */
LXK_API int32_t lxkCSConvTest(const CharsetDefinition* targetDefinition, const uint8_t* src,
                              const CharsetDefinition* sourceDefinition, uint32_t srcLength,
                              uint8_t mode, NlsContext* ctx);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* LXK_LXK_H */
