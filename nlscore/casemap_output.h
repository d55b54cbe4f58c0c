// The destination of a case conversion: whole characters up to the
// capacity, and in shift-sensitive sets the shift bytes that the characters
// need, with room kept at every step for the shift-in that closes an open
// run.
#pragma once

#include <cstdint>
#include <cstring>

#include "nlscore/units.h"

namespace nls::casemap {

constexpr uint32_t kStageCapacity = 64;  // bytes of one character's output

// One character's output with the shift bytes it needs, built against the
// destination's shift state and committed whole or not at all.
struct Stage {
  uint8_t bytes[kStageCapacity];
  uint32_t length;
  bool shifted;

  // Whether n more bytes fit, with room for a shift byte before them and one
  // after.
  bool fits(uint32_t n) const { return length + n + 2 <= kStageCapacity; }

  // Appends one encoded character, opening or closing a shifted run as its
  // bytes require.
  void append(const SetInfo& set, const uint8_t* encoded, uint32_t n, bool doubleByte) {
    if (set.shiftSensitive && doubleByte != shifted) {
      bytes[length++] = doubleByte ? set.shiftOut : set.shiftIn;
      shifted = doubleByte;
    }
    std::memcpy(bytes + length, encoded, n);
    length += n;
  }
};

class StagedOutput {
 public:
  StagedOutput(const SetInfo& set, uint8_t* dst, uint32_t capacity)
      : at(dst), end(dst + capacity), set_(set), start_(dst) {}

  // The write position and the end of the capacity.  The fast paths of sets
  // without shift states write through them directly.
  uint8_t* at;
  uint8_t* const end;

  uint32_t room() const { return static_cast<uint32_t>(end - at); }

  // An empty stage in the destination's shift state.
  Stage stage() const {
    Stage empty;  // its bytes are written before they are read
    empty.length = 0;
    empty.shifted = shifted_;
    return empty;
  }

  // Writes the stage if it fits with room for a closing shift-in byte.
  bool commit(const Stage& stage) {
    if (stage.length + (stage.shifted ? 1u : 0u) > room()) return false;
    std::memcpy(at, stage.bytes, stage.length);
    at += stage.length;
    shifted_ = stage.shifted;
    return true;
  }

  // Copies a character's own bytes, in the shift state they were read in.
  bool commitOriginal(const uint8_t* bytes, uint32_t n, bool shifted) {
    if (n > kStageCapacity - 1) {
      // Only undecodable runs can be this long; they go out in pieces.
      for (uint32_t done = 0; done < n;) {
        const uint32_t piece = n - done < kStageCapacity - 1 ? n - done : kStageCapacity - 1;
        if (!commitOriginal(bytes + done, piece, shifted)) return false;
        done += piece;
      }
      return true;
    }
    if (!set_.shiftSensitive) {
      // No shift bytes to add: straight to the destination.
      if (n > room()) return false;
      std::memcpy(at, bytes, n);
      at += n;
      return true;
    }
    Stage staged = stage();
    staged.append(set_, bytes, n, shifted);
    return commit(staged);
  }

  // Closes an open shifted run (room was kept for it); returns the bytes
  // written in all.
  uint32_t close() {
    if (shifted_) {
      *at++ = set_.shiftIn;
      shifted_ = false;
    }
    return static_cast<uint32_t>(at - start_);
  }

 private:
  const SetInfo& set_;
  uint8_t* const start_;
  bool shifted_ = false;
};

}  // namespace nls::casemap
