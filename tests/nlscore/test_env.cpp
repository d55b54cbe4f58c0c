// Contexts, handles and look-ups by name and id (lxhci2h, lxpe2i, lxhnmod,
// lxpcset); the catalogue's own order and terminator are in test_catalogue.
#include <cctype>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "frame/frame.h"
#include "nlscore/definition_private.h"
#include "support/nls_env.h"

namespace {

using lxktest::env;

const CharsetDefinition* const* globalArea() { return env().ctx()->definitions->definitions; }

uint32_t internalId(int32_t charsetId) {
  int32_t error = -1;
  const uint32_t index = lxpe2i(static_cast<uint32_t>(charsetId), globalArea(), 2, &error, 0);
  EXPECT_EQ(error, 0) << charsetId;
  return index;
}

// By name and by id, every set leads to its definition and to one handle.
TEST(Handle, EverySetByNameAndIdCarriesItsHeaderAndDefinition) {
  const uint32_t utf16 = internalId(CSID_AL16UTF16);
  alignas(8) uint8_t buffer[sizeof(CharsetHandle)];
  for (uint32_t i = 0; i < nlsCatalogueCount(); ++i) {
    const NlsCharsetInfo* info = nlsCatalogueEntry(i);
    SCOPED_TRACE(info->name);
    const CharsetDefinition* def = globalArea()[i];
    EXPECT_EQ(def, nlsDefinition(env().ctx(), info->name));
    EXPECT_EQ(internalId(info->charsetId), i);
    // The object that stands for no set is none of them.
    EXPECT_NE(static_cast<const void*>(def), static_cast<const void*>(lxdlwkb));
    CharsetHandle* h = nlsHandleCreate(env().ctx(), info->name, nullptr);
    std::memset(buffer, 0xA5, sizeof buffer);
    CharsetHandle* built =
        lxhnmod(buffer, static_cast<uint32_t>(info->charsetId), 0x4F, 0, env().ctx());
    if (info->conversionOnly) {
      EXPECT_EQ(h, nullptr);
      EXPECT_EQ(built, nullptr);
      continue;
    }
    ASSERT_NE(h, nullptr);
    const nls::DefinitionHeader& header = nls::header(def);
    EXPECT_EQ(h->definitionIndex, i);
    EXPECT_EQ(h->tableOffset, CSDEF_BASE_LEAD_TABLE_OFFSET);
    EXPECT_EQ(h->flags, header.handleFlags);
    EXPECT_EQ(h->maxCharWidth, header.handleMaxCharWidth);
    EXPECT_EQ(h->fallbackDefinitionIndex, utf16);
    EXPECT_EQ(h->collationFlags, 0u);
    EXPECT_EQ(h->collationId, 0);
    if (h->flags & CSH_SHIFT_SENSITIVE) {
      EXPECT_EQ(h->shiftOutByte, def->shiftOutCode);
      EXPECT_EQ(h->shiftInByte, def->shiftInCode);
      EXPECT_NE(h->shiftOutByte, h->shiftInByte);
    }
    EXPECT_EQ(lxhcsn(h, env().ctx()), static_cast<uint32_t>(info->charsetId));
    ASSERT_EQ(static_cast<void*>(built), static_cast<void*>(buffer));
    EXPECT_EQ(std::memcmp(built, h, sizeof *h), 0);
    // Names are case-insensitive, and "binary" is no collation.
    std::string lower = info->name;
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    CharsetHandle* again = nlsHandleCreate(env().ctx(), lower.c_str(), "binary");
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(std::memcmp(h, again, sizeof *h), 0);
    nlsHandleDestroy(again);
    nlsHandleDestroy(h);
  }
  EXPECT_EQ(lxhnmod(buffer, 999, 0x4F, 0, env().ctx()), nullptr);
  EXPECT_EQ(lxhnmod(nullptr, CSID_AL32UTF8, 0x4F, 0, env().ctx()), nullptr);
}

TEST(Handle, UnknownNamesAndCollationsGiveNull) {
  const std::pair<const char*, const char*> cases[] = {
      {"NO-SUCH-SET", nullptr}, {"", nullptr},         {nullptr, nullptr},
      {"AL32UTF8", "GERMAN"},   {"AL32UTF8", ""},      {"AL32UTF8", "CI "},
      {"AL16UTF16LE", nullptr}, {"UTF-16LE", "BINARY"}};
  for (const auto& [charset, collation] : cases)
    EXPECT_EQ(nlsHandleCreate(env().ctx(), charset, collation), nullptr)
        << (charset ? charset : "(null)") << " / " << (collation ? collation : "(null)");
  // A conversion-only set still has a definition.
  EXPECT_NE(nlsDefinition(env().ctx(), "AL16UTF16LE"), nullptr);
}

TEST(Handle, CollationsSelectLinguisticComparison) {
  const std::pair<const char*, bool> cases[] = {{nullptr, false},  {"BINARY", false},
                                                {"Binary", false}, {"CI", true},
                                                {"ci", true},      {"AI", true}};
  for (const char* set : {"AL32UTF8", "ISO-8859-1", "IBM-930", "AL16UTF16", "GB18030"}) {
    for (const auto& [collation, linguistic] : cases) {
      const CharsetHandle* h = env().handle(set, collation);
      ASSERT_NE(h, nullptr);
      EXPECT_EQ(lxk::linguisticInForce(h), linguistic) << set << " " << collation;
      if (linguistic) {
        EXPECT_NE(h->collationId, 0);
      }
    }
    // CI and AI are different collations of the same set.
    const CharsetHandle* ci = env().handle(set, "CI");
    const CharsetHandle* ai = env().handle(set, "AI");
    EXPECT_NE(ci->collationId, ai->collationId);
    EXPECT_NE(ci->collationFlags & COLL_LEVEL_MASK, ai->collationFlags & COLL_LEVEL_MASK);
    EXPECT_EQ(ci->flags, ai->flags);
    EXPECT_EQ(ci->definitionIndex, ai->definitionIndex);
  }
}

TEST(Lookup, UnknownIdsAndNoTableFail) {
  for (uint32_t unknown : {0u, 2u, 999u, 65535u, 0x10000u + CSID_AL32UTF8}) {
    int32_t error = 0;
    EXPECT_EQ(lxhci2h(unknown, env().ctx()), nullptr) << unknown;
    lxpe2i(unknown, globalArea(), 2, &error, 0);
    EXPECT_NE(error, 0) << unknown;
  }
  int32_t error = 0;
  lxpe2i(CSID_AL32UTF8, nullptr, 2, &error, 0);
  EXPECT_NE(error, 0);
}

TEST(Lookup, SwitchingAHandleKeepsItsCollation) {
  const CharsetHandle* utf8 = env().handle("AL32UTF8", "CI");
  CharsetHandle local = *utf8;
  ASSERT_NE(lxpcset(internalId(CSID_GB18030), &local, env().ctx()), 0);
  EXPECT_EQ(std::memcmp(&local, env().handle("GB18030", "CI"), sizeof local), 0);
  EXPECT_TRUE(lxk::linguisticInForce(&local));
  // Back again, as REPLACE does after its call.
  ASSERT_NE(lxpcset(internalId(CSID_AL32UTF8), &local, env().ctx()), 0);
  EXPECT_EQ(std::memcmp(&local, utf8, sizeof local), 0);
  // Refused, and the handle stays: past the table, and a conversion-only set.
  EXPECT_EQ(lxpcset(nlsCatalogueCount(), &local, env().ctx()), 0);
  EXPECT_EQ(lxpcset(internalId(CSID_AL16UTF16LE), &local, env().ctx()), 0);
  EXPECT_EQ(std::memcmp(&local, utf8, sizeof local), 0);
}

TEST(Lookup, EbcdicSetsAndTheirBlanks) {
  const std::tuple<const char*, bool, std::vector<uint8_t>> cases[] = {
      {"AL32UTF8", false, {0x20}},       {"UTF8", false, {0x20}},    {"ISO-8859-1", false, {0x20}},
      {"SHIFT_JIS", false, {0x20}},      {"GB18030", false, {0x20}}, {"IBM-1047", true, {0x40}},
      {"IBM-930", true, {0x40}},         {"IBM-939", true, {0x40}},  {"UTFE", true, {0x40}},
      {"AL16UTF16", false, {0x00, 0x20}}};
  for (const auto& [set, ebcdic, blank] : cases) {
    SCOPED_TRACE(set);
    const CharsetHandle* h = env().handle(set);
    EXPECT_EQ(lxhebc(h, env().ctx()) != 0, ebcdic);
    std::vector<uint8_t> buffer(6, 0xEE), expected = blank;
    lxhlinfo(h, LXH_ITEM_BLANK, buffer.data(), 6, env().ctx());
    expected.resize(6, 0);  // the rest of the buffer is cleared
    EXPECT_EQ(buffer, expected);
  }
}

}  // namespace
