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

/* ASCII: the code of the first character; 0 when empty or incomplete. */
LXK_API uint32_t lxkAscii(const void* src, uint32_t srcLength, const CharsetHandle* handle,
                          NlsContext* ctx);

/* CHR: writes the character with that code; returns the bytes written. */
LXK_API uint32_t lxkChr(void* dst, uint32_t capacity, uint32_t code,
                        const CharsetHandle* handle, NlsContext* ctx);

/* CONCAT: returns the bytes written; *resultWord 0 complete, 2 truncated. */
LXK_API uint32_t lxkConcat(void* dst, uint32_t capacity, const void* first,
                           uint32_t firstLength, const void* second, uint32_t secondLength,
                           uint32_t* resultWord, const CharsetHandle* handle,
                           NlsContext* ctx);

/* UPPER/LOWER: CASE_DIRECTION selects the direction; reserved is never read. */
LXK_API uint32_t lxkToUL(void* dst, uint32_t capacity, const void* src, uint32_t srcLength,
                         uint32_t options, uint32_t reserved, const CharsetHandle* handle,
                         NlsContext* ctx);

/* INITCAP: resultWord may be null. */
LXK_API uint32_t lxkInitcap(void* dst, uint32_t capacity, const void* src,
                            uint32_t srcLength, uint32_t* resultWord,
                            const CharsetHandle* handle, NlsContext* ctx);

/* SUBSTR: returns the result (dst, or a pointer into src when dst is null)
 * and its byte length in *resultLength. */
LXK_API const uint8_t* lxkSubstr(uint32_t* resultLength, void* dst, uint32_t capacity,
                                 const void* src, uint32_t srcLength, int32_t position,
                                 int32_t length, uint32_t options, uint32_t* resultWord,
                                 const CharsetHandle* handle, NlsContext* ctx);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* LXK_LXK_H */
