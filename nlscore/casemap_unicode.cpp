// The full case mapping of one character, through ICU in the root locale.
//
// No allocation: ICU's case mapping of a few UTF-16 units into a stack
// buffer allocates nothing, and titlecasing gets a break iterator that lives
// on the stack.
#include "nlscore/casemap_unicode.h"

#include <unicode/brkiter.h>
#include <unicode/casemap.h>
#include <unicode/utf16.h>

#include <cstdlib>

namespace nls::casemap {
namespace {

// ---- Titlecasing without an allocated break iterator -------------------------

// A break iterator over one character: the text is a single segment, so
// ICU's titlecasing gives the character's full titlecase mapping.  Only
// setText, first and next are used by the titlecasing; the rest never runs.
class SingleSegmentBreaks final : public icu::BreakIterator {
 public:
  bool operator==(const icu::BreakIterator& other) const override { return this == &other; }
  icu::BreakIterator* clone() const override { return nullptr; }
  UClassID getDynamicClassID() const override {
    static const char kClassId = 0;
    return const_cast<char*>(&kClassId);
  }
  icu::CharacterIterator& getText() const override { std::abort(); }
  UText* getUText(UText*, UErrorCode& status) const override {
    status = U_UNSUPPORTED_ERROR;
    return nullptr;
  }
  void setText(const icu::UnicodeString& text) override {
    length_ = text.length();
    position_ = 0;
  }
  void setText(UText*, UErrorCode& status) override { status = U_UNSUPPORTED_ERROR; }
  void adoptText(icu::CharacterIterator* it) override { delete it; }
  int32_t first() override { return position_ = 0; }
  int32_t last() override { return position_ = length_; }
  int32_t previous() override { return position_ == 0 ? UBRK_DONE : (position_ = 0); }
  int32_t next() override { return position_ == length_ ? UBRK_DONE : (position_ = length_); }
  int32_t current() const override { return position_; }
  int32_t following(int32_t offset) override {
    return offset < length_ ? (position_ = length_) : UBRK_DONE;
  }
  int32_t preceding(int32_t offset) override { return offset > 0 ? (position_ = 0) : UBRK_DONE; }
  UBool isBoundary(int32_t offset) override { return offset == 0 || offset == length_; }
  int32_t next(int32_t n) override {
    while (n-- > 0 && next() != UBRK_DONE) {
    }
    return position_;
  }
  icu::BreakIterator* createBufferClone(void*, int32_t&, UErrorCode& status) override {
    status = U_UNSUPPORTED_ERROR;
    return nullptr;
  }
  icu::BreakIterator& refreshInputText(UText*, UErrorCode& status) override {
    status = U_UNSUPPORTED_ERROR;
    return *this;
  }

 private:
  int32_t length_ = 0;
  int32_t position_ = 0;
};

}  // namespace

uint32_t fullMapping(uint32_t codePoint, CaseAction action, UChar* mapped) {
  if (codePoint < 0x80) {
    const uint8_t b = static_cast<uint8_t>(codePoint);
    mapped[0] = action == CaseAction::Lower ? asciiLower(b) : asciiUpper(b);
    return 1;
  }
  if (!hasSpecialCasing(codePoint)) {
    // Here the full mapping is the simple one-to-one mapping.
    const UChar32 c = static_cast<UChar32>(codePoint);
    const UChar32 simple = action == CaseAction::Upper   ? u_toupper(c)
                           : action == CaseAction::Lower ? u_tolower(c)
                                                         : u_totitle(c);
    uint32_t n = 0;
    U16_APPEND_UNSAFE(mapped, n, simple);
    return n;
  }
  UChar source[2];
  int32_t sourceLength = 0;
  U16_APPEND_UNSAFE(source, sourceLength, codePoint);
  UErrorCode status = U_ZERO_ERROR;
  int32_t n = 0;
  switch (action) {
    case CaseAction::Upper:
      n = icu::CaseMap::toUpper("", 0, source, sourceLength, mapped, kMappedCapacity, nullptr,
                                status);
      break;
    case CaseAction::Lower:
      n = icu::CaseMap::toLower("", 0, source, sourceLength, mapped, kMappedCapacity, nullptr,
                                status);
      break;
    case CaseAction::Title: {
      SingleSegmentBreaks breaks;
      n = icu::CaseMap::toTitle("", U_TITLECASE_NO_BREAK_ADJUSTMENT, &breaks, source, sourceLength,
                                mapped, kMappedCapacity, nullptr, status);
      break;
    }
  }
  return U_FAILURE(status) || n <= 0 ? 0u : static_cast<uint32_t>(n);
}

}  // namespace nls::casemap
