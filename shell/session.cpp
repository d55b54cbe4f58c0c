#include "shell/session.h"

#include <unicode/utf8.h>

#include <cctype>
#include <climits>
#include <cstring>

namespace lxksql {

const NlsCharsetInfo* findCharset(std::string_view name) {
  // The core resolves names and aliases for the handles too; a name with a
  // NUL inside is none of them.
  if (name.find('\0') != std::string_view::npos) return nullptr;
  return nlsCatalogueFind(std::string(name).c_str());
}

const char* charsetClass(const NlsCharsetInfo& info) {
  if (info.conversionOnly) return "conversion only";
  if (info.handleFlags & CSH_UTF16) return "UTF-16";
  if (info.handleFlags & CSH_SHIFT_SENSITIVE) return "shift-sensitive";
  if (info.handleFlags & CSH_SINGLE_BYTE) return "single-byte";
  if (info.charsetId == CSID_UTFE) return "UTF-EBCDIC";
  if ((info.definitionFlags & CSD_ANY_UTF8) || info.charsetId == CSID_AL32UTF8) return "UTF-8";
  if (info.handleFlags & CSH_GB18030) return "GB18030";
  if (info.handleFlags & CSH_FIXED_WIDTH) return "fixed-width";
  return "multibyte";
}

Session::Session() : ctx_(nlsContextCreate()) {
  std::string ignored;
  if (ctx_ != nullptr) replaceHandle(kTextCharset, collation_, &ignored);
}

Session::~Session() {
  if (handle_ != nullptr) nlsHandleDestroy(handle_);
  if (ctx_ != nullptr) nlsContextDestroy(ctx_);
}

bool Session::replaceHandle(const std::string& charset, const std::string& collation,
                            std::string* error) {
  if (ctx_ == nullptr) {
    *error = "the character-set context could not be created";
    return false;
  }
  CharsetHandle* fresh = nlsHandleCreate(ctx_, charset.c_str(), collation.c_str());
  if (fresh == nullptr) {
    *error = "no handle for character set '" + charset + "' with collation '" + collation + "'";
    return false;
  }
  if (handle_ != nullptr) nlsHandleDestroy(handle_);
  handle_ = fresh;
  charset_ = charset;
  collation_ = collation;
  return true;
}

bool Session::setCharset(std::string_view name, std::string* error) {
  const NlsCharsetInfo* info = findCharset(name);
  if (info == nullptr) {
    *error =
        "unknown character set '" + std::string(name) + "' (see SELECT name FROM lxk_charsets)";
    return false;
  }
  if (info->conversionOnly) {
    *error = "character set '" + std::string(info->name) +
             "' serves conversion only; string functions cannot run in it";
    return false;
  }
  return replaceHandle(info->name, collation_, error);
}

bool Session::setCollation(std::string_view name, std::string* error) {
  std::string upper(name);
  for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  if (upper != "BINARY" && upper != "CI" && upper != "AI") {
    *error = "unknown collation '" + std::string(name) + "' (BINARY, CI or AI)";
    return false;
  }
  return replaceHandle(charset_, upper, error);
}

bool Session::setCapacity(int64_t capacity, std::string* error) {
  if (capacity < 0 || capacity > 16 * 1024 * 1024) {
    *error = "capacity must be between 0 and 16777216 bytes";
    return false;
  }
  capacity_ = static_cast<uint32_t>(capacity);
  return true;
}

bool Session::convert(std::string_view toCharset, std::string_view fromCharset, const uint8_t* src,
                      size_t length, Bytes* out) const {
  out->clear();
  if (length > UINT32_MAX / 64) return false;
  const NlsCharsetInfo* to = findCharset(toCharset);
  const NlsCharsetInfo* from = findCharset(fromCharset);
  if (to == nullptr || from == nullptr) return false;
  if (length == 0) return true;
  // nlsConvert does not tell a short capacity from bad input, so grow once
  // before calling the input malformed.  No set needs more than 16 bytes for
  // one source byte (a shifted run opened and closed around each character).
  for (size_t factor : {size_t{4}, size_t{16}}) {
    out->resize(length * factor + 16);
    int32_t written = nlsConvert(ctx_, to->name, out->data(), static_cast<uint32_t>(out->size()),
                                 from->name, src, static_cast<uint32_t>(length));
    if (written >= 0) {
      out->resize(static_cast<size_t>(written));
      return true;
    }
  }
  out->clear();
  return false;
}

bool isValidUtf8(std::string_view text) {
  const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
  const auto length = static_cast<int32_t>(text.size());
  for (int32_t offset = 0; offset < length;) {
    UChar32 c;
    U8_NEXT(bytes, offset, length, c);
    if (c < 0) return false;
  }
  return true;
}

bool Session::toSession(std::string_view utf8, Bytes* out) const {
  // The converter would quietly replace malformed text; the user should hear.
  if (utf8.size() > INT32_MAX || !isValidUtf8(utf8)) return false;
  return convert(charset_, kTextCharset, reinterpret_cast<const uint8_t*>(utf8.data()), utf8.size(),
                 out);
}

bool Session::fromSession(const uint8_t* src, size_t length, std::string* utf8) const {
  // The converter replaces malformed characters, so text is valid only when
  // it converts back to the very same bytes.
  Bytes converted;
  Bytes back;
  if (!convert(kTextCharset, charset_, src, length, &converted) ||
      !convert(charset_, kTextCharset, converted.data(), converted.size(), &back) ||
      back.size() != length || (length != 0 && std::memcmp(back.data(), src, length) != 0))
    return false;
  utf8->assign(converted.begin(), converted.end());
  return true;
}

}  // namespace lxksql
