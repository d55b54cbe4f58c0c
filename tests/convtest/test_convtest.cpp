// The conversion test: table rows for the edge cases, then a comparison with
// ICU's converters on random text between every pair of a list of sets that
// covers each class: converted with a callback that stops at the first
// substitution, a text is lossy when the conversion stops, unchanged when
// the bytes come out the same, else changed with the output's length.
#include <unicode/ucnv.h>
#include <unicode/ucnv_err.h>

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "support/guarded_buffer.h"
#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::env;

struct Outcome {
  int32_t result;
  int32_t status;
  uint32_t lastByteCount;
  uint32_t convertedChars;
  uint16_t replacementSeen;
  uint8_t endsShifted;
};

Outcome convTest(const CharsetDefinition* to, const Bytes& text, const CharsetDefinition* from,
                 uint8_t mode = 0) {
  static lxktest::GuardedBuffer src;
  src.assign(text.data(), text.size());
  NlsContext* ctx = env().ctx();
  ctx->status = 99;
  ctx->endsShifted = 9;
  const int32_t r =
      lxkCSConvTest(to, src.data(), from, static_cast<uint32_t>(text.size()), mode, ctx);
  return {r,
          ctx->status,
          ctx->lastByteCount,
          ctx->convertedChars,
          ctx->replacementSeen,
          ctx->endsShifted};
}

const CharsetDefinition* def(const char* name) { return env().definition(name); }

TEST(ConvTest, EdgeRows) {
  struct Row {
    const char* from;
    const char* to;
    Bytes text;
    uint8_t mode;
    int32_t result;
    int32_t status;
    uint32_t lastByteCount;
    uint32_t convertedChars;
  } rows[] = {
      {"AL32UTF8", "WINDOWS-1252", lxktest::bytes("plain ascii"), 0, 0, 0, 11, 11},
      {"AL32UTF8", "WINDOWS-1252", lxktest::bytes("abcdef\xC3\xA9gh"), 0, 9, 0, 10, 9},
      {"ISO-8859-1", "AL32UTF8", {0xE9, 0x62, 0x20, 0x20, 0x20}, 1, 3, 0, 5, 2},
      {"IBM-1047", "ISO-8859-1", {0x40, 0x40, 0x40}, 1, 0, 0, 3, 0},
      {"ISO-8859-1", "AL32UTF8", {0x61, 0x85}, 0, -3, 0, 2, 2},
      {"ISO-8859-1", "WINDOWS-1252", {0x85}, 0, -1, 0, 1, 1},
      {"ISO-8859-1", "ISO-8859-1", {0x85}, 0, -1, 0, 1, 1},
      {"WINDOWS-1252", "WINDOWS-1252", {0xE9, 0x81}, 0, -2, 0, 2, 2},
      {"WINDOWS-1252", "WINDOWS-1252", {0xE9, 0x80}, 0, 0, 0, 2, 2},
      {"US7ASCII", "ISO-8859-1", {0x61, 0x80}, 0, -2, 0, 2, 2},
      {"UTF8", "AL32UTF8", {0xED, 0xA0, 0xBD, 0xED, 0xB8, 0x80}, 0, 4, 0, 6, 1},
      {"AL16UTF16", "UTF8", {0xD8, 0x3D, 0x00, 0x61}, 0, -3, 0, 4, 1},
      {"AL16UTF16", "UTF8", {0x00, 0xE9, 0x00, 0x20, 0x00, 0x20, 0x00, 0x20}, 1, 2, 0, 8, 1},
      {"AL16UTF16", "UTF8", {0xD8, 0x3D, 0xDE, 0x00}, 0, 6, 0, 4, 2},
      {"UTF8", "AL16UTF16", {0x61, 0xE4, 0xB8}, 0, 2, 34, 1, 1},
      {"AL32UTF8", "AL16UTF16", {0x61, 0xF0, 0x9F, 0x98, 0x80}, 0, 6, 0, 5, 3},
      {"AL32UTF8", "UTF8", {0xF0, 0x9F, 0x98, 0x80}, 0, 6, 0, 4, 2},
      {"AL32UTF8", "AL32UTF8", {0xC3, 0xA9, 0xC3}, 0, 0, 34, 2, 1},
      {"AL32UTF8", "IBM-930", {0xEF, 0xBC, 0xA1, 0xEF, 0xBC, 0xA1}, 0, 6, 0, 6, 2},
      {"GB18030", "AL32UTF8", {0x81, 0x30, 0x81, 0x30}, 0, 2, 0, 4, 1},
      {"AL32UTF8", "GB18030", {0xC2, 0x80}, 0, 4, 0, 2, 1},
      {"AL32UTF8", "", {0x61}, 0, 0, 0, 0, 0},
  };
  for (const Row& r : rows) {
    const CharsetDefinition* to = *r.to ? def(r.to) : nullptr;
    const Outcome o = convTest(to, r.text, def(r.from), r.mode);
    const std::string where =
        std::string(r.from) + " -> " + r.to + " row " + std::to_string(&r - rows);
    EXPECT_EQ(o.result, r.result) << where;
    EXPECT_EQ(o.status, *r.to ? r.status : NLS_STATUS_BAD_CHARSET) << where;
    EXPECT_EQ(o.lastByteCount, r.lastByteCount) << where;
    EXPECT_EQ(o.convertedChars, r.convertedChars) << where;
  }

  const auto* none = reinterpret_cast<const CharsetDefinition*>(lxdlwkb);
  EXPECT_EQ(convTest(none, {0x61}, def("AL32UTF8")).status, NLS_STATUS_BAD_CHARSET);
  const Outcome empty = convTest(nullptr, {}, nullptr);
  EXPECT_EQ(empty.status, 0);
  EXPECT_EQ(empty.result, 0);
  EXPECT_EQ(convTest(def("AL32UTF8"), {0x61, 0xEF, 0xBF, 0xBD}, def("AL32UTF8")).replacementSeen,
            1000);
  EXPECT_EQ(convTest(def("UTF8"), {0x61, 0x62}, def("UTF8")).replacementSeen, 0);
  EXPECT_EQ(convTest(def("AL32UTF8"), {0xC1, 0x0E, 0x44, 0x5A}, def("IBM-930")).endsShifted, 1);
  EXPECT_EQ(convTest(def("AL32UTF8"), {0x0E, 0x44, 0x5A, 0x0F}, def("IBM-930")).endsShifted, 0);
}

