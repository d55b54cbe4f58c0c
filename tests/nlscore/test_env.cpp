// Contexts, handles and look-ups: every handle carries its set's header and
// definition, names and collations resolve or give NULL, and the id look-ups
// (lxhci2h, lxpe2i, lxhnmod, lxpcset) agree with the catalogue.
#include <cctype>
#include <cstring>
#include <string>
#include <vector>

#include "frame/frame.h"
#include "nlscore/definition_private.h"
#include "support/nls_env.h"

namespace {

using lxktest::NlsEnv;

using lxktest::env;

const CharsetDefinition* definitionAt(uint32_t index) {
  return env().ctx()->definitions->definitions[index];
}

const CharsetDefinition* const* globalArea() { return env().ctx()->definitions->definitions; }

uint32_t internalId(int32_t charsetId) {
  int32_t error = -1;
  const uint32_t index = lxpe2i(static_cast<uint32_t>(charsetId), globalArea(), 2, &error, 0);
  EXPECT_EQ(error, 0) << charsetId;
  return index;
}

TEST(Context, ReachesEveryDefinitionOfTheCatalogue) {
  const NlsDefinitionTable* table = env().ctx()->definitions;
  ASSERT_NE(table, nullptr);
  ASSERT_EQ(table->count, nlsCatalogueCount());
  EXPECT_EQ(table->definitions[table->count], nullptr);
  for (uint32_t i = 0; i < table->count; ++i) {
    const NlsCharsetInfo* info = nlsCatalogueEntry(i);
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(table->definitions[i]->charsetId, info->charsetId) << info->name;
    EXPECT_EQ(table->definitions[i], nlsDefinition(env().ctx(), info->name));
    // The object that stands for no set is none of them.
    EXPECT_NE(static_cast<const void*>(table->definitions[i]), static_cast<const void*>(lxdlwkb));
  }
  EXPECT_EQ(nlsCatalogueEntry(table->count), nullptr);
}

TEST(Handle, EverySetCarriesItsHeaderAndDefinition) {
  const uint32_t utf16 = internalId(CSID_AL16UTF16);
  for (uint32_t i = 0; i < nlsCatalogueCount(); ++i) {
    const NlsCharsetInfo* info = nlsCatalogueEntry(i);
    SCOPED_TRACE(info->name);
    CharsetHandle* h = nlsHandleCreate(env().ctx(), info->name, nullptr);
    if (info->conversionOnly) {
      EXPECT_EQ(h, nullptr);
      continue;
    }
    ASSERT_NE(h, nullptr);
    const CharsetDefinition* def = definitionAt(h->definitionIndex);
    const nls::DefinitionHeader& header = nls::header(def);
    EXPECT_EQ(h->definitionIndex, i);
    EXPECT_EQ(def->charsetId, info->charsetId);
    EXPECT_EQ(h->tableOffset, CSDEF_BASE_LEAD_TABLE_OFFSET);
    EXPECT_EQ(h->flags, header.handleFlags);
    EXPECT_EQ(h->flags, info->handleFlags);
    EXPECT_EQ(h->maxCharWidth, header.handleMaxCharWidth);
    EXPECT_EQ(h->fallbackDefinitionIndex, utf16);
    EXPECT_EQ(h->collationFlags, 0u);
    EXPECT_EQ(h->collationId, 0);
    if (h->flags & CSH_SHIFT_SENSITIVE) {
      EXPECT_EQ(h->shiftOutByte, def->shiftOutCode);
      EXPECT_EQ(h->shiftInByte, def->shiftInCode);
      EXPECT_NE(h->shiftOutByte, h->shiftInByte);
    }
    if (h->flags & CSH_FIXED_WIDTH) {
      EXPECT_GE(h->maxCharWidth, 1);
    }
    EXPECT_EQ(lxhcsn(h, env().ctx()), static_cast<uint32_t>(info->charsetId));
    // Names are case-insensitive.
    std::string lower = info->name;
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    CharsetHandle* again = nlsHandleCreate(env().ctx(), lower.c_str(), "binary");
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(std::memcmp(h, again, sizeof *h), 0);
    nlsHandleDestroy(again);
    nlsHandleDestroy(h);
  }
}

TEST(Handle, UnknownNamesAndCollationsGiveNull) {
  struct Case {
    const char* charset;
    const char* collation;
  };
  const Case cases[] = {
      {"NO-SUCH-SET", nullptr}, {"", nullptr},          {nullptr, nullptr},
      {"AL32UTF8", "GERMAN"},   {"AL32UTF8", ""},       {"AL32UTF8", "CI "},
      {"AL16UTF16LE", nullptr}, {"UTF-16LE", "BINARY"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(nlsHandleCreate(env().ctx(), c.charset, c.collation), nullptr)
        << (c.charset ? c.charset : "(null)") << " / " << (c.collation ? c.collation : "(null)");
  EXPECT_EQ(nlsDefinition(env().ctx(), "NO-SUCH-SET"), nullptr);
  // A conversion-only set still has a definition.
  EXPECT_NE(nlsDefinition(env().ctx(), "AL16UTF16LE"), nullptr);
}

TEST(Handle, CollationsSelectLinguisticComparison) {
  struct Case {
    const char* collation;
    bool linguistic;
  };
  const Case cases[] = {{nullptr, false}, {"BINARY", false}, {"Binary", false},
                        {"CI", true},     {"ci", true},      {"AI", true}};
  for (const char* set : {"AL32UTF8", "ISO-8859-1", "IBM-930", "AL16UTF16", "GB18030"}) {
    for (const Case& c : cases) {
      const CharsetHandle* h = env().handle(set, c.collation);
      ASSERT_NE(h, nullptr);
      EXPECT_EQ(lxk::linguisticInForce(h), c.linguistic) << set << " " << c.collation;
      if (c.linguistic) {
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

TEST(Lookup, IdsLeadToTheirDefinitions) {
  for (uint32_t i = 0; i < nlsCatalogueCount(); ++i) {
    const NlsCharsetInfo* info = nlsCatalogueEntry(i);
    SCOPED_TRACE(info->name);
    const uint32_t id = static_cast<uint32_t>(info->charsetId);
    EXPECT_EQ(lxhci2h(id, env().ctx()), definitionAt(i));
    EXPECT_EQ(internalId(info->charsetId), i);
  }
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

TEST(Lookup, HandleBuiltForAnIdMatchesTheNamedHandle) {
  alignas(8) uint8_t buffer[sizeof(CharsetHandle)];
  for (uint32_t i = 0; i < nlsCatalogueCount(); ++i) {
    const NlsCharsetInfo* info = nlsCatalogueEntry(i);
    SCOPED_TRACE(info->name);
    std::memset(buffer, 0xA5, sizeof buffer);
    CharsetHandle* built =
        lxhnmod(buffer, static_cast<uint32_t>(info->charsetId), 0x4F, 0, env().ctx());
    if (info->conversionOnly) {
      EXPECT_EQ(built, nullptr);
      continue;
    }
    ASSERT_EQ(static_cast<void*>(built), static_cast<void*>(buffer));
    EXPECT_EQ(std::memcmp(built, env().handle(info->name), sizeof(CharsetHandle)), 0);
  }
  EXPECT_EQ(lxhnmod(buffer, 999, 0x4F, 0, env().ctx()), nullptr);
  EXPECT_EQ(lxhnmod(nullptr, CSID_AL32UTF8, 0x4F, 0, env().ctx()), nullptr);
}

TEST(Lookup, SwitchingAHandleKeepsItsCollation) {
  CharsetHandle local;
  std::memcpy(&local, env().handle("AL32UTF8", "CI"), sizeof local);
  ASSERT_EQ(lxpcset(internalId(CSID_GB18030), &local, env().ctx()) != 0, true);
  const CharsetHandle* gb = env().handle("GB18030", "CI");
  EXPECT_EQ(std::memcmp(&local, gb, sizeof local), 0);
  EXPECT_TRUE(lxk::linguisticInForce(&local));

  // Back again, as REPLACE does after its call.
  ASSERT_NE(lxpcset(internalId(CSID_AL32UTF8), &local, env().ctx()), 0);
  EXPECT_EQ(std::memcmp(&local, env().handle("AL32UTF8", "CI"), sizeof local), 0);

  // Refused: past the table, and a conversion-only set.  The handle stays.
  EXPECT_EQ(lxpcset(nlsCatalogueCount(), &local, env().ctx()), 0);
  EXPECT_EQ(lxpcset(internalId(CSID_AL16UTF16LE), &local, env().ctx()), 0);
  EXPECT_EQ(std::memcmp(&local, env().handle("AL32UTF8", "CI"), sizeof local), 0);
}

TEST(Lookup, EbcdicSetsAndTheirBlanks) {
  struct Case {
    const char* set;
    bool ebcdic;
    std::vector<uint8_t> blank;
  };
  const Case cases[] = {
      {"AL32UTF8", false, {0x20}},        {"UTF8", false, {0x20}},    {"ISO-8859-1", false, {0x20}},
      {"SHIFT_JIS", false, {0x20}},       {"GB18030", false, {0x20}}, {"IBM-1047", true, {0x40}},
      {"IBM-930", true, {0x40}},          {"IBM-939", true, {0x40}},  {"UTFE", true, {0x40}},
      {"AL16UTF16", false, {0x00, 0x20}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.set);
    const CharsetHandle* h = env().handle(c.set);
    EXPECT_EQ(lxhebc(h, env().ctx()) != 0, c.ebcdic);
    uint8_t buffer[6];
    std::memset(buffer, 0xEE, sizeof buffer);
    lxhlinfo(h, LXH_ITEM_BLANK, buffer, sizeof buffer, env().ctx());
    std::vector<uint8_t> expected = c.blank;
    expected.resize(sizeof buffer, 0);
    EXPECT_EQ(std::vector<uint8_t>(buffer, buffer + sizeof buffer), expected);
  }
}

}  // namespace
