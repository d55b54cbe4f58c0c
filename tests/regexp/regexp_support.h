// Test support for the regular-expression exports: a compiled record that
// frees itself, a reference on PCRE2 over UTF-8 with the SQL semantics, and
// counted scratch memory.
#pragma once

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <cstdint>
#include <string>
#include <vector>

#include "support/nls_env.h"

namespace lxktest {

// Scratch handed out through lxldalc and not yet released (this binary
// provides lxldalc and lxldfre, so every block the library and the engine
// take is counted).
struct ScratchCounter {
  int64_t blocks = 0;
  int64_t bytes = 0;
  int64_t peakBytes = 0;
};
ScratchCounter& scratch();

class Compiled {
 public:
  Compiled(const std::string& set, const Bytes& pattern, const std::string& param = "",
           uint16_t lobCharsetId = 0, const char* collation = nullptr) {
    handle_ = env().handle(set, collation);
    rc_ = lxkRegexpComp(&record_, pattern.data(), static_cast<uint32_t>(pattern.size()),
                        lobCharsetId, param.data(), static_cast<uint32_t>(param.size()), 0, 0,
                        handle_, env().ctx());
  }
  ~Compiled() {
    if (rc_ == 0) lxkRegexpFree(&record_);
  }
  Compiled(const Compiled&) = delete;
  Compiled& operator=(const Compiled&) = delete;
  int32_t rc() const { return rc_; }
  RegexRecord* record() { return &record_; }
  const CharsetHandle* handle() const { return handle_; }

 private:
  RegexRecord record_{};
  const CharsetHandle* handle_ = nullptr;
  int32_t rc_ = -1;
};

// The SQL semantics computed directly on PCRE2 over UTF-8: positions in
// characters, empty matches stepped over by one character.
class Reference {
 public:
  Reference(const std::string& pattern, uint32_t options) {
    int error;
    PCRE2_SIZE offset;
    code_ = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(),
                          PCRE2_UTF | PCRE2_UCP | options, &error, &offset, nullptr);
    data_ = code_ ? pcre2_match_data_create_from_pattern(code_, nullptr) : nullptr;
  }
  ~Reference() {
    pcre2_match_data_free(data_);
    pcre2_code_free(code_);
  }
  bool ok() const { return code_ != nullptr; }

  struct Match {
    std::vector<long> start, end;  // byte offsets per group, -1 unset
  };
  // Matches from the character position, as the SQL functions see them.
  std::vector<Match> matches(const std::string& text, uint32_t position) const {
    std::vector<Match> out;
    size_t at = byteOf(text, position);
    while (at <= text.size()) {
      const int rc = pcre2_match(code_, reinterpret_cast<PCRE2_SPTR>(text.data()), text.size(), at,
                                 0, data_, nullptr);
      if (rc < 0) break;
      const PCRE2_SIZE* ov = pcre2_get_ovector_pointer(data_);
      Match m;
      for (uint32_t i = 0; i < pcre2_get_ovector_count(data_); ++i) {
        m.start.push_back(ov[2 * i] == PCRE2_UNSET ? -1 : static_cast<long>(ov[2 * i]));
        m.end.push_back(ov[2 * i] == PCRE2_UNSET ? -1 : static_cast<long>(ov[2 * i + 1]));
      }
      out.push_back(m);
      if (ov[1] > ov[0]) {
        at = ov[1];
      } else {
        if (ov[1] >= text.size()) break;
        at = ov[1] + 1;
        while (at < text.size() && (text[at] & 0xC0) == 0x80) ++at;
      }
    }
    return out;
  }
  static size_t byteOf(const std::string& text, uint32_t position) {
    size_t at = 0;
    for (uint32_t k = 1; k < position && at < text.size(); ++k) {
      ++at;
      while (at < text.size() && (text[at] & 0xC0) == 0x80) ++at;
    }
    return at;
  }
  static uint32_t charsOf(const std::string& text, size_t bytes) {
    uint32_t n = 0;
    for (size_t i = 0; i < bytes; ++i) n += (text[i] & 0xC0) != 0x80;
    return n;
  }

 private:
  pcre2_code* code_ = nullptr;
  pcre2_match_data* data_ = nullptr;
};

inline std::string utf8Of(const Bytes& b) { return std::string(b.begin(), b.end()); }

}  // namespace lxktest
