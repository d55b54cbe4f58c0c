// String comparison under a handle: equality by bytes or by the collation,
// otherwise the order of the first differing byte, the shorter first; the
// cursor form keeps shift states apart.
#include <string>

#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::env;

int32_t compare(const char* set, const char* collation, const std::string& a,
                const std::string& b) {
  const Bytes x = env().encode(set, a), y = env().encode(set, b);
  const int32_t r = lxsCmpStr(x.data(), static_cast<uint32_t>(x.size()), y.data(),
                              static_cast<uint32_t>(y.size()), OPT_STANDARD,
                              env().handle(set, collation), env().ctx());
  return r < 0 ? -1 : (r > 0 ? 1 : 0);
}

TEST(Compare, BuffersByBytesAndCollation) {
  const struct {
    const char* set;
    const char* collation;
    const char* a;
    const char* b;
    int32_t expected;
  } rows[] = {
      {"AL32UTF8", nullptr, "abc", "abc", 0},  {"AL32UTF8", nullptr, "abc", "abd", -1},
      {"AL32UTF8", nullptr, "ab", "abc", -1},  {"AL32UTF8", nullptr, "b", "abc", 1},
      {"AL32UTF8", nullptr, "a", "A", 1},      {"AL32UTF8", "CI", "a", "A", 0},
      {"AL32UTF8", "CI", "é", "E", 1},         {"AL32UTF8", "AI", "é", "E", 0},
      {"AL32UTF8", "AI", "ß", "ss", 0},        {"AL32UTF8", "CI", "e\u0301", "\u00e9", 0},
      {"AL32UTF8", "CI", "", "a", -1},         {"AL16UTF16", "CI", "Straße", "STRAßE", 0},
      {"GB18030", "AI", "Ärger", "arger", 0},  {"WINDOWS-1252", "CI", "Ü", "ü", 0},
      {"WINDOWS-1252", nullptr, "Ü", "ü", -1},
  };
  for (const auto& row : rows)
    EXPECT_EQ(compare(row.set, row.collation, row.a, row.b), row.expected)
        << row.set << " " << (row.collation ? row.collation : "binary") << " " << row.a << " "
        << row.b;
}

// Cursors: a wide A in a shifted run and an A after it differ in bytes and
// are equal under CI (width is a tertiary difference).
TEST(Compare, CursorsKeepShiftStates) {
  const CharsetHandle* binary = env().handle("IBM-930");
  const CharsetHandle* ci = env().handle("IBM-930", "CI");
  uint8_t text[] = {0x0E, 0x42, 0xC1, 0x0F, 0xC1};  // wide A, then A
  for (const CharsetHandle* h : {binary, ci}) {
    const bool linguistic = h == ci;
    CharCursor wide, narrow;
    lxmopen(text, sizeof text, &wide, h, env().ctx(), 0);
    lxmopen(text, sizeof text, &narrow, h, env().ctx(), 0);
    wide.current = text + 1;
    wide.shiftState = 1;
    narrow.current = text + 4;
    narrow.shiftState = 0;
    EXPECT_EQ(lxoCmpStr(&wide, 2, &narrow, 1, OPT_STANDARD, env().ctx()) == 0, linguistic);
    EXPECT_EQ(lxoCmpStr(&narrow, 1, &narrow, 1, OPT_STANDARD, env().ctx()), 0);
  }
}

}  // namespace