// ---- ICU as the reference ------------------------------------------------------

const std::map<std::string, const char*> kIcuNames = {
    {"AL32UTF8", "UTF-8"},
    {"UTF8", "CESU-8"},
    {"AL16UTF16", "UTF-16BE"},
    {"AL16UTF16LE", "UTF-16LE"},
    {"GB18030", "gb18030"},
    {"ISO-8859-1", "ISO-8859-1"},
    {"WINDOWS-1252", "ibm-5348_P100-1997"},
    {"WINDOWS-1251", "ibm-5347_P100-1998"},
    {"IBM-1047", "ibm-1047_P100-1995"},
    {"SHIFT_JIS", "ibm-943_P15A-2003"},
    {"EUC-JP", "euc-jp-2007"},
    {"BIG5-HKSCS", "ibm-1375_P100-2008"},
    {"IBM-930", "ibm-930_P120-1999"},
};

// Bytes of single-byte sets that this system treats as no character,
// whatever ICU maps them to.
bool markedByte(const std::string& set, uint8_t b) {
  if (set == "ISO-8859-1") return b >= 0x80 && b <= 0x9F;
  if (set == "WINDOWS-1252") return b == 0x81 || b == 0x8D || b == 0x8F || b == 0x90 || b == 0x9D;
  if (set == "WINDOWS-1251") return b == 0x98;
  return false;
}

// ICU's verdict: -1 lossy, 0 unchanged, else the converted length.
int64_t icuVerdict(const std::string& from, const std::string& to, const Bytes& text) {
  for (uint8_t b : text)
    if (markedByte(from, b)) return -1;
  UErrorCode err = U_ZERO_ERROR;
  UConverter* source = ucnv_open(kIcuNames.at(from), &err);
  UConverter* target = ucnv_open(kIcuNames.at(to), &err);
  ucnv_setToUCallBack(source, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &err);
  ucnv_setFromUCallBack(target, UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &err);
  std::vector<char> out(text.size() * 4 + 16);
  char* o = out.data();
  const char* in = reinterpret_cast<const char*>(text.data());
  ucnv_convertEx(target, source, &o, out.data() + out.size(), &in, in + text.size(), nullptr,
                 nullptr, nullptr, nullptr, true, true, &err);
  ucnv_close(source);
  ucnv_close(target);
  if (U_FAILURE(err)) return -1;
  const Bytes converted(out.data(), o);
  return converted == text ? 0 : static_cast<int64_t>(converted.size());
}

TEST(ConvTest, AgreesWithIcuBetweenEveryPair) {
  std::mt19937 rng(11);
  std::vector<std::string> sets;
  for (const auto& entry : kIcuNames) sets.push_back(entry.first);
  // Extra characters so that more pairs share a repertoire.
  std::vector<std::string> sample = lxktest::sampleChars();
  for (const char* extra : {"é", "ü", "Ж", "中", "あ", "ア", "a", "b", " ", "1"})
    sample.push_back(extra);
  for (const std::string& from : sets) {
    for (const std::string& to : sets) {
      std::vector<std::string> shared, own;
      for (const std::string& ch : sample) {
        if (ch == "\xEF\xBF\xBD" || env().held(from, ch).empty()) continue;
        own.push_back(ch);
        if (!env().held(to, ch).empty()) shared.push_back(ch);
      }
      // The last rounds are long enough for the bulk paths of long texts.
      for (int round = 0; round < 14; ++round) {
        const auto& pool = (round % 3 != 0 && !shared.empty()) ? shared : own;
        std::string text;
        const size_t n = round >= 12 ? 3000 : 1 + rng() % (round < 6 ? 8 : 160);
        for (size_t i = 0; i < n; ++i) text += pool[rng() % pool.size()];
        const Bytes bytes = env().encode(from, text);
        const int64_t expected = icuVerdict(from, to, bytes);
        const Outcome o = convTest(def(to.c_str()), bytes, def(from.c_str()));
        const std::string where = from + " -> " + to + ": " + text;
        EXPECT_EQ(o.status, 0) << where;
        EXPECT_EQ(o.lastByteCount, bytes.size()) << where;
        if (expected < 0)
          EXPECT_LT(o.result, 0) << where;
        else
          EXPECT_EQ(o.result, expected) << where;
      }
    }
  }
}

}  // namespace
