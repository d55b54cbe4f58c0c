// The compiled program and what one search sees of a text.
#pragma once

#include <cstdint>

#include "nlscore/regex_engine.h"

namespace nls::regex {

// Remembers the last successful search of a counting walk, so that the next
// step over the same text is not validated or converted again.
struct WalkMemo {
  const void* text = nullptr;
  uint32_t length = 0;
  uint64_t start = 0, end = 0;
  bool valid = false;
};

struct Program {
  bool wide = false;        // 16-bit program (AL16UTF16 text)
  bool accentFold = false;  // accent-insensitive handle: marks are dropped
  uint32_t captures = 0;
  uint32_t lookbehind = 0;
  void* general = nullptr;  // PCRE2 objects of the program's width
  void* code = nullptr;
  void* matchData = nullptr;
  void* matchContext = nullptr;
  void* jitStack = nullptr;

  WalkMemo memo;
  bool lastNative = false;  // the last in-memory text was searched in place
  // The last text that was swapped or converted, kept while the same text is
  // searched again (a compiled record serves one call at a time).
  ScratchVec<uint8_t> cacheSource;
  const CharsetDefinition* cacheDef = nullptr;
  bool cacheValid = false;
  Converted<uint8_t> conv8;
  Converted<uint16_t> conv16;
  // The window of a counting walk over a large object, kept from one step to
  // the next; dropped by any other call, when the walk finds no more, and by
  // lxregfree.
  void* lobWalk = nullptr;
  const void* lobWalkObject = nullptr;
  void (*lobWalkDestroy)(void*) = nullptr;

  void dropLobWalk() {
    if (lobWalk != nullptr) lobWalkDestroy(lobWalk);
    lobWalk = nullptr;
    lobWalkObject = nullptr;
  }
};

void destroyProgram(Program* prog);

// What PCRE2 searches and how its unit indexes lead back to source offsets.
template <class Unit>
struct View {
  const Unit* units = nullptr;
  uint32_t length = 0;
  const uint32_t* map = nullptr;  // null: unit index times scale
  uint32_t scale = 1;
  const uint8_t* shifted = nullptr;
  uint64_t base = 0;       // source offset of map value 0
  uint64_t endOffset = 0;  // source offset of index `length`
  bool checkUtf = false;   // the next search validates the text (once per call)

  uint64_t source(uint32_t u) const {
    if (u >= length) return endOffset;
    return base + (map ? map[u] : static_cast<uint64_t>(u) * scale);
  }
  bool shiftedAt(uint32_t u) const { return shifted != nullptr && u < length && shifted[u]; }
};

}  // namespace nls::regex
