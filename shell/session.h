// The shell's session: the character set and collation in force, the context
// every call goes through, and conversion between UTF-8 text and the set.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "lxk/lxk.h"
#include "lxk/nlsenv.h"

namespace lxksql {

using Bytes = std::vector<uint8_t>;

// The set SQLite's TEXT values are held in.
inline constexpr const char* kTextCharset = "AL32UTF8";

// The capacity every string function gets unless the user asks otherwise:
// the longest string value an engine column usually holds.
inline constexpr uint32_t kDefaultCapacity = 32767;

// The catalogue entry for a set name or alias (case-insensitive); null when
// unknown.
const NlsCharsetInfo* findCharset(std::string_view name);

// A one-word description of a set's class, from its handle and definition bits.
const char* charsetClass(const NlsCharsetInfo& info);

// Well-formed UTF-8: no stray or overlong bytes, no surrogates.
bool isValidUtf8(std::string_view text);

class Session {
 public:
  Session();
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Switch the session set or collation; on failure the old one stays and
  // *error says why.
  bool setCharset(std::string_view name, std::string* error);
  bool setCollation(std::string_view name, std::string* error);
  bool setCapacity(int64_t capacity, std::string* error);

  const std::string& charset() const { return charset_; }
  const std::string& collation() const { return collation_; }
  uint32_t capacity() const { return capacity_; }
  const CharsetHandle* handle() const { return handle_; }
  NlsContext* ctx() const { return ctx_; }
  bool ready() const { return ctx_ != nullptr && handle_ != nullptr; }

  // Bytes of one set into another (canonical or alias names).  False when a
  // set is unknown or the source is malformed in its set.
  bool convert(std::string_view toCharset, std::string_view fromCharset, const uint8_t* src,
               size_t length, Bytes* out) const;
  // UTF-8 into the session set; false when the text is not well-formed.
  bool toSession(std::string_view utf8, Bytes* out) const;
  // Session bytes as UTF-8; false when they are not valid text of the set.
  bool fromSession(const uint8_t* src, size_t length, std::string* utf8) const;

 private:
  bool replaceHandle(const std::string& charset, const std::string& collation, std::string* error);

  NlsContext* ctx_ = nullptr;
  CharsetHandle* handle_ = nullptr;
  std::string charset_;
  std::string collation_ = "BINARY";
  uint32_t capacity_ = kDefaultCapacity;
};

}  // namespace lxksql
