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
  Bytes out;
  for (int v : values) out.push_back(static_cast<uint8_t>(v));
  return out;
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
    std::string key = charset + "/" + (collation ? collation : "");
    auto it = handles_.find(key);
    if (it != handles_.end()) return it->second;
    CharsetHandle* h = nlsHandleCreate(ctx_, charset.c_str(), collation);
    if (h == nullptr) ADD_FAILURE() << "no handle for " << charset;
    handles_[key] = h;
    return h;
  }

  const CharsetDefinition* definition(const std::string& charset) {
    return static_cast<const CharsetDefinition*>(nlsDefinition(ctx_, charset.c_str()));
  }

  // UTF-8 text converted into the set; fails the test when it cannot.
  Bytes encode(const std::string& charset, const std::string& utf8) {
    Bytes out(utf8.size() * 4 + 16);
    int32_t n = nlsConvert(ctx_, charset.c_str(), out.data(), static_cast<uint32_t>(out.size()),
                           "AL32UTF8", reinterpret_cast<const uint8_t*>(utf8.data()),
                           static_cast<uint32_t>(utf8.size()));
    if (n < 0) {
      ADD_FAILURE() << "cannot convert into " << charset;
      return {};
    }
    out.resize(static_cast<size_t>(n));
    return out;
  }

  // Bytes of the set back to UTF-8.
  std::string decode(const std::string& charset, const uint8_t* data, uint32_t length) {
    std::string out(length * 4 + 16, '\0');
    int32_t n = nlsConvert(ctx_, "AL32UTF8", reinterpret_cast<uint8_t*>(out.data()),
                           static_cast<uint32_t>(out.size()), charset.c_str(), data, length);
    if (n < 0) {
      ADD_FAILURE() << "cannot convert from " << charset;
      return {};
    }
    out.resize(static_cast<size_t>(n));
    return out;
  }

 private:
  NlsContext* ctx_;
  std::map<std::string, CharsetHandle*> handles_;
};

// The context and handles one test binary shares.
inline NlsEnv& env() {
  static NlsEnv instance;
  return instance;
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
