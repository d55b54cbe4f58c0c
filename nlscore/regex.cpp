// The regular-expression engine: compiling, searching in memory and over
// large objects, replacing.  See regex_engine.h for how text reaches PCRE2.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "lxk/nlsenv.h"
#include "nlscore/codec.h"
#include "nlscore/handles.h"
#include "nlscore/regex_engine.h"
#include "nlscore/regex_pcre.h"
#include "nlscore/regex_search.h"

namespace nls::regex {

namespace {

// Backtracking budget of one search: a runaway pattern ends with kMatchLimit
// after a fraction of a second instead of running for years.
constexpr uint32_t kMatchLimit = 20'000'000;
constexpr uint32_t kDepthLimit = 100'000;

void* pcreAllocate(size_t size, void*) {
  return size > 0xFFFFFFFFu ? nullptr : lxldalc(0, static_cast<uint32_t>(size));
}
void pcreFree(void* block, void*) {
  if (block != nullptr) lxldfre(0, block);
}

int32_t compileError(int error) {
  switch (error) {
    case 106:  // missing terminating ]
      return kBadBracket;
    case 130:  // unknown POSIX class name
      return kBadClassName;
    case 114:  // missing )
    case 122:  // unmatched )
      return kBadParenthesis;
    case 108:  // range out of order
      return kBadRange;
    case 115:  // reference to a group that does not exist
    case 157:
      return kBadBackReference;
    case 104:
    case 105:
    case 109:
      return kBadRepetition;
    case 119:
    case 120:
    case 186:
      return kTooComplex;
    case 121:
      return kNoMemory;
    default:
      return kBadPattern;
  }
}

template <class Unit>
int32_t compileProgram(Program& prog, const ScratchVec<uint32_t>& pattern, uint32_t options) {
  using P = Pcre<Unit>;
  ScratchVec<Unit> units;
  for (uint32_t i = 0; i < pattern.size(); ++i)
    if (!appendCodePoint<Unit>(pattern[i], units)) return kNoMemory;
  auto* general = P::general(pcreAllocate, pcreFree);
  if (general == nullptr) return kNoMemory;
  prog.general = general;
  auto* cc = P::compileContext(general);
  if (cc == nullptr) return kNoMemory;
  int error = 0;
  size_t errorOffset = 0;
  static const Unit kEmpty[1] = {0};
  auto* code = P::compile(units.size() ? units.data() : kEmpty, units.size(), options, &error,
                          &errorOffset, cc);
  P::freeCompileContext(cc);
  if (code == nullptr) return compileError(error);
  prog.code = code;
  P::jitCompile(code);  // without JIT support the interpreter serves
  uint32_t captures = 0, lookbehind = 0;
  P::info(code, PCRE2_INFO_CAPTURECOUNT, &captures);
  P::info(code, PCRE2_INFO_MAXLOOKBEHIND, &lookbehind);
  prog.captures = captures;
  prog.lookbehind = lookbehind;
  auto* md = P::matchData(code, general);
  auto* mc = P::matchContext(general);
  auto* js = P::jitStack(32 * 1024, 1024 * 1024, general);
  prog.matchData = md;
  prog.matchContext = mc;
  prog.jitStack = js;
  if (md == nullptr || mc == nullptr || js == nullptr) return kNoMemory;
  P::limits(mc, kMatchLimit, kDepthLimit);
  P::assignJitStack(mc, js);
  return kFound;
}

template <class Unit>
void freeProgram(Program& prog) {
  using P = Pcre<Unit>;
  if (prog.matchData) P::freeMatchData(static_cast<typename P::MatchData*>(prog.matchData));
  if (prog.matchContext)
    P::freeMatchContext(static_cast<typename P::MatchContext*>(prog.matchContext));
  if (prog.jitStack) P::freeJitStack(static_cast<typename P::JitStack*>(prog.jitStack));
  if (prog.code) P::freeCode(static_cast<typename P::Code*>(prog.code));
  if (prog.general) P::freeGeneral(static_cast<typename P::GeneralContext*>(prog.general));
}

void* defaultAllocate(void*, uint32_t size) { return std::malloc(size == 0 ? 1 : size); }

}  // namespace

void destroyProgram(Program* prog) {
  if (prog == nullptr) return;
  prog->dropLobWalk();
  if (prog->wide)
    freeProgram<uint16_t>(*prog);
  else
    freeProgram<uint8_t>(*prog);
  prog->~Program();
  lxldfre(0, prog);
}

}  // namespace nls::regex

