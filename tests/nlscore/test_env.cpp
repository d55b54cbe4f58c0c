// Contexts, handles and look-ups by name, alias and id (lxhci2h, lxpe2i, lxhnmod,
// lxpcset), the blank and EBCDIC queries; the catalogue's own order and
// terminator are in test_catalogue.
#include <cctype>
#include <cstring>
#include <sstream>
#include <string>
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

// The name in lower case, or with every second letter lowered.
std::string lowered(std::string name, size_t every = 1) {
  for (size_t k = every - 1; k < name.size(); k += every)
    name[k] = static_cast<char>(std::tolower(static_cast<unsigned char>(name[k])));
  return name;
}

// By name (in any case) and by id, every set leads to its definition and to
// one handle, whose blank and EBCDIC answers are the set's own.
TEST(Handle, EverySetByNameAndIdCarriesItsHeaderAndDefinition) {
  const uint32_t utf16 = internalId(CSID_AL16UTF16);
  alignas(8) uint8_t buffer[sizeof(CharsetHandle)];
  for (uint32_t i = 0; i < nlsCatalogueCount(); ++i) {
    const NlsCharsetInfo* info = nlsCatalogueEntry(i);
    SCOPED_TRACE(info->name);
    const CharsetDefinition* def = globalArea()[i];
    EXPECT_EQ(def, nlsDefinition(env().ctx(), info->name));
    EXPECT_EQ(def, lxhci2h(static_cast<uint32_t>(info->charsetId), env().ctx()));
    EXPECT_EQ(internalId(info->charsetId), i);
    // The object that stands for no set is none of them.
    EXPECT_NE(static_cast<const void*>(def), static_cast<const void*>(lxdlwkb));
    // "binary" is no collation.
    CharsetHandle* h = nlsHandleCreate(env().ctx(), lowered(info->name).c_str(), "binary");
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
    EXPECT_EQ(h->shiftOutByte, def->shiftOutCode);
    EXPECT_EQ(h->shiftInByte, def->shiftInCode);
    EXPECT_EQ(lxhcsn(h, env().ctx()), static_cast<uint32_t>(info->charsetId));
    ASSERT_EQ(static_cast<void*>(built), static_cast<void*>(buffer));
    EXPECT_EQ(std::memcmp(built, h, sizeof *h), 0);
    // The blank as the set encodes it, the rest of the buffer cleared.
    std::vector<uint8_t> blank = env().encode(info->name, " "), got(6, 0xEE);
    EXPECT_EQ(lxhebc(h, env().ctx()) != 0, blank == std::vector<uint8_t>{0x40});
    lxhlinfo(h, LXH_ITEM_BLANK, got.data(), 6, env().ctx());
    blank.resize(6, 0);
    EXPECT_EQ(got, blank);
    nlsHandleDestroy(h);
  }
}

// Collation names in any case; unknown ones give no handle.  CI and AI are
// two linguistic collations of the same set.
TEST(Handle, CollationsSelectLinguisticComparison) {
  // collation, level: -1 no handle, 0 binary, 1 CI, 2 AI.
  const std::pair<const char*, int> cases[] = {{nullptr, 0},   {"BINARY", 0}, {"Binary", 0},
                                               {"CI", 1},      {"ci", 1},     {"AI", 2},
                                               {"GERMAN", -1}, {"", -1},      {"CI ", -1}};
  for (const char* set : {"AL32UTF8", "ISO-8859-1", "IBM-930", "AL16UTF16", "GB18030"}) {
    const CharsetHandle* levels[3] = {env().handle(set), env().handle(set, "CI"),
                                      env().handle(set, "AI")};
    for (const auto& [collation, level] : cases) {
      CharsetHandle* h = nlsHandleCreate(env().ctx(), set, collation);
      ASSERT_EQ(h != nullptr, level >= 0) << set << " " << (collation ? collation : "(null)");
      if (h == nullptr) continue;
      EXPECT_EQ(lxk::linguisticInForce(h), level > 0) << set << " " << collation;
      EXPECT_EQ(std::memcmp(h, levels[level], sizeof *h), 0) << set << " " << collation;
      nlsHandleDestroy(h);
    }
    EXPECT_NE(levels[1]->collationId, levels[2]->collationId);
    EXPECT_NE(levels[1]->collationFlags & COLL_LEVEL_MASK,
              levels[2]->collationFlags & COLL_LEVEL_MASK);
  }
}

