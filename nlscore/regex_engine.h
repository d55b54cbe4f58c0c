// The regular-expression engine of the core, on PCRE2 with its JIT.
//
// A compiled record holds one Program: the pattern compiled for 8-bit UTF-8
// units or, when the text it searches is AL16UTF16, for 16-bit UTF-16 units.
// Text reaches PCRE2 in one of three ways:
//   native     AL32UTF8 text in the 8-bit program: the caller's bytes as they
//              are; offsets are byte offsets;
//   swapped    AL16UTF16 text in the 16-bit program: big-endian units are
//              swapped once per text into the program's cache (a copy of the
//              text's size, the documented cost on little-endian CPUs);
//   converted  every other set, and any text under an accent-insensitive
//              handle: decoded character by character into the program's
//              units, with an offset map from each unit back to the source
//              byte where its character starts.
// Offsets handed back are always source byte offsets, so positions and copied
// text are in the source's characters.
#pragma once

#include <cstdint>
#include <cstring>

#include "lxk/nls.h"
#include "nlscore/units.h"

namespace nls::regex {

// Engine result codes (lxkRegexpErr maps them to the caller's error numbers).
enum Code : int32_t {
  kFound = 0,
  kNoMatch = 1,
  kBadPattern = -2,  // syntax error not covered below
  kBadBackReference = -3,
  kBadBracket = -4,    // a bracket expression is not closed
  kBadClassName = -5,  // unknown [[:name:]]
  kBadParenthesis = -6,
  kBadRange = -7,       // a range whose end comes before its start
  kBadRepetition = -8,  // a quantifier with nothing to repeat, or bad {m,n}
  kTooComplex = -9,     // pattern too large or nested too deeply
  kNoMemory = -10,
  kMatchLimit = -11,   // backtracking ran away: the search was stopped
  kDepthLimit = -12,   // nesting or stack limit of one search reached
  kReadFailed = -13,   // a large-object read callback failed
  kWriteFailed = -15,  // a large-object write callback failed
  kInternal = -16,
};

// Scratch memory from lxldalc, grown by doubling; released on destruction.
template <class T>
class ScratchVec {
 public:
  ScratchVec() = default;
  ScratchVec(const ScratchVec&) = delete;
  ScratchVec& operator=(const ScratchVec&) = delete;
  ~ScratchVec() { release(); }

  T* data() { return data_; }
  const T* data() const { return data_; }
  uint32_t size() const { return size_; }
  T& operator[](uint32_t i) { return data_[i]; }
  const T& operator[](uint32_t i) const { return data_[i]; }
  void clear() { size_ = 0; }

  bool reserve(uint32_t n) {
    if (n <= capacity_) return true;
    uint32_t grown = capacity_ < 64 ? 64 : capacity_;
    while (grown < n) grown = grown > 0x7FFFFFFFu ? n : grown * 2;
    // lxldalc takes a 32-bit size: a larger block is out of memory.
    if (static_cast<uint64_t>(grown) * sizeof(T) > 0xFFFFFFFFu) {
      if (static_cast<uint64_t>(n) * sizeof(T) > 0xFFFFFFFFu) return false;
      grown = n;
    }
    T* fresh = static_cast<T*>(lxldalc(0, static_cast<uint32_t>(grown * sizeof(T))));
    if (fresh == nullptr) return false;
    if (size_ != 0) std::memcpy(fresh, data_, size_ * sizeof(T));
    if (data_ != nullptr) lxldfre(0, data_);
    data_ = fresh;
    capacity_ = grown;
    return true;
  }
  bool push(T v) {
    if (size_ == capacity_ && (size_ == 0xFFFFFFFFu || !reserve(size_ + 1))) return false;
    data_[size_++] = v;
    return true;
  }
  bool append(const T* v, uint32_t n) {
    if (n == 0) return true;
    if (n > 0xFFFFFFFFu - size_ || !reserve(size_ + n)) return false;
    std::memcpy(data_ + size_, v, n * sizeof(T));
    size_ += n;
    return true;
  }
  // Takes n more elements that were written past size() (after reserve).
  void grow(uint32_t n) { size_ += n; }
  // Drops the first n elements.
  void dropFront(uint32_t n) {
    if (n == 0) return;
    std::memmove(data_, data_ + n, (size_ - n) * sizeof(T));
    size_ -= n;
  }
  void release() {
    if (data_ != nullptr) lxldfre(0, data_);
    data_ = nullptr;
    size_ = capacity_ = 0;
  }

 private:
  T* data_ = nullptr;
  uint32_t size_ = 0;
  uint32_t capacity_ = 0;
};

// Text decoded into program units, with the way back to the source.
template <class Unit>
struct Converted {
  ScratchVec<Unit> units;
  ScratchVec<uint32_t> map;     // per unit: source offset of its character
  ScratchVec<uint8_t> shifted;  // per unit, shift-sensitive sets: inside a run
  void clear() {
    units.clear();
    map.clear();
    shifted.clear();
  }
};

// Decodes source bytes [from, to) into units, appending to out.  Malformed
// bytes become U+FFFD, one character of the width the set gives them.  A
// character cut by `to` is left for later unless `final` is set.  Under
// accentFold each character is decomposed and its combining marks dropped.
// shifted carries the shift state across calls.  Returns the offset where
// decoding stopped, or UINT32_MAX when memory ran out.
template <class Unit>
uint32_t convertText(const SetInfo& set, bool accentFold, const uint8_t* src, uint32_t from,
                     uint32_t to, bool final, bool& shifted, uint32_t mapBase,
                     Converted<Unit>& out);

// Code points of a pattern or replacement in the handle's set (shift bytes
// consumed, malformed bytes as U+FFFD), optionally accent-folded.
bool decodeToCodePoints(const SetInfo& set, bool accentFold, const uint8_t* p, uint32_t length,
                        ScratchVec<uint32_t>& out);

// Appends the code point in program units.
template <class Unit>
bool appendCodePoint(uint32_t c, ScratchVec<Unit>& out);

// Whether the set's text goes to PCRE2 as it is.
enum class TextKind : uint8_t { Native8, Swapped16, Converted };

struct Program;

// The program in a compiled record; null when the record holds none.
inline Program* programOf(const RegexRecord* record) {
  return static_cast<Program*>(record->engineProgram);
}

}  // namespace nls::regex
