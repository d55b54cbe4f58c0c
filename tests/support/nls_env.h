// Test support: one context for the test binary and handles by set name.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "lxk/lxk.h"
#include "lxk/nlsenv.h"

namespace lxktest {

using Bytes = std::vector<uint8_t>;

inline Bytes bytes(std::initializer_list<int> values) {
  return Bytes(values.begin(), values.end());
}

inline Bytes bytes(const std::string& s) { return Bytes(s.begin(), s.end()); }

// A context with handles made on demand and released with it.
class NlsEnv {
 public:
  NlsEnv() : ctx_(nlsContextCreate()) {}
  ~NlsEnv() {
    for (auto& entry : handles_) nlsHandleDestroy(entry.second);
    nlsContextDestroy(ctx_);
  }
  NlsEnv(const NlsEnv&) = delete;
  NlsEnv& operator=(const NlsEnv&) = delete;

  NlsContext* ctx() const { return ctx_; }

  const CharsetHandle* handle(const std::string& charset, const char* collation = nullptr) {
    CharsetHandle*& h = handles_[charset + "/" + (collation ? collation : "")];
    if (h == nullptr && (h = nlsHandleCreate(ctx_, charset.c_str(), collation)) == nullptr)
      ADD_FAILURE() << "no handle for " << charset;
    return h;
  }

  const CharsetDefinition* definition(const std::string& charset) {
    return static_cast<const CharsetDefinition*>(nlsDefinition(ctx_, charset.c_str()));
  }

  // UTF-8 text converted into the set, and back; fails the test when it cannot.
  Bytes encode(const std::string& charset, const std::string& utf8) {
    return convert(charset, "AL32UTF8", reinterpret_cast<const uint8_t*>(utf8.data()), utf8.size());
  }
  std::string decode(const std::string& charset, const uint8_t* data, size_t length) {
    const Bytes utf8 = convert("AL32UTF8", charset, data, length);
    return std::string(utf8.begin(), utf8.end());
  }

  // The set's bytes for the text, or empty when the set cannot hold all of it.
  Bytes held(const std::string& charset, const std::string& utf8) {
    Bytes b = encode(charset, utf8);
    return decode(charset, b.data(), b.size()) == utf8 ? b : Bytes{};
  }

 private:
  NlsContext* ctx_;
  std::map<std::string, CharsetHandle*> handles_;

  Bytes convert(const std::string& to, const std::string& from, const uint8_t* data, size_t n) {
    Bytes out(n * 4 + 16);
    const int32_t written =
        nlsConvert(ctx_, to.c_str(), out.data(), static_cast<uint32_t>(out.size()), from.c_str(),
                   data, static_cast<uint32_t>(n));
    if (written < 0) ADD_FAILURE() << "cannot convert " << from << " to " << to;
    out.resize(written < 0 ? 0 : static_cast<size_t>(written));
    return out;
  }
};

// The context and handles one test binary shares.
inline NlsEnv& env() {
  static NlsEnv instance;
  return instance;
}

// The characters of UTF-8 text, each as its own string.
inline std::vector<std::string> chars(const std::string& utf8) {
  std::vector<std::string> out;
  for (char c : utf8) {
    if ((c & 0xC0) != 0x80) out.emplace_back();
    out.back() += c;
  }
  return out;
}

// One or more characters of each script the catalogue's sets hold, control,
// half-width, ideographic-space and supplementary ones included; each
// test keeps those a set holds.
inline std::vector<std::string> sampleChars() {
  return chars(
      "Az0 ~%_\u0080éßüĦġĢļŁžťůİğşŊŧąŒŴẁųėươđЖПрΩαΚέנשمر€ﬁ中文日本丂繁體あアｱｶ한국％\u3000😀𠀋");
}

// Every set of the catalogue that string functions accept handles for.
inline std::vector<std::string> stringCharsets() {
  std::vector<std::string> names;
  for (uint32_t i = 0; i < nlsCatalogueCount(); ++i) {
    const NlsCharsetInfo* info = nlsCatalogueEntry(i);
    if (!info->conversionOnly) names.push_back(info->name);
  }
  return names;
}

}  // namespace lxktest