// The canonical name and every alias, in any case, find the entry, and name
// its definition for the other look-ups too.
TEST(Lookup, NamesAndAliasesInAnyCaseFindTheirEntry) {
  for (uint32_t i = 0; i < nlsCatalogueCount(); ++i) {
    const NlsCharsetInfo* info = nlsCatalogueEntry(i);
    std::vector<std::string> names = {info->name};
    std::istringstream aliases(info->aliases);
    for (std::string alias; std::getline(aliases, alias, ',');) names.push_back(alias);
    for (const std::string& name : names) {
      for (const std::string& spelling : {name, lowered(name), lowered(name, 2)}) {
        EXPECT_EQ(nlsCatalogueFind(spelling.c_str()), info) << spelling;
        EXPECT_EQ(nlsDefinition(env().ctx(), spelling.c_str()), globalArea()[i]) << spelling;
      }
    }
  }
}

TEST(Lookup, UnknownNamesAndIdsAndNoTableFail) {
  // Parts of names, lists of aliases and padded names are no names.
  for (const char* name : {"NO-SUCH-SET", "", static_cast<const char*>(nullptr), "UTF",
                           "UTF-8,UTF8MB4", "AL32UTF8 ", " UTF-8", "LATIN", "ISO-8859-1,"}) {
    EXPECT_EQ(nlsCatalogueFind(name), nullptr) << (name ? name : "(null)");
    EXPECT_EQ(nlsHandleCreate(env().ctx(), name, nullptr), nullptr) << (name ? name : "(null)");
  }
  EXPECT_EQ(nlsHandleCreate(env().ctx(), "UTF-16LE", nullptr), nullptr);  // conversion only
  for (uint32_t unknown : {0u, 2u, 999u, 65535u, 0x10000u + CSID_AL32UTF8}) {
    int32_t error = 0;
    EXPECT_EQ(lxhci2h(unknown, env().ctx()), nullptr) << unknown;
    lxpe2i(unknown, globalArea(), 2, &error, 0);
    EXPECT_NE(error, 0) << unknown;
  }
  int32_t error = 0;
  lxpe2i(CSID_AL32UTF8, nullptr, 2, &error, 0);
  EXPECT_NE(error, 0);
  alignas(8) uint8_t buffer[sizeof(CharsetHandle)];
  EXPECT_EQ(lxhnmod(buffer, 999, 0x4F, 0, env().ctx()), nullptr);
  EXPECT_EQ(lxhnmod(nullptr, CSID_AL32UTF8, 0x4F, 0, env().ctx()), nullptr);
}

TEST(Lookup, SwitchingAHandleKeepsItsCollation) {
  const CharsetHandle* utf8 = env().handle("AL32UTF8", "CI");
  CharsetHandle local = *utf8;
  ASSERT_NE(lxpcset(internalId(CSID_GB18030), &local, env().ctx()), 0);
  EXPECT_EQ(std::memcmp(&local, env().handle("GB18030", "CI"), sizeof local), 0);
  // Back again, as REPLACE does after its call.
  ASSERT_NE(lxpcset(internalId(CSID_AL32UTF8), &local, env().ctx()), 0);
  EXPECT_EQ(std::memcmp(&local, utf8, sizeof local), 0);
  // Refused, and the handle stays: past the table, and a conversion-only set.
  EXPECT_EQ(lxpcset(nlsCatalogueCount(), &local, env().ctx()), 0);
  EXPECT_EQ(lxpcset(internalId(CSID_AL16UTF16LE), &local, env().ctx()), 0);
  EXPECT_EQ(std::memcmp(&local, utf8, sizeof local), 0);
}

}  // namespace
