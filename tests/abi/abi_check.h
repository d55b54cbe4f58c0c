/*
 * Compile-time checks of the public headers, shared by the C and the C++
 * check.  Compiled with -m32 they prove the record layouts of a 32-bit
 * process (the layout asserts inside lxk/nls.h) and, everywhere, that every
 * export keeps its argument list.  LXK_SIGNATURE(function, type) is defined
 * by the including file.
 */
#ifndef LXK_TESTS_ABI_CHECK_H
#define LXK_TESTS_ABI_CHECK_H

#include <stdint.h>

#include "lxk/lxk.h"
#include "lxk/nlsenv.h"

typedef uint32_t (*AsciiFn)(const void*, uint32_t, const CharsetHandle*, NlsContext*);
typedef uint32_t (*ChrFn)(void*, uint32_t, uint32_t, const CharsetHandle*, NlsContext*);
typedef uint32_t (*ConcatFn)(void*, uint32_t, const void*, uint32_t, const void*, uint32_t,
                             uint32_t*, const CharsetHandle*, NlsContext*);
typedef uint32_t (*ToULFn)(void*, uint32_t, const void*, uint32_t, uint32_t, uint32_t,
                           const CharsetHandle*, NlsContext*);
typedef uint32_t (*InitcapFn)(void*, uint32_t, const void*, uint32_t, uint32_t*,
                              const CharsetHandle*, NlsContext*);
typedef const uint8_t* (*SubstrFn)(uint32_t*, void*, uint32_t, const void*, uint32_t, int32_t,
                                   int32_t, uint32_t, uint32_t*, const CharsetHandle*, NlsContext*);
typedef int32_t (*ConvertFn)(NlsContext*, const char*, uint8_t*, uint32_t, const char*,
                             const uint8_t*, uint32_t);
typedef CharsetHandle* (*HandleCreateFn)(NlsContext*, const char*, const char*);
typedef uint32_t (*CntCharFn)(const void*, uint32_t, uint32_t, const CharsetHandle*, NlsContext*);

LXK_SIGNATURE(lxkAscii, AsciiFn);
LXK_SIGNATURE(lxkChr, ChrFn);
LXK_SIGNATURE(lxkConcat, ConcatFn);
LXK_SIGNATURE(lxkToUL, ToULFn);
LXK_SIGNATURE(lxkInitcap, InitcapFn);
LXK_SIGNATURE(lxkSubstr, SubstrFn);
LXK_SIGNATURE(nlsConvert, ConvertFn);
LXK_SIGNATURE(nlsHandleCreate, HandleCreateFn);
LXK_SIGNATURE(lxsCntChar, CntCharFn);

/* The regular-expression exports. */
typedef int32_t (*RegexpCompFn)(RegexRecord*, const void*, uint32_t, uint16_t, const void*,
                                uint32_t, uint32_t, uint32_t, const CharsetHandle*, NlsContext*);
typedef int32_t (*RegexpReusableFn)(const RegexRecord*, const void*, uint32_t, uint16_t,
                                    const void*, uint32_t, uint32_t, uint32_t,
                                    const CharsetHandle*);
typedef uint32_t (*RegexpInstrFn)(RegexRecord*, const void*, uint32_t, uint32_t, uint32_t,
                                  uint16_t, uint16_t, const CharsetHandle*, NlsContext*);
typedef uint32_t (*RegexpSubstrFn)(RegexRecord*, uint8_t**, uint32_t, const void*, uint32_t,
                                   uint32_t, uint32_t, uint16_t, const CharsetHandle*,
                                   NlsContext*);
typedef uint32_t (*RegexpReplaceFn)(RegexRecord*, uint8_t**, uint32_t, const void*, uint32_t,
                                    const void*, uint32_t, uint32_t, uint32_t,
                                    RegexResultAllocator, void*, const CharsetHandle*,
                                    NlsContext*);
typedef uint64_t (*RegexpInstrLobFn)(RegexRecord*, LobAccess*, uint32_t, uint32_t, uint32_t,
                                     uint32_t, uint16_t, uint16_t, const CharsetHandle*,
                                     NlsContext*);
typedef uint64_t (*RegexpReplaceLobFn)(RegexRecord*, LobAccess*, const void*, uint32_t, uint32_t,
                                       uint32_t, uint32_t, uint32_t, const CharsetHandle*,
                                       NlsContext*);
LXK_SIGNATURE(lxkRegexpComp, RegexpCompFn);
LXK_SIGNATURE(lxkRegexpReusable, RegexpReusableFn);
LXK_SIGNATURE(lxkRegexpInstrNSub, RegexpInstrFn);
LXK_SIGNATURE(lxkRegexpSubstrNSub, RegexpSubstrFn);
LXK_SIGNATURE(lxkRegexpReplace, RegexpReplaceFn);
LXK_SIGNATURE(lxkRegexpInstrLobNSub, RegexpInstrLobFn);
LXK_SIGNATURE(lxkRegexpReplaceLob, RegexpReplaceLobFn);

/* LIKE and the LIKE pattern prefix. */
typedef int32_t (*LikeFn)(const void*, uint32_t, const void*, uint32_t, const void*, uint32_t,
                          uint8_t*, uint32_t, uint8_t*, uint32_t, const int32_t*, uint32_t,
                          uint32_t*, const CharsetHandle*, NlsContext*);
typedef int32_t (*LikPatPrefFn)(const void*, uint32_t, const void*, uint32_t, uint8_t*, uint32_t,
                                uint32_t*, uint32_t*, uint8_t*, uint32_t*, const CharsetHandle*,
                                NlsContext*);
LXK_SIGNATURE(lxkLike, LikeFn);
LXK_SIGNATURE(lxkLikPatPref, LikPatPrefFn);
LXK_LAYOUT_ASSERT(LIKE_STATUS_BAD_ESCAPE_SEQUENCE == 0x100u && LIKE_STATUS_BAD_ESCAPE_CHAR == 0x200u,
                  "LIKE status codes");

/* Status and result words are part of the contract too. */
LXK_LAYOUT_ASSERT(NLS_STATUS_TRUNCATED == 6 && NLS_STATUS_INVALID_DATA == 14, "status codes");
LXK_LAYOUT_ASSERT(LXK_RESULT_TRUNCATED == 2u && LXK_RESULT_BAD_ESCAPE == 16u, "result words");
LXK_LAYOUT_ASSERT(sizeof(uint32_t) == 4 && sizeof(int32_t) == 4, "32-bit integers");

#endif /* LXK_TESTS_ABI_CHECK_H */
