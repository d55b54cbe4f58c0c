/*
 * lxk/nlsenv.h -- the engine-facing side of our NLS core: contexts, handles,
 * definitions, conversion between sets, and the catalogue.
 *
 * Character-set and collation names are case-insensitive.
 */
#ifndef LXK_NLSENV_H
#define LXK_NLSENV_H

#include <stdint.h>

#include "lxk/nls.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A context per calling thread; it reaches every definition of the catalogue. */
NLS_API NlsContext* nlsContextCreate(void);
NLS_API void nlsContextDestroy(NlsContext* ctx);

/* A handle for a character set.  collation: NULL or "BINARY" (binary),
 * "CI" (case-insensitive), "AI" (accent- and case-insensitive).  NULL for an
 * unknown set or collation, and for sets that serve conversion only. */
NLS_API CharsetHandle* nlsHandleCreate(NlsContext* ctx, const char* charset,
                                       const char* collation);
NLS_API void nlsHandleDestroy(CharsetHandle* handle);

/* The definition (a CharsetDefinition) of a set; NULL when unknown. */
NLS_API const void* nlsDefinition(NlsContext* ctx, const char* charset);

/* Converts length bytes of src from one set into the other.  Characters the
 * target lacks, and malformed source characters, become the target's
 * replacement character.  Returns the bytes written; -1 on an unknown set, a
 * source that ends inside a character, or a capacity that is too small. */
NLS_API int32_t nlsConvert(NlsContext* ctx, const char* toCharset, uint8_t* dst,
                           uint32_t capacity, const char* fromCharset, const uint8_t* src,
                           uint32_t length);

/* The result code of the last regular-expression engine call made with the
 * context (0 found, 1 no match, negative: an error that lxkRegexpErr maps to
 * an error number), and 0 from then on until the next engine call. */
NLS_API int32_t nlsRegexTakeResult(NlsContext* ctx);

/* The catalogue. */
typedef struct NlsCharsetInfo {
  const char* name;        /* canonical name, e.g. "AL32UTF8" */
  const char* description; /* one line */
  const char* aliases;     /* comma-separated, may be empty */
  int32_t charsetId;
  uint32_t handleFlags;     /* CSH_* of its handles */
  uint32_t definitionFlags; /* CSD_* */
  uint32_t maxBytesPerChar;
  int32_t conversionOnly; /* nonzero: no handle for the string functions */
} NlsCharsetInfo;

NLS_API uint32_t nlsCatalogueCount(void);
/* Entry i of the catalogue, NULL past the end. */
NLS_API const NlsCharsetInfo* nlsCatalogueEntry(uint32_t index);
/* The entry of a set by its canonical name or one of its aliases, in any
 * case; NULL for NULL or an unknown name.  Every function here that takes a
 * set name resolves it this way. */
NLS_API const NlsCharsetInfo* nlsCatalogueFind(const char* name);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* LXK_NLSENV_H */