using namespace nls;
using namespace nls::regex;

extern "C" {

NLS_API int32_t lxregcomp(RegexRecord* record, const void* pattern, uint32_t patternLength,
                          uint32_t lobCharsetId, uint32_t flags, uint32_t /*engineArg*/,
                          const CharsetHandle* handle, NlsContext* ctx) {
  record->engineProgram = nullptr;
  record->allocate = defaultAllocate;
  record->allocateContext = nullptr;
  record->subexpressionCount = 0;
  record->lobCharsetId = static_cast<uint16_t>(lobCharsetId);
  record->collationId = handle->collationId;
  record->compileFlags = flags;

  const CharsetDefinition* patternDef = definitionFor(handle, ctx);
  const CharsetDefinition* textDef = lobCharsetId != 0 ? lxhci2h(lobCharsetId, ctx) : patternDef;
  if (textDef == nullptr) textDef = patternDef;

  void* block = lxldalc(0, sizeof(Program));
  if (block == nullptr) return kNoMemory;
  Program* prog = new (block) Program();
  prog->wide = encodingOf(textDef) == Encoding::Utf16Be;
  const uint32_t collation = collationOf(handle);
  prog->accentFold = collation == kCollationAccentInsensitive;
  bool caseless = collation != kCollationBinary;
  if (flags & REGEX_MP_I) caseless = true;
  if ((flags & REGEX_MP_C) && !(flags & REGEX_MP_I)) caseless = false;
  // The later of 'c' and 'i' is what the flags carry: only one is ever set.
  uint32_t options = PCRE2_UTF | PCRE2_UCP;
  if (caseless) options |= PCRE2_CASELESS;
  if (flags & REGEX_MP_N) options |= PCRE2_DOTALL;
  if (flags & REGEX_MP_M) options |= PCRE2_MULTILINE;
  if (flags & REGEX_MP_X) options |= PCRE2_EXTENDED;

  ScratchVec<uint32_t> points;
  int32_t rc = kNoMemory;
  if (decodeToCodePoints(setInfo(handle, patternDef), prog->accentFold,
                         static_cast<const uint8_t*>(pattern), pattern ? patternLength : 0, points))
    rc = prog->wide ? compileProgram<uint16_t>(*prog, points, options)
                    : compileProgram<uint8_t>(*prog, points, options);
  if (rc != kFound) {
    destroyProgram(prog);
    return rc;
  }
  record->engineProgram = prog;
  record->subexpressionCount = static_cast<uint16_t>(std::min<uint32_t>(prog->captures, 0xFFFF));
  return kFound;
}

NLS_API void lxregfree(RegexRecord* record) {
  if (record == nullptr) return;
  destroyProgram(programOf(record));
  record->engineProgram = nullptr;
}

NLS_API int32_t lxregmatchknl(const void* /*bytes*/, uint32_t /*length*/, uint32_t /*utf16*/) {
  // Every character is an ordinary step: a search after an empty match
  // needs no continuation state.
  return 0;
}

}  // extern "C"

extern "C" NLS_API int32_t nlsRegexTakeResult(NlsContext* ctx) {
  int32_t rc;
  std::memcpy(&rc, ctx->coreReserved5 + 1, sizeof rc);
  const int32_t cleared = 0;
  std::memcpy(ctx->coreReserved5 + 1, &cleared, sizeof cleared);
  return rc;
}
